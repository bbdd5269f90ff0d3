#pragma once

#include <QJsonObject>
#include <QVariantList>
#include <QVariantMap>

#include "cloud/RecordStoreSettings.h"
#include "platform/Expected.h"
#include "ui/ScreenModel.h"

namespace mnemora {

// AI Integrations: the dreamer cadences with their status chips, the bundled skills, prompts and
// sources that open primed Claude Code sessions, whether the vault's tool server is registered,
// and the background sessions' settings. The rows are the agent sessions live now, with the
// usage limit any of them hit. A vault window has only its sessions; the rest is the primary's.
class IntegrationsModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(QString lead READ lead CONSTANT)
    Q_PROPERTY(bool primary READ primary CONSTANT)
    Q_PROPERTY(QVariantMap banner READ banner NOTIFY detailsChanged)
    Q_PROPERTY(QVariantList cadences READ cadences NOTIFY detailsChanged)
    Q_PROPERTY(QObject* skills READ skills CONSTANT)
    Q_PROPERTY(QObject* prompts READ prompts CONSTANT)
    Q_PROPERTY(QObject* sources READ sources CONSTANT)
    Q_PROPERTY(QVariantMap registration READ registration NOTIFY detailsChanged)
    Q_PROPERTY(QVariantMap settings READ settings NOTIFY detailsChanged)
    Q_PROPERTY(QVariantMap companion READ companion NOTIFY detailsChanged)
    Q_PROPERTY(QString message READ message NOTIFY detailsChanged)
    Q_PROPERTY(QString failureTitle READ failureTitle NOTIFY errorTextChanged)

public:
    IntegrationsModel(const WindowServices& services, QObject* parent = nullptr);

    static QString lead();
    bool primary() const { return services().dreamer != nullptr; }
    const QVariantMap& banner() const { return banner_; }
    QVariantList cadences() const;
    QObject* skills() const;
    QObject* prompts() const;
    QObject* sources() const;
    QVariantMap registration() const;
    QVariantMap settings() const;
    // The phone companion's address and its QR code (`url`, `qrSize`, `qrModules`), from the
    // record store the user defaults name; empty without one.
    QVariantMap companion() const;
    static QVariantMap companionFor(const RecordStoreSettings& store);
    const QString& message() const { return message_; }
    QString failureTitle() const;

    // The banner over the screen from the daemon's tool list; empty while it is unknown.
    static QVariantMap bannerFor(const std::optional<QJsonObject>& prerequisites);

    Q_INVOKABLE void stopSession(const QString& name);
    Q_INVOKABLE void trigger(const QString& cadence);
    Q_INVOKABLE void attach(const QString& name);
    // `kind` is "skill", "prompt", "source", or "custom" for a plain session.
    Q_INVOKABLE void launchSeed(const QString& kind, const QString& id);
    Q_INVOKABLE void setPermissionMode(const QString& mode);
    Q_INVOKABLE void saveSchedule(int hour);
    Q_INVOKABLE void setShowAttach(bool show);

    QCoro::Task<> load() override;
    QCoro::Task<> kill(QString name);
    QCoro::Task<> spawn(QString cadence);
    QCoro::Task<> open(QString kind, QString id);

signals:
    void detailsChanged();

private:
    void setMessage(const QString& message);
    void report(const Expected<void>& result, const QString& success = {});
    QCoro::Task<> loadSessions();
    // Opens what `kind` names; a static function, since the window may go while it waits.
    static QCoro::Task<Expected<void>> startSession(WindowServices given, QString kind, QString id);

    QVariantMap banner_;
    QString message_;
};

} // namespace mnemora

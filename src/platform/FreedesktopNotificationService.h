#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

#include <optional>

#include "platform/NotificationService.h"

namespace mnemora {

// Notifications through the desktop's `org.freedesktop.Notifications` service on the session bus.
// A desktop without a session bus or without the service shows nothing; that is said once on the
// log and never bothers anyone again.
class FreedesktopNotificationService : public QObject, public NotificationService {
    Q_OBJECT

public:
    // `appName` names the sender to the desktop; `desktopEntry` is the name of the application's
    // `.desktop` file without its extension, by which desktops find its icon.
    FreedesktopNotificationService(QString appName, QString desktopEntry,
                                   QDBusConnection bus = QDBusConnection::sessionBus(),
                                   QObject* parent = nullptr);
    ~FreedesktopNotificationService() override;

    void post(const QString& identifier, const QString& title, const QString& body) override;

signals:
    // After the desktop answered a post, or failed to.
    void answered(const QString& identifier, bool shown);

private:
    struct Pending {
        QString title;
        QString body;
    };

    void send(const QString& identifier, const Pending& notification);
    void onAnswer(const QString& identifier, std::optional<uint> serverId, const QString& error);
    void sayOnce(const QString& message);

    QString appName_;
    QString desktopEntry_;
    QDBusConnection bus_;
    // The desktop's number for the notification last shown under each identifier.
    QHash<QString, uint> shownIds_;
    // Posts that wait for an earlier one of the same identifier to be answered, so that they can
    // replace it instead of showing beside it.
    QHash<QString, std::optional<Pending>> inFlight_;
    bool said_ = false;
};

} // namespace mnemora

#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>

#include <QCoroTask>

#include <memory>
#include <optional>

#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "daemon/EventStreamReader.h"
#include "daemon/MigrationStatus.h"
#include "migration/MigrationProgress.h"

namespace mnemora {

// Decides whether a vault layout migration is due, asks the daemon to run one and follows its
// progress on the event stream. The migrations themselves are the daemon's; nothing is retried
// here. One service serves the primary vault.
class MigrationService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString phase READ phaseWord NOTIFY phaseChanged)
    Q_PROPERTY(QString phaseMessage READ phaseMessage NOTIFY phaseChanged)
    Q_PROPERTY(double progressFraction READ progressFraction NOTIFY phaseChanged)
    Q_PROPERTY(bool statusKnown READ statusKnown NOTIFY statusChanged)
    Q_PROPERTY(QVariantMap preview READ previewMap NOTIFY statusChanged)
    Q_PROPERTY(QVariantList completed READ completedList NOTIFY statusChanged)
    Q_PROPERTY(QString lastError READ lastErrorText NOTIFY lastErrorChanged)
    Q_PROPERTY(bool runStarted READ runStarted NOTIFY phaseChanged)
    Q_PROPERTY(bool v3Needed READ v3Needed NOTIFY statusChanged)
    Q_PROPERTY(QStringList followUpLabels READ followUpLabels CONSTANT)

public:
    struct Phase {
        enum class Kind { idle, loading, preview, running, complete, failed };
        Kind kind = Kind::idle;
        std::optional<MigrationProgress> progress; // running
        QString message;                           // complete, failed

        bool operator==(const Phase&) const = default;
    };

    enum class Job { backfill, dedup, rename };
    struct JobInfo {
        Job job;
        QString path;
        QString event;
        QString startingMessage;
        QString label;
    };
    static const QList<JobInfo>& followUps();

    explicit MigrationService(QObject* parent = nullptr);
    ~MigrationService() override;

    DaemonService* daemon() const { return daemon_; }
    void setDaemon(DaemonService* daemon) { daemon_ = daemon; }

    const std::optional<MigrationStatus>& status() const { return status_; }
    std::optional<V4MigrationPreview> v4Preview() const;
    const Phase& phase() const { return phase_; }
    const std::optional<QString>& lastError() const { return lastError_; }
    bool runStarted() const { return runStarted_; }
    bool userAcknowledgedComplete() const { return userAcknowledgedComplete_; }
    const std::optional<QString>& activeEvent() const { return activeEvent_; }

    QString phaseWord() const;
    QString phaseMessage() const;
    double progressFraction() const; // -1 when unknown
    bool statusKnown() const { return status_.has_value(); }
    QVariantMap previewMap() const;
    QVariantList completedList() const;
    QString lastErrorText() const { return lastError_.value_or(QString()); }
    bool v3Needed() const { return status_ && status_->v3Needed.value_or(false); }
    static QStringList followUpLabels();

    // `GET migrations/status`; a failure fills `lastError` and leaves the phase as it was.
    QCoro::Task<> refreshStatus();
    QCoro::Task<> startV4(QString identityId, QString displayName, QString primaryFolder);
    QCoro::Task<> runFollowUp(Job job);

    // The press on the outcome: the run is over as far as the window is concerned.
    Q_INVOKABLE void acknowledge();
    Q_INVOKABLE void retry();
    Q_INVOKABLE void start(const QString& identityId, const QString& displayName,
                           const QString& primaryFolder);
    Q_INVOKABLE void startFollowUp(int job);

signals:
    void phaseChanged();
    void statusChanged();
    void lastErrorChanged();

private:
    QCoro::Task<> run(QString event, QString startingMessage,
                      std::function<QCoro::Task<Expected<void>>()> send);
    static QCoro::Task<> listen(QPointer<MigrationService> self, EventStreamReader* reader,
                                QUrl url);
    EventStreamReader::Next onEvent(const QJsonObject& object);
    void setPhase(Phase phase);
    void setLastError(const std::optional<QString>& error);
    bool outcomeShown() const;

    QPointer<DaemonService> daemon_;
    std::optional<MigrationStatus> status_;
    Phase phase_;
    std::optional<QString> lastError_;
    bool userAcknowledgedComplete_ = false;
    bool runStarted_ = false;
    std::optional<QString> activeEvent_;
    // One event task at a time; a new run ends the one before.
    std::unique_ptr<EventStreamReader> sseTask_;
};

} // namespace mnemora

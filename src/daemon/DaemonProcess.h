#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>
#include <variant>

#include "app/CancellableLoop.h"
#include "app/ConfigService.h"
#include "daemon/DaemonMode.h"
#include "daemon/SupervisionRules.h"

class QFile;
class QProcess;
class QProcessEnvironment;

namespace mnemora {

class DaemonService;

// The supervisor of one vault's daemon: finds its executable, decides whether a daemon already
// running can be used, spawns one if not, waits for its port, captures its output, watches it and
// restarts it within a strict budget. Everything runs on the main thread in short steps between
// waits; `respawnInFlight` and `intentionalStop` keep a respawn, the child's exit and the watchdog
// from acting twice.
class DaemonProcess : public QObject {
    Q_OBJECT
    Q_PROPERTY(mnemora::DaemonMode mode READ mode NOTIFY modeChanged)
    Q_PROPERTY(std::optional<int> port READ port NOTIFY portChanged)
    Q_PROPERTY(std::optional<QString> binaryPath READ binaryPath NOTIFY binaryPathChanged)
    Q_PROPERTY(bool slowToStart READ slowToStart NOTIFY slowToStartChanged)

public:
    using Mode = DaemonMode;
    using TimePoint = SupervisionRules::TimePoint;
    using Clock = std::function<TimePoint()>;

    // Every wait of supervision, so that tests run the same steps quickly.
    struct Timings {
        std::chrono::milliseconds portWait{6'000};         // before `start()` returns
        std::chrono::milliseconds portPoll{200};           // between port file reads
        std::chrono::milliseconds probeTimeout{1'500};     // GET /status of a daemon found
        std::chrono::milliseconds staleProbeInterval{200}; // after SIGTERM to a stale daemon
        int staleProbeAttempts = 10;
        std::chrono::milliseconds stopPoll{200}; // after SIGTERM to our child
        int stopPollAttempts = 15;
        std::chrono::milliseconds killSettle{300};           // after SIGKILL
        std::chrono::milliseconds blockingStopLimit{10'000}; // of the stop at quit
        std::chrono::milliseconds respawnSettle{400}; // before a spawn that replaces a daemon
        std::chrono::milliseconds watchdogInterval{5'000};
        std::chrono::milliseconds backoffUnit{1'000}; // one second of respawn backoff
    };

    explicit DaemonProcess(QObject* parent = nullptr);
    // A spawned child never outlives its supervisor.
    ~DaemonProcess() override;

    const Mode& mode() const { return mode_; }
    std::optional<int> port() const { return port_; }
    const std::optional<QString>& binaryPath() const { return binaryPath_; }
    // True while a spawned child has missed the first port wait and has not yet answered.
    bool slowToStart() const { return slowToStart_; }

    // Whether the daemon is up: a child by its own flag, an adopted daemon by `kill(pid, 0)`, an
    // external one by having a port.
    bool isRunning() const;
    // True when adopted or a spawned child.
    bool hasProcess() const;
    // True while a child of ours is held and running.
    bool childRunning() const;

    bool intentionalStop() const { return intentionalStop_; }
    bool respawnInFlight() const { return respawnInFlight_; }
    const QList<TimePoint>& respawnTimestamps() const { return respawnTimestamps_; }
    const std::optional<TimePoint>& crashLoopPausedAt() const { return crashLoopPausedAt_; }

    // Wiring.
    ConfigService* config() const { return config_; }
    void setConfig(ConfigService* config) { config_ = config; }
    const QString& cacheDirOverride() const { return cacheDirOverride_; }
    void setCacheDirOverride(const QString& folder) { cacheDirOverride_ = folder; }
    const QString& configDirOverride() const { return configDirOverride_; }
    void setConfigDirOverride(const QString& folder) { configDirOverride_ = folder; }
    const QString& logNameSuffix() const { return logNameSuffix_; }
    void setLogNameSuffix(const QString& suffix) { logNameSuffix_ = suffix; }

    // The executable names looked for, in order; the brand's by default.
    QStringList binaryNames() const;
    void setBinaryNames(const QStringList& names) { binaryNamesOverride_ = names; }
    void setTimings(const Timings& timings) { timings_ = timings; }
    void setClock(Clock clock) { clock_ = std::move(clock); }

    QString cacheFolder() const;
    QString portFilePath() const;
    QString logFilePath() const;
    // The vault a daemon we use must serve, when one is known.
    std::optional<QString> expectedVault() const;
    // The daemon's executable, wherever it is found first.
    std::optional<QString> resolveBinary() const;
    // The daemon's executable in our own bundle.
    std::optional<QString> inAppBinary() const;

    // Brings a daemon up: adopts a usable one or spawns our own. Returns once attached, or after
    // the port wait; a slow daemon keeps being waited for in the background.
    QCoro::Task<> start();
    // Stops our child and forgets the daemon; an adopted one is only let go.
    QCoro::Task<> stop();
    // The user's restart.
    QCoro::Task<> restart();
    // For termination: stops a running child and blocks until it has gone, killing it after
    // `blockingStopLimit`.
    void stopBlocking();
    // Watches the daemon through `service`'s polled status.
    void startWatchdog(DaemonService* service);

    // One watchdog pass: the reason to respawn, if any. Updates the watchdog's counters.
    std::optional<QString> evaluate(const DaemonStatus& status);
    // Replaces the daemon after a backoff, within the respawn budget.
    QCoro::Task<> respawn(QString reason);
    // Stops our daemon and the orphans proven to be this vault's, then starts afresh.
    QCoro::Task<> replaceDaemon();

signals:
    void modeChanged();
    void portChanged();
    void binaryPathChanged();
    void slowToStartChanged();

private:
    void setMode(const Mode& mode);
    void setPort(std::optional<int> port);
    void setBinaryPath(std::optional<QString> path);
    void setSlowToStart(bool slow);
    TimePoint now() const;

    // What a probe of the port file's port found.
    struct Probe {
        std::optional<AttachedDaemon> daemon;
        bool busy = false; // the port accepts connections but /status did not answer in time
        int port = 0;
        bool present() const { return daemon || busy; }
    };
    QCoro::Task<Probe> probeExisting(std::chrono::milliseconds timeout);
    // Probes, and gives a daemon that accepts connections but answers slowly until the start
    // time-out to answer.
    QCoro::Task<std::optional<AttachedDaemon>> findExisting();
    QCoro::Task<bool> terminateStale(DaemonStatusResponse response);
    BinaryVerdict compareBinary(const DaemonStatusResponse& response) const;
    void attach(const AttachedDaemon& daemon);
    QCoro::Task<> spawnAndWait();
    // Launches the child; gives its pid, or the reason it could not be launched.
    std::variant<qint32, QString> spawn(const QString& binary);
    QCoro::Task<bool> waitForPort(std::chrono::milliseconds timeout, bool openEnded,
                                  CancelToken token);
    static QCoro::Task<> waitForPortInBackground(QPointer<DaemonProcess> self, CancelToken token);
    QCoro::Task<> stopChild();
    // The shared first half of `stop` and `replaceDaemon`.
    QCoro::Task<> stopOnPurpose();
    QCoro::Task<> sweepOrphans();
    // The environment of a daemon we spawn: ours, with the daemon's own variables over it.
    QProcessEnvironment spawnEnvironment() const;
    void onChildFinished(QProcess* process, int status);
    void clearChild();
    void closeLog();
    void removePortFile() const;
    QString readLogTail() const;
    static QCoro::Task<> watchdogPass(QPointer<DaemonProcess> self);

    Mode mode_;
    std::optional<int> port_;
    std::optional<QString> binaryPath_;
    bool slowToStart_ = false;
    QProcess* child_ = nullptr;
    bool childPortPending_ = false; // the held child has not written its port yet
    CancellableTask portWaiterTask_;
    QFile* logFile_ = nullptr;
    bool intentionalStop_ = false;
    bool respawnInFlight_ = false;
    QList<TimePoint> respawnTimestamps_;
    std::optional<TimePoint> crashLoopPausedAt_;
    CancellableTask watchdogTask_;
    SupervisionRules::WatchdogCounters watchdogCounters_;
    QPointer<DaemonService> watchedDaemonService_;
    QString cacheDirOverride_;
    QString configDirOverride_;
    QString logNameSuffix_;
    QPointer<ConfigService> config_;

    std::optional<QStringList> binaryNamesOverride_;
    Timings timings_;
    Clock clock_;
};

} // namespace mnemora

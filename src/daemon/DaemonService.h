#pragma once

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <QCoroTask>

#include <chrono>
#include <optional>

#include "app/CancellableLoop.h"
#include "app/ConfigService.h"
#include "daemon/DaemonHttp.h"
#include "daemon/DaemonStatus.h"

namespace mnemora {

// The typed HTTP client of one vault's daemon. It holds no connection: every call reads the port
// file again, because the supervisor may replace the daemon, on a new port, at any time. It polls
// `GET /status` into `status`, which the displays and the watchdog both read.
class DaemonService : public QObject {
    Q_OBJECT
    Q_PROPERTY(mnemora::DaemonStatus status READ status NOTIFY statusChanged)
    Q_PROPERTY(QJsonObject progress READ progress NOTIFY progressChanged)

public:
    struct Timings {
        std::chrono::milliseconds pollInterval{5'000};
        std::chrono::milliseconds statusTimeout{10'000};
    };

    explicit DaemonService(QObject* parent = nullptr);
    ~DaemonService() override;

    const DaemonStatus& status() const { return status_; }
    // The last good `/status` body, whole.
    const QJsonObject& progress() const { return progress_; }

    ConfigService* config() const { return config_; }
    void setConfig(ConfigService* config) { config_ = config; }
    // A vault runtime's cache folder; empty for the primary.
    const QString& cacheDirOverride() const { return cacheDirOverride_; }
    void setCacheDirOverride(const QString& folder) { cacheDirOverride_ = folder; }
    void setTimings(const Timings& timings) { timings_ = timings; }

    QString portFilePath() const;
    // `http://127.0.0.1:{port}` from the port file as it is now; absent without a usable port.
    std::optional<QUrl> baseUrl() const;

    // Starts polling: the first poll at once, then one every interval. Replaces an earlier loop.
    void start();
    // Ends polling; `status` keeps its last value.
    void stop();
    bool isPolling() const { return pollTask_.isActive(); }

    // One poll.
    QCoro::Task<> refreshStatus();

    // The three request forms. A call without a port fails as a refused connection would.
    QCoro::Task<DaemonReply> get(QString path,
                                 std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
    QCoro::Task<DaemonReply> post(QString path,
                                  std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);
    QCoro::Task<DaemonReply>
    postJson(QString path, QJsonObject body,
             std::chrono::milliseconds timeout = DaemonHttp::defaultTimeout);

    // Asks the daemon to start or stop processing, then polls so the displays follow at once.
    QCoro::Task<DaemonReply> processStart();
    QCoro::Task<DaemonReply> processStop();

signals:
    void statusChanged();
    void progressChanged();

private:
    static QCoro::Task<> pollPass(QPointer<DaemonService> self);
    QCoro::Task<DaemonReply> request(QByteArray method, QString path, QByteArray body,
                                     QByteArray contentType, std::chrono::milliseconds timeout);
    void setConnection(const DaemonStatus::Connection& connection);

    DaemonStatus status_;
    QJsonObject progress_;
    CancellableTask pollTask_;
    QString cacheDirOverride_;
    QPointer<ConfigService> config_;
    Timings timings_;
};

// The daemon's base URL for code with no client at hand: the primary configuration's vault's
// port file, then the shared one, the first holding a port from 1 to 65535.
std::optional<QUrl> daemonBaseUrl();

} // namespace mnemora

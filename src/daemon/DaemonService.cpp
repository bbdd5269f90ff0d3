#include "daemon/DaemonService.h"

#include <QFile>
#include <QJsonDocument>

#include "app/ConfigService.h"
#include "app/PortFile.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonEndpoints.h"

namespace mnemora {

DaemonService::DaemonService(QObject* parent)
    : QObject(parent) {}

DaemonService::~DaemonService() = default;

QString DaemonService::portFilePath() const {
    return PortFile::pathIn(VaultPaths::daemonCacheFolder(cacheDirOverride_, config_.data()));
}

std::optional<QUrl> DaemonService::baseUrl() const {
    return DaemonHttp::baseUrl(PortFile::read(portFilePath()));
}

void DaemonService::start() {
    QPointer<DaemonService> self(this);
    CancellableLoop::start(pollTask_, timings_.pollInterval, CancellableLoop::FirstPass::atOnce,
                           [self] { return pollPass(self); });
}

void DaemonService::stop() {
    pollTask_.cancel();
}

QCoro::Task<> DaemonService::pollPass(QPointer<DaemonService> self) {
    if (self) {
        co_await self->refreshStatus();
    }
}

void DaemonService::setConnection(const DaemonStatus::Connection& connection) {
    if (status_.connection != connection) {
        status_.connection = connection;
        emit statusChanged();
    }
}

QCoro::Task<> DaemonService::refreshStatus() {
    QPointer<DaemonService> self(this);
    const std::optional<QUrl> base = baseUrl();
    if (!base) {
        // The other fields keep what the daemon last said.
        setConnection(
            DaemonStatus::Connection::disconnected(QStringLiteral("No daemon port file")));
        co_return;
    }
    QCoro::Task<DaemonReply> asking = DaemonEndpoints::request(
        base, "GET", QStringLiteral("status"), {}, {}, timings_.statusTimeout);
    const DaemonReply reply = co_await asking;
    if (!self) {
        co_return;
    }
    if (reply.transportError) {
        setConnection(DaemonStatus::Connection::disconnected(*reply.transportError));
        co_return;
    }
    if (reply.httpStatus != 200) {
        setConnection(DaemonStatus::Connection::disconnected(QStringLiteral("HTTP error")));
        co_return;
    }
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(reply.body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        setConnection(DaemonStatus::Connection::disconnected(parseError.errorString()));
        co_return;
    }
    if (!document.isObject()) {
        setConnection(DaemonStatus::Connection::disconnected(
            QStringLiteral("The daemon's status is not a JSON object")));
        co_return;
    }
    const QJsonObject body = document.object();
    if (progress_ != body) {
        progress_ = body;
        emit progressChanged();
    }
    DaemonStatus updated = status_;
    updated.applyBody(body, QDateTime::currentDateTimeUtc());
    status_ = updated;
    emit statusChanged();
}

QCoro::Task<DaemonReply> DaemonService::request(QByteArray method, QString path, QByteArray body,
                                                QByteArray contentType,
                                                std::chrono::milliseconds timeout) {
    QCoro::Task<DaemonReply> sending =
        DaemonEndpoints::request(baseUrl(), method, path, body, contentType, timeout);
    co_return co_await sending;
}

QCoro::Task<DaemonReply> DaemonService::get(QString path, std::chrono::milliseconds timeout) {
    return request("GET", std::move(path), {}, {}, timeout);
}

QCoro::Task<DaemonReply> DaemonService::post(QString path, std::chrono::milliseconds timeout) {
    return request("POST", std::move(path), {}, {}, timeout);
}

QCoro::Task<DaemonReply> DaemonService::postJson(QString path, QJsonObject body,
                                                 std::chrono::milliseconds timeout) {
    return request("POST", std::move(path), QJsonDocument(body).toJson(QJsonDocument::Compact),
                   "application/json", timeout);
}

QCoro::Task<DaemonReply> DaemonService::processStart() {
    QPointer<DaemonService> self(this);
    DaemonReply reply = co_await post(QStringLiteral("process/start"));
    if (self) {
        co_await self->refreshStatus();
    }
    co_return reply;
}

QCoro::Task<DaemonReply> DaemonService::processStop() {
    QPointer<DaemonService> self(this);
    DaemonReply reply = co_await post(QStringLiteral("process/stop"));
    if (self) {
        co_await self->refreshStatus();
    }
    co_return reply;
}

std::optional<QUrl> daemonBaseUrl() {
    QStringList candidates;
    // The primary configuration, read by itself: callers of this have no service at hand.
    QFile file(ConfigService::primaryFilePath());
    if (file.open(QIODevice::ReadOnly)) {
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
        if (const auto vault = VaultPaths::configuredVault(document.object())) {
            candidates << PortFile::pathIn(VaultPaths::vaultCacheFolder(*vault));
        }
    }
    candidates << PortFile::pathIn(VaultPaths::sharedCacheFolder());
    for (const QString& candidate : candidates) {
        if (auto url = DaemonHttp::baseUrl(PortFile::read(candidate))) {
            return url;
        }
    }
    return std::nullopt;
}

} // namespace mnemora

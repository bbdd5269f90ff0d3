#include "daemon/DaemonEndpoints.h"

#include "daemon/DaemonService.h"

namespace mnemora::DaemonEndpoints {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds shortTimeout = 3s;

// A read: the body's object, absent for any failure.
QCoro::Task<std::optional<QJsonObject>> fetch(QPointer<DaemonService> daemon, QString path,
                                              std::chrono::milliseconds timeout) {
    if (!daemon || !daemon->baseURL()) {
        co_return std::nullopt;
    }
    QCoro::Task<DaemonReply> getting = daemon->get(std::move(path), timeout);
    const DaemonReply reply = co_await getting;
    if (!reply.ok()) {
        co_return std::nullopt;
    }
    co_return reply.jsonObject();
}

} // namespace

QCoro::Task<std::optional<QueuePositions>> queuePositions(QPointer<DaemonService> daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching =
        fetch(daemon, QStringLiteral("queue/positions"), shortTimeout);
    const auto body = co_await fetching;
    if (!body) {
        co_return std::nullopt;
    }
    co_return QueuePositions::fromJson(*body);
}

} // namespace mnemora::DaemonEndpoints

#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <QCoroTask>

#include <chrono>
#include <optional>

namespace mnemora {

// The outcome of one request to the daemon. Calls never throw: a request that got no HTTP answer
// carries the platform's words for why, and a non-200 answer is told by the caller in its own
// words through `failureText`.
struct DaemonReply {
    std::optional<QString> transportError; // no HTTP answer: "Connection refused", ...
    int httpStatus = 0;                    // 0 without an answer
    QByteArray body;

    bool ok() const { return !transportError && httpStatus == 200; }

    // Why the call failed, empty when it did not: the transport's words, else the daemon's own
    // `error` string from a JSON body, else `failureWord`.
    QString failureText(const QString& failureWord) const;

    // The body as a JSON object, absent when it is not one.
    std::optional<QJsonObject> jsonObject() const;
};

// The daemon's HTTP transport, shared by the supervisor (which must talk to a daemon before any
// client has found it) and the client.
namespace DaemonHttp {

inline constexpr std::chrono::milliseconds defaultTimeout{60'000};

// `http://127.0.0.1:{port}`; absent for a port no socket can have.
std::optional<QUrl> baseUrl(std::optional<int> port);

// `path` appended to `base` as a path component ("process/start" gives ".../process/start").
QUrl endpoint(const QUrl& base, const QString& path);

// The words of a call made while the daemon has no port: the same as for a refused connection,
// so that callers need tell the two apart nowhere.
QString unreachableText();

// One request through the application's shared session. `timeout` is the longest silence
// allowed. A non-empty `contentType` is sent as the Content-Type header.
QCoro::Task<DaemonReply> send(QByteArray method, QUrl url, QByteArray body, QByteArray contentType,
                              std::chrono::milliseconds timeout);

} // namespace DaemonHttp

} // namespace mnemora

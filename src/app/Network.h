#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <QCoroTask>

#include <chrono>
#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class QObject;

namespace mnemora {

// The outcome of one HTTP request. Requests never throw: one that got no HTTP answer carries the
// platform's words for why, and a non-200 answer is told by the caller in its own words through
// `failureText`.
struct HttpReply {
    std::optional<QString> transportError; // no HTTP answer: "Connection refused", ...
    int httpStatus = 0;                    // 0 without an answer
    QByteArray body;

    bool ok() const { return !transportError && httpStatus == 200; }

    // Why the call failed, empty when it did not: the transport's words, else the peer's own
    // `error` string from a JSON body, else `failureWord`.
    QString failureText(const QString& failureWord) const;

    // The body as a JSON object, absent when it is not one.
    std::optional<QJsonObject> jsonObject() const;
};

namespace Network {

// The awaiting coroutine resumes inside the reply's `finished` emission, where deleting the reply
// would pull it from under Qt's own code: it goes when control is back in the event loop.
struct DeleteLater {
    void operator()(QObject* object) const;
};
using ReplyHandle = std::unique_ptr<QNetworkReply, DeleteLater>;

// The one HTTP session of the main thread that every daemon call goes through.
QNetworkAccessManager& shared();

// Starts one request through the shared session and gives its reply, which the caller owns.
// `timeout` is the longest silence allowed, none when zero. Non-empty `contentType` and `accept`
// are sent as their headers.
QNetworkReply* start(const QByteArray& method, const QUrl& url, const QByteArray& body,
                     const QByteArray& contentType, std::chrono::milliseconds timeout,
                     const QByteArray& accept = {});

// What a finished reply came to, with whatever of its body is still unread.
HttpReply outcome(QNetworkReply& reply);

// One request through the shared session. `timeout` is the longest silence allowed. A non-empty
// `contentType` is sent as the Content-Type header.
QCoro::Task<HttpReply> send(QByteArray method, QUrl url, QByteArray body, QByteArray contentType,
                            std::chrono::milliseconds timeout);

} // namespace Network

} // namespace mnemora

#include "app/Network.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <QCoroNetworkReply>

#include <memory>

namespace mnemora {

QString HttpReply::failureText(const QString& failureWord) const {
    if (transportError) {
        return *transportError;
    }
    if (httpStatus == 200) {
        return {};
    }
    if (const auto object = jsonObject()) {
        const QJsonValue error = object->value(QLatin1String("error"));
        if (error.isString()) {
            return error.toString();
        }
    }
    return failureWord;
}

std::optional<QJsonObject> HttpReply::jsonObject() const {
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

namespace Network {

namespace {

// The awaiting coroutine resumes inside the reply's `finished` emission, where deleting the reply
// would pull it from under Qt's own code: it goes when control is back in the event loop.
struct DeleteLater {
    void operator()(QObject* object) const {
        if (object != nullptr) {
            object->deleteLater();
        }
    }
};

} // namespace

QNetworkAccessManager& shared() {
    static QNetworkAccessManager* manager = [] {
        auto* created = new QNetworkAccessManager();
        // Only loopback is ever spoken to; a system proxy must not intercept it.
        created->setProxy(QNetworkProxy::NoProxy);
        return created;
    }();
    return *manager;
}

QCoro::Task<HttpReply> send(QByteArray method, QUrl url, QByteArray body, QByteArray contentType,
                            std::chrono::milliseconds timeout) {
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(timeout.count()));
    if (!contentType.isEmpty()) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QString::fromLatin1(contentType));
    }
    QNetworkAccessManager& session = shared();
    std::unique_ptr<QNetworkReply, DeleteLater> reply;
    if (method == "GET") {
        reply.reset(session.get(request));
    } else if (method == "POST") {
        reply.reset(session.post(request, body));
    } else {
        reply.reset(session.sendCustomRequest(request, method, body));
    }
    co_await reply.get();

    HttpReply result;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isNull()) {
        // Our only abort is the transfer time-out; Qt words it as a cancellation.
        result.transportError = reply->error() == QNetworkReply::OperationCanceledError
                                    ? QStringLiteral("The request timed out.")
                                    : reply->errorString();
        co_return result;
    }
    result.httpStatus = status.toInt();
    result.body = reply->readAll();
    co_return result;
}

} // namespace Network

} // namespace mnemora

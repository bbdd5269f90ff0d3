#include "app/Network.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <QCoroNetworkReply>

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

void DeleteLater::operator()(QObject* object) const {
    if (object != nullptr) {
        object->deleteLater();
    }
}

QNetworkAccessManager& shared() {
    static QNetworkAccessManager* manager = [] {
        auto* created = new QNetworkAccessManager();
        // Only loopback is ever spoken to; a system proxy must not intercept it.
        created->setProxy(QNetworkProxy::NoProxy);
        return created;
    }();
    return *manager;
}

QNetworkReply* start(const QByteArray& method, const QUrl& url, const QByteArray& body,
                     const QByteArray& contentType, std::chrono::milliseconds timeout,
                     const QByteArray& accept) {
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(timeout.count()));
    if (!contentType.isEmpty()) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QString::fromLatin1(contentType));
    }
    if (!accept.isEmpty()) {
        request.setRawHeader("Accept", accept);
    }
    QNetworkAccessManager& session = shared();
    if (method == "GET") {
        return session.get(request);
    }
    if (method == "POST") {
        return session.post(request, body);
    }
    return session.sendCustomRequest(request, method, body);
}

HttpReply outcome(QNetworkReply& reply) {
    HttpReply result;
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isNull()) {
        // Our only abort is the transfer time-out; Qt words it as a cancellation.
        result.transportError = reply.error() == QNetworkReply::OperationCanceledError
                                    ? QStringLiteral("The request timed out.")
                                    : reply.errorString();
        return result;
    }
    result.httpStatus = status.toInt();
    if (reply.isOpen()) { // an aborted reply is closed
        result.body = reply.readAll();
    }
    return result;
}

QCoro::Task<HttpReply> send(QByteArray method, QUrl url, QByteArray body, QByteArray contentType,
                            std::chrono::milliseconds timeout) {
    ReplyHandle reply(start(method, url, body, contentType, timeout));
    co_await reply.get();
    co_return outcome(*reply);
}

} // namespace Network

} // namespace mnemora

#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

namespace mnemora {

// One answer of the introspection server: a status, headers and the body bytes.
struct HttpResponse {
    int status = 200;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    // A JSON object with its keys sorted.
    static HttpResponse json(int status, const QJsonObject& object);
    // An error answer: `error` and any further keys.
    static HttpResponse error(int status, const QString& words, QJsonObject more = {});
    static HttpResponse png(const QByteArray& bytes);

    // The bytes on the wire: status line, headers with `Content-Length` and `Connection: close`
    // over any given ones, an empty line, the body.
    QByteArray serialized() const;

    static QByteArray reasonPhrase(int status);
};

} // namespace mnemora

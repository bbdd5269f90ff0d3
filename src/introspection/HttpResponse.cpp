#include "introspection/HttpResponse.h"

#include <QJsonDocument>

namespace mnemora {

HttpResponse HttpResponse::json(int status, const QJsonObject& object) {
    // QJsonObject keeps its keys sorted, so the text is sorted too.
    QByteArray body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    if (body.isEmpty()) {
        body = QByteArrayLiteral("{}");
    }
    return {
        status, {{QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")}}, body};
}

HttpResponse HttpResponse::error(int status, const QString& words, QJsonObject more) {
    more.insert(QStringLiteral("error"), words);
    return json(status, more);
}

HttpResponse HttpResponse::png(const QByteArray& bytes) {
    return {200, {{QByteArrayLiteral("Content-Type"), QByteArrayLiteral("image/png")}}, bytes};
}

QByteArray HttpResponse::reasonPhrase(int status) {
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 400:
        return QByteArrayLiteral("Bad Request");
    case 404:
        return QByteArrayLiteral("Not Found");
    case 500:
        return QByteArrayLiteral("Internal Server Error");
    case 502:
        return QByteArrayLiteral("Bad Gateway");
    default:
        return QByteArrayLiteral("Status");
    }
}

QByteArray HttpResponse::serialized() const {
    QByteArray out = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    for (const auto& [name, value] : headers) {
        const QByteArray lower = name.toLower();
        if (lower == "content-length" || lower == "connection") {
            continue;
        }
        out += name + ": " + value + "\r\n";
    }
    out += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    out += "Connection: close\r\n\r\n";
    out += body;
    return out;
}

} // namespace mnemora

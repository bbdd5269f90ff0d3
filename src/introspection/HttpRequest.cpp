#include "introspection/HttpRequest.h"

#include <QStringDecoder>
#include <QUrl>

namespace mnemora {

namespace {

const QByteArray kHeadEnd = QByteArrayLiteral("\r\n\r\n");

std::optional<QString> decodeUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

QString percentDecoded(const QString& text) {
    return QUrl::fromPercentEncoding(text.toUtf8());
}

void readTarget(const QString& target, HttpRequest& request) {
    const qsizetype mark = target.indexOf(QLatin1Char('?'));
    request.path = mark < 0 ? target : target.left(mark);
    if (mark < 0) {
        return;
    }
    for (const QString& item : target.mid(mark + 1).split(QLatin1Char('&'))) {
        const qsizetype equals = item.indexOf(QLatin1Char('='));
        const QString key = equals < 0 ? item : item.left(equals);
        const QString value = equals < 0 ? QString() : item.mid(equals + 1);
        request.query.insert(percentDecoded(key), percentDecoded(value));
    }
}

// A decimal count and nothing else; none for anything a number cannot be read from.
std::optional<qint64> contentLength(const HttpRequest& request) {
    const auto found = request.headers.constFind(QStringLiteral("content-length"));
    if (found == request.headers.cend()) {
        return std::nullopt;
    }
    bool numeric = false;
    const qint64 length = found->toLongLong(&numeric);
    if (!numeric || length < 0) {
        return std::nullopt;
    }
    return length;
}

} // namespace

HttpRequest::Parse HttpRequest::parse(const QByteArray& buffer) {
    const qsizetype headEnd = buffer.indexOf(kHeadEnd);
    if (headEnd < 0) {
        if (buffer.size() > kMaxHeadBytes) {
            return Refused{431, QStringLiteral("request head too large (limit 64 KB)")};
        }
        return Incomplete{};
    }
    if (headEnd > kMaxHeadBytes) {
        return Refused{431, QStringLiteral("request head too large (limit 64 KB)")};
    }
    const std::optional<QString> head = decodeUtf8(buffer.left(headEnd));
    if (!head) {
        return Refused{400, QStringLiteral("request head is not valid UTF-8")};
    }
    const QStringList lines = head->split(QStringLiteral("\r\n"));
    const QStringList start = lines.first().split(QLatin1Char(' '));
    if (start.size() < 2) {
        return Refused{400, QStringLiteral("malformed request line")};
    }
    HttpRequest request;
    request.method = start.at(0);
    readTarget(start.at(1), request);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines.at(i).indexOf(QLatin1Char(':'));
        if (colon < 0) {
            continue;
        }
        request.headers.insert(lines.at(i).left(colon).trimmed().toLower(),
                               lines.at(i).mid(colon + 1).trimmed());
    }
    const qsizetype bodyStart = headEnd + kHeadEnd.size();
    if (const std::optional<qint64> length = contentLength(request)) {
        if (*length > kMaxBodyBytes) {
            return Refused{413, QStringLiteral("request body too large (limit 8 MB)")};
        }
        if (buffer.size() - bodyStart < *length) {
            return Incomplete{};
        }
        request.body = buffer.mid(bodyStart, static_cast<qsizetype>(*length));
    }
    return request;
}

} // namespace mnemora

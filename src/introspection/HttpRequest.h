#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <variant>

namespace mnemora {

// One request of a script, as the introspection server reads it off its socket.
struct HttpRequest {
    QString method;
    QString path;
    QMap<QString, QString> query;   // percent-decoded; the last of two equal keys wins
    QMap<QString, QString> headers; // keys in lower case, values trimmed
    QByteArray body;

    bool operator==(const HttpRequest&) const = default;

    // A head longer than this without its end is refused: nothing we answer needs one.
    static constexpr qsizetype kMaxHeadBytes = 64 * 1024;
    // A body announced longer than this is refused before it is read.
    static constexpr qsizetype kMaxBodyBytes = 8 * 1024 * 1024;

    // More bytes are needed before anything can be said.
    struct Incomplete {
        bool operator==(const Incomplete&) const = default;
    };
    // The bytes can never become a request: answer `status` with these words and close.
    struct Refused {
        int status = 400;
        QString error;
        bool operator==(const Refused&) const = default;
    };
    using Parse = std::variant<Incomplete, Refused, HttpRequest>;

    // Reads one request from the bytes received so far. Bytes behind the announced body are
    // ignored: a connection carries one request.
    static Parse parse(const QByteArray& buffer);
};

} // namespace mnemora

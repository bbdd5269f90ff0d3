#include "introspection/ServerClient.h"

#include <QJsonDocument>
#include <QTcpSocket>

#include "support/EventLoop.h"

namespace mnemora::test {

QJsonObject ServerReply::json() const {
    return QJsonDocument::fromJson(body).object();
}

ServerReply exchange(int port, const QList<QByteArray>& pieces, std::chrono::milliseconds limit) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    ServerReply reply;
    if (!waitUntil([&] { return socket.state() == QAbstractSocket::ConnectedState; })) {
        return reply;
    }
    for (const QByteArray& piece : pieces) {
        socket.write(piece);
        socket.flush();
        // Each piece leaves on its own, so the server receives it apart from the next.
        waitUntil([&] { return socket.bytesToWrite() == 0; });
        QCoreApplication::processEvents();
    }
    waitUntil(
        [&] {
            reply.raw += socket.readAll();
            return socket.state() == QAbstractSocket::UnconnectedState;
        },
        limit);
    reply.raw += socket.readAll();
    const qsizetype headEnd = reply.raw.indexOf("\r\n\r\n");
    reply.status = reply.raw.mid(9, 3).toInt();
    reply.body = headEnd < 0 ? QByteArray() : reply.raw.mid(headEnd + 4);
    return reply;
}

ServerReply get(int port, const QByteArray& target) {
    return exchange(port, {"GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" +
                           QByteArray::number(port) + "\r\n\r\n"});
}

ServerReply post(int port, const QByteArray& target, const QByteArray& body) {
    return exchange(port,
                    {"POST " + target + " HTTP/1.1\r\nHost: localhost:" + QByteArray::number(port) +
                     "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body});
}

ServerReply action(int port, const QJsonObject& body) {
    return post(port, "/action", QJsonDocument(body).toJson(QJsonDocument::Compact));
}

} // namespace mnemora::test

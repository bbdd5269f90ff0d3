#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>

#include <chrono>

namespace mnemora::test {

// What came back on one connection to the introspection server.
struct ServerReply {
    QByteArray raw;
    int status = 0;
    QByteArray body;

    QJsonObject json() const;
};

// Sends raw bytes to 127.0.0.1:`port` in the given pieces and reads until the server closes,
// turning the event loop meanwhile, since the server answers from the main thread.
ServerReply exchange(int port, const QList<QByteArray>& pieces,
                     std::chrono::milliseconds limit = std::chrono::seconds(20));

// A well-formed request with this process's own Host header.
ServerReply get(int port, const QByteArray& target);
ServerReply post(int port, const QByteArray& target, const QByteArray& body);
ServerReply action(int port, const QJsonObject& body);

} // namespace mnemora::test

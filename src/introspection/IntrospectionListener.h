#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <functional>
#include <optional>

#include "introspection/HttpRequest.h"
#include "introspection/HttpResponse.h"

class QTcpServer;
class QTcpSocket;

namespace mnemora {

// The socket side of the introspection server, living on a thread of its own: it accepts
// loopback connections, reads one request from each, refuses what a browser or a broken client
// could send, and hands complete requests over. Every call but the constructor runs on its thread.
class IntrospectionListener : public QObject {
    Q_OBJECT

public:
    // `received` is called on this thread with each accepted request and the id to answer it by.
    using Received = std::function<void(quint64 connection, HttpRequest request)>;

    IntrospectionListener(Received received, std::chrono::milliseconds idleTimeout);
    ~IntrospectionListener() override;

    // Listens on 127.0.0.1:`port`; the system's words when that fails.
    std::optional<QString> listen(int port);
    void close();

    // Sends the answer and closes; a connection the peer already dropped is let go.
    void respond(quint64 connection, const QByteArray& bytes);

private:
    struct Pending {
        QPointer<QTcpSocket> socket;
        QByteArray buffer;
    };

    void accept();
    void read(QTcpSocket* socket);
    std::optional<HttpResponse> refusal(const HttpRequest& request) const;
    void finish(QTcpSocket* socket, const QByteArray& bytes);

    Received received_;
    std::chrono::milliseconds idleTimeout_;
    QTcpServer* server_ = nullptr;
    int port_ = 0;
    quint64 nextConnection_ = 0;
    QHash<QTcpSocket*, QByteArray> buffers_;
    QHash<quint64, QPointer<QTcpSocket>> waiting_;
};

} // namespace mnemora

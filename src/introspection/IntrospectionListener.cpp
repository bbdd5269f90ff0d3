#include "introspection/IntrospectionListener.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace mnemora {

namespace {

// The most one receive takes off the socket.
constexpr qint64 kReceiveBytes = 65536;

} // namespace

IntrospectionListener::IntrospectionListener(Received received,
                                             std::chrono::milliseconds idleTimeout)
    : received_(std::move(received))
    , idleTimeout_(idleTimeout) {}

IntrospectionListener::~IntrospectionListener() = default;

std::optional<QString> IntrospectionListener::listen(int port) {
    close();
    server_ = new QTcpServer(this);
    if (!server_->listen(QHostAddress::LocalHost, static_cast<quint16>(port))) {
        const QString words = server_->errorString();
        delete server_;
        server_ = nullptr;
        return words;
    }
    port_ = port;
    connect(server_, &QTcpServer::newConnection, this, &IntrospectionListener::accept);
    return std::nullopt;
}

void IntrospectionListener::close() {
    delete server_;
    server_ = nullptr;
    for (const QPointer<QTcpSocket>& socket : std::as_const(waiting_)) {
        if (socket) {
            socket->abort();
            socket->deleteLater();
        }
    }
    waiting_.clear();
}

void IntrospectionListener::accept() {
    while (QTcpSocket* socket = server_->nextPendingConnection()) {
        socket->setParent(this);
        buffers_.insert(socket, {});
        // A client that stops sending before its request is whole gets an answer, then the door.
        auto* idle = new QTimer(socket);
        idle->setSingleShot(true);
        idle->setObjectName(QStringLiteral("idle"));
        connect(idle, &QTimer::timeout, socket, [this, socket] {
            finish(socket, HttpResponse::error(408, QStringLiteral("request not completed in time; "
                                                                   "connection closed"))
                               .serialized());
        });
        idle->start(idleTimeout_);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            buffers_.remove(socket);
            socket->deleteLater();
        });
        read(socket);
    }
}

void IntrospectionListener::read(QTcpSocket* socket) {
    if (!buffers_.contains(socket)) {
        return;
    }
    QByteArray& buffer = buffers_[socket];
    while (socket->bytesAvailable() > 0) {
        buffer += socket->read(kReceiveBytes);
    }
    if (auto* idle = socket->findChild<QTimer*>(QStringLiteral("idle"))) {
        idle->start(idleTimeout_);
    }
    HttpRequest::Parse parsed = HttpRequest::parse(buffer);
    if (std::holds_alternative<HttpRequest::Incomplete>(parsed)) {
        return;
    }
    if (const auto* refused = std::get_if<HttpRequest::Refused>(&parsed)) {
        finish(socket, HttpResponse::error(refused->status, refused->error).serialized());
        return;
    }
    HttpRequest request = std::get<HttpRequest>(std::move(parsed));
    if (const std::optional<HttpResponse> refusedHere = refusal(request)) {
        finish(socket, refusedHere->serialized());
        return;
    }
    // Whole: no more reading, and no idle limit while the main thread works on it.
    buffers_.remove(socket);
    delete socket->findChild<QTimer*>(QStringLiteral("idle"));
    const quint64 connection = ++nextConnection_;
    waiting_.insert(connection, socket);
    received_(connection, std::move(request));
}

// A page in the user's browser can make it send requests to loopback: such a request names
// another host (DNS rebinding) or carries an Origin, which scripts of ours never send.
std::optional<HttpResponse> IntrospectionListener::refusal(const HttpRequest& request) const {
    if (request.headers.contains(QStringLiteral("origin"))) {
        return HttpResponse::error(403, QStringLiteral("requests from web pages are refused"));
    }
    const QString host = request.headers.value(QStringLiteral("host"));
    const QString port = QString::number(port_);
    for (const char* name : {"127.0.0.1:", "localhost:", "[::1]:"}) {
        if (host == QLatin1String(name) + port) {
            return std::nullopt;
        }
    }
    return HttpResponse::error(403, QStringLiteral("Host must be 127.0.0.1:%1, localhost:%1 or "
                                                   "[::1]:%1")
                                        .arg(port));
}

void IntrospectionListener::respond(quint64 connection, const QByteArray& bytes) {
    const QPointer<QTcpSocket> socket = waiting_.take(connection);
    if (socket && socket->state() == QAbstractSocket::ConnectedState) {
        finish(socket, bytes);
    }
}

void IntrospectionListener::finish(QTcpSocket* socket, const QByteArray& bytes) {
    buffers_.remove(socket);
    delete socket->findChild<QTimer*>(QStringLiteral("idle"));
    socket->write(bytes);
    // Closes once everything written has gone out.
    socket->disconnectFromHost();
}

} // namespace mnemora

#include "support/HttpServer.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace mnemora::test {

namespace {

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 400:
        return "Bad Request";
    case 404:
        return "Not Found";
    case 409:
        return "Conflict";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

} // namespace

HttpServer::HttpServer(Handler handler, QObject* parent)
    : QObject(parent)
    , server_(new QTcpServer(this))
    , handler_(std::move(handler)) {
    server_->listen(QHostAddress::LocalHost, 0);
    connect(server_, &QTcpServer::newConnection, this, &HttpServer::onNewConnection);
}

HttpServer::~HttpServer() {
    closeStreams();
}

quint16 HttpServer::port() const {
    return server_->serverPort();
}

QString HttpServer::baseUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

int HttpServer::requestCount(const QByteArray& path) const {
    int count = 0;
    for (const Request& request : requests_) {
        count += request.path == path ? 1 : 0;
    }
    return count;
}

HttpServer::Response HttpServer::json(const QByteArray& body, int status) {
    Response response;
    response.status = status;
    response.body = body;
    return response;
}

void HttpServer::close() {
    server_->close();
}

void HttpServer::onNewConnection() {
    while (QTcpSocket* socket = server_->nextPendingConnection()) {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            buffers_.remove(socket);
            socket->deleteLater();
        });
    }
}

void HttpServer::onReadyRead(QTcpSocket* socket) {
    QByteArray& buffer = buffers_[socket];
    buffer += socket->readAll();
    const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
    if (headerEnd < 0) {
        return;
    }
    Request request;
    const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    request.method = requestLine.value(0);
    request.path = requestLine.value(1);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon > 0) {
            request.headers.insert(line.left(colon).trimmed().toLower(),
                                   line.mid(colon + 1).trimmed());
        }
    }
    const qsizetype length = request.headers.value("content-length", "0").toLongLong();
    if (buffer.size() < headerEnd + 4 + length) {
        return; // body still arriving
    }
    request.body = buffer.mid(headerEnd + 4, length);
    buffer.remove(0, headerEnd + 4 + length);
    requests_ << request;
    answer(socket, request);
}

void HttpServer::answer(QTcpSocket* socket, const Request& request) {
    const Response response = handler_ ? handler_(request) : json("{}", 404);
    QPointer<QTcpSocket> guard(socket);
    auto send = [this, guard, response] {
        if (!guard) {
            return;
        }
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' +
                          reasonPhrase(response.status) + "\r\n";
        if (response.stream) {
            head += "Content-Type: text/event-stream\r\nCache-Control: no-cache\r\n"
                    "Connection: keep-alive\r\n\r\n";
            guard->write(head);
            guard->write(response.body);
            guard->flush();
            streams_ << guard;
            return;
        }
        head += "Content-Type: " + response.contentType +
                "\r\nContent-Length: " + QByteArray::number(response.body.size()) +
                "\r\nConnection: close\r\n\r\n";
        guard->write(head + response.body);
        guard->flush();
        guard->disconnectFromHost();
    };
    if (response.delayMs > 0) {
        QTimer::singleShot(response.delayMs, this, send);
    } else {
        send();
    }
}

void HttpServer::sendToStreams(const QByteArray& bytes) {
    for (const QPointer<QTcpSocket>& socket : std::as_const(streams_)) {
        if (socket) {
            socket->write(bytes);
            socket->flush();
        }
    }
}

void HttpServer::closeStreams() {
    for (const QPointer<QTcpSocket>& socket : std::as_const(streams_)) {
        if (socket) {
            socket->disconnectFromHost();
        }
    }
    streams_.clear();
}

int HttpServer::openStreamCount() const {
    int count = 0;
    for (const QPointer<QTcpSocket>& socket : streams_) {
        count += (socket && socket->state() == QAbstractSocket::ConnectedState) ? 1 : 0;
    }
    return count;
}

} // namespace mnemora::test

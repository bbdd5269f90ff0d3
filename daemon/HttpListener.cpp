#include "HttpListener.h"

#include <QJsonDocument>
#include <QTcpSocket>

namespace mnemora::refdaemon {

namespace {

// A body larger than this is refused: clips are short and documents are text.
constexpr qsizetype maxBodyBytes = qsizetype{256} << 20;

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 404:
        return "Not Found";
    case 413:
        return "Payload Too Large";
    case 501:
        return "Not Implemented";
    default:
        return status >= 500 ? "Internal Server Error" : "Error";
    }
}

// Parses the head of a request once it is complete; false while more bytes are needed.
bool parseHead(const QByteArray& buffer, HttpRequest& request, qsizetype& bodyStart) {
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0) {
        return false;
    }
    const QList<QByteArray> lines = buffer.left(end).split('\n');
    const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
    request.method = first.value(0);
    const QByteArray target = first.value(1);
    const qsizetype mark = target.indexOf('?');
    request.path =
        QString::fromUtf8(QByteArray::fromPercentEncoding(mark < 0 ? target : target.left(mark)));
    while (request.path.startsWith(QLatin1Char('/'))) {
        request.path.remove(0, 1);
    }
    if (mark >= 0) {
        request.query.setQuery(QString::fromUtf8(target.mid(mark + 1)));
    }
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0) {
            request.headers.insert(lines[i].left(colon).trimmed().toLower(),
                                   lines[i].mid(colon + 1).trimmed());
        }
    }
    bodyStart = end + 4;
    return true;
}

} // namespace

QJsonObject HttpRequest::json() const {
    return QJsonDocument::fromJson(body).object();
}

HttpExchange::HttpExchange(QTcpSocket* socket)
    : QObject(socket)
    , socket_(socket) {
    connect(socket, &QTcpSocket::disconnected, this, &HttpExchange::closed);
}

bool HttpExchange::isOpen() const {
    return socket_ && socket_->state() == QAbstractSocket::ConnectedState;
}

void HttpExchange::reply(int status, const QJsonObject& body) {
    if (!socket_) {
        return;
    }
    const QByteArray bytes = QJsonDocument(body).toJson(QJsonDocument::Compact);
    socket_->write("HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) +
                   "\r\nContent-Type: application/json\r\nContent-Length: " +
                   QByteArray::number(bytes.size()) + "\r\nConnection: close\r\n\r\n" + bytes);
    socket_->disconnectFromHost();
}

void HttpExchange::beginStream() {
    if (socket_) {
        socket_->write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: "
                       "no-cache\r\nConnection: close\r\n\r\n");
    }
}

void HttpExchange::sendData(const QJsonObject& object) {
    if (isOpen()) {
        socket_->write("data: " + QJsonDocument(object).toJson(QJsonDocument::Compact) + "\n\n");
    }
}

void HttpExchange::endStream() {
    if (socket_) {
        socket_->disconnectFromHost();
    }
}

HttpListener::HttpListener(Handler handler, QObject* parent)
    : QObject(parent)
    , handler_(std::move(handler)) {
    connect(&server_, &QTcpServer::newConnection, this, &HttpListener::accept);
}

bool HttpListener::listen() {
    return server_.listen(QHostAddress::LocalHost, 0);
}

void HttpListener::accept() {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
    }
}

void HttpListener::readFrom(QTcpSocket* socket) {
    if (socket->property("handled").toBool()) {
        socket->readAll(); // one request per connection; anything after it is ignored
        return;
    }
    QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
    HttpRequest request;
    qsizetype bodyStart = 0;
    if (!parseHead(buffer, request, bodyStart)) {
        socket->setProperty("buffer", buffer);
        return;
    }
    const qsizetype length = request.headers.value("content-length", "0").toLongLong();
    if (length < 0 || length > maxBodyBytes) {
        socket->setProperty("handled", true);
        (new HttpExchange(socket))->replyError(413, QStringLiteral("Request body is too large"));
        return;
    }
    if (buffer.size() - bodyStart < length) {
        socket->setProperty("buffer", buffer);
        return;
    }
    request.body = buffer.mid(bodyStart, length);
    socket->setProperty("buffer", QVariant());
    socket->setProperty("handled", true);
    handler_(request, new HttpExchange(socket));
}

} // namespace mnemora::refdaemon

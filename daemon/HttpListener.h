#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QUrlQuery>

#include <functional>

class QTcpSocket;

namespace mnemora::refdaemon {

// One request as it came off the wire.
struct HttpRequest {
    QByteArray method;
    QString path; // without the leading "/" and without the query
    QUrlQuery query;
    QHash<QByteArray, QByteArray> headers; // names lower-cased
    QByteArray body;

    // The body as a JSON object; an empty object when it is not one.
    QJsonObject json() const;
};

// The answer side of one request: either one whole response, or an open event stream that stays
// until the peer goes away. Owned by the socket it writes to.
class HttpExchange : public QObject {
    Q_OBJECT
public:
    explicit HttpExchange(QTcpSocket* socket);

    void reply(int status, const QJsonObject& body);
    void replyError(int status, const QString& words) { reply(status, {{"error", words}}); }

    // Starts a server-sent event stream; `sendData` then writes one "data:" line each.
    void beginStream();
    void sendData(const QJsonObject& object);
    // Ends a stream from our side.
    void endStream();
    bool isOpen() const;

signals:
    void closed();

private:
    QPointer<QTcpSocket> socket_;
};

// The loopback HTTP/1.1 listener: one request per connection, bodies by Content-Length.
class HttpListener : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void(const HttpRequest&, HttpExchange*)>;

    explicit HttpListener(Handler handler, QObject* parent = nullptr);

    // Binds 127.0.0.1 on a free port; false with the reason in `errorString` when that fails.
    bool listen();
    quint16 port() const { return server_.serverPort(); }
    QString errorString() const { return server_.errorString(); }

private:
    void accept();
    void readFrom(QTcpSocket* socket);

    Handler handler_;
    QTcpServer server_;
};

} // namespace mnemora::refdaemon

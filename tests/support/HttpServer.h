#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

class QTcpServer;
class QTcpSocket;

namespace mnemora::test {

// A tiny HTTP/1.1 server on 127.0.0.1 for fakes of the daemon and other peers. Each request is
// answered by a handler; a response marked as a stream keeps its connection open so the test can
// push server-sent event lines to it.
class HttpServer : public QObject {
    Q_OBJECT

public:
    struct Request {
        QByteArray method;
        QByteArray path;                      // with the query, as sent
        QMap<QByteArray, QByteArray> headers; // names lower-cased
        QByteArray body;
    };

    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "application/json";
        bool stream = false; // keep the connection open (text/event-stream)
        int delayMs = 0;     // answer only after this long
    };

    using Handler = std::function<Response(const Request&)>;

    explicit HttpServer(Handler handler = {}, QObject* parent = nullptr);
    ~HttpServer() override;

    void setHandler(Handler handler) { handler_ = std::move(handler); }
    quint16 port() const;
    QString baseUrl() const;

    const QList<Request>& requests() const { return requests_; }
    int requestCount(const QByteArray& path) const;

    // Writes raw bytes to every open stream.
    void sendToStreams(const QByteArray& bytes);
    // Ends every open stream.
    void closeStreams();
    int openStreamCount() const;

    // Stops listening; later connections are refused.
    void close();

    static Response json(const QByteArray& body, int status = 200);

private:
    void onNewConnection();
    void onReadyRead(QTcpSocket* socket);
    void answer(QTcpSocket* socket, const Request& request);

    QTcpServer* server_ = nullptr;
    Handler handler_;
    QList<Request> requests_;
    QMap<QTcpSocket*, QByteArray> buffers_;
    QList<QPointer<QTcpSocket>> streams_;
};

} // namespace mnemora::test

#include <gtest/gtest.h>

#include <QTcpServer>

#include <memory>

#include "introspection/IntrospectionServer.h"
#include "introspection/ServerClient.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace mnemora::test;

namespace {

// A run of free loopback ports: the one the system hands out and those above it, held until
// the test gives them back one by one.
struct PortBlock {
    QList<std::shared_ptr<QTcpServer>> held;
    int base = 0;

    explicit PortBlock(int count) {
        for (int attempt = 0; attempt < 20 && held.size() < count; ++attempt) {
            held.clear();
            auto first = std::make_shared<QTcpServer>();
            first->listen(QHostAddress::LocalHost, 0);
            base = first->serverPort();
            held << first;
            for (int i = 1; i < count; ++i) {
                auto next = std::make_shared<QTcpServer>();
                if (!next->listen(QHostAddress::LocalHost, static_cast<quint16>(base + i))) {
                    break;
                }
                held << next;
            }
        }
    }
};

QByteArray request(int port, const QByteArray& extraHeaders) {
    return "GET /health HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) + "\r\n" +
           extraHeaders + "\r\n";
}

} // namespace

TEST(IntrospectionServer, TakesTheFirstFreePortFromItsBaseAndWritesThePortFile) {
    TestEnvironment env;
    PortBlock taken(3);
    ASSERT_EQ(taken.held.size(), 3);
    IntrospectionServer server;
    server.setBasePort(taken.base);
    server.start();
    // Three instances hold the first ports: this one, the fourth, gets base + 3.
    ASSERT_TRUE(server.isRunning());
    EXPECT_EQ(server.port(), taken.base + 3);
    EXPECT_EQ(server.lastError(), "");
    EXPECT_EQ(TestEnvironment::readFile(IntrospectionServer::portFilePath()),
              QByteArray::number(taken.base + 3));
    EXPECT_TRUE(IntrospectionServer::portFilePath().startsWith(env.cacheHome() + "/"));
    EXPECT_TRUE(IntrospectionServer::portFilePath().endsWith("/native_introspection.port"));
    server.start(); // idempotent
    EXPECT_EQ(server.port(), taken.base + 3);
    EXPECT_EQ(get(*server.port(), "/health").json().value("bundle"), "ai.mnemora");
}

TEST(IntrospectionServer, AfterSixteenTakenPortsItStaysOffWithTheLastFailure) {
    TestEnvironment env;
    PortBlock taken(IntrospectionServer::maxPortAttempts);
    ASSERT_EQ(taken.held.size(), IntrospectionServer::maxPortAttempts);
    IntrospectionServer server;
    server.setBasePort(taken.base);
    server.start();
    EXPECT_FALSE(server.isRunning());
    EXPECT_EQ(server.port(), std::nullopt);
    EXPECT_EQ(server.lastError(), QStringLiteral("bind %1 failed: The bound address is already "
                                                 "in use")
                                      .arg(taken.base + 15));
}

TEST(IntrospectionServer, RefusesWhatABrowserOrABrokenClientSendsAndKeepsServing) {
    TestEnvironment env;
    IntrospectionServer server;
    PortBlock free(1);
    server.setBasePort(free.base);
    free.held.clear();
    server.setIdleTimeout(std::chrono::milliseconds(300));
    server.start();
    ASSERT_TRUE(server.isRunning());
    const int port = *server.port();
    const QByteArray portText = QByteArray::number(port);

    struct Case {
        const char* name;
        QList<QByteArray> pieces;
        int status;
        const char* error;
    };
    const Case cases[] = {
        {"forged host",
         {"GET /health HTTP/1.1\r\nHost: evil.example:" + portText + "\r\n\r\n"},
         403,
         "Host must be 127.0.0.1:%1, localhost:%1 or [::1]:%1"},
        {"missing host",
         {"GET /health HTTP/1.1\r\n\r\n"},
         403,
         "Host must be 127.0.0.1:%1, localhost:%1 or [::1]:%1"},
        {"any origin",
         {request(port, "Origin: http://127.0.0.1:" + portText + "\r\n")},
         403,
         "requests from web pages are refused"},
        {"oversized body",
         {"POST /action HTTP/1.1\r\nHost: localhost:" + portText +
          "\r\nContent-Length: 9000000\r\n\r\n{"},
         413,
         "request body too large (limit 8 MB)"},
        {"oversized head",
         {"GET / HTTP/1.1\r\nX: " + QByteArray(65 * 1024, 'x')},
         431,
         "request head too large (limit 64 KB)"},
        {"slow client",
         {"GET /health HTTP/1.1\r\nHost: local"},
         408,
         "request not completed in time; connection closed"},
        {"bad UTF-8", {"GET /\xff HTTP/1.1\r\n\r\n"}, 400, "request head is not valid UTF-8"},
        {"unknown route",
         {"DELETE /health HTTP/1.1\r\nHost: [::1]:" + portText + "\r\n\r\n"},
         404,
         "not found"},
    };
    for (const Case& item : cases) {
        const ServerReply reply = exchange(port, item.pieces);
        EXPECT_EQ(reply.status, item.status) << item.name << ": " << reply.raw.toStdString();
        const QString words = QString::fromUtf8(item.error);
        EXPECT_EQ(reply.json().value("error").toString(),
                  words.contains("%1") ? words.arg(port) : words)
            << item.name;
        EXPECT_EQ(get(port, "/health").status, 200) << "after " << item.name;
    }
    EXPECT_EQ(exchange(port, {"DELETE /x HTTP/1.1\r\nHost: localhost:" + portText + "\r\n\r\n"})
                  .json()
                  .value("method"),
              "DELETE");
    // Three receives, one answer.
    const QByteArray whole = request(port, "");
    const ServerReply split = exchange(port, {whole.left(7), whole.mid(7, 20), whole.mid(27)});
    EXPECT_EQ(split.status, 200);
    EXPECT_TRUE(split.raw.startsWith("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"))
        << split.raw.toStdString();
    EXPECT_TRUE(split.raw.contains("\r\nConnection: close\r\n"));
}

#include <QFile>
#include <QJsonDocument>

#include <QCoroTimer>

#include <gtest/gtest.h>

#include "app/ConfigService.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonService.h"
#include "platform/BundleInfo.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/TestEnvironment.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using test::HttpServer;
using test::runTask;
using test::TestEnvironment;
using test::waitUntil;
using Connection = DaemonStatus::Connection;

class DaemonServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        BundleInfo::overrideMainForTesting(
            BundleInfo{QString(), QStringLiteral("ai.mnemora"), {}, {}});
        portFile = VaultPaths::sharedCacheFolder() + QStringLiteral("/daemon.port");
        service.setTimings({.pollInterval = 20ms, .statusTimeout = 1s});
    }
    void TearDown() override { BundleInfo::overrideMainForTesting(std::nullopt); }

    void pointAt(const HttpServer& server) const {
        TestEnvironment::writeFile(portFile, QByteArray::number(server.port()) + '\n');
    }
    // A daemon whose /status answers `body`.
    static HttpServer::Handler statusAnswer(QByteArray body, int code = 200) {
        return [body, code](const HttpServer::Request& request) {
            if (request.path == "/status") {
                return HttpServer::json(body, code);
            }
            return HttpServer::json(R"({"ok": true})");
        };
    }

    TestEnvironment env;
    QString portFile;
    DaemonService service;
};

TEST_F(DaemonServiceTest, ReadsThePortFileAfreshAtEveryCall) {
    EXPECT_EQ(service.baseUrl(), std::nullopt);
    TestEnvironment::writeFile(portFile, "+8123\n");
    EXPECT_EQ(service.baseUrl(), QUrl(QStringLiteral("http://127.0.0.1:8123")));
    for (const QByteArray& unusable : {QByteArray("8123x"), QByteArray("0"), QByteArray("70000"),
                                       QByteArray("-80"), QByteArray("")}) {
        TestEnvironment::writeFile(portFile, unusable);
        EXPECT_EQ(service.baseUrl(), std::nullopt) << unusable.constData();
    }

    // A configured vault has its own cache folder; an override wins over both.
    TestEnvironment::writeFile(ConfigService::primaryFilePath(),
                               R"({"mnemora_path": "~/My Vault/"})");
    ConfigService config;
    config.load();
    service.setConfig(&config);
    const QString vaultPort = env.cacheHome() + QStringLiteral("/ai.mnemora/vaults/") +
                              VaultPaths::cacheKey(env.home() + QStringLiteral("/My Vault/")) +
                              QStringLiteral("/daemon.port");
    EXPECT_EQ(service.portFilePath(), vaultPort);
    TestEnvironment::writeFile(vaultPort, "9001");
    EXPECT_EQ(service.baseUrl(), QUrl(QStringLiteral("http://127.0.0.1:9001")));
    service.setCacheDirOverride(env.root() + QStringLiteral("/vault-cache"));
    TestEnvironment::writeFile(env.root() + QStringLiteral("/vault-cache/daemon.port"), "9002");
    EXPECT_EQ(service.baseUrl(), QUrl(QStringLiteral("http://127.0.0.1:9002")));
}

TEST_F(DaemonServiceTest, PollReadsEveryFieldAndKeepsTheWholeBody) {
    const QByteArray body = R"({"processing_active": true, "pending_items": 4,
        "heartbeat_age_secs": 12, "transcription_active": true, "swiftlm_warming": true,
        "queue": {"audio": 2}})";
    HttpServer server(statusAnswer(body));
    pointAt(server);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    runTask(service.refreshStatus());

    const DaemonStatus& status = service.status();
    EXPECT_EQ(status.connection, Connection::connected());
    EXPECT_TRUE(status.processingActive);
    EXPECT_EQ(status.pendingItems, 4);
    EXPECT_EQ(status.heartbeatAgeSecs, 12);
    EXPECT_TRUE(status.transcriptionActive);
    EXPECT_TRUE(status.swiftlmWarming);
    ASSERT_TRUE(status.lastUpdatedAt);
    EXPECT_GE(*status.lastUpdatedAt, before.addSecs(-1));
    EXPECT_EQ(service.progress(), QJsonDocument::fromJson(body).object());
    EXPECT_EQ(server.requestCount("/status"), 1);
}

TEST_F(DaemonServiceTest, FieldsOfAnotherTypeReadAsTheirDefaults) {
    HttpServer server(statusAnswer(R"({"processing_active": 1, "pending_items": "4",
        "heartbeat_age_secs": "12", "transcription_active": "true", "swiftlm_warming": null})"));
    pointAt(server);
    runTask(service.refreshStatus());
    DaemonStatus expected;
    expected.connection = Connection::connected();
    expected.lastUpdatedAt = service.status().lastUpdatedAt;
    EXPECT_EQ(service.status(), expected);

    server.setHandler(statusAnswer(R"({"pending_items": 2.5})"));
    runTask(service.refreshStatus());
    EXPECT_EQ(service.status().pendingItems, 0);
    EXPECT_EQ(service.status().heartbeatAgeSecs, std::nullopt); // absent stays absent, not 0
}

TEST_F(DaemonServiceTest, ADisconnectKeepsWhatTheDaemonLastSaid) {
    HttpServer server(statusAnswer(R"({"pending_items": 4, "heartbeat_age_secs": 30})"));
    pointAt(server);
    runTask(service.refreshStatus());
    const QDateTime lastGood = *service.status().lastUpdatedAt;

    QFile::remove(portFile);
    runTask(service.refreshStatus());
    EXPECT_EQ(service.status().connection,
              Connection::disconnected(QStringLiteral("No daemon port file")));
    EXPECT_EQ(service.status().pendingItems, 4);
    EXPECT_EQ(service.status().heartbeatAgeSecs, 30);
    EXPECT_EQ(service.status().lastUpdatedAt, lastGood);
}

TEST_F(DaemonServiceTest, DisconnectedReasonsNameWhatWentWrong) {
    HttpServer server(statusAnswer(R"({"error": "busy"})", 503));
    pointAt(server);
    runTask(service.refreshStatus());
    EXPECT_EQ(service.status().connection, Connection::disconnected(QStringLiteral("HTTP error")));

    server.setHandler(statusAnswer("not json"));
    runTask(service.refreshStatus());
    QJsonParseError parseError{};
    QJsonDocument::fromJson("not json", &parseError);
    EXPECT_EQ(service.status().connection, Connection::disconnected(parseError.errorString()));

    server.setHandler(statusAnswer("[1, 2]"));
    runTask(service.refreshStatus());
    EXPECT_EQ(service.status().connection,
              Connection::disconnected(QStringLiteral("The daemon's status is not a JSON object")));

    server.setHandler([](const HttpServer::Request&) {
        HttpServer::Response late = HttpServer::json("{}");
        late.delayMs = 1000;
        return late;
    });
    service.setTimings({.pollInterval = 20ms, .statusTimeout = 100ms});
    runTask(service.refreshStatus());
    EXPECT_EQ(service.status().connection,
              Connection::disconnected(QStringLiteral("The request timed out.")));

    server.close();
    runTask(service.refreshStatus());
    EXPECT_EQ(service.status().connection,
              Connection::disconnected(QStringLiteral("Connection refused")));
}

TEST_F(DaemonServiceTest, TheNextPollFindsADaemonOnANewPort) {
    HttpServer first(statusAnswer(R"({"pending_items": 1})"));
    HttpServer second(statusAnswer(R"({"pending_items": 7})"));
    pointAt(first);
    service.start();
    EXPECT_TRUE(service.isPolling());
    ASSERT_TRUE(waitUntil([&] { return service.status().pendingItems == 1; }));

    first.close();
    pointAt(second);
    ASSERT_TRUE(waitUntil([&] { return service.status().pendingItems == 7; }));
    EXPECT_EQ(service.status().connection, Connection::connected());

    service.stop();
    EXPECT_FALSE(service.isPolling());
    const int polls = second.requestCount("/status");
    test::runTask(QCoro::sleepFor(80ms));
    EXPECT_LE(second.requestCount("/status"), polls + 1); // at most the one in flight
}

TEST_F(DaemonServiceTest, RequestFormsSendTheirMethodHeadersAndBody) {
    HttpServer server(statusAnswer("{}"));
    pointAt(server);

    const DaemonReply got = runTask(service.get(QStringLiteral("gpu-scheduler")));
    EXPECT_TRUE(got.ok());
    EXPECT_EQ(got.body, R"({"ok": true})");
    const DaemonReply posted = runTask(service.post(QStringLiteral("index/rebuild")));
    EXPECT_TRUE(posted.ok());
    const DaemonReply json = runTask(service.postJson(
        QStringLiteral("retry"), QJsonObject{{QStringLiteral("kind"), QStringLiteral("audio")}}));
    EXPECT_TRUE(json.ok());

    ASSERT_EQ(server.requests().size(), 3);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].path, "/gpu-scheduler");
    EXPECT_EQ(server.requests()[1].method, "POST");
    EXPECT_EQ(server.requests()[1].path, "/index/rebuild");
    EXPECT_EQ(server.requests()[1].body, "");
    EXPECT_EQ(server.requests()[2].method, "POST");
    EXPECT_EQ(server.requests()[2].path, "/retry");
    EXPECT_EQ(server.requests()[2].headers.value("content-type"), "application/json");
    EXPECT_EQ(server.requests()[2].body, R"({"kind":"audio"})");
}

TEST_F(DaemonServiceTest, FailedRequestsCarryTheirWords) {
    // No port: the same words as a refused connection.
    const DaemonReply unreachable = runTask(service.post(QStringLiteral("process/start")));
    EXPECT_FALSE(unreachable.ok());
    EXPECT_EQ(unreachable.failureText(QStringLiteral("Dreamer trigger failed")),
              QStringLiteral("Connection refused"));

    HttpServer server([](const HttpServer::Request& request) {
        if (request.path == "/dreamer/trigger") {
            return HttpServer::json(R"({"error": "No cadence given"})", 400);
        }
        if (request.path == "/home/narrative") {
            HttpServer::Response late = HttpServer::json("{}");
            late.delayMs = 1000;
            return late;
        }
        return HttpServer::json("<html>", 500);
    });
    pointAt(server);
    const DaemonReply refused = runTask(service.post(QStringLiteral("dreamer/trigger")));
    EXPECT_EQ(refused.httpStatus, 400);
    EXPECT_EQ(refused.failureText(QStringLiteral("Dreamer trigger failed")),
              QStringLiteral("No cadence given"));
    const DaemonReply broken = runTask(service.get(QStringLiteral("fda/status")));
    EXPECT_EQ(broken.failureText(QStringLiteral("Kill session failed")),
              QStringLiteral("Kill session failed"));
    const DaemonReply late = runTask(service.get(QStringLiteral("home/narrative"), 100ms));
    EXPECT_EQ(late.failureText(QStringLiteral("x")), QStringLiteral("The request timed out."));
}

TEST_F(DaemonServiceTest, ProcessStartAndStopPollRightAfter) {
    HttpServer server(statusAnswer(R"({"processing_active": true})"));
    pointAt(server);
    EXPECT_TRUE(runTask(service.processStart()).ok());
    EXPECT_TRUE(service.status().processingActive);
    EXPECT_TRUE(runTask(service.processStop()).ok());
    QList<QByteArray> seen;
    for (const auto& request : server.requests()) {
        seen << request.method + ' ' + request.path;
    }
    EXPECT_EQ(seen, (QList<QByteArray>{"POST /process/start", "GET /status", "POST /process/stop",
                                       "GET /status"}));
}

TEST_F(DaemonServiceTest, StatelessBaseUrlPrefersThePrimaryVaultsPortFile) {
    EXPECT_EQ(daemonBaseUrl(), std::nullopt);
    TestEnvironment::writeFile(portFile, "7001");
    EXPECT_EQ(daemonBaseUrl(), QUrl(QStringLiteral("http://127.0.0.1:7001")));

    TestEnvironment::writeFile(ConfigService::primaryFilePath(), R"({"mnemora_path": "/data/V"})");
    const QString vaultPort =
        VaultPaths::vaultCacheFolder(QStringLiteral("/data/V")) + QStringLiteral("/daemon.port");
    TestEnvironment::writeFile(vaultPort, "0");
    EXPECT_EQ(daemonBaseUrl(), QUrl(QStringLiteral("http://127.0.0.1:7001")));
    TestEnvironment::writeFile(vaultPort, "+7002\n");
    EXPECT_EQ(daemonBaseUrl(), QUrl(QStringLiteral("http://127.0.0.1:7002")));
}

} // namespace
} // namespace mnemora

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include "migration/MigrationGate.h"
#include "migration/MigrationService.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::HttpServer;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;
using mnemora::test::waitUntil;
using Kind = MigrationService::Phase::Kind;

namespace {

const QByteArray needsV4 = R"({"ok":true,"v4_preview":{"needs_migration":true,
  "old_folders":[{"name":"Photos","photo_count":3}],"recommended_primary_idx":0,
  "identity_id":"me","identity_display_name":"Me"}})";
const QByteArray upToDate = R"({"ok":true,"v4_preview":{"needs_migration":false}})";

QByteArray event(const char* name, const char* payload) {
    return QByteArray("data: {\"event\":\"") + name + "\",\"payload\":" + payload + "}\n\n";
}

struct MigrationTest : ::testing::Test {
    TestEnvironment env;
    QByteArray status = needsV4;
    int runStatus = 200;
    HttpServer server{[this](const HttpServer::Request& request) {
        if (request.path == "/progress") {
            HttpServer::Response stream;
            stream.stream = true;
            stream.contentType = "text/event-stream";
            return stream;
        }
        if (request.path == "/migrations/status") {
            return HttpServer::json(status);
        }
        return HttpServer::json("{}", runStatus);
    }};
    DaemonService daemon;
    MigrationService service;
    MigrationGate gate{service};

    MigrationTest() {
        TestEnvironment::writeFile(daemon.portFilePath(), QByteArray::number(server.port()));
        service.setDaemon(&daemon);
        gate.setReady(true);
    }
    void startRun() {
        const int streams = server.requestCount("/progress");
        const int runs = server.requestCount("/migrations/v4/run");
        service.start("me", "Me", "Photos");
        ASSERT_TRUE(waitUntil([&] { return server.requestCount("/progress") == streams + 1; }));
        ASSERT_TRUE(
            waitUntil([&] { return server.requestCount("/migrations/v4/run") == runs + 1; }));
    }
};

} // namespace

TEST(MigrationGateRule, OnlyAKnownStatusThatNeedsActionClosesTheGate) {
    MigrationStatus v3;
    v3.v3Needed = true;
    MigrationStatus v4;
    v4.v4Preview = V4MigrationPreview{};
    v4.v4Preview->needsMigration = true;
    MigrationStatus settled;
    settled.v4Preview = V4MigrationPreview{}; // needs nothing, v3 absent
    struct Case {
        bool ready;
        std::optional<MigrationStatus> status;
        bool runStarted;
        Kind phase;
        bool closed;
    };
    const Case cases[] = {
        {true, v3, false, Kind::idle, true},
        {true, v4, false, Kind::preview, true},
        {true, settled, false, Kind::idle, false},
        {true, settled, true, Kind::running, true},
        {true, settled, true, Kind::failed, true},
        {true, settled, false, Kind::complete, false},
        {true, std::nullopt, true, Kind::running, false}, // a dead daemon never locks anyone out
        {false, v3, false, Kind::idle, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MigrationGate::isClosed(c.ready, c.status, c.runStarted, c.phase), c.closed)
            << &c - cases;
    }
}

TEST_F(MigrationTest, ADueMigrationHoldsTheGateUntilItsRunIsAcknowledged) {
    runTask(service.refreshStatus());
    EXPECT_EQ(service.phase().kind, Kind::preview);
    EXPECT_TRUE(gate.closed());
    EXPECT_EQ(service.previewMap().value("recommended"), "Photos");

    startRun();
    EXPECT_EQ(service.phaseMessage(), "Starting migration…");
    EXPECT_EQ(
        QJsonDocument::fromJson(server.requests().last().body).object(),
        (QJsonObject{{"identity_id", "me"}, {"display_name", "Me"}, {"primary_folder", "Photos"}}));
    server.sendToStreams(event("cloud-id-dedup-progress", R"({"done":true})")); // not ours
    server.sendToStreams(
        event("migration-progress", R"({"message":"Moving","files_processed":1,"files_total":4})"));
    ASSERT_TRUE(waitUntil([&] { return service.phaseMessage() == "Moving"; }));
    EXPECT_EQ(service.phase().kind, Kind::running);
    EXPECT_DOUBLE_EQ(service.progressFraction(), 0.25);

    status = upToDate;
    server.sendToStreams(event("migration-progress", R"({"done":true})"));
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/migrations/status") == 2; }));
    ASSERT_TRUE(waitUntil([&] { return !service.v4Preview()->needsMigration; }));
    EXPECT_EQ(service.phase(), (MigrationService::Phase{Kind::complete, {}, "Migration complete"}));
    EXPECT_TRUE(gate.closed()); // the outcome stays up until read

    service.acknowledge();
    EXPECT_TRUE(service.userAcknowledgedComplete());
    EXPECT_FALSE(gate.closed());
}

TEST_F(MigrationTest, FailuresShowTheirWordsAndADaemonDyingMidRunKeepsTheOutcomeUp) {
    runStatus = 500;
    runTask(service.refreshStatus());
    runTask(service.startV4("me", "Me", "Photos"));
    EXPECT_EQ(service.phase(),
              (MigrationService::Phase{Kind::failed, {}, "Server returned HTTP 500"}));

    runStatus = 200;
    startRun();
    server.sendToStreams(event("migration-progress", R"({"error":true})"));
    ASSERT_TRUE(waitUntil([&] { return service.phase().kind == Kind::failed; }));
    EXPECT_EQ(service.phaseMessage(), "Migration failed");

    // The daemon dies mid-run: the run stays marked and its outcome on screen.
    server.close();
    runTask(service.refreshStatus());
    EXPECT_EQ(service.lastError().value_or(""), "Status fetch failed: Connection refused");
    EXPECT_TRUE(gate.closed());
    service.acknowledge();
    EXPECT_TRUE(gate.closed()); // v4 still due as far as anyone knows
}

TEST(MigrationWithoutDaemon, NothingKnownKeepsTheWindowOpen) {
    TestEnvironment env;
    DaemonService daemon; // no port file
    MigrationService service;
    MigrationGate gate(service);
    service.setDaemon(&daemon);
    gate.setReady(true);
    runTask(service.refreshStatus());
    EXPECT_EQ(service.lastError(), QString("Daemon not reachable"));
    EXPECT_EQ(service.phase().kind, Kind::idle);
    EXPECT_FALSE(gate.closed());
    runTask(service.runFollowUp(MigrationService::Job::rename));
    EXPECT_EQ(service.phase(), (MigrationService::Phase{Kind::failed, {}, "Daemon not reachable"}));
    EXPECT_FALSE(gate.closed());
}

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/ConfigService.h"
#include "daemon/DefaultsBootstrap.h"
#include "platform/SystemInfo.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::HttpServer;
using mnemora::test::TestEnvironment;
using Outcome = DefaultsBootstrap::Outcome;

namespace {

struct BootstrapFixture : ::testing::Test {
    TestEnvironment env;
    test::LogCapture log{"ai.mnemora.DefaultsBootstrap"};
    ConfigService config;
    HttpServer server;

    BootstrapFixture() {
        config.setConfigPathOverride(env.root() + "/vault/.mnemora/config.json");
        TestEnvironment::writeFile(
            config.filePath(), R"({"completed_migrations": ["older"], "whisper_model": "small"})");
    }

    void writePort() {
        TestEnvironment::writeFile(env.root() + "/vault/.mnemora/daemon.port",
                                   QByteArray::number(server.port()) + "\n");
    }

    Outcome run() { return test::runTask(DefaultsBootstrap::run(&config)); }

    QJsonObject onDisk() const {
        return QJsonDocument::fromJson(TestEnvironment::readFile(config.filePath())).object();
    }
};

} // namespace

TEST_F(BootstrapFixture, AppliesTheRecommendationOnceAndRecordsIt) {
    server.setHandler([](const HttpServer::Request&) {
        return HttpServer::json(R"({"whisper_model": "medium", "vlm_model": "tiny"})");
    });
    writePort();

    EXPECT_EQ(run(), Outcome::applied);
    ASSERT_EQ(server.requests().size(), 1);
    const HttpServer::Request& request = server.requests().first();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/defaults/recommend");
    EXPECT_EQ(request.headers.value("content-type"), "application/json");
    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    const qint64 ramGb = static_cast<qint64>(SystemInfo::physicalMemoryBytes() >> 30);
    EXPECT_EQ(body, (QJsonObject{{"ram_gb", ramGb}, {"arch", SystemInfo::machineArchitecture()}}));

    const QJsonObject stored = onDisk();
    EXPECT_EQ(stored["whisper_model"], "medium"); // the daemon's word overwrites the file's
    EXPECT_EQ(stored["vlm_model"], "tiny");
    EXPECT_EQ(stored["completed_migrations"].toArray(),
              (QJsonArray{"older", "v0.11_first_run_defaults"}));
    EXPECT_TRUE(log.contains(QStringLiteral("Bootstrapping defaults for %1 GB / %2")
                                 .arg(ramGb)
                                 .arg(SystemInfo::machineArchitecture())));
    EXPECT_TRUE(log.contains(
        R"(Applied first-run defaults: {"vlm_model":"tiny","whisper_model":"medium"})"));

    // The next launch asks nothing.
    EXPECT_EQ(run(), Outcome::alreadyApplied);
    EXPECT_EQ(server.requests().size(), 1);
    EXPECT_TRUE(log.contains("First-run defaults already applied"));
}

TEST_F(BootstrapFixture, FailuresAreLoggedAndLeaveTheFileForTheNextLaunch) {
    const QByteArray before = TestEnvironment::readFile(config.filePath());

    EXPECT_EQ(run(), Outcome::portUnreadable);
    EXPECT_TRUE(log.contains("Daemon port file unreadable — skipping defaults bootstrap"));
    EXPECT_TRUE(server.requests().isEmpty());

    writePort();
    server.setHandler(
        [](const HttpServer::Request&) { return HttpServer::json(R"({"a": 1})", 500); });
    EXPECT_EQ(run(), Outcome::rejected);
    EXPECT_TRUE(log.contains("Daemon /defaults/recommend returned non-200"));

    server.setHandler([](const HttpServer::Request&) { return HttpServer::json("[1, 2]"); });
    EXPECT_EQ(run(), Outcome::rejected);

    server.setHandler([](const HttpServer::Request&) { return HttpServer::json("<html>"); });
    EXPECT_EQ(run(), Outcome::requestFailed);
    EXPECT_TRUE(log.containsPrefix("Failed to apply first-run defaults: "));

    server.close(); // connection refused
    log.clear();
    EXPECT_EQ(run(), Outcome::requestFailed);
    EXPECT_TRUE(log.containsPrefix("Failed to apply first-run defaults: "));

    EXPECT_EQ(TestEnvironment::readFile(config.filePath()), before);
}

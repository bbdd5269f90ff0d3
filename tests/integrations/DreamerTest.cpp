#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>

#include "app/VaultPaths.h"
#include "integrations/Dreamer.h"
#include "integrations/DreamerControl.h"
#include "integrations/McpRegistration.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::HttpServer;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;

TEST(Dreamer, ShortLabelsReadEitherPrefixOnEveryBrand) {
    for (Brand brand : {Brand::mnemora, Brand::voxlet, Brand::tallo}) {
        EXPECT_EQ(Dreamer::shortLabel("mn-dreamer-weekly-20260301-abcd12", brand), "weekly-…cd12");
        EXPECT_EQ(Dreamer::shortLabel("someone-else-1", brand), "someone-else-1");
        EXPECT_EQ(Dreamer::shortLabel("mn-dreamer-weekly", brand), "weekly-…ekly");
        EXPECT_EQ(Dreamer::shortLabel("mn-dreamer---", brand), "--");
    }
    EXPECT_EQ(Dreamer::shortLabel("tallo-dreamer-period-close-x1", Brand::tallo), "period-…x1");
    EXPECT_EQ(Dreamer::effectivePermissionMode(""), "auto");
    EXPECT_EQ(Dreamer::effectivePermissionMode("bypassPermissions"), "bypassPermissions");
    EXPECT_EQ(Dreamer::hourText(7), "07:00");
}

TEST(Dreamer, TheChipFollowsTheLiveSessionAndItsQuestions) {
    const QStringList live{"mn-dreamer-weekly-1-abcdef", "mn-dreamer-narrative-2-123456"};
    Question asked;
    asked.askedBy = QStringLiteral("dreamer:weekly");
    using Kind = Dreamer::Chip::Kind;

    const Dreamer::Chip idle = Dreamer::chip("monthly", live, {asked}, Brand::mnemora);
    EXPECT_EQ(idle.kind, Kind::trigger);
    EXPECT_EQ(idle.help,
              "Spawn a Claude dreamer session. Cadence: monthly. Real passes take minutes.");
    const Dreamer::Chip waiting = Dreamer::chip("weekly", live, {asked}, Brand::mnemora);
    EXPECT_EQ(waiting.kind, Kind::waiting);
    EXPECT_EQ(waiting.label, "Waiting for your answers…");
    EXPECT_EQ(waiting.session, "mn-dreamer-weekly-1-abcdef");
    const Dreamer::Chip running = Dreamer::chip("narrative", live, {asked}, Brand::mnemora);
    EXPECT_EQ(running.kind, Kind::running);
    EXPECT_EQ(running.label, "narrative-…3456");
    // Another brand's prefix is not this brand's session.
    EXPECT_EQ(Dreamer::chip("weekly", live, {}, Brand::tallo).kind, Kind::trigger);
}

TEST(McpRegistration, TheVaultIsRegisteredOnlyWithTheBrandsKeyInQuotes) {
    TestEnvironment env;
    const QString vault = env.root() + "/vault";
    EXPECT_FALSE(McpRegistration::isRegistered(vault, Brand::mnemora)); // no file, no error
    TestEnvironment::writeFile(vault + "/.mcp.json", R"({"mcpServers":{"tallo":{}}})");
    EXPECT_FALSE(McpRegistration::isRegistered(vault, Brand::mnemora));
    EXPECT_TRUE(McpRegistration::isRegistered(vault, Brand::tallo));
    EXPECT_EQ(McpRegistration::snippet(Brand::voxlet, "/opt/Voxlet/voxlet-daemon"),
              "{\n    \"mcpServers\": {\n        \"voxlet\": {\n            \"args\": [\n"
              "                \"mcp-server\"\n            ],\n            \"command\": "
              "\"/opt/Voxlet/voxlet-daemon\"\n        }\n    }\n}");
}

TEST(DreamerControl, SessionsAreStartedListedAndStoppedThroughTheDaemon) {
    TestEnvironment env;
    QStringList live;
    HttpServer server([&](const HttpServer::Request& request) {
        if (request.path == "/dreamer/sessions") {
            return HttpServer::json(
                QJsonDocument(QJsonObject{{"sessions", QJsonArray::fromStringList(live)}})
                    .toJson());
        }
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        if (request.path == "/dreamer/trigger" && body.value("cadence") == "weekly") {
            live << "mn-dreamer-weekly-1-abcd";
            return HttpServer::json(R"({"ok":true})");
        }
        if (request.path == "/dreamer/trigger") {
            return HttpServer::json(R"({"error":"tmux is not installed"})", 500);
        }
        if (request.path == "/dreamer/sessions/kill" &&
            live.removeAll(body.value("name").toString())) {
            return HttpServer::json(R"({"ok":true})");
        }
        return HttpServer::json("{}", 404);
    });
    DaemonService daemon;
    TestEnvironment::writeFile(daemon.portFilePath(), QByteArray::number(server.port()));
    DreamerControl control;
    control.setDaemon(&daemon);

    ASSERT_TRUE(runTask(control.trigger("weekly")).ok());
    EXPECT_EQ(control.liveSessions(), QStringList({"mn-dreamer-weekly-1-abcd"}));
    EXPECT_FALSE(control.isTriggering("weekly"));
    EXPECT_EQ(runTask(control.trigger("monthly")).error(), "tmux is not installed");
    EXPECT_EQ(runTask(control.stop("mn-dreamer-gone")).error(), "Kill session failed");
    ASSERT_TRUE(runTask(control.stop("mn-dreamer-weekly-1-abcd")).ok());
    EXPECT_TRUE(control.liveSessions().isEmpty());

    server.close();
    EXPECT_FALSE(runTask(control.trigger("weekly")).ok());
}

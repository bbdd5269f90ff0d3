#include <QJsonDocument>

#include <gtest/gtest.h>

#include "daemon/FakeDaemonFixture.h"
#include "setup/AgentAcceptance.h"
#include "setup/EngineInstallWatcher.h"
#include "setup/VerifyService.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using test::HttpServer;
using test::runTask;
using test::waitUntil;
using Availability = PrerequisiteChecker::Availability;
using Tool = PrerequisiteChecker::Tool;

QJsonObject parsed(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

TEST(PrerequisiteChecker, ReadsToolsDropsUnnamedOnesAndFallsBackToUnknown) {
    const QList<Tool> tools = PrerequisiteChecker::toolsOf(parsed(R"({"tools": [
        {"id": "claude", "label": "Claude Code CLI", "path": "/usr/bin/claude"},
        {"id": "tmux", "label": "tmux", "install_hint": "apt install tmux",
         "install_url": "https://github.com/tmux/tmux"},
        {"id": "node"},
        {"label": "no id"},
        {"id": "jq", "label": "jq", "install_url": "not a url"}]})"));
    ASSERT_EQ(tools.size(), 3);
    EXPECT_EQ(tools[0].availability, Availability::installed(QStringLiteral("/usr/bin/claude")));
    EXPECT_EQ(tools[1].availability.kind, Availability::Kind::missing);
    EXPECT_EQ(tools[1].installHint, QStringLiteral("apt install tmux"));
    EXPECT_EQ(tools[1].installUrl, QUrl(QStringLiteral("https://github.com/tmux/tmux")));
    EXPECT_EQ(tools[2].installUrl, std::nullopt);
    EXPECT_FALSE(PrerequisiteChecker::allInstalled(tools));
    ASSERT_EQ(PrerequisiteChecker::missingTools(tools).size(), 2);
    EXPECT_EQ(PrerequisiteChecker::missingTools(tools)[1].id, QStringLiteral("jq"));

    EXPECT_FALSE(PrerequisiteChecker::allInstalled(
        PrerequisiteChecker::toolsOf(parsed(R"({"tools": []})"))));
    for (const std::optional<QJsonObject>& answer :
         {std::optional<QJsonObject>(), std::optional(parsed(R"({"tools": "many"})"))}) {
        const QList<Tool> fallback = PrerequisiteChecker::toolsOf(answer);
        ASSERT_EQ(fallback.size(), 2);
        EXPECT_EQ(fallback[0].label, QStringLiteral("Claude Code CLI"));
        EXPECT_EQ(fallback[1].id, QStringLiteral("tmux"));
        // During an outage nothing reads as missing, and nothing as done.
        EXPECT_TRUE(PrerequisiteChecker::missingTools(fallback).isEmpty());
        EXPECT_FALSE(PrerequisiteChecker::allInstalled(fallback));
    }
}

class SetupServicesTest : public test::FakeDaemonFixture {
protected:
    void SetUp() override {
        FakeDaemonFixture::SetUp();
        server.setHandler([this](const HttpServer::Request& request) {
            if (request.path == "/prerequisites") {
                return HttpServer::json(prerequisites);
            }
            if (request.path.startsWith("/verify/")) {
                return HttpServer::json(verifyAnswer, verifyStatus);
            }
            HttpServer::Response stream;
            stream.stream = true;
            stream.contentType = "text/event-stream";
            return stream;
        });
        pointAt(server);
    }

    HttpServer server;
    QByteArray prerequisites = R"({"tools": [{"id": "claude", "label": "Claude Code CLI"},
                                            {"id": "tmux", "label": "tmux", "path": "/t"}]})";
    QByteArray verifyAnswer = R"({"ok": true, "message": "It answered", "latency_ms": 12})";
    int verifyStatus = 200;
};

TEST_F(SetupServicesTest, TheWatcherNoticesTheLastToolArrivingWhileItWatches) {
    EngineInstallWatcher watcher;
    watcher.start(&daemon, 10ms);
    EXPECT_TRUE(watcher.isWatching());
    ASSERT_TRUE(waitUntil([&] { return !watcher.tools().isEmpty(); }));
    EXPECT_EQ(watcher.missingLabels(), QStringList{QStringLiteral("Claude Code CLI")});
    EXPECT_FALSE(watcher.completedDuringThisWatch());

    prerequisites = R"({"tools": [{"id": "claude", "label": "Claude Code CLI", "path": "/c"},
                                  {"id": "tmux", "label": "tmux", "path": "/t"}]})";
    ASSERT_TRUE(waitUntil([&] { return watcher.completedDuringThisWatch(); }));
    EXPECT_TRUE(watcher.allInstalled());
    watcher.stop();
    EXPECT_FALSE(watcher.isWatching());

    // A machine that had everything from the first look on counts too: the list before was empty.
    EngineInstallWatcher fresh;
    fresh.start(&daemon, 10ms);
    EXPECT_TRUE(waitUntil([&] { return fresh.completedDuringThisWatch(); }));
}

TEST_F(SetupServicesTest, AProofKeepsTheDaemonsAnswerWhateverItsStatus) {
    VerifyService verify;
    verify.setDaemon(&daemon);
    runTask(verify.run(VerifyService::Proof::engine));
    EXPECT_EQ(server.requests().last().path, "/verify/engine");
    EXPECT_EQ(server.requests().last().headers.value("content-type"), "application/json");
    EXPECT_EQ(verify.result(VerifyService::Proof::engine)->message, QStringLiteral("It answered"));
    EXPECT_EQ(verify.result(VerifyService::Proof::engine)->latencyMs, 12);
    EXPECT_FALSE(verify.running(VerifyService::Proof::engine));

    verifyAnswer = R"({"ok": false, "skipped": false, "message": "No photos folder"})";
    verifyStatus = 500;
    runTask(verify.run(VerifyService::Proof::photos));
    EXPECT_FALSE(verify.passed(VerifyService::Proof::photos));
    EXPECT_EQ(verify.result(VerifyService::Proof::photos)->message,
              QStringLiteral("No photos folder"));

    verifyAnswer = "not json";
    runTask(verify.run(VerifyService::Proof::caption));
    EXPECT_EQ(verify.result(VerifyService::Proof::caption)->message,
              QStringLiteral("Verify request failed"));
    EXPECT_TRUE(verify.result(VerifyService::Proof::caption)->error);
}

TEST_F(SetupServicesTest, WithoutADaemonPortAProofFailsAtOnce) {
    QFile::remove(portFile);
    VerifyService verify;
    verify.setDaemon(&daemon);
    const QDeadlineTimer soon(2s);
    runTask(verify.run(VerifyService::Proof::photos));
    EXPECT_FALSE(soon.hasExpired());
    EXPECT_EQ(
        verify.result(VerifyService::Proof::photos)->message,
        QStringLiteral("Daemon isn't reachable yet — try again once the indicator turns green"));
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(SetupServicesTest, TheBrowserProofAsksFirstOrSkipsForAUserWhoFetchesByHand) {
    VerifyService verify;
    verify.setDaemon(&daemon);
    const QString vault = env.root() + QStringLiteral("/vault");
    verify.setVault(vault);
    runTask(verify.runBrowser());
    EXPECT_TRUE(verify.acceptanceOwed());
    EXPECT_EQ(server.requestCount("/verify/browser"), 0);

    const QDateTime now =
        QDateTime::fromString(QStringLiteral("2026-03-01T09:30:00Z"), Qt::ISODate);
    runTask(verify.acceptAndRunBrowser(now, QStringLiteral("Tallo")));
    EXPECT_FALSE(verify.acceptanceOwed());
    EXPECT_FALSE(verify.handoverWriteFailed());
    EXPECT_EQ(AgentAcceptance::load(vault)->atTrigger, QStringLiteral("setup:browser-check"));
    EXPECT_TRUE(verify.passed(VerifyService::Proof::browser));
    // Accepted once, never asked again.
    runTask(verify.runBrowser());
    EXPECT_EQ(server.requestCount("/verify/browser"), 2);

    verify.setFetchesFilesByHand(true);
    runTask(verify.runBrowser());
    EXPECT_TRUE(verify.browserWithheld());
    const VerifyResult skip = *verify.result(VerifyService::Proof::browser);
    EXPECT_TRUE(skip.skipped);
    EXPECT_EQ(skip.message, QStringLiteral("You are fetching files yourself, so I never open a "
                                           "browser. Everything after the download is still "
                                           "mine."));
    EXPECT_EQ(server.requestCount("/verify/browser"), 2);
}

TEST_F(SetupServicesTest, SpokenWordsProveTheMicrophoneAndTheDownloadIsFollowed) {
    VerifyService verify;
    verify.setDaemon(&daemon);
    verify.noteSpoken(QStringLiteral(" \n "));
    EXPECT_FALSE(verify.result(VerifyService::Proof::transcribe));
    verify.noteSpoken(QStringLiteral(" An Oy in Helsinki\n"));
    EXPECT_EQ(verify.result(VerifyService::Proof::transcribe)->text,
              QStringLiteral("An Oy in Helsinki"));
    EXPECT_EQ(verify.result(VerifyService::Proof::transcribe)->message,
              QStringLiteral("You said it, and it came back."));

    verify.addProgressWatcher();
    verify.addProgressWatcher();
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    server.sendToStreams(
        R"(data: {"event": "other", "payload": {"completed": 1}})"
        "\n\n"
        R"(data: {"event": "model-download-progress", "payload": {"kind": "whisper", "model": "base", "completed": 41943040, "total": 125829120}})"
        "\n\n");
    ASSERT_TRUE(waitUntil([&] { return verify.downloading(); }));
    EXPECT_DOUBLE_EQ(verify.downloadFraction(), 1.0 / 3);
    EXPECT_EQ(verify.downloadText(), QStringLiteral("40 of 120 MB"));
    // One of two screens leaves: the stream goes on.
    verify.removeProgressWatcher();
    EXPECT_TRUE(verify.progressStreamOpen());
    server.sendToStreams(
        R"(data: {"event": "model-download-progress", "payload": {"status": "complete"}})"
        "\n\n");
    ASSERT_TRUE(waitUntil([&] { return !verify.downloading(); }));
    verify.removeProgressWatcher();
    EXPECT_FALSE(verify.progressStreamOpen());
}

} // namespace
} // namespace mnemora

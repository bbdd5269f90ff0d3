#include <QJsonDocument>

#include <gtest/gtest.h>

#include "daemon/FakeDaemonFixture.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "voice/TranscribeStore.h"

namespace mnemora {
namespace {

using test::HttpServer;
using test::runTask;
using test::waitUntil;

QJsonObject event(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

class TranscribeStoreTest : public test::FakeDaemonFixture {
protected:
    TranscribeStore store{&daemon};
};

TEST_F(TranscribeStoreTest, ABurstOfPartialTextIsOneChangeCarryingTheLastText) {
    int changes = 0;
    QObject::connect(&store, &TranscribeStore::liveChanged, [&] { ++changes; });
    for (const char* text : {"one", "one two", "one two three"}) {
        store.handleEvent(event(
            (QByteArray(
                 R"({"event": "voice-memos-transcription", "payload": {"accumulated_text": ")") +
             text + R"(", "transcribed_seconds": 4, "current_duration": 9}})")
                .constData()));
    }
    EXPECT_EQ(changes, 0);
    ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
    EXPECT_EQ(store.accumulatedText(), QStringLiteral("one two three"));
    EXPECT_EQ(store.transcribedSeconds(), 4.0);
    EXPECT_EQ(store.currentDuration(), 9.0);

    // Seconds alone leave the text; then a blank end keeps it and finishes nothing.
    store.handleEvent(
        event(R"({"event": "voice-memos-transcription", "payload": {"transcribed_seconds": 6}})"));
    store.handleEvent(
        event(R"({"event": "voice-memos-watching-stopped", "payload": {"text": " "}})"));
    EXPECT_EQ(store.transcribedSeconds(), 6.0);
    EXPECT_EQ(store.accumulatedText(), QStringLiteral("one two three"));
    EXPECT_FALSE(store.finished());
    EXPECT_FALSE(store.watching());

    store.handleEvent(
        event(R"({"event": "voice-memos-watching-stopped", "payload": {"text": "Done."}})"));
    EXPECT_TRUE(store.finished());
    EXPECT_EQ(store.accumulatedText(), QStringLiteral("Done."));
    store.handleEvent(
        event(R"({"event": "voice-memos-status", "payload": {"is_recording": true}})"));
    EXPECT_TRUE(store.recordingDetected());
    store.handleEvent(
        event(R"({"event": "voice-memos-status", "payload": {"is_recording": "yes"}})"));
    EXPECT_FALSE(store.recordingDetected());
}

TEST_F(TranscribeStoreTest, SavingARecordingSaysWhyItFailed) {
    runTask(store.saveRecording("abc", QStringLiteral("m4a")));
    EXPECT_EQ(store.recordingError(), QStringLiteral("Daemon not reachable"));

    HttpServer server;
    pointAt(server);
    const struct {
        int status;
        QByteArray body;
        std::optional<QString> path;
        std::optional<QString> error;
    } cases[] = {
        {200, R"({"ok": true, "file_path": "/v/rec.m4a"})", QStringLiteral("/v/rec.m4a"),
         std::nullopt},
        {200, R"({"ok": false, "error": "disk full"})", std::nullopt, QStringLiteral("disk full")},
        {500, "not json", std::nullopt, QStringLiteral("Save failed")},
    };
    for (const auto& c : cases) {
        TranscribeStore fresh(&daemon);
        server.setHandler(
            [&](const HttpServer::Request&) { return HttpServer::json(c.body, c.status); });
        EXPECT_EQ(runTask(fresh.saveRecording("abc", QStringLiteral("m4a"))), c.path);
        EXPECT_EQ(fresh.recordingError(), c.error);
        EXPECT_EQ(server.requests().last().path, "/transcriptions/record?ext=m4a");
        EXPECT_EQ(server.requests().last().body, "abc");
    }
    server.close();
    TranscribeStore refused(&daemon);
    runTask(refused.saveRecording("abc", QStringLiteral("m4a")));
    EXPECT_TRUE(refused.recordingErrorText().startsWith(QStringLiteral("Save failed: ")))
        << refused.recordingErrorText().toStdString();
}

TEST_F(TranscribeStoreTest, TheStreamComesBackByItselfAfterTheDaemonDropsIt) {
    HttpServer server([](const HttpServer::Request&) {
        HttpServer::Response stream;
        stream.stream = true;
        return stream;
    });
    pointAt(server);
    TranscribeStore::Timings fast;
    fast.reconnectDelay = std::chrono::milliseconds(20);
    store.setTimings(fast);
    store.startListening();
    store.startListening();
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    server.sendToStreams(
        R"(data: {"event": "voice-memos-watching-stopped", "payload": {"text": "hello"}})"
        "\n\n");
    ASSERT_TRUE(waitUntil([&] { return store.finished(); }));
    server.closeStreams();
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/progress") == 2; }));
    EXPECT_EQ(store.accumulatedText(), QStringLiteral("hello"));
}

TEST(TranscribeFileStream, ProgressIsAWholeClampedPercentage) {
    using P = TranscribeStore::FileStreamProgress;
    EXPECT_EQ(
        TranscribeStore::fileStreamProgress(event(R"({"type": "progress", "progress": 0.034})")),
        (P{false, 3, 0.0, std::nullopt}));
    EXPECT_EQ(TranscribeStore::fileStreamProgress(event(
                  R"({"type": "progress", "progress": 1.7, "duration_secs": 12.5, "text": "hi"})")),
              (P{false, 100, 12.5, QStringLiteral("hi")}));
    EXPECT_EQ(TranscribeStore::fileStreamProgress(event(R"({"type": "queued"})")),
              (P{true, 0, 0.0, std::nullopt}));
    EXPECT_EQ(TranscribeStore::fileStreamProgress(event(R"({"type": "other"})")), std::nullopt);
}

} // namespace
} // namespace mnemora

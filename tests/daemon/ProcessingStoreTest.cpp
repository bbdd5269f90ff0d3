#include <QFile>

#include <QCoroTimer>

#include <gtest/gtest.h>

#include "daemon/FakeDaemonFixture.h"
#include "daemon/ProcessingStore.h"
#include "support/EventLoop.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using test::HttpServer;
using test::waitUntil;

const QDateTime t0 = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

QByteArray line(const QByteArray& event, const QByteArray& payload) {
    return "data: {\"event\": \"" + event + "\", \"payload\": " + payload + "}\n";
}

QByteArray statusLine(const QByteArray& path, const QByteArray& status, double percent = 0) {
    return line("asset-status-updated",
                "{\"file_path\": \"" + path + "\", \"item_type\": \"audio\", \"status\": \"" +
                    status + "\", \"progress_percent\": " + QByteArray::number(percent) + "}");
}

// How often a signal of the store has fired.
template <typename Signal> std::shared_ptr<int> countOf(ProcessingStore& store, Signal signal) {
    auto count = std::make_shared<int>(0);
    QObject::connect(&store, signal, [count] { ++*count; });
    return count;
}

class ProcessingStoreTest : public test::FakeDaemonFixture {
protected:
    void SetUp() override {
        FakeDaemonFixture::SetUp();
        server.setHandler([this](const HttpServer::Request& request) {
            if (request.path == "/progress") {
                HttpServer::Response response;
                response.stream = true;
                return response;
            }
            if (request.path == "/queue/positions") {
                return HttpServer::json(positions);
            }
            return HttpServer::json("{}", 404);
        });
        pointAt(server);
        store.setDaemon(&daemon);
        // Short windows keep the tests quick; the rules do not depend on their length.
        store.setTimings({.reconnectDelay = 10ms,
                          .staleAfter = 60s,
                          .statusWindow = 30ms,
                          .indexTickWindow = 40ms});
        store.setClock([this] { return clockNow; });
    }

    void startStreaming() {
        store.start();
        ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    }

    HttpServer server;
    QByteArray positions = R"({"audio": {"/a.m4a": 1, "/b.m4a": 2.5}, "visual": {"/c.jpg": 3}})";
    QDateTime clockNow = t0;
    ProcessingStore store;
};

TEST_F(ProcessingStoreTest, ABurstForOnePathIsOneChangeWithTheLastValues) {
    startStreaming();
    ASSERT_TRUE(waitUntil([&] { return !store.queuePositionsAudio().isEmpty(); }));
    EXPECT_EQ(store.queuePositionsAudio(), (QueuePositionMap{{QStringLiteral("/a.m4a"), 1}}));
    EXPECT_EQ(store.queuePositionsVisual(), (QueuePositionMap{{QStringLiteral("/c.jpg"), 3}}));
    const auto changes = countOf(store, &ProcessingStore::statusByPathChanged);
    const auto feed = countOf(store, &ProcessingStore::recentEventsChanged);
    QByteArray burst;
    for (int i = 1; i <= 1000; ++i) {
        burst += statusLine("/a.m4a", "segment_" + QByteArray::number(i), i / 10.0);
    }
    server.sendToStreams(burst);
    ASSERT_TRUE(waitUntil([&] { return *changes == 1; }));
    test::runTask(QCoro::sleepFor(60ms)); // past another window: nothing more comes
    EXPECT_EQ(*changes, 1);
    EXPECT_EQ(*feed, 1);
    ASSERT_EQ(store.statusByPath().size(), 1);
    const AssetStatusEvent last = store.statusByPath().value(QStringLiteral("/a.m4a"));
    EXPECT_EQ(last.status, QStringLiteral("segment_1000"));
    EXPECT_EQ(last.progressPercent, 100.0);
    EXPECT_EQ(last.receivedAt, t0);
    EXPECT_EQ(last.statusText(), QStringLiteral("Transcribing 100%"));
    ASSERT_EQ(store.recentEvents().size(), ProcessingStore::maxRecent);
    EXPECT_EQ(store.recentEvents().first().status, QStringLiteral("segment_1000"));
    EXPECT_EQ(store.recentEvents().last().status, QStringLiteral("segment_951"));

    // The next window puts its events in front and keeps the feed at its cap.
    server.sendToStreams(statusLine("/b.m4a", "done"));
    ASSERT_TRUE(waitUntil([&] { return *changes == 2; }));
    EXPECT_EQ(store.statusByPath().size(), 2);
    ASSERT_EQ(store.recentEvents().size(), ProcessingStore::maxRecent);
    EXPECT_EQ(store.recentEvents()[0].filePath, QStringLiteral("/b.m4a"));
    EXPECT_EQ(store.recentEvents()[1].status, QStringLiteral("segment_1000"));
}

TEST_F(ProcessingStoreTest, LinesThatAreNoEventChangeNothingAndTheStreamGoesOn) {
    startStreaming();
    const auto changes = countOf(store, &ProcessingStore::statusByPathChanged);
    server.sendToStreams(
        "data: not json\n" +
        line("asset-status-updated", R"({"item_type": "audio", "status": "done"})") +
        line("asset-status-updated", R"({"file_path": "/x", "status": "done"})") +
        R"(data: {"event": "asset-status-updated"})"
        "\n" +
        R"(data: {"payload": {"file_path": "/x", "item_type": "a", "status": "done"}})"
        "\n" +
        line("no-such-event", "{}"));
    test::runTask(QCoro::sleepFor(60ms));
    EXPECT_EQ(*changes, 0);
    EXPECT_TRUE(store.statusByPath().isEmpty());

    server.sendToStreams(statusLine("/x", "done"));
    ASSERT_TRUE(waitUntil([&] { return *changes == 1; }));
    EXPECT_EQ(server.requestCount("/progress"), 1);
}

TEST_F(ProcessingStoreTest, ReconnectsAfterADropAndForgetsOnlyStaleProcessingEntries) {
    startStreaming();
    server.sendToStreams(statusLine("/old", "processing"));
    ASSERT_TRUE(waitUntil([&] { return store.statusByPath().size() == 1; }));
    clockNow = t0.addSecs(30);
    server.sendToStreams(statusLine("/young", "processing") + statusLine("/done", "done"));
    ASSERT_TRUE(waitUntil([&] { return store.statusByPath().size() == 3; }));

    // 61 s after the first: the daemon restarts.
    clockNow = t0.addSecs(61);
    const auto ticks = countOf(store, &ProcessingStore::indexRebuildTickChanged);
    server.closeStreams();
    ASSERT_TRUE(waitUntil([&] { return server.requestCount("/progress") == 2; }));
    EXPECT_EQ(store.statusByPath().keys().size(), 2);
    EXPECT_FALSE(store.statusByPath().contains(QStringLiteral("/old")));
    EXPECT_TRUE(store.statusByPath().contains(QStringLiteral("/young")));
    ASSERT_TRUE(waitUntil([&] { return *ticks == 1; }));

    // The new connection carries events as before.
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    server.sendToStreams(statusLine("/new", "done"));
    ASSERT_TRUE(waitUntil([&] { return store.statusByPath().contains(QStringLiteral("/new")); }));

    store.stop();
    EXPECT_FALSE(store.isStreaming());
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 0; }));
    test::runTask(QCoro::sleepFor(40ms));
    EXPECT_EQ(server.requestCount("/progress"), 2);
}

TEST_F(ProcessingStoreTest, AnEntryStuckAtProcessingGoesWhileTheStreamStaysOpen) {
    startStreaming();
    server.sendToStreams(statusLine("/stuck", "processing"));
    ASSERT_TRUE(waitUntil([&] { return store.statusByPath().size() == 1; }));

    clockNow = t0.addSecs(61);
    server.sendToStreams(statusLine("/next", "processing"));
    ASSERT_TRUE(waitUntil([&] { return store.statusByPath().contains(QStringLiteral("/next")); }));
    EXPECT_EQ(store.statusByPath().keys(), QStringList{QStringLiteral("/next")});
    EXPECT_EQ(server.requestCount("/progress"), 1);
}

TEST_F(ProcessingStoreTest, WaitsForAPortFileBeforeConnecting) {
    QFile::remove(portFile);
    store.start();
    test::runTask(QCoro::sleepFor(40ms));
    EXPECT_EQ(server.requestCount("/progress"), 0);
    pointAt(server);
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
}

TEST_F(ProcessingStoreTest, StaleMeansProcessingForLongerThanTheLimit) {
    AssetStatusMap entries;
    auto put = [&](const QString& path, const QString& status, int ageSecs) {
        entries.insert(path, AssetStatusEvent{path,
                                              QStringLiteral("audio"),
                                              status,
                                              {},
                                              {},
                                              {},
                                              {},
                                              {},
                                              {},
                                              t0.addSecs(-ageSecs)});
    };
    put(QStringLiteral("/stuck"), QStringLiteral("processing"), 61);
    put(QStringLiteral("/limit"), QStringLiteral("processing"), 60);
    put(QStringLiteral("/young"), QStringLiteral("processing"), 59);
    put(QStringLiteral("/failed"), QStringLiteral("failed"), 600);
    const AssetStatusMap kept = ProcessingStore::withoutStale(entries, t0, 60s);
    QStringList paths = kept.keys();
    paths.sort();
    EXPECT_EQ(paths, (QStringList{QStringLiteral("/failed"), QStringLiteral("/limit"),
                                  QStringLiteral("/young")}));
}

TEST_F(ProcessingStoreTest, EveryEventSaysWhatHappened) {
    startStreaming();
    QStringList retries;
    QStringList entities;
    QObject::connect(&store, &ProcessingStore::retryEvent,
                     [&](const QString& text) { retries << text; });
    QObject::connect(&store, &ProcessingStore::entityEvent,
                     [&](const QString& text) { entities << text; });
    const struct {
        QByteArray line;
        QString retry;
        QString entity;
    } cases[] = {
        {line("retry-all-started", R"({"kind": "audio"})"),
         QStringLiteral("Retry (audio) started"),
         {}},
        {line("retry-all-complete", R"({"reset": 1, "reconciled": 2, "skipped": 3, "errors": 1})"),
         QStringLiteral("Retry reset 1 asset, cleaned 2 stale index rows, skipped 3, 1 error"),
         {}},
        {line("retry-all-complete", R"({"reset": 2, "reconciled": 1, "errors": 4})"),
         QStringLiteral("Retry reset 2 assets, cleaned 1 stale index row, 4 errors"),
         {}},
        {line("retry-all-complete", "{}"), QStringLiteral("Retry reset 0 assets"), {}},
        {line("retry-all-error", R"({"error": "disk full"})"),
         QStringLiteral("Retry failed: disk full"),
         {}},
        {line("entity-generation-started", "{}"), {}, QStringLiteral("Generating entities…")},
        {line(
             "entity-generation-complete",
             R"({"people_created": 3, "people_updated": 1, "places_created": 2, "groups_created": 0, "events_created": 5})"),
         {},
         QStringLiteral("Entities: 3 people created, 1 updated, 2 places, 0 groups, 5 events")},
        {line("entity-generation-complete", R"({"people_created": 3})"),
         {},
         QStringLiteral("Entity generation complete.")},
        {line("entity-generation-error", R"({"error": "model missing"})"),
         {},
         QStringLiteral("Entity generation failed: model missing")},
        {line("entity-generation-error", "{}"), {}, QStringLiteral("Entity generation failed.")},
    };
    for (const auto& c : cases) {
        retries.clear();
        entities.clear();
        server.sendToStreams(c.line);
        const QStringList expectedRetries =
            c.retry.isEmpty() ? QStringList() : QStringList{c.retry};
        const QStringList expectedEntities =
            c.entity.isEmpty() ? QStringList() : QStringList{c.entity};
        ASSERT_TRUE(waitUntil([&] { return !retries.isEmpty() || !entities.isEmpty(); }))
            << c.line.constData();
        EXPECT_EQ(retries, expectedRetries) << c.line.constData();
        EXPECT_EQ(entities, expectedEntities) << c.line.constData();
    }
    EXPECT_FALSE(store.entityGenerationBusy());
    server.sendToStreams(line("entity-generation-started", "{}"));
    ASSERT_TRUE(waitUntil([&] { return store.entityGenerationBusy(); }));

    const auto questions = countOf(store, &ProcessingStore::questionsChanged);
    server.sendToStreams(line("questions-changed", "{}"));
    ASSERT_TRUE(waitUntil([&] { return *questions == 1; }));
}

TEST_F(ProcessingStoreTest, IndexRebuildAndModelPullFollowTheirEvents) {
    startStreaming();
    using Rebuild = std::tuple<bool, std::optional<double>, std::optional<QString>>;
    auto rebuild = [&] {
        return Rebuild{store.indexRebuildBusy(), store.indexRebuildProgress(),
                       store.indexRebuildStatus()};
    };
    const struct {
        QByteArray line;
        Rebuild expected;
    } steps[] = {
        {line("index-rebuild-started", "{}"), {true, 0.0, QStringLiteral("Rebuilding index…")}},
        {line("index-rebuild-progress", R"({"progress_percent": 40, "message": "Photos"})"),
         {true, 0.4, QStringLiteral("Photos")}},
        {line("index-rebuild-progress", R"({"progress_percent": 55})"),
         {true, 0.55, QStringLiteral("Photos")}},
        {line("index-rebuild-complete", R"({"total_items": 1234})"),
         {false, std::nullopt, QStringLiteral("Rebuilt index — 1234 items.")}},
        {line("index-rebuild-error", R"({"error": "locked"})"),
         {false, std::nullopt, QStringLiteral("Rebuild failed: locked")}},
    };
    for (const auto& step : steps) {
        server.sendToStreams(step.line);
        ASSERT_TRUE(waitUntil([&] { return rebuild() == step.expected; })) << step.line.constData();
    }

    server.sendToStreams(
        line("model-download-progress", R"({"kind": "ollama", "status": "pulling"})") +
        line(
            "model-download-progress",
            R"({"kind": "vlm-swiftlm", "model": "qwen", "status": "downloading", "completed": 50, "total": 200, "percentage": 25})"));
    ASSERT_TRUE(waitUntil([&] { return store.vlmPullProgress().has_value(); }));
    EXPECT_EQ(*store.vlmPullProgress(),
              (VlmPullProgress{QStringLiteral("vlm-swiftlm"), QStringLiteral("qwen"),
                               QStringLiteral("downloading"), 50, 200, 25.0}));
    server.sendToStreams(line("model-download-progress",
                              R"({"kind": "ollama", "model": "llava", "status": "complete"})"));
    ASSERT_TRUE(waitUntil([&] { return !store.vlmPullProgress().has_value(); }));
}

TEST_F(ProcessingStoreTest, IndexTicksOfOneWindowAreOneReload) {
    startStreaming();
    const auto ticks = countOf(store, &ProcessingStore::indexRebuildTickChanged);
    positions = R"({"audio": {"/z.m4a": 4}, "visual": {}})";
    server.sendToStreams(line("registry-updated", "{}") + line("timeline-updated", "{}") +
                         line("retry-all-complete", R"({"reset": 1})") +
                         line("registry-updated", "{}"));
    ASSERT_TRUE(waitUntil([&] { return *ticks == 1; }));
    ASSERT_TRUE(
        waitUntil([&] { return store.queuePositionsAudio().contains(QStringLiteral("/z.m4a")); }));
    test::runTask(QCoro::sleepFor(60ms));
    EXPECT_EQ(store.indexRebuildTick(), 1);
    EXPECT_TRUE(store.queuePositionsVisual().isEmpty());
}

TEST(AssetStatusEventText, ReadsTheAudioStatusFirst) {
    const struct {
        QString status;
        std::optional<QString> audio;
        std::optional<double> percent;
        QString text;
    } cases[] = {
        {QStringLiteral("done"), {}, {}, QStringLiteral("Done")},
        {QStringLiteral("processing"), QStringLiteral("completed"), {}, QStringLiteral("Done")},
        {QStringLiteral("failed"), {}, {}, QStringLiteral("Failed")},
        {QStringLiteral("picked_up"), {}, {}, QStringLiteral("Queued")},
        {QStringLiteral("x"), QStringLiteral("loading_model"), {}, QStringLiteral("Loading model")},
        {QStringLiteral("converting_audio"), {}, {}, QStringLiteral("Converting audio")},
        {QStringLiteral("transcription_started"), {}, {}, QStringLiteral("Transcribing 0%")},
        {QStringLiteral("x"), QStringLiteral("segment_3"), 42.6,
         QStringLiteral("Transcribing 43%")},
        {QStringLiteral("processing"), {}, {}, QStringLiteral("Processing")},
        {QStringLiteral("waiting_for_model"), {}, {}, QStringLiteral("Waiting for model")},
    };
    for (const auto& c : cases) {
        AssetStatusEvent event;
        event.status = c.status;
        event.audioStatus = c.audio;
        event.progressPercent = c.percent;
        EXPECT_EQ(event.statusText(), c.text) << c.status.toStdString();
    }
}

} // namespace
} // namespace mnemora

#include <QFile>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include "daemon/DaemonEndpoints.h"
#include "daemon/FakeDaemonFixture.h"
#include "support/EventLoop.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using namespace DaemonEndpoints;
using test::HttpServer;
using test::runTask;

// Every operation reduced to one word of what it gave: "ok", "present", "absent" or the failure.
template <typename T> QCoro::Task<QString> said(QCoro::Task<Expected<T>> task) {
    const Expected<T> result = co_await task;
    co_return result.ok() ? QStringLiteral("ok") : result.error();
}
template <typename T> QCoro::Task<QString> said(QCoro::Task<std::optional<T>> task) {
    const std::optional<T> result = co_await task;
    co_return result ? QStringLiteral("present") : QStringLiteral("absent");
}

struct Row {
    std::function<QCoro::Task<QString>(Daemon)> call;
    QByteArray method;
    QString path;      // the catalogue's template
    QByteArray target; // as sent
    QByteArray body;
    std::chrono::milliseconds timeout;
    QString refused;     // a 500 without `error`
    QString unreachable; // without a port
};

const QString reads = QStringLiteral("absent");
const QString refusedConnection = QStringLiteral("Connection refused");
QString status500(const char* word) {
    return QString::fromUtf8(word).replace(QLatin1String("{status}"), QLatin1String("500"));
}
const QString generic = QStringLiteral("The daemon answered HTTP 500");

class DaemonEndpointsTest : public test::FakeDaemonFixture {
protected:
    void SetUp() override {
        FakeDaemonFixture::SetUp();
        pointAt(server);
    }

    // Sends every row four times: answered, refused without words, refused with the daemon's
    // own words, and with no daemon at all.
    void checkFamily(const QList<Row>& rows) {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.target.constData());
            const Endpoint* endpoint = find(row.method, row.path);
            ASSERT_NE(endpoint, nullptr);
            EXPECT_EQ(endpoint->timeout, row.timeout);

            answer = HttpServer::json(R"({"ok": true, "reset": 1, "session_name": "s",
                "text": "t", "file_path": "/f", "preview": "p", "accessible": true,
                "is_recording": false})");
            const qsizetype before = server.requests().size();
            const QString answered = runTask(row.call(&daemon));
            ASSERT_EQ(server.requests().size(), before + 1);
            const HttpServer::Request& sent = server.requests().last();
            EXPECT_EQ(sent.method + ' ' + sent.path, row.method + " /" + row.target);
            EXPECT_EQ(sent.body, row.body);
            if (!row.body.isEmpty() && row.body.startsWith('{')) {
                EXPECT_EQ(sent.headers.value("content-type"), "application/json");
            }
            EXPECT_TRUE(answered == QLatin1String("ok") || answered == QLatin1String("present"))
                << answered.toStdString();

            answer = HttpServer::json("{}", 500);
            EXPECT_EQ(runTask(row.call(&daemon)), row.refused);
            if (row.refused != reads) {
                answer = HttpServer::json(R"({"error": "The vault is locked"})", 400);
                EXPECT_EQ(runTask(row.call(&daemon)), QStringLiteral("The vault is locked"));
            }
            QFile::remove(portFile);
            EXPECT_EQ(runTask(row.call(&daemon)), row.unreachable);
            pointAt(server);
        }
    }

    HttpServer::Response answer;
    HttpServer server{[this](const HttpServer::Request&) { return answer; }};
};

TEST_F(DaemonEndpointsTest, StatusAndProcessingFamily) {
    checkFamily({
        {[](Daemon d) { return said(gpuScheduler(d)); }, "GET", "gpu-scheduler", "gpu-scheduler",
         "", 3s, reads, reads},
        {[](Daemon d) { return said(resourceHistory(d)); }, "GET", "resources/history",
         "resources/history", "", 3s, reads, reads},
        {[](Daemon d) { return said(queuePositions(d)); }, "GET", "queue/positions",
         "queue/positions", "", 3s, reads, reads},
        {[](Daemon d) { return said(retryFile(d, QStringLiteral("/a.m4a"))); }, "POST", "retry",
         "retry", R"({"file_path":"/a.m4a"})", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(retryKind(d, QStringLiteral("audio"))); }, "POST", "retry",
         "retry", R"({"kind":"audio"})", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(rebuildIndex(d)); }, "POST", "index/rebuild", "index/rebuild",
         "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(rescanPhotos(d)); }, "POST", "photos/rescan", "photos/rescan",
         "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(restartVlmSidecar(d)); }, "POST", "sidecar/vlm/restart",
         "sidecar/vlm/restart", "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(setModelPullConsent(d, true)); }, "POST",
         "vlm/model-pull-consent", "vlm/model-pull-consent", R"({"granted":true})", 60s, generic,
         refusedConnection},
        {[](Daemon d) { return said(setPowerState(d, DaemonPowerState::batteryLowPower)); }, "POST",
         "power-state", "power-state", R"({"state":"battery_low_power"})", 60s, generic,
         refusedConnection},
        {[](Daemon d) { return said(recommendDefaults(d, 16, QStringLiteral("arm64"))); }, "POST",
         "defaults/recommend", "defaults/recommend", R"({"arch":"arm64","ram_gb":16})", 60s, reads,
         reads},
        {[](Daemon d) { return said(whisperStatus(d)); }, "GET", "models/whisper/status",
         "models/whisper/status", "", 60s, reads, reads},
        {[](Daemon d) { return said(prefetchWhisper(d)); }, "POST", "models/whisper/prefetch",
         "models/whisper/prefetch", "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(fdaStatus(d)); }, "GET", "fda/status", "fda/status", "", 3s,
         reads, reads},
        {[](Daemon d) { return said(voiceMemosAccessible(d)); }, "GET", "voice-memos/access",
         "voice-memos/access", "", 60s, reads, reads},
        {[](Daemon d) { return said(voiceMemoRecording(d, 3s)); }, "GET", "voice-memos/recording",
         "voice-memos/recording", "", 60s, reads, reads},
        {[](Daemon d) { return said(startVoiceMemoWatch(d)); }, "POST", "voice-memos/watch/start",
         "voice-memos/watch/start", "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(stopVoiceMemoWatch(d)); }, "POST", "voice-memos/watch/stop",
         "voice-memos/watch/stop", "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(bugReportPreview(d)); }, "GET", "bug-report/preview",
         "bug-report/preview", "", 3s, reads, reads},
        {[](Daemon d) {
             return said(submitBugReport(d, QStringLiteral("It hangs"), QStringLiteral("a@b.c")));
         },
         "POST", "bug-report/submit", "bug-report/submit",
         R"({"description":"It hangs","reporter_email":"a@b.c"})", 60s,
         QStringLiteral("Unknown error"), refusedConnection},
        {[](Daemon d) { return said(launchTroubleshooter(d, QStringLiteral("Look"))); }, "POST",
         "troubleshoot/launch", "troubleshoot/launch", R"({"prompt_preamble":"Look"})", 60s,
         QStringLiteral("Troubleshoot launch failed"), refusedConnection},
    });
}

TEST_F(DaemonEndpointsTest, TranscriptionFamily) {
    const QString file = QStringLiteral("/v/a.m4a");
    checkFamily({
        {[file](Daemon d) { return said(transcribeFile(d, file)); }, "POST", "transcribe-file",
         "transcribe-file", R"({"path":"/v/a.m4a"})", 60s,
         status500("transcription failed ({status})"), refusedConnection},
        {[](Daemon d) {
             return said(recordTranscription(d, "AUDIO", QStringLiteral("m4a"), true, 30s));
         },
         "POST", "transcriptions/record", "transcriptions/record?ext=m4a&ephemeral=true", "AUDIO",
         60s, generic, QStringLiteral("Daemon not reachable")},
        {[file](Daemon d) { return said(acceptTranscription(d, file)); }, "POST",
         "transcriptions/accept", "transcriptions/accept", R"({"file_path":"/v/a.m4a"})", 60s,
         generic, refusedConnection},
        {[file](Daemon d) { return said(deleteTranscriptionSourceAudio(d, file)); }, "POST",
         "transcriptions/delete-source-audio", "transcriptions/delete-source-audio",
         R"({"file_path":"/v/a.m4a"})", 60s, generic, refusedConnection},
        {[file](Daemon d) { return said(deleteTranscription(d, file)); }, "POST",
         "transcriptions/delete", "transcriptions/delete", R"({"file_path":"/v/a.m4a"})", 60s,
         generic, refusedConnection},
        {[file](Daemon d) { return said(forceRetranscribe(d, file, QStringLiteral("de"))); },
         "POST", "transcriptions/force-retranscribe", "transcriptions/force-retranscribe",
         R"({"file_path":"/v/a.m4a","language":"de"})", 60s, generic, refusedConnection},
        {[file](Daemon d) { return said(abortTranscription(d, file)); }, "POST",
         "transcriptions/abort", "transcriptions/abort", R"({"file_path":"/v/a.m4a"})", 60s,
         generic, refusedConnection},
    });
    EXPECT_EQ(server.requests().value(4).headers.value("content-type"), "application/octet-stream");
}

TEST_F(DaemonEndpointsTest, EntitiesAndDocumentsFamily) {
    const QString person = QStringLiteral("person");
    const QString ada = QStringLiteral("ada-lovelace");
    checkFamily({
        {[=](Daemon d) { return said(entity(d, person, ada)); }, "GET", "entity/{type}/{slug}",
         "entity/person/ada-lovelace", "", 3s, reads, reads},
        {[=](Daemon d) {
             return said(setEntityField(d, person, ada, QStringLiteral("born"), 1815));
         },
         "POST", "entity/{type}/{slug}/field", "entity/person/ada-lovelace/field",
         R"({"field":"born","value":1815})", 60s, QStringLiteral("Entity field update failed"),
         refusedConnection},
        {[=](Daemon d) { return said(setEntityNotes(d, person, ada, QStringLiteral("Notes"))); },
         "POST", "entity/{type}/{slug}/notes", "entity/person/ada-lovelace/notes",
         R"({"body":"Notes"})", 60s, QStringLiteral("Entity notes update failed"),
         refusedConnection},
        {[](Daemon d) {
             return said(writeDoc(d, QStringLiteral("lists/a.md"), QStringLiteral("- one\n")));
         },
         "POST", "docs/write", "docs/write", R"({"content":"- one\n","path":"lists/a.md"})", 60s,
         QStringLiteral("Synced doc write failed"), refusedConnection},
        {[](Daemon d) { return said(homeNarrative(d)); }, "GET", "home/narrative", "home/narrative",
         "", 5s, reads, reads},
        {[](Daemon d) { return said(eraCandidates(d)); }, "GET", "life/era-candidates",
         "life/era-candidates", "", 5s, reads, reads},
    });
}

TEST_F(DaemonEndpointsTest, AgentsFamily) {
    EraCandidate era{QStringLiteral("paris"),
                     QStringLiteral("Paris"),
                     QStringLiteral("2019-01"),
                     QStringLiteral("2020-06"),
                     812,
                     {QStringLiteral("Paris")},
                     {}};
    checkFamily({
        {[](Daemon d) { return said(dreamerSessions(d)); }, "GET", "dreamer/sessions",
         "dreamer/sessions", "", 3s, reads, reads},
        {[](Daemon d) { return said(killSession(d, QStringLiteral("mn-dreamer-daily-1"))); },
         "POST", "dreamer/sessions/kill", "dreamer/sessions/kill",
         R"({"name":"mn-dreamer-daily-1"})", 60s, QStringLiteral("Kill session failed"),
         refusedConnection},
        {[=](Daemon d) {
             return said(triggerDreamer(d, {QStringLiteral("era"),
                                            {},
                                            QStringLiteral("shop"),
                                            {},
                                            QStringLiteral("2020-06"),
                                            era}));
         },
         "POST", "dreamer/trigger", "dreamer/trigger",
         R"({"books":"shop","cadence":"era","date_end":"2020-06","selected_era":{"date_end":"2020-06","date_start":"2019-01","name":"Paris","photo_count":812,"slug":"paris","top_people":[],"top_places":["Paris"]}})",
         60s, QStringLiteral("Dreamer trigger failed"), refusedConnection},
        {[](Daemon d) {
             return said(messageDreamer(d, QStringLiteral("daily"), QStringLiteral("Go on")));
         },
         "POST", "dreamer/message", "dreamer/message", R"({"cadence":"daily","text":"Go on"})", 60s,
         QStringLiteral("No active session to message"), refusedConnection},
    });
}

TEST_F(DaemonEndpointsTest, BookkeepingFamily) {
    const QString march = QStringLiteral("2026-03");
    checkFamily({
        {[](Daemon d) { return said(closeBooks(d)); }, "GET", "period-close/books",
         "period-close/books", "", 3s, reads, reads},
        {[](Daemon d) { return said(closeRound(d)); }, "GET", "period-close/round",
         "period-close/round", "", 3s, reads, reads},
        {[](Daemon d) { return said(closeRuns(d)); }, "GET", "period-close/runs",
         "period-close/runs", "", 3s, reads, reads},
        {[=](Daemon d) {
             return said(setMaterialStatus(d, march, QStringLiteral("bank:12"),
                                           QStringLiteral("matched"), std::nullopt));
         },
         "POST", "period-close/material/status", "period-close/material/status",
         R"({"line_key":"bank:12","period":"2026-03","status":"matched"})", 60s,
         QStringLiteral("Could not update material"), refusedConnection},
        {[=](Daemon d) { return said(markPeriodClosed(d, march, QStringLiteral("shop"))); }, "POST",
         "period-close/run/close", "period-close/run/close",
         R"({"books":"shop","period":"2026-03"})", 60s,
         QStringLiteral("Could not mark the period closed"), refusedConnection},
        {[=](Daemon d) {
             return said(setRunStatus(d, march, QStringLiteral("paused"), QStringLiteral("Waiting"),
                                      std::nullopt));
         },
         "POST", "period-close/run/status", "period-close/run/status",
         R"({"activity":"Waiting","period":"2026-03","status":"paused"})", 60s,
         QStringLiteral("Could not update the run status"), refusedConnection},
        {[=](Daemon d) {
             return said(addCorrespondence(d, march, QStringLiteral("note"), QStringLiteral("Hi"),
                                           std::nullopt));
         },
         "POST", "period-close/run/correspondence", "period-close/run/correspondence",
         R"({"kind":"note","period":"2026-03","text":"Hi"})", 60s,
         QStringLiteral("Could not save the note"), refusedConnection},
    });
}

TEST_F(DaemonEndpointsTest, SourcesMigrationAndSetupFamily) {
    const QString migration = QStringLiteral("Daemon not reachable");
    const QString obsidian = QStringLiteral("Daemon isn't reachable yet");
    const QString verifying =
        QStringLiteral("Daemon isn't reachable yet — try again once the indicator turns green");
    const QString verifyFailed = QStringLiteral("Verify request failed");
    checkFamily({
        {[](Daemon d) { return said(breadcrumbSources(d)); }, "GET", "breadcrumbs/sources",
         "breadcrumbs/sources", "", 3s, reads, reads},
        {[](Daemon d) {
             return said(addBreadcrumbSource(
                 d, QJsonObject{{QStringLiteral("kind"), QStringLiteral("rss")}}));
         },
         "POST", "breadcrumbs/sources", "breadcrumbs/sources", R"({"kind":"rss"})", 60s, generic,
         refusedConnection},
        {[](Daemon d) { return said(syncBreadcrumbs(d, QStringLiteral("s1"))); }, "POST",
         "breadcrumbs/sync", "breadcrumbs/sync", R"({"source_id":"s1"})", 60s, generic,
         refusedConnection},
        {[](Daemon d) { return said(toggleBreadcrumbSource(d, QStringLiteral("s1"))); }, "POST",
         "breadcrumbs/sources/{id}/toggle", "breadcrumbs/sources/s1/toggle", "", 60s, generic,
         refusedConnection},
        {[](Daemon d) { return said(deleteBreadcrumbSource(d, QStringLiteral("s1"))); }, "DELETE",
         "breadcrumbs/sources/{id}", "breadcrumbs/sources/s1", "", 60s, generic, refusedConnection},
        {[](Daemon d) { return said(migrationStatus(d)); }, "GET", "migrations/status",
         "migrations/status", "", 60s, generic, migration},
        {[](Daemon d) {
             return said(runV4Migration(d, QStringLiteral("me"), QStringLiteral("Me"),
                                        QStringLiteral("Photos")));
         },
         "POST", "migrations/v4/run", "migrations/v4/run",
         R"({"display_name":"Me","identity_id":"me","primary_folder":"Photos"})", 60s,
         QStringLiteral("Server returned HTTP 500"), migration},
        {[](Daemon d) { return said(runCloudIdJob(d, CloudIdJob::dedup)); }, "POST",
         "migrations/cloud-id/dedup", "migrations/cloud-id/dedup", "", 60s,
         QStringLiteral("Server returned HTTP 500"), migration},
        {[](Daemon d) { return said(obsidianStatus(d)); }, "GET", "obsidian/status",
         "obsidian/status", "", 60s, generic, obsidian},
        {[](Daemon d) { return said(installObsidian(d)); }, "POST", "obsidian/install",
         "obsidian/install", "", 60s, generic, obsidian},
    });
    // A proof's answer counts whatever its status; only no answer at all is a failed request.
    for (const auto& [proof, path, timeout] :
         {std::tuple{VerifyProof::photos, "verify/photos", 45s},
          std::tuple{VerifyProof::engine, "verify/engine", 120s},
          std::tuple{VerifyProof::browser, "verify/browser", 600s},
          std::tuple{VerifyProof::transcribe, "verify/transcribe", 600s},
          std::tuple{VerifyProof::caption, "verify/caption", 600s}}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(find("POST", QString::fromLatin1(path))->timeout, timeout);
        answer = HttpServer::json(
            R"({"ok": false, "message": "No photos found", "latency_ms": 12})", 500);
        const VerifyResult refused = runTask(verify(&daemon, proof, {}));
        EXPECT_EQ(server.requests().last().path, QByteArray("/") + path);
        EXPECT_EQ(server.requests().last().body, "{}");
        EXPECT_EQ(refused.message, QStringLiteral("No photos found"));
        EXPECT_EQ(refused.latencyMs, 12);
        answer = HttpServer::json("<html>", 502);
        EXPECT_EQ(runTask(verify(&daemon, proof, {})).message, verifyFailed);
        QFile::remove(portFile);
        EXPECT_EQ(runTask(verify(&daemon, proof, {})).message, verifying);
        pointAt(server);
    }
    server.close();
    EXPECT_EQ(runTask(runV4Migration(&daemon, {}, {}, {})).error(),
              QStringLiteral("Request failed: Connection refused"));
}

TEST_F(DaemonEndpointsTest, EveryRouteOfTheCatalogueIsOnceInIt) {
    QSet<QString> seen;
    for (const Endpoint& endpoint : all()) {
        EXPECT_TRUE(endpoint.method == "GET" || endpoint.method == "POST" ||
                    endpoint.method == "DELETE");
        const QString key = QString::fromLatin1(endpoint.method) + QLatin1Char(' ') + endpoint.path;
        EXPECT_FALSE(seen.contains(key)) << key.toStdString();
        seen << key;
    }
    EXPECT_EQ(find("GET", QStringLiteral("status"))->failureWord, QStringLiteral("HTTP error"));
    EXPECT_EQ(find("GET", QStringLiteral("progress"))->timeout, 0ms);
}

TEST_F(DaemonEndpointsTest, ReadsTakeTheirFieldsAndDefaults) {
    answer = HttpServer::json(R"({"running": true, "queue_size": 3, "vlm_pending": 2,
        "currently_processing": "/p.jpg", "session_skipped": 4,
        "queue_items": [{"work_type": "vlm", "priority": "high", "asset_path": "/q.jpg",
                         "model_name": "qwen", "enqueued_at_ago_ms": 1500}],
        "recent": [{"work_type": "vlm", "asset_path": "/r.jpg", "completed_at": "2026-03-01T10:00:00Z",
                    "wall_ms": 900, "reason": "Ollama not available"},
                   {"outcome": "skipped"}]})");
    const auto snapshot = runTask(gpuScheduler(&daemon));
    ASSERT_TRUE(snapshot);
    EXPECT_TRUE(snapshot->running);
    EXPECT_EQ(snapshot->message, std::nullopt);
    EXPECT_EQ(snapshot->queueSize, 3);
    EXPECT_EQ(snapshot->vlmPending, 2);
    EXPECT_EQ(snapshot->currentlyProcessing, QStringLiteral("/p.jpg"));
    EXPECT_EQ(snapshot->sessionSkipped, 4);
    EXPECT_EQ(snapshot->queueItems,
              (QList<QueueItem>{{QStringLiteral("vlm"), QStringLiteral("high"),
                                 QStringLiteral("/q.jpg"), QStringLiteral("qwen"), 1500}}));
    ASSERT_EQ(snapshot->recent.size(), 2);
    EXPECT_EQ(snapshot->recent[0].outcome, QStringLiteral("success"));
    EXPECT_EQ(snapshot->recent[0].reason, QStringLiteral("Ollama not available"));
    EXPECT_EQ(snapshot->recent[0].wallMs, 900);
    EXPECT_EQ(snapshot->recent[1].outcome, QStringLiteral("skipped"));
    EXPECT_NE(snapshot->recent[0].id, snapshot->recent[1].id);

    // Limits as a list or as a map by session; `resets_at` as a text or seconds.
    answer = HttpServer::json(R"({"sessions": ["mn-dreamer-daily-1"], "limits": [
        {"session": "mn-dreamer-daily-1", "message": "Limit reached", "resets_at": "2026-03-01T15:00:00Z"}]})");
    const auto listed = runTask(dreamerSessions(&daemon));
    answer = HttpServer::json(R"({"sessions": ["mn-dreamer-daily-1"], "limits": {
        "mn-dreamer-daily-1": {"message": "Limit reached", "resets_at": 1772377200}}})");
    const auto mapped = runTask(dreamerSessions(&daemon));
    ASSERT_TRUE(listed && mapped);
    EXPECT_EQ(*listed, *mapped);
    EXPECT_EQ(listed->limits.value(QStringLiteral("mn-dreamer-daily-1")).resetsAt,
              QDateTime(QDate(2026, 3, 1), QTime(15, 0), Qt::UTC));

    answer = HttpServer::json(R"({"round": {"status": "running", "current_activity": "Matching",
        "scope": {"swept_from": "2026-01-01", "swept_to": "2026-03-31", "scanned": 40, "produced": 7},
        "destinations": [{"books": "shop", "period": "2026-Q1", "status": "draft"}]}})");
    const auto round = runTask(closeRound(&daemon));
    ASSERT_TRUE(round);
    EXPECT_EQ(*round,
              (CloseRound{
                  QStringLiteral("running"),
                  QStringLiteral("Matching"),
                  {QStringLiteral("2026-01-01"), QStringLiteral("2026-03-31"), 40, 7},
                  {{QStringLiteral("shop"), QStringLiteral("2026-Q1"), QStringLiteral("draft")}}}));
    answer = HttpServer::json(R"([{"period": "2026-02", "status": "closed"}])");
    const auto runs = runTask(closeRuns(&daemon));
    ASSERT_TRUE(runs);
    EXPECT_EQ(*runs,
              (QList<CloseRunSummary>{{QStringLiteral("2026-02"), QStringLiteral("closed"), {}}}));

    answer =
        HttpServer::json(R"({"ok": true, "v3_needed": false, "v4_preview": {"needs_migration": true,
        "old_folders": [{"name": "Photos", "photo_count": 10, "enrichment_score": 80}],
        "legacy_dirs": [{"name": "old", "file_count": 3}], "recommended_primary_idx": 0,
        "identity_id": "me", "identity_display_name": "Me"}, "completed_migrations": ["v3"]})");
    const Expected<MigrationStatus> migration = runTask(migrationStatus(&daemon));
    ASSERT_TRUE(migration.ok());
    EXPECT_EQ(migration.value().v3Needed, false);
    EXPECT_EQ(migration.value().v5CloudIdDone, std::nullopt);
    ASSERT_TRUE(migration.value().v4Preview);
    EXPECT_TRUE(migration.value().v4Preview->needsMigration);
    EXPECT_EQ(migration.value().v4Preview->oldFolders.value(0).enrichmentScore, 80);
    EXPECT_EQ(migration.value().v4Preview->legacyDirs.value(0).fileCount, 3);
    EXPECT_EQ(migration.value().completedMigrations, QStringList{QStringLiteral("v3")});

    answer = HttpServer::json(R"({"current_context": {"body": "Now", "path": "Life/now.md"},
        "biography": "not a section", "life_dir": "Life"})");
    const auto home = runTask(homeNarrative(&daemon));
    ASSERT_TRUE(home);
    EXPECT_EQ(home->currentContext, (HomeNarrative::Section{QStringLiteral("Now"), std::nullopt,
                                                            QStringLiteral("Life/now.md")}));
    EXPECT_EQ(home->biography, std::nullopt);
    EXPECT_EQ(home->lifeDir, QStringLiteral("Life"));
}

TEST_F(DaemonEndpointsTest, ActionsReadWhatTheirAnswerCarries) {
    answer = HttpServer::json(R"({"reset": 7})");
    EXPECT_EQ(runTask(retryKind(&daemon, QStringLiteral("visual"))).value(), 7);
    answer = HttpServer::json(R"({"error": "Mail server down"})");
    EXPECT_EQ(runTask(submitBugReport(&daemon, {}, {})).error(),
              QStringLiteral("Mail server down"));
    answer = HttpServer::json(R"({"response": "queued"})");
    EXPECT_EQ(runTask(submitBugReport(&daemon, {}, {})).value(),
              QStringLiteral("Report submitted. Thank you!"));
    answer = HttpServer::json(R"({"session_name": " "})");
    EXPECT_EQ(runTask(launchTroubleshooter(&daemon, {})).error(),
              QStringLiteral("Daemon did not return a session name"));
    answer = HttpServer::json(R"({"ok": true})");
    EXPECT_EQ(runTask(transcribeFile(&daemon, {})).error(),
              QStringLiteral("transcription returned no text"));
    answer = HttpServer::json(R"({"ok": true})");
    EXPECT_FALSE(
        runTask(recordTranscription(&daemon, "A", QStringLiteral("m4a"), false, 30s)).ok());
    EXPECT_EQ(server.requests().last().path, "/transcriptions/record?ext=m4a");
    answer = HttpServer::json(R"({"error": "No preview while indexing"})");
    EXPECT_EQ(runTask(bugReportPreview(&daemon))->error(),
              QStringLiteral("No preview while indexing"));
}

TEST_F(DaemonEndpointsTest, ADocumentWriteCountsOnlyWhenTheDaemonSaysOk) {
    for (const auto& [body, expected] :
         {std::pair{"{\"ok\": false}", "Synced doc write failed"},
          std::pair{"{}", "Synced doc write failed"}, std::pair{"{\"ok\": true}", "ok"}}) {
        answer = HttpServer::json(body);
        EXPECT_EQ(runTask(said(writeDoc(&daemon, QStringLiteral("a.md"), QStringLiteral("x")))),
                  QString::fromUtf8(expected))
            << body;
    }
}

TEST_F(DaemonEndpointsTest, StreamingTranscriptionReadsTheSharedEventLines) {
    const struct {
        QByteArray stream;
        int status;
        Expected<QString> expected;
        int progressEvents;
    } cases[] = {
        {"data: {\"type\": \"queued\"}\n: ping\ndata: {\"type\": \"progress\"}\n"
         "data: {\"type\": \"done\", \"text\": \"Hello there\"}\n",
         200, QStringLiteral("Hello there"), 2},
        {"data: {\"type\": \"error\"}\n", 200, fail(QStringLiteral("transcription failed")), 0},
        {"data: {\"type\": \"error\", \"error\": \"No audio\"}\n", 200,
         fail(QStringLiteral("No audio")), 0},
        {"data: {\"type\": \"queued\"}\n", 200,
         fail(QStringLiteral("transcription stream ended without a result")), 1},
        {"{}", 503, fail(QStringLiteral("transcription stream failed (503)")), 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stream.constData());
        answer = HttpServer::json(c.stream, c.status);
        answer.contentType = "text/event-stream";
        int progress = 0;
        const Expected<QString> result = runTask(transcribeFileStreaming(
            &daemon, QStringLiteral("/v/a.m4a"), [&](const QJsonObject&) { ++progress; }));
        EXPECT_EQ(result, c.expected);
        EXPECT_EQ(progress, c.progressEvents);
        EXPECT_EQ(server.requests().last().headers.value("accept"), "text/event-stream");
        EXPECT_EQ(server.requests().last().body, R"({"path":"/v/a.m4a"})");
    }
    QFile::remove(portFile);
    EXPECT_EQ(runTask(transcribeFileStreaming(&daemon, {}, {})).error(), refusedConnection);
}

} // namespace
} // namespace mnemora

// The sync bridge end to end, against a real PouchDB Server on loopback (tools/, installed by
// scripts/setup.sh), a real vault folder and a stand-in daemon that writes `docs/write`, with the
// bridge's own timing (0.5 s watcher latency). Targets: a hand edit of one line of a 1,000-line
// synced document is on the store within 1.5 s of the file's save and costs one block record
// save; a record another client changed is in the file within 1.5 s through the long poll.

#include "app/VaultPaths.h"
#include "cloud/CouchRecordStore.h"
#include "core/SqliteSidecarStore.h"
#include "core/SyncedDocEngine.h"
#include "daemon/DaemonService.h"
#include "platform/BundleInfo.h"
#include "support/HttpServer.h"
#include "support/PouchServer.h"
#include "support/TestEnvironment.h"
#include "sync/SyncedDocsBridgeService.h"

#include "RunBenchmarks.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <QCoroTask>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

namespace {

using namespace mnemora;
using namespace std::chrono_literals;

constexpr int kLines = 1000;
const QString kZone = QStringLiteral("SyncedDocs-lists-active");
const QString kDoc = QStringLiteral("lists/active/Weekly.md");

template <typename Condition> bool turnUntil(Condition condition, qint64 limitMs = 20000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > limitMs) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
    }
    return true;
}

QByteArray document(int changedLine, int round) {
    QByteArray text;
    for (int i = 0; i < kLines; ++i) {
        text += "- [ ] Item number " + QByteArray::number(i) + " of the weekly list";
        if (i == changedLine) {
            text += " (edit " + QByteArray::number(round) + ')';
        }
        text += '\n';
    }
    return text;
}

// One vault synced through a bridge, with a phone on the same database.
struct Setup {
    test::TestEnvironment env;
    test::PouchServer server;
    test::HttpServer daemon;
    DaemonService daemonClient;
    QString notes = env.root() + QStringLiteral("/vault/Notes");
    core::SqliteSidecarStore sidecar{
        (env.root() + QStringLiteral("/sidecar.sqlite")).toStdString()};
    core::SyncedDocEngine engine{sidecar};
    QUrl database;
    std::shared_ptr<RecordStore> phone;
    std::unique_ptr<SyncedDocsBridgeService> bridge;
    QString token;

    Setup() {
        BundleInfo::overrideMainForTesting(
            BundleInfo{QString(), QStringLiteral("ai.mnemora"), {}, {}});
        if (!server.isRunning()) {
            std::fprintf(stderr, "%s\n", qPrintable(server.error()));
            std::exit(1);
        }
        database = server.freshDatabaseUrl();
        daemon.setHandler([this](const test::HttpServer::Request& request) {
            const QJsonObject body = QJsonDocument::fromJson(request.body).object();
            test::TestEnvironment::writeFile(
                notes + QLatin1Char('/') + body.value(QStringLiteral("path")).toString(),
                body.value(QStringLiteral("content")).toString().toUtf8());
            return test::HttpServer::json(R"({"ok":true})");
        });
        test::TestEnvironment::writeFile(VaultPaths::sharedCacheFolder() +
                                             QStringLiteral("/daemon.port"),
                                         QByteArray::number(daemon.port()) + '\n');
        QDir().mkpath(notes + QStringLiteral("/lists/active"));
        phone = std::make_shared<CouchRecordStore>(RecordStoreAccount{database, {}, {}});
        bridge = std::make_unique<SyncedDocsBridgeService>(
            engine, &daemonClient,
            std::make_shared<CouchRecordStore>(RecordStoreAccount{database, {}, {}}),
            core::SyncedDocCollectionConfig::launchDefaults(), QString(),
            SyncLog({}, env.root() + QStringLiteral("/sync.log")));
        bridge->setVoiceAnswersFolder(env.root() + QStringLiteral("/voice-answers"));
        bridge->start(notes);
        test::TestEnvironment::writeFile(notes + QLatin1Char('/') + kDoc, document(-1, 0));
        if (!turnUntil([this] { return idle() && bridge->recordCache().size() > kLines; }, 60000)) {
            std::fprintf(stderr, "the first upload did not finish\n");
            std::exit(1);
        }
        changes(); // from here on, only what the runs change
    }
    ~Setup() { BundleInfo::overrideMainForTesting(std::nullopt); }

    bool idle() const {
        const RecordSyncEngine* sync = bridge->syncEngine();
        return sync->state().pendingRecordZoneChanges().isEmpty() &&
               sync->state().pendingDatabaseChanges().isEmpty();
    }

    // The block records changed on the server since the last call.
    QList<Record> changes() {
        QList<Record> blocks;
        for (bool more = true; more;) {
            const StoreResult<ChangesPage> page = QCoro::waitFor(phone->fetchChanges(token, 2000));
            if (!page.ok()) {
                break;
            }
            for (const Record& record : page.value.modifiedRecords) {
                if (record.recordType() == QLatin1String("SyncedDocBlock")) {
                    blocks << record;
                }
            }
            token = page.value.token;
            more = page.value.moreComing;
        }
        return blocks;
    }
};

Setup& setup() {
    static Setup* instance = new Setup();
    return *instance;
}

void BM_HandEditReachesTheStore(benchmark::State& state) {
    Setup& s = setup();
    int round = 0;
    int blockSaves = 0;
    for (auto _ : state) {
        ++round;
        const QString expected =
            QStringLiteral("Item number 500 of the weekly list (edit %1)").arg(round);
        test::TestEnvironment::writeFile(s.notes + QLatin1Char('/') + kDoc, document(500, round));
        // The file is saved: from here until the phone could read the new record.
        bool seen = false;
        while (!seen) {
            const StoreResult<bool> woke = QCoro::waitFor(s.phone->waitForChanges(s.token, 5000ms));
            if (!woke.ok()) {
                state.SkipWithError("the long poll failed");
                return;
            }
            for (const Record& record : s.changes()) {
                ++blockSaves;
                seen = seen || record.get<QString>(QStringLiteral("text")) == expected;
            }
        }
        state.PauseTiming();
        turnUntil([&] { return s.idle(); });
        blockSaves += static_cast<int>(s.changes().size());
        state.ResumeTiming();
    }
    state.counters["block_saves_per_edit"] =
        static_cast<double>(blockSaves) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_HandEditReachesTheStore)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);

void BM_PhoneEditReachesTheFile(benchmark::State& state) {
    Setup& s = setup();
    const QString filePath = s.notes + QLatin1Char('/') + kDoc;
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        ++round;
        const auto cached = std::next(s.bridge->recordCache().begin(), 10 + round);
        Record record = *cached->second.record;
        const QString line = QStringLiteral("from the phone, round %1").arg(round);
        record.set(QStringLiteral("text"), line);
        const QByteArray needle = line.toUtf8() + '\n';
        state.ResumeTiming();
        const StoreResult<ModifyRecordsResult> saved =
            QCoro::waitFor(s.phone->modifyRecords({record}, {}));
        if (!saved.ok() || saved.value.saves.value(0).error) {
            state.SkipWithError("the phone's save failed");
            return;
        }
        if (!turnUntil(
                [&] { return test::TestEnvironment::readFile(filePath).contains(needle); })) {
            state.SkipWithError("the file never changed");
            return;
        }
        state.PauseTiming();
        turnUntil([&] { return s.idle(); });
        s.changes();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_PhoneEditReachesTheFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);

} // namespace

int main(int argc, char** argv) {
    return runBenchmarks<QCoreApplication>(argc, argv, [] { delete &setup(); });
}

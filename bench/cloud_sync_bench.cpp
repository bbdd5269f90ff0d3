// The record sync engine against a real PouchDB Server on loopback (tools/, installed by
// scripts/setup.sh). Targets: 1,000 new block records sent through the engine in at most 2 s;
// 1,000 changed records fetched (and read back as blocks) in at most 1 s; a change written by
// another client reaching the delegate's fetched-changes event within 1 s through the long poll.

#include "cloud/BlockRecordMapping.h"
#include "cloud/CouchRecordStore.h"
#include "cloud/RecordSyncEngine.h"
#include "cloud/SyncedDocDocumentMapping.h"
#include "support/PouchServer.h"

#include "RunBenchmarks.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <QCoroTask>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>

namespace {

using namespace mnemora;
using namespace std::chrono_literals;

constexpr int kRecords = 1000;
const QString kZone = QStringLiteral("SyncedDocs-lists-active");
const RecordReference kDocument =
    SyncedDocDocumentMapping::reference(QStringLiteral("lists/active/Groceries.md"), kZone);

test::PouchServer& server() {
    static test::PouchServer* running = [] {
        auto* started = new test::PouchServer();
        if (!started->isRunning()) {
            std::fprintf(stderr, "%s\n", qPrintable(started->error()));
            std::exit(1);
        }
        return started;
    }();
    return *running;
}

core::Block lineBlock(int i) {
    char text[64];
    std::snprintf(text, sizeof text, "Item number %d of the weekly list", i);
    char position[16];
    std::snprintf(position, sizeof position, "i%d", 100000 + i);
    return core::Block{.kind = core::BlockKind::item,
                       .text = text,
                       .checked = i % 3 == 0,
                       .position = core::FractionalIndex(position),
                       .askedBy = "desktop",
                       .askedAt = "2024-03-01T10:00:00Z"};
}

// The delegate side: blocks by record name, built into records on demand, fetched ones read back.
class Client : public RecordSyncEngineDelegate {
public:
    std::map<QString, core::Block> blocks;
    int fetchedEvents = 0;
    int fetchedRecords = 0;

    void handleEvent(const RecordSyncEvent& event, RecordSyncEngine&) override {
        if (const auto* fetched = std::get_if<SyncEvent::FetchedRecordZoneChanges>(&event)) {
            for (const Record& record : fetched->modifications) {
                if (auto block = BlockRecordMapping::block(record)) {
                    blocks[record.recordID().recordName] = std::move(*block);
                    ++fetchedRecords;
                }
            }
            ++fetchedEvents;
        }
    }

    std::optional<RecordZoneChangeBatch>
    nextRecordZoneChangeBatch(const SendChangesContext&, RecordSyncEngine& engine) override {
        return RecordZoneChangeBatch::make(engine.state().pendingRecordZoneChanges(),
                                           [this](const RecordID& id) -> std::optional<Record> {
                                               const auto found = blocks.find(id.recordName);
                                               if (found == blocks.end()) {
                                                   return std::nullopt;
                                               }
                                               return BlockRecordMapping::makeRecord(
                                                   found->second, kZone, kDocument);
                                           });
    }
};

std::shared_ptr<RecordStore> storeAt(const QUrl& databaseUrl) {
    return std::make_shared<CouchRecordStore>(RecordStoreAccount{databaseUrl, {}, {}});
}

// A new database with the zone in it, made outside the timing.
QUrl freshDatabase() {
    const QUrl url = server().freshDatabaseUrl();
    QCoro::waitFor(storeAt(url)->modifyZones({kZone}, {}));
    return url;
}

std::unique_ptr<RecordSyncEngine> engineFor(std::shared_ptr<RecordStore> store, Client& client) {
    return std::make_unique<RecordSyncEngine>(RecordSyncEngine::Configuration{
        .store = std::move(store), .stateSerialization = std::nullopt, .delegate = &client});
}

template <typename Condition> void turnUntil(Condition condition) {
    while (!condition()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
}

void BM_SendNewBlockRecords(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        Client client;
        auto engine = engineFor(storeAt(freshDatabase()), client);
        QList<PendingRecordZoneChange> changes;
        for (int i = 0; i < kRecords; ++i) {
            const core::Block block = lineBlock(i);
            client.blocks[QString::fromStdString(block.id.rawValue)] = block;
            changes.append(
                PendingRecordZoneChange::saveRecord(BlockRecordMapping::recordID(block, kZone)));
        }
        state.ResumeTiming();
        engine->state().add(changes);
        const RecordSyncEngine::Outcome failure = QCoro::waitFor(engine->sendChanges());
        if (failure || !engine->state().pendingRecordZoneChanges().isEmpty()) {
            state.SkipWithError("the send failed");
        }
    }
    state.counters["records_per_s"] =
        benchmark::Counter(static_cast<double>(kRecords) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SendNewBlockRecords)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_FetchChangedRecords(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const QUrl url = freshDatabase();
        const std::shared_ptr<RecordStore> store = storeAt(url);
        QList<Record> records;
        for (int i = 0; i < kRecords; ++i) {
            records.append(BlockRecordMapping::makeRecord(lineBlock(i), kZone, kDocument));
        }
        QCoro::waitFor(store->modifyRecords(records, {}));
        Client client;
        auto engine = engineFor(storeAt(url), client);
        state.ResumeTiming();
        const RecordSyncEngine::Outcome failure = QCoro::waitFor(engine->fetchChanges());
        if (failure || client.fetchedRecords != kRecords) {
            state.SkipWithError("the fetch failed");
        }
    }
    state.counters["records_per_s"] =
        benchmark::Counter(static_cast<double>(kRecords) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(BM_FetchChangedRecords)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_RemoteChangeReachesDelegate(benchmark::State& state) {
    const QUrl url = freshDatabase();
    const std::shared_ptr<RecordStore> phone = storeAt(url);
    Client desktop;
    auto engine = engineFor(storeAt(url), desktop);
    engine->start();
    // The first fetch of the long poll loop: the zone only, nothing for the delegate.
    QCoro::waitFor(engine->fetchChanges());
    int round = 0;
    for (auto _ : state) {
        const int seen = desktop.fetchedEvents;
        const core::Block edit = lineBlock(++round);
        QCoro::waitFor(
            phone->modifyRecords({BlockRecordMapping::makeRecord(edit, kZone, kDocument)}, {}));
        turnUntil([&] { return desktop.fetchedEvents > seen; });
    }
    engine->stop();
}
BENCHMARK(BM_RemoteChangeReachesDelegate)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(20);

} // namespace

int main(int argc, char** argv) {
    return runBenchmarks<QCoreApplication>(argc, argv, [] { delete &server(); });
}

#include "StoreBackends.h"

#include "cloud/RecordSyncEngine.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSet>

#include <map>

namespace mnemora::test {
namespace {

using namespace std::chrono_literals;
using Change = PendingRecordZoneChange;

const QString zone = QStringLiteral("SyncedDocs-lists-active");

Record note(const QString& name, const QString& text) {
    Record record(QStringLiteral("SyncedDocBlock"), RecordID{zone, name});
    record.set(QStringLiteral("text"), text);
    return record;
}

// One client's side of the sync, as the bridge will be: the records it holds, served to the
// engine on demand, and the changes other clients wrote applied to them.
class Client : public RecordSyncEngineDelegate {
public:
    std::map<RecordID, Record> records;
    QList<RecordSyncEvent> events;
    QByteArray lastState;

    void put(const Record& record) {
        records[record.recordID()] = record;
        engine->state().add(QList<Change>{Change::saveRecord(record.recordID())});
    }

    template <typename Event> QList<Event> eventsOf() const {
        QList<Event> found;
        for (const RecordSyncEvent& event : events) {
            if (const auto* typed = std::get_if<Event>(&event)) {
                found.append(*typed);
            }
        }
        return found;
    }

    QMap<QString, QString> texts() const {
        QMap<QString, QString> result;
        for (const auto& [id, record] : records) {
            result.insert(id.recordName, record.get<QString>(QStringLiteral("text")).value_or(""));
        }
        return result;
    }

    void handleEvent(const RecordSyncEvent& event, RecordSyncEngine&) override {
        events.append(event);
        if (const auto* update = std::get_if<SyncEvent::StateUpdate>(&event)) {
            lastState = update->stateJson;
        } else if (const auto* fetched = std::get_if<SyncEvent::FetchedRecordZoneChanges>(&event)) {
            for (const Record& record : fetched->modifications) {
                records[record.recordID()] = record;
            }
            for (const RecordDeletion& deletion : fetched->deletions) {
                records.erase(deletion.recordID);
            }
        } else if (const auto* sent = std::get_if<SyncEvent::SentRecordZoneChanges>(&event)) {
            for (const Record& record : sent->savedRecords) {
                records[record.recordID()].setChangeTag(record.changeTag());
            }
        }
    }

    std::optional<RecordZoneChangeBatch>
    nextRecordZoneChangeBatch(const SendChangesContext& context,
                              RecordSyncEngine& engine) override {
        QList<Change> pending;
        for (const Change& change : engine.state().pendingRecordZoneChanges()) {
            if (context.contains(change.recordID)) {
                pending.append(change);
            }
        }
        return RecordZoneChangeBatch::make(
            pending, [this](const RecordID& id) -> std::optional<Record> {
                const auto found = records.find(id);
                return found == records.end() ? std::nullopt : std::optional(found->second);
            });
    }

    std::unique_ptr<RecordSyncEngine> engine;
};

RecordSyncEngine::Configuration
quickSync(std::shared_ptr<RecordStore> store, Client& client,
          std::optional<RecordSyncEngineState> state = std::nullopt) {
    return RecordSyncEngine::Configuration{.store = std::move(store),
                                           .stateSerialization = std::move(state),
                                           .delegate = &client,
                                           .sendDelay = 20ms,
                                           .firstRetryDelay = 20ms,
                                           .maxRetryDelay = 200ms,
                                           .longPollLimit = 10s,
                                           .fetchPageLimit = 2};
}

class EngineTest : public BackendTest {
protected:
    void connect(Client& client, std::shared_ptr<RecordStore> store) {
        client.engine = std::make_unique<RecordSyncEngine>(quickSync(std::move(store), client));
    }
};

TEST(RecordSyncEngineTest, PendingChangesSurviveARestartThroughTheSavedState) {
    Client desktop;
    desktop.engine = std::make_unique<RecordSyncEngine>(
        quickSync(std::make_shared<InMemoryRecordStore>(), desktop));
    RecordSyncEngineState& state = desktop.engine->state();
    state.add(QList<PendingDatabaseChange>{PendingDatabaseChange::saveZone(zone),
                                           PendingDatabaseChange::deleteZone("SyncedDocs-old")});
    state.add(QList<Change>{Change::saveRecord({zone, "A"}),
                            Change::saveRecord({zone, "doc-a/b.md"}),
                            Change::saveRecord({zone, "A"})});
    state.add(QList<Change>{Change::deleteRecord({zone, "doc-a/b.md"})});
    state.setChangeToken("17");
    ASSERT_TRUE(waitUntil([&] { return !desktop.lastState.isEmpty(); }));

    const auto restored = RecordSyncEngineState::fromJson(desktop.lastState);
    ASSERT_TRUE(restored);
    Client again;
    again.engine = std::make_unique<RecordSyncEngine>(
        quickSync(std::make_shared<InMemoryRecordStore>(), again, restored));
    EXPECT_EQ(again.engine->state(), state);
    EXPECT_EQ(again.engine->state().pendingRecordZoneChanges(),
              (QList<Change>{Change::saveRecord({zone, "A"}),
                             Change::deleteRecord({zone, "doc-a/b.md"})}));
    EXPECT_EQ(again.engine->state().changeToken(), QStringLiteral("17"));
    EXPECT_FALSE(RecordSyncEngineState::fromJson("{\"version\":2}"));
    EXPECT_FALSE(RecordSyncEngineState::fromJson("not json"));
}

TEST(RecordSyncEngineTest, RetryPausesDoubleUpToTheLongest) {
    const std::pair<int, int> cases[] = {{1, 1000},  {2, 2000},  {3, 4000},
                                         {6, 32000}, {7, 60000}, {40, 60000}};
    for (const auto& [attempt, millis] : cases) {
        EXPECT_EQ(RecordSyncEngine::retryDelay(attempt, 1s, 60s).count(), millis) << attempt;
    }
}

TEST_P(EngineTest, BatchWithOneConflictReportsExactlyThatRecord) {
    const std::shared_ptr<RecordStore> phone = newClient("phone");
    ASSERT_TRUE(runTask(phone->modifyRecords({note("B", "phone's")}, {})).ok());

    Client desktop;
    connect(desktop, newClient());
    for (const char* name : {"A", "B", "C"}) {
        desktop.put(note(name, "desktop's"));
    }
    const RecordSyncEngine::Outcome sent = runTask(desktop.engine->sendChanges());
    ASSERT_FALSE(sent) << sent->message.toStdString();

    const auto reports = desktop.eventsOf<SyncEvent::SentRecordZoneChanges>();
    ASSERT_EQ(reports.size(), 1);
    QStringList saved;
    for (const Record& record : reports[0].savedRecords) {
        saved.append(record.recordID().recordName);
    }
    EXPECT_EQ(saved, (QStringList{"A", "C"}));
    ASSERT_EQ(reports[0].failedRecordSaves.size(), 1);
    const SyncEvent::FailedRecordSave& failed = reports[0].failedRecordSaves[0];
    EXPECT_EQ(failed.record.recordID().recordName, QStringLiteral("B"));
    EXPECT_EQ(failed.error.number(), 14);
    ASSERT_TRUE(failed.error.serverRecord);
    EXPECT_EQ(failed.error.serverRecord->get<QString>("text"), QStringLiteral("phone's"));
    EXPECT_TRUE(desktop.engine->state().pendingRecordZoneChanges().isEmpty());
    EXPECT_EQ(desktop.eventsOf<SyncEvent::WillSendChanges>().size(), 1);
    EXPECT_EQ(desktop.eventsOf<SyncEvent::DidSendChanges>().size(), 1);
}

TEST_P(EngineTest, ServerThatIsDownKeepsChangesPendingUntilItComesBack) {
    std::unique_ptr<PouchServer> lateServer;
    std::shared_ptr<RecordStore> store = newClient();
    if (GetParam() == Backend::couch) {
        const quint16 port = PouchServer::freePort();
        store = std::make_shared<CouchRecordStore>(
            RecordStoreAccount{QUrl(QStringLiteral("http://127.0.0.1:%1/down").arg(port)), {}, {}});
        lateServer = std::make_unique<PouchServer>(port);
        lateServer->stop();
    } else {
        database->setReachable(false);
    }
    Client desktop;
    connect(desktop, store);
    desktop.engine->state().add(
        QList<PendingDatabaseChange>{PendingDatabaseChange::saveZone(zone)});
    desktop.put(note("A", "written offline"));
    desktop.engine->start();
    ASSERT_TRUE(
        waitUntil([&] { return desktop.eventsOf<SyncEvent::DidSendChanges>().size() >= 2; }));
    EXPECT_EQ(desktop.engine->state().pendingRecordZoneChanges().size(), 1);
    EXPECT_EQ(desktop.engine->state().pendingDatabaseChanges().size(), 1);
    const auto sends = desktop.eventsOf<SyncEvent::DidSendChanges>();
    ASSERT_TRUE(sends[0].failure);
    EXPECT_EQ(sends[0].failure->number(), 3);

    if (GetParam() == Backend::couch) {
        lateServer = std::make_unique<PouchServer>(lateServer->port());
        ASSERT_TRUE(lateServer->isRunning()) << lateServer->error().toStdString();
    } else {
        database->setReachable(true);
    }
    ASSERT_TRUE(
        waitUntil([&] { return desktop.engine->state().pendingRecordZoneChanges().isEmpty(); }));
    EXPECT_TRUE(desktop.engine->state().pendingDatabaseChanges().isEmpty());
    EXPECT_EQ(runTask(store->fetchAllZones()).value, QStringList{zone});
    QString token;
    EXPECT_EQ(allChanges(*store, token).modifiedRecords.value(0).get<QString>("text"),
              QStringLiteral("written offline"));
    desktop.engine->stop();
}

TEST_P(EngineTest, DesktopAndPhoneConverge) {
    Client desktop;
    Client phone;
    connect(desktop, newClient("anna"));
    connect(phone, newClient("anna"));
    desktop.engine->start();
    phone.engine->start();

    desktop.put(note("A", "milk"));
    desktop.put(note("B", "eggs"));
    phone.put(note("C", "bread"));
    const QMap<QString, QString> all{{"A", "milk"}, {"B", "eggs"}, {"C", "bread"}};
    ASSERT_TRUE(waitUntil([&] { return desktop.texts() == all && phone.texts() == all; }, 10s))
        << desktop.texts().size() << " / " << phone.texts().size();

    Record edited = phone.records.at(RecordID{zone, "A"});
    edited.set(QStringLiteral("text"), QStringLiteral("oat milk"));
    phone.put(edited);
    desktop.engine->state().add(QList<Change>{Change::deleteRecord({zone, "B"})});
    desktop.records.erase(RecordID{zone, "B"});
    const QMap<QString, QString> after{{"A", "oat milk"}, {"C", "bread"}};
    ASSERT_TRUE(waitUntil([&] { return desktop.texts() == after && phone.texts() == after; }, 10s));

    // Nobody is handed back what it wrote itself; the first contact signed the account in.
    QSet<QString> ownTags;
    for (const auto& sent : desktop.eventsOf<SyncEvent::SentRecordZoneChanges>()) {
        for (const Record& record : sent.savedRecords) {
            ownTags.insert(*record.changeTag());
        }
    }
    int fetched = 0;
    for (const auto& changes : desktop.eventsOf<SyncEvent::FetchedRecordZoneChanges>()) {
        for (const Record& record : changes.modifications) {
            EXPECT_FALSE(ownTags.contains(*record.changeTag()))
                << record.recordID().recordName.toStdString();
            ++fetched;
        }
    }
    EXPECT_EQ(fetched, 2) << "the phone's C and its edit of A";
    const auto accounts = desktop.eventsOf<SyncEvent::AccountChange>();
    ASSERT_EQ(accounts.size(), 1);
    EXPECT_EQ(accounts[0].description(),
              GetParam() == Backend::memory ? "signIn(anna)" : "signIn()");
    desktop.engine->stop();
    phone.engine->stop();
}

TEST(CouchRecordStoreTest, RefusedSignInAndUnreachableServerAreWordedFailures) {
    PouchServer server;
    ASSERT_TRUE(server.isRunning()) << server.error().toStdString();
    QNetworkAccessManager network;
    const std::unique_ptr<QNetworkReply> admin(network.put(
        QNetworkRequest(QUrl(server.baseUrl().toString() + "/_config/admins/anna")), "\"secret\""));
    ASSERT_TRUE(waitUntil([&] { return admin->isFinished(); }));
    ASSERT_EQ(admin->error(), QNetworkReply::NoError) << admin->errorString().toStdString();
    const QUrl url = server.freshDatabaseUrl();

    Client desktop;
    desktop.engine = std::make_unique<RecordSyncEngine>(quickSync(
        std::make_shared<CouchRecordStore>(RecordStoreAccount{url, "anna", "wrong"}), desktop));
    const RecordSyncEngine::Outcome refused = runTask(desktop.engine->fetchChanges());
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->number(), 9);
    EXPECT_EQ(refused->message,
              QStringLiteral("The record store did not accept the user name or password."));
    ASSERT_EQ(desktop.eventsOf<SyncEvent::AccountChange>().size(), 1);
    EXPECT_EQ(desktop.eventsOf<SyncEvent::AccountChange>()[0].kind,
              SyncEvent::AccountChange::Kind::signOut);

    CouchRecordStore store(RecordStoreAccount{url, "anna", "secret"});
    EXPECT_TRUE(runTask(store.modifyZones({zone}, {})).ok());
    EXPECT_EQ(runTask(store.fetchAllZones()).value, QStringList{zone});

    server.stop();
    const StoreResult<QStringList> down = runTask(store.fetchAllZones());
    ASSERT_TRUE(down.error);
    EXPECT_EQ(down.error->number(), 3);
    EXPECT_EQ(
        down.error->message,
        QStringLiteral("The record store at 127.0.0.1 could not be reached: Connection refused"));
}

INSTANTIATE_TEST_SUITE_P(Backends, EngineTest, testing::Values(Backend::memory, Backend::couch),
                         backendName);

} // namespace
} // namespace mnemora::test

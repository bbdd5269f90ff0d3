#include "StoreBackends.h"

#include "support/TestEnvironment.h"

#include <QDateTime>

namespace mnemora::test {
namespace {

const QString zone = QStringLiteral("SyncedDocs-lists-active");

// A record with a field of every type but asset; its name holds a "/" as document records do.
Record everyFieldType(const QString& name = QStringLiteral("doc-lists/active/Groceries.md")) {
    Record record(QStringLiteral("SyncedDocDocument"), RecordID{zone, name});
    record.set(QStringLiteral("title"), QStringLiteral("Groceries – äö"));
    record.set(QStringLiteral("count"), std::int64_t{9007199254740993});
    record.set(QStringLiteral("ratio"), 0.25);
    record.set(QStringLiteral("whole"), 2.0);
    record.set(QStringLiteral("done"), false);
    record.set(QStringLiteral("updatedAt"), QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC));
    record.set(QStringLiteral("collectionRef"),
               RecordReference{{zone, QStringLiteral("collection-lists/active")}});
    record.set(QStringLiteral("ownerRef"),
               RecordReference{{zone, QStringLiteral("B1")}, ReferenceAction::deleteSelf});
    return record;
}

class RecordStoreContract : public BackendTest {
protected:
    void SetUp() override {
        BackendTest::SetUp();
        store = newClient();
    }

    Record saved(const Record& record) {
        StoreResult<ModifyRecordsResult> result = runTask(store->modifyRecords({record}, {}));
        EXPECT_TRUE(result.ok()) << result.error->message.toStdString();
        EXPECT_FALSE(result.value.saves.value(0).error)
            << result.value.saves.value(0).error->message.toStdString();
        return result.value.saves.value(0).savedRecord.value_or(Record{});
    }

    RecordStoreError saveFailure(const Record& record) {
        StoreResult<ModifyRecordsResult> result = runTask(store->modifyRecords({record}, {}));
        EXPECT_TRUE(result.ok());
        return result.value.saves.value(0).error.value_or(RecordStoreError{});
    }

    void deleteOnce(const RecordID& id) {
        StoreResult<ModifyRecordsResult> result = runTask(store->modifyRecords({}, {id}));
        ASSERT_TRUE(result.ok());
        EXPECT_FALSE(result.value.deletes.value(0).error);
    }

    std::shared_ptr<RecordStore> store;
    QString token;
};

TEST_P(RecordStoreContract, SaveThenFetchGivesTheRecordWithEveryFieldType) {
    const Record record = saved(everyFieldType());
    ASSERT_TRUE(record.changeTag());

    const ChangesPage changes = allChanges(*store, token);
    ASSERT_EQ(changes.modifiedRecords.size(), 1);
    EXPECT_EQ(changes.modifiedRecords[0], record);
    EXPECT_TRUE(changes.deletedRecords.isEmpty());
}

TEST_P(RecordStoreContract, StaleChangeTagGivesServerRecordChangedWithTheServersRecord) {
    const Record first = saved(everyFieldType());
    Record phone = first;
    phone.set(QStringLiteral("title"), QStringLiteral("Phone's title"));
    const Record serverVersion = saved(phone);

    Record stale = first;
    stale.set(QStringLiteral("title"), QStringLiteral("Desktop's title"));
    const RecordStoreError error = saveFailure(stale);
    EXPECT_EQ(error.number(), 14);
    EXPECT_EQ(error.message, QStringLiteral("The record doc-lists/active/Groceries.md was changed "
                                            "on the server since it was read."));
    ASSERT_TRUE(error.serverRecord);
    EXPECT_EQ(*error.serverRecord, serverVersion);

    // A record first written without a tag meets the same answer when it exists.
    Record fresh = everyFieldType();
    EXPECT_EQ(saveFailure(fresh).serverRecord, serverVersion);
}

TEST_P(RecordStoreContract, SaveOfARecordDeletedOnTheServerGivesUnknownItem) {
    const Record record = saved(everyFieldType());
    deleteOnce(record.recordID());

    const RecordStoreError error = saveFailure(record);
    EXPECT_EQ(error.number(), 11);
    EXPECT_EQ(error.message,
              QStringLiteral("The record doc-lists/active/Groceries.md is not on the server."));
    EXPECT_FALSE(error.serverRecord);

    // Without a tag the record is made anew.
    Record again = record;
    again.setChangeTag(std::nullopt);
    EXPECT_TRUE(saved(again).changeTag());
}

TEST_P(RecordStoreContract, DeletionFetchedLaterCarriesItsRecordType) {
    saved(everyFieldType());
    allChanges(*store, token);
    deleteOnce(everyFieldType().recordID());
    deleteOnce(RecordID{zone, QStringLiteral("never-there")});

    const ChangesPage changes = allChanges(*store, token);
    ASSERT_EQ(changes.deletedRecords.size(), 1);
    EXPECT_EQ(changes.deletedRecords[0].recordID, everyFieldType().recordID());
    EXPECT_EQ(changes.deletedRecords[0].recordType, QStringLiteral("SyncedDocDocument"));
    EXPECT_TRUE(changes.modifiedRecords.isEmpty());
}

TEST_P(RecordStoreContract, TokensResumeWhereTheyLeftOffAcrossANewStoreObject) {
    for (const char* name : {"A", "B", "C"}) {
        saved(everyFieldType(QString::fromLatin1(name)));
    }
    const ChangesPage first = allChanges(*store, token, 2);
    EXPECT_EQ(first.modifiedRecords.size(), 3);

    saved(everyFieldType(QStringLiteral("D")));
    const std::shared_ptr<RecordStore> later = newClient();
    const ChangesPage second = allChanges(*later, token, 2);
    ASSERT_EQ(second.modifiedRecords.size(), 1);
    EXPECT_EQ(second.modifiedRecords[0].recordID().recordName, QStringLiteral("D"));
    EXPECT_TRUE(allChanges(*later, token).modifiedRecords.isEmpty());
}

TEST_P(RecordStoreContract, ZonesAreListedSavedAndDeletedWithTheirRecords) {
    const QString other = QStringLiteral("SyncedDocs-b2/odd%name");
    StoreResult<ModifyZonesResult> made = runTask(store->modifyZones({zone, other, zone}, {}));
    ASSERT_TRUE(made.ok());
    ASSERT_EQ(made.value.saves.size(), 3);
    EXPECT_FALSE(made.value.saves[2].error) << "saving a zone that exists is no failure";
    saved(everyFieldType());
    Record elsewhere(QStringLiteral("SyncedDocBlock"), RecordID{other, QStringLiteral("B9")});
    saved(elsewhere);
    allChanges(*store, token);

    StoreResult<QStringList> zones = runTask(store->fetchAllZones());
    ASSERT_TRUE(zones.ok());
    EXPECT_EQ(QSet<QString>(zones.value.begin(), zones.value.end()), (QSet<QString>{zone, other}));

    StoreResult<ModifyZonesResult> removed = runTask(store->modifyZones({}, {zone}));
    ASSERT_TRUE(removed.ok());
    EXPECT_FALSE(removed.value.deletes.value(0).error);
    EXPECT_EQ(runTask(store->fetchAllZones()).value, QStringList{other});

    const ChangesPage changes = allChanges(*store, token);
    EXPECT_EQ(changes.deletedZones, QStringList{zone});
    ASSERT_EQ(changes.deletedRecords.size(), 1);
    EXPECT_EQ(changes.deletedRecords[0].recordID, everyFieldType().recordID());
}

TEST_P(RecordStoreContract, AssetRoundTripsThroughAFile) {
    TestEnvironment env;
    const QString clip = env.root() + QStringLiteral("/clip.caf");
    TestEnvironment::writeFile(clip, QByteArray("\x00\x01voice\xff", 8));
    Record record(QStringLiteral("SyncedDocBlock"), RecordID{zone, QStringLiteral("B1")});
    record.set(QStringLiteral("audioAsset"),
               RecordAsset{.filePath = clip, .contentType = "audio/x-caf"});
    saved(record);

    const ChangesPage changes = allChanges(*store, token);
    ASSERT_EQ(changes.modifiedRecords.size(), 1);
    const auto asset = changes.modifiedRecords[0].get<RecordAsset>(QStringLiteral("audioAsset"));
    ASSERT_TRUE(asset);
    EXPECT_TRUE(asset->isStored());
    EXPECT_EQ(asset->length, 8);

    // Saving the fetched record again keeps the stored file.
    Record edited = changes.modifiedRecords[0];
    edited.set(QStringLiteral("text"), QStringLiteral("answered"));
    saved(edited);
    const QString copy = env.root() + QStringLiteral("/down/clip.caf");
    StoreAction download =
        runTask(store->downloadAsset(record.recordID(), QStringLiteral("audioAsset"), copy));
    ASSERT_TRUE(download.ok()) << download.error->message.toStdString();
    EXPECT_EQ(TestEnvironment::readFile(copy), QByteArray("\x00\x01voice\xff", 8));

    Record missing(QStringLiteral("SyncedDocBlock"), RecordID{zone, QStringLiteral("B2")});
    missing.set(QStringLiteral("audioAsset"), RecordAsset{.filePath = env.root() + "/gone.caf"});
    const RecordStoreError error = saveFailure(missing);
    EXPECT_EQ(error.number(), 16);
    EXPECT_TRUE(error.message.startsWith(
        QStringLiteral("The file %1/gone.caf for the field audioAsset could not be read: ")
            .arg(env.root())));
}

TEST_P(RecordStoreContract, WaitForChangesWakesWhenAnotherClientWrites) {
    allChanges(*store, token);
    QCoro::Task<StoreResult<bool>> waiting = store->waitForChanges(token, std::chrono::seconds(20));
    const std::shared_ptr<RecordStore> phone = newClient(QStringLiteral("phone"));
    runTask(phone->modifyRecords({everyFieldType()}, {}));
    const StoreResult<bool> woke = runTask(std::move(waiting));
    ASSERT_TRUE(woke.ok());
    EXPECT_TRUE(woke.value);

    // With nothing written the wait ends at its limit, without a failure.
    allChanges(*store, token);
    const StoreResult<bool> quiet =
        runTask(store->waitForChanges(token, std::chrono::milliseconds(100)));
    EXPECT_TRUE(quiet.ok());
    EXPECT_FALSE(quiet.value);
}

INSTANTIATE_TEST_SUITE_P(Backends, RecordStoreContract,
                         testing::Values(Backend::memory, Backend::couch), backendName);

} // namespace
} // namespace mnemora::test

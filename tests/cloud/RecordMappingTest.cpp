#include "StoreBackends.h"

#include "cloud/BlockOpPendingChange.h"
#include "cloud/BlockRecordMapping.h"
#include "cloud/FetchedRecordZoneChangesTranslator.h"
#include "cloud/SyncedDocCollectionMapping.h"
#include "cloud/SyncedDocDocumentMapping.h"
#include "cloud/SyncedDocRecordType.h"
#include "cloud/SyncedDocZone.h"
#include "cloud/SyncedDocsContainer.h"
#include "support/BundleOverride.h"
#include "support/TestEnvironment.h"

#include <QSettings>

namespace mnemora::test {
namespace {

using namespace core;

const QString zone = QStringLiteral("SyncedDocs-lists-active");
const RecordReference docRef =
    SyncedDocDocumentMapping::reference(QStringLiteral("lists/active/Groceries.md"), zone);

Block everyFieldSet() {
    return Block{.id = BlockID("3F2504E0-4F89-41D3-9D0C-0305E82C3301"),
                 .kind = BlockKind::question,
                 .level = 3,
                 .text = "Was the \"March\" invoice private? caf\u00e9 \u2615",
                 .checked = true,
                 .position = FractionalIndex("i9"),
                 .questionID = "q-17",
                 .questionStatus = QuestionCardStatus::answered,
                 .booksID = "main-books",
                 .questionKind = "receipt",
                 .suggestedActions = "[Yes => do it | No]",
                 .askedBy = "dreamer",
                 .askedAt = "2024-03-01T10:00:00Z",
                 .answeredBy = "phone",
                 .answeredAt = "2024-03-02T08:30:00Z",
                 .appliedAt = "2024-03-02T08:31:00Z",
                 .answer = "",
                 .audioAssetRef = "clip-1.m4a",
                 .transcriptionState = VoiceTranscriptionState::transcribing,
                 .transcriptionProgress = 42,
                 .transcriptionPartial = "Yes it\nwas",
                 .period = "2024-Q1",
                 .business = "Bakery Ltd",
                 .closePhase = ClosePhase::assembling,
                 .activity = "matching receipts",
                 .startedAt = "2024-03-01T09:00:00Z",
                 .movedAt = "2024-03-01T09:05:00Z",
                 .blockedKind = CloseBlockedKind::waitingExternal,
                 .blockedReason = "bank export",
                 .answerableCount = 0,
                 .deliverableLabel = "Letter",
                 .deliverableDetail = "draft ready",
                 .deliverableStatus = DeliverableStatus::partial,
                 .countDone = -1,
                 .countTotal = 9007199254740993,
                 .ledgerDate = "2024-03-04",
                 .ledgerOrigin = "bank",
                 .ledgerAmount = "-1 234,50",
                 .ledgerState = SyncedLedgerState::asking};
}

Record blockRecord(std::initializer_list<std::pair<const char*, RecordValue>> fields) {
    Record record(SyncedDocRecordType::block, RecordID{zone, QStringLiteral("B1")});
    for (const auto& [key, value] : fields) {
        record.set(QString::fromLatin1(key), value);
    }
    return record;
}

TEST(BlockRecordMappingTest, WritesEveryFieldInOrderAndReadsTheBlockBack) {
    const Record record = BlockRecordMapping::makeRecord(everyFieldSet(), zone, docRef);
    EXPECT_EQ(record.recordType(), QStringLiteral("SyncedDocBlock"));
    EXPECT_EQ(record.recordID(), (RecordID{zone, "3F2504E0-4F89-41D3-9D0C-0305E82C3301"}));
    EXPECT_EQ(
        record.keys().join(' '),
        "documentRef position kind level text checked questionID questionStatus booksID "
        "questionKind suggestedActions askedBy askedAt answeredBy answeredAt appliedAt answer "
        "audioAssetRef transcriptionState transcriptionProgress transcriptionPartial period "
        "business closePhase activity startedAt movedAt blockedKind blockedReason "
        "answerableCount deliverableLabel deliverableDetail deliverableStatus countDone "
        "countTotal ledgerDate ledgerOrigin ledgerAmount ledgerState");
    EXPECT_EQ(record.get<QString>("kind"), QStringLiteral("question"));
    EXPECT_EQ(record.get<std::int64_t>("level"), 3);
    EXPECT_EQ(record.get<QString>("transcriptionState"), QStringLiteral("transcribing"));
    EXPECT_EQ(record.get<RecordReference>("documentRef")->recordID.recordName,
              QStringLiteral("doc-lists/active/Groceries.md"));
    EXPECT_EQ(BlockRecordMapping::block(record), everyFieldSet());
}

TEST(BlockRecordMappingTest, ApplyClearsAbsentFieldsAndKeepsTagAndPhoneAsset) {
    Record record = BlockRecordMapping::makeRecord(everyFieldSet(), zone, docRef);
    record.setChangeTag(QStringLiteral("7-abc"));
    const RecordAsset clip{.contentType = "audio/x-caf", .digest = "md5-x", .length = 3};
    record.set(QStringLiteral("audioAsset"), clip);

    const Block plain{.id = everyFieldSet().id, .text = "Milk", .position = FractionalIndex("k")};
    BlockRecordMapping::apply(plain, record, docRef);
    EXPECT_EQ(record.changeTag(), QStringLiteral("7-abc"));
    EXPECT_EQ(record.keys().join(' '), "documentRef position kind level text audioAsset");
    EXPECT_EQ(record.get<RecordAsset>("audioAsset"), clip);
    EXPECT_EQ(BlockRecordMapping::block(record), plain);
}

TEST(BlockRecordMappingTest, BlockFromRecordFollowsItsRules) {
    struct Case {
        const char* name;
        Record record;
        std::optional<Block> expected;
    };
    const Block minimal{.id = BlockID("B1"),
                        .kind = BlockKind::item,
                        .text = "Eggs",
                        .position = FractionalIndex("i")};
    Block unknownStatus = minimal;
    unknownStatus.kind = BlockKind::question;
    Record document(SyncedDocRecordType::document, RecordID{zone, "B1"});
    document.set("position", QStringLiteral("i"));
    document.set("text", QStringLiteral("Eggs"));
    document.set("kind", QStringLiteral("item"));
    const Case cases[] = {
        {"level falls back to 0",
         blockRecord({{"position", "i"}, {"kind", "item"}, {"text", "Eggs"}}), minimal},
        {"document record", document, std::nullopt},
        {"table kind", blockRecord({{"position", "i"}, {"kind", "table"}, {"text", "Eggs"}}),
         std::nullopt},
        {"no text", blockRecord({{"position", "i"}, {"kind", "item"}}), std::nullopt},
        {"position not text",
         blockRecord({{"position", std::int64_t{1}}, {"kind", "item"}, {"text", "Eggs"}}),
         std::nullopt},
        {"newer status word and wrong types",
         blockRecord({{"position", "i"},
                      {"kind", "question"},
                      {"text", "Eggs"},
                      {"level", "2"},
                      {"questionStatus", "snoozed"},
                      {"checked", "yes"},
                      {"countDone", 1.5}}),
         unknownStatus},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(BlockRecordMapping::block(c.record), c.expected) << c.name;
    }
}

TEST(BlockRecordMappingTest, WhatARecordCannotGiveIsNoted) {
    struct Case {
        const char* name;
        Record record;
        std::vector<std::string> notes; // "field: detail"
    };
    const Case cases[] = {
        {"empty position is the engine's to repair",
         blockRecord({{"position", ""}, {"kind", "item"}, {"text", "Eggs"}}),
         {}},
        {"unknown kind",
         blockRecord({{"position", "i"}, {"kind", "table"}, {"text", "|a|"}}),
         {"kind: \"table\" is no block kind; record skipped"}},
        {"no text",
         blockRecord({{"position", "i"}, {"kind", "item"}}),
         {"text: is missing or not text; record skipped"}},
        {"position a number",
         blockRecord({{"position", std::int64_t{7}}, {"kind", "item"}, {"text", "Eggs"}}),
         {"position: is missing or not text; record skipped"}},
        {"fields of the wrong type or word",
         blockRecord({{"position", "i"},
                      {"kind", "question"},
                      {"text", "Eggs"},
                      {"level", "2"},
                      {"checked", "yes"},
                      {"questionStatus", "snoozed"},
                      {"answer", std::int64_t{42}},
                      {"countDone", 1.5}}),
         {"level: is not an integer; read as 0", "checked: is not true or false; read as absent",
          "questionStatus: \"snoozed\" is no known word; read as absent",
          "answer: is not text; read as absent", "countDone: is not an integer; read as absent"}},
        {"level beyond an int",
         blockRecord({{"position", "i"},
                      {"kind", "heading"},
                      {"text", "Big"},
                      {"level", std::int64_t{9'000'000'000}}}),
         {"level: 9000000000 is out of range; read as 2147483647"}},
    };
    for (const Case& c : cases) {
        std::vector<BlockRepair> repairs;
        const auto ops = FetchedRecordZoneChangesTranslator::translate({c.record}, {}, repairs);
        std::vector<std::string> notes;
        for (const BlockRepair& repair : repairs) {
            EXPECT_EQ(repair.blockID, BlockID("B1")) << c.name;
            notes.push_back(repair.field + ": " + repair.detail);
        }
        EXPECT_EQ(notes, c.notes) << c.name;
        EXPECT_EQ(ops.size(),
                  c.notes.empty() || c.notes[0].find("skipped") == std::string::npos ? 1u : 0u)
            << c.name;
    }
    const auto emptyPosition = BlockRecordMapping::block(cases[0].record);
    ASSERT_TRUE(emptyPosition.has_value());
    EXPECT_EQ(emptyPosition->position.key, "");
}

TEST(SyncedDocMappingTest, DocumentAndCollectionRecords) {
    const SyncedDocCollectionConfig lists = SyncedDocCollectionConfig::launchDefaults()[0];
    const Record collection = SyncedDocCollectionMapping::makeRecord(lists, zone);
    EXPECT_EQ(collection.recordType(), QStringLiteral("SyncedDocCollection"));
    EXPECT_EQ(collection.recordID().recordName, QStringLiteral("collection-lists/active"));
    EXPECT_EQ(collection.keys().join(' '), "folderPath title docTypeDefault");
    EXPECT_EQ(collection.get<QString>("title"), QStringLiteral("Household lists"));
    EXPECT_EQ(collection.get<QString>("docTypeDefault"), QStringLiteral("checklist"));

    const QDateTime now(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);
    const RecordReference collectionRef = SyncedDocCollectionMapping::reference(lists, zone);
    Record document = SyncedDocDocumentMapping::makeRecord(
        "lists/active/Week 12.list.md", SyncedDocType::checklist, collectionRef, zone, now);
    document.setChangeTag(QStringLiteral("2-x"));
    SyncedDocDocumentMapping::apply("lists/active/Week 12.list.md", SyncedDocType::board,
                                    collectionRef, document, now.addSecs(60));
    EXPECT_EQ(document.recordType(), QStringLiteral("SyncedDocDocument"));
    EXPECT_EQ(document.recordID().recordName, QStringLiteral("doc-lists/active/Week 12.list.md"));
    EXPECT_EQ(document.changeTag(), QStringLiteral("2-x"));
    EXPECT_EQ(document.keys().join(' '), "collectionRef relativePath title docType updatedAt");
    EXPECT_EQ(document.get<RecordReference>("collectionRef"), collectionRef);
    EXPECT_EQ(document.get<QString>("title"), QStringLiteral("Week 12.list"));
    EXPECT_EQ(document.get<QString>("docType"), QStringLiteral("board"));
    EXPECT_EQ(document.get<QDateTime>("updatedAt"), now.addSecs(60));

    for (const auto& [path, title] :
         {std::pair{"a/b.c.md", "b.c"}, {"notes", "notes"}, {"x/.hidden", ".hidden"}}) {
        EXPECT_EQ(SyncedDocDocumentMapping::title(path), QString::fromUtf8(title)) << path;
    }
}

TEST(SyncedDocZoneTest, ZoneNamesAndTheirScopes) {
    const auto& collections = SyncedDocCollectionConfig::launchDefaults();
    struct Case {
        const char* folder;
        const char* scope;
        const char* zone;
    };
    for (const Case& c :
         {Case{"lists/active", "", "SyncedDocs-lists-active"},
          Case{"lists/active", "b2", "SyncedDocs-b2-lists-active"},
          Case{"questions", "my-vault-0a1f", "SyncedDocs-my-vault-0a1f-questions"}}) {
        EXPECT_EQ(SyncedDocZone::zoneID(c.folder, c.scope), QString::fromUtf8(c.zone));
        EXPECT_EQ(SyncedDocZone::vaultScope(c.zone, collections), QString::fromUtf8(c.scope))
            << c.zone;
    }
    EXPECT_EQ(SyncedDocZone::zoneID(collections[1], "b2"),
              QStringLiteral("SyncedDocs-b2-orientation"));
    EXPECT_EQ(SyncedDocZone::vaultScope("SyncedDocs-b2-elsewhere", collections),
              QStringLiteral("b2-elsewhere"));
    EXPECT_EQ(SyncedDocZone::vaultScope("SyncedDocs-b2lists-active", collections),
              QStringLiteral("b2lists-active"));
}

TEST(SyncedDocsContainerTest, ContainerByBundleAndConfiguredStore) {
    const std::pair<std::optional<QString>, std::optional<QString>> cases[] = {
        {std::nullopt, QStringLiteral("iCloud.ai.mnemora")},
        {QStringLiteral("ai.mnemora"), QStringLiteral("iCloud.ai.mnemora")},
        {QStringLiteral("tallo.ai"), QStringLiteral("iCloud.tallo.ai")},
        {QStringLiteral("vox.let"), std::nullopt},
        {QStringLiteral("com.example"), QStringLiteral("iCloud.ai.mnemora")},
    };
    for (const auto& [bundle, container] : cases) {
        EXPECT_EQ(SyncedDocsContainer::identifier(bundle), container)
            << bundle.value_or("absent").toStdString();
    }

    const BundleOverride tallo(QStringLiteral("tallo.ai"), "Tallo", "Tallo");
    EXPECT_EQ(SyncedDocsContainer::current(RecordStoreSettings{}), std::nullopt);
    EXPECT_EQ(SyncedDocsContainer::current(RecordStoreSettings{QUrl("file:///tmp/db"), {}}),
              std::nullopt);
    EXPECT_EQ(SyncedDocsContainer::current(RecordStoreSettings{QUrl("https://couch.example/"), {}}),
              std::nullopt);
    EXPECT_EQ(SyncedDocsContainer::current(
                  RecordStoreSettings{QUrl("https://couch.example/mnemora-anna"), {}}),
              QStringLiteral("iCloud.tallo.ai"));
}

TEST(BlockOpPendingChangeTest, OperationsBecomeRecordChangesInOrder) {
    const Block a{.id = BlockID("A")};
    const Block b{.id = BlockID("B")};
    const auto changes =
        BlockOpPendingChange::pendingChanges({BlockOp::keep(a), BlockOp::edit(a), BlockOp::add(b),
                                              BlockOp::delete_(BlockID("C")), BlockOp::move(b)},
                                             zone);
    using Change = PendingRecordZoneChange;
    EXPECT_EQ(changes,
              (QList<Change>{Change::saveRecord({zone, "A"}), Change::saveRecord({zone, "B"}),
                             Change::deleteRecord({zone, "C"}), Change::saveRecord({zone, "B"})}));
}

TEST(FetchedRecordZoneChangesTranslatorTest, BlocksBecomeEditsAndBlockDeletionsDeletes) {
    const Record block = BlockRecordMapping::makeRecord(everyFieldSet(), zone, docRef);
    const Record table = blockRecord({{"position", "i"}, {"kind", "table"}, {"text", "|a|"}});
    const Record document = SyncedDocDocumentMapping::makeRecord(
        "lists/active/Groceries.md", SyncedDocType::checklist, {}, zone);
    const QList<RecordDeletion> deletions{
        {RecordID{zone, "doc-lists/active/Groceries.md"}, SyncedDocRecordType::document, {}},
        {RecordID{zone, "B7"}, SyncedDocRecordType::block, {}}};

    const auto ops =
        FetchedRecordZoneChangesTranslator::translate({document, block, table}, deletions);
    EXPECT_EQ(ops, (std::vector<BlockOp>{BlockOp::edit(everyFieldSet()),
                                         BlockOp::delete_(BlockID("B7"))}));
}

TEST(RecordStoreSettingsTest, SettingsLiveInTheDefaultsAndThePasswordInTheKeyring) {
    TestEnvironment env;
    QSettings defaults(env.root() + "/defaults.ini", QSettings::IniFormat);
    const RecordStoreSettings settings{QUrl("https://couch.example/mnemora-anna"), "anna"};
    settings.write(defaults);
    EXPECT_EQ(defaults.value("syncedDocs.recordStore.url").toString(),
              "https://couch.example/mnemora-anna");
    EXPECT_EQ(RecordStoreSettings::read(defaults), settings);
    EXPECT_EQ(settings.keyringKey(), QStringLiteral("anna@couch.example"));

    const RecordStoreSettings anonymous{settings.databaseUrl, {}};
    const auto open = runTask(anonymous.loadAccount());
    EXPECT_EQ(open.account, (RecordStoreAccount{settings.databaseUrl, {}, {}}));

    // This machine has no keyring service: the user reads why, and nothing crashes.
    env.setEnv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + env.root() + "/no-bus");
    const auto locked = runTask(settings.loadAccount());
    EXPECT_FALSE(locked.account);
    EXPECT_EQ(locked.error, "The record store password could not be read. No keyring service is "
                            "available: this desktop session has no D-Bus session bus.");
}

// A block with every field set comes back whole through a real server.
class BlockRecordRoundTrip : public BackendTest {};

TEST_P(BlockRecordRoundTrip, EveryFieldSurvivesTheStore) {
    const std::shared_ptr<RecordStore> store = newClient();
    const Record record = BlockRecordMapping::makeRecord(everyFieldSet(), zone, docRef);
    ASSERT_TRUE(runTask(store->modifyRecords({record}, {})).ok());
    QString token;
    const ChangesPage changes = allChanges(*store, token);
    ASSERT_EQ(changes.modifiedRecords.size(), 1);
    EXPECT_EQ(BlockRecordMapping::block(changes.modifiedRecords[0]), everyFieldSet());

    // Applied onto the fetched record, a plainer block is accepted and clears the other fields.
    Record cached = changes.modifiedRecords[0];
    const Block plain{.id = everyFieldSet().id, .text = "Milk", .position = FractionalIndex("k")};
    BlockRecordMapping::apply(plain, cached, docRef);
    const StoreResult<ModifyRecordsResult> resaved = runTask(store->modifyRecords({cached}, {}));
    ASSERT_TRUE(resaved.ok());
    EXPECT_FALSE(resaved.value.saves.value(0).error);
    const ChangesPage again = allChanges(*store, token);
    ASSERT_EQ(again.modifiedRecords.size(), 1);
    EXPECT_EQ(BlockRecordMapping::block(again.modifiedRecords[0]), plain);
    EXPECT_EQ(again.modifiedRecords[0].keys().size(), 5);
}

INSTANTIATE_TEST_SUITE_P(Backends, BlockRecordRoundTrip,
                         testing::Values(Backend::memory, Backend::couch), backendName);

} // namespace
} // namespace mnemora::test

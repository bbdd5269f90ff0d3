#include "StoreBackends.h"

#include "cloud/CouchDocument.h"
#include "cloud/RecordSyncEvent.h"

#include <QJsonDocument>

namespace mnemora::test {
namespace {

QJsonObject json(const char* text) {
    return QJsonDocument::fromJson(text).object();
}

TEST(CouchDocumentTest, IdentifiersKeepZoneAndRecordNameApart) {
    const RecordID id{"Synced/Docs%1", "doc-lists/a.md"};
    EXPECT_EQ(CouchDocument::recordDocumentID(id),
              QStringLiteral("Synced%2FDocs%251/doc-lists/a.md"));
    EXPECT_EQ(CouchDocument::zoneDocumentID(id.zoneName), QStringLiteral("zone:Synced%2FDocs%251"));
    EXPECT_EQ(CouchDocument::recordIDOf({}, CouchDocument::recordDocumentID(id)), id);
    EXPECT_TRUE(CouchDocument::isZone({}, "zone:Synced%2FDocs%251"));
    EXPECT_EQ(CouchDocument::zoneNameOf({}, "zone:Synced%2FDocs%251"), id.zoneName);
    EXPECT_FALSE(CouchDocument::isZone({}, "zone:x/rec"));
}

TEST(CouchDocumentTest, ReadsADocumentAPhoneWroteWithoutFieldTypes) {
    const auto record = CouchDocument::toRecord(json(R"({
        "_id": "SyncedDocs-lists-active/B7", "_rev": "3-abc", "recordType": "SyncedDocBlock",
        "fields": {"text": "Milk", "level": 2, "checked": true, "ratio": 0.5, "nested": {"a": 1},
                   "documentRef": "doc-lists/active/Groceries.md", "when": "2024-05-06T07:08:09Z"},
        "fieldTypes": {"documentRef": "reference", "when": "date"},
        "_attachments": {"audioAsset": {"content_type": "audio/x-caf", "digest": "md5-x",
                                        "length": 5, "stub": true}}})"));
    ASSERT_TRUE(record);
    Record expected("SyncedDocBlock", RecordID{"SyncedDocs-lists-active", "B7"});
    expected.setChangeTag("3-abc");
    expected.set("text", QStringLiteral("Milk"));
    expected.set("level", std::int64_t{2});
    expected.set("checked", true);
    expected.set("ratio", 0.5);
    expected.set("documentRef",
                 RecordReference{{"SyncedDocs-lists-active", "doc-lists/active/Groceries.md"}});
    expected.set("when", QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC));
    expected.set("audioAsset",
                 RecordAsset{.contentType = "audio/x-caf", .digest = "md5-x", .length = 5});
    EXPECT_EQ(*record, expected);

    EXPECT_FALSE(
        CouchDocument::toRecord(json(R"({"_id": "zone:z", "type": "zone", "zone": "z"})")));
    EXPECT_FALSE(CouchDocument::toRecord(json(R"({"_id": "loose", "recordType": "X"})")));
}

TEST(RecordZoneChangeBatchTest,
     TakesPendingChangesInOrderUpToTheLimitSkippingRecordsWithoutSource) {
    using Change = PendingRecordZoneChange;
    const QString zone = QStringLiteral("z");
    const QList<Change> pending{Change::saveRecord({zone, "A"}), Change::saveRecord({zone, "gone"}),
                                Change::deleteRecord({zone, "B"}), Change::saveRecord({zone, "C"})};
    const auto provider = [](const RecordID& id) -> std::optional<Record> {
        return id.recordName == "gone" ? std::nullopt : std::optional(Record("X", id));
    };
    const auto batch = RecordZoneChangeBatch::make(pending, provider, 2);
    ASSERT_TRUE(batch);
    EXPECT_EQ(batch->recordsToSave, (QList<Record>{Record("X", {zone, "A"})}));
    EXPECT_EQ(batch->recordIDsToDelete, (QList<RecordID>{{zone, "B"}}));
    EXPECT_EQ(RecordZoneChangeBatch::make(pending, provider, 400)->recordsToSave.size(), 2);
    EXPECT_FALSE(RecordZoneChangeBatch::make({Change::saveRecord({zone, "gone"})}, provider));
}

} // namespace
} // namespace mnemora::test

#include "cloud/SyncedDocCollectionMapping.h"

#include "cloud/SyncedDocRecordType.h"

namespace mnemora::SyncedDocCollectionMapping {

RecordID recordID(const core::SyncedDocCollectionConfig& collection, const QString& zoneName) {
    return RecordID{zoneName,
                    QStringLiteral("collection-") + QString::fromStdString(collection.folderPath)};
}

RecordReference reference(const core::SyncedDocCollectionConfig& collection,
                          const QString& zoneName, ReferenceAction action) {
    return RecordReference{recordID(collection, zoneName), action};
}

Record makeRecord(const core::SyncedDocCollectionConfig& collection, const QString& zoneName) {
    Record record(SyncedDocRecordType::collection, recordID(collection, zoneName));
    apply(collection, record);
    return record;
}

void apply(const core::SyncedDocCollectionConfig& collection, Record& record) {
    const std::string_view docType = core::wireWord(collection.docTypeDefault);
    record.set(QStringLiteral("folderPath"), QString::fromStdString(collection.folderPath));
    record.set(QStringLiteral("title"), QString::fromStdString(collection.title));
    record.set(QStringLiteral("docTypeDefault"),
               QString::fromUtf8(docType.data(), static_cast<qsizetype>(docType.size())));
}

} // namespace mnemora::SyncedDocCollectionMapping

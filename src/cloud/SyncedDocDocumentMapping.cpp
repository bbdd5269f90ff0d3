#include "cloud/SyncedDocDocumentMapping.h"

#include "cloud/SyncedDocRecordType.h"

namespace mnemora::SyncedDocDocumentMapping {

namespace {

QString word(core::SyncedDocType type) {
    const std::string_view text = core::wireWord(type);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

RecordID recordID(const QString& docPath, const QString& zoneName) {
    return RecordID{zoneName, QStringLiteral("doc-") + docPath};
}

RecordReference reference(const QString& docPath, const QString& zoneName, ReferenceAction action) {
    return RecordReference{recordID(docPath, zoneName), action};
}

Record makeRecord(const QString& docPath, core::SyncedDocType docType,
                  const RecordReference& collectionReference, const QString& zoneName,
                  const QDateTime& now) {
    Record record(SyncedDocRecordType::document, recordID(docPath, zoneName));
    apply(docPath, docType, collectionReference, record, now);
    return record;
}

void apply(const QString& docPath, core::SyncedDocType docType,
           const RecordReference& collectionReference, Record& record, const QDateTime& now) {
    record.set(QStringLiteral("collectionRef"), collectionReference);
    record.set(QStringLiteral("relativePath"), docPath);
    record.set(QStringLiteral("title"), title(docPath));
    record.set(QStringLiteral("docType"), word(docType));
    record.set(QStringLiteral("updatedAt"), now.toUTC());
}

QString title(const QString& docPath) {
    const QString name = docPath.section(QLatin1Char('/'), -1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    // A leading dot starts a hidden name, not an extension.
    return dot > 0 ? name.left(dot) : name;
}

} // namespace mnemora::SyncedDocDocumentMapping

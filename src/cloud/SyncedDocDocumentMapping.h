#pragma once

#include "cloud/Record.h"
#include "core/SyncedDocType.h"

#include <QDateTime>
#include <QString>

namespace mnemora::SyncedDocDocumentMapping {

// A synced file's record is "doc-{docPath}" in its collection's zone.
RecordID recordID(const QString& docPath, const QString& zoneName);
RecordReference reference(const QString& docPath, const QString& zoneName,
                          ReferenceAction action = ReferenceAction::none);

// A new document record, filled by apply().
Record makeRecord(const QString& docPath, core::SyncedDocType docType,
                  const RecordReference& collectionReference, const QString& zoneName,
                  const QDateTime& now = QDateTime::currentDateTimeUtc());

// Writes `collectionRef`, `relativePath`, `title`, `docType` and `updatedAt` (now), keeping the
// record's change tag.
void apply(const QString& docPath, core::SyncedDocType docType,
           const RecordReference& collectionReference, Record& record,
           const QDateTime& now = QDateTime::currentDateTimeUtc());

// The last path component without its extension: "lists/active/Groceries.md" is "Groceries".
QString title(const QString& docPath);

} // namespace mnemora::SyncedDocDocumentMapping

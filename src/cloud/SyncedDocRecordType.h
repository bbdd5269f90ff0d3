#pragma once

#include <QString>

namespace mnemora::SyncedDocRecordType {

// The record types of a collection's zone: one collection record, a document record for each
// synced file, and a block record for each line.
inline const QString collection = QStringLiteral("SyncedDocCollection");
inline const QString document = QStringLiteral("SyncedDocDocument");
inline const QString block = QStringLiteral("SyncedDocBlock");

} // namespace mnemora::SyncedDocRecordType

#pragma once

#include "cloud/Record.h"
#include "core/SyncedDocCollectionConfig.h"

#include <QString>

namespace mnemora::SyncedDocCollectionMapping {

// A collection's record is "collection-{folderPath}" in the collection's zone.
RecordID recordID(const core::SyncedDocCollectionConfig& collection, const QString& zoneName);
RecordReference reference(const core::SyncedDocCollectionConfig& collection,
                          const QString& zoneName, ReferenceAction action = ReferenceAction::none);

// A new collection record, filled by apply().
Record makeRecord(const core::SyncedDocCollectionConfig& collection, const QString& zoneName);

// Writes `folderPath`, `title` and `docTypeDefault`, keeping the record's change tag.
void apply(const core::SyncedDocCollectionConfig& collection, Record& record);

} // namespace mnemora::SyncedDocCollectionMapping

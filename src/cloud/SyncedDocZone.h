#pragma once

#include "core/SyncedDocCollectionConfig.h"

#include <QString>

#include <vector>

namespace mnemora::SyncedDocZone {

// The zone of a collection: "SyncedDocs", then "-{scope}" for a non-empty scope, then "-" and the
// folder path with every "/" made "-". The primary vault's list collection lies in
// "SyncedDocs-lists-active", a vault with scope "b2" has "SyncedDocs-b2-lists-active".
QString zoneID(const core::SyncedDocCollectionConfig& collection, const QString& scope);
QString zoneID(const QString& folderPath, const QString& scope);

// The scope a zone name was made with, found by the collections' folder paths, longest first. A
// name that fits no collection gives all of it after "SyncedDocs-".
QString vaultScope(const QString& zoneName,
                   const std::vector<core::SyncedDocCollectionConfig>& collections);

} // namespace mnemora::SyncedDocZone

#pragma once

#include "cloud/RecordStore.h"
#include "core/SyncedDocCollectionConfig.h"
#include "platform/Expected.h"

#include <QList>
#include <QString>

#include <QCoroTask>

#include <memory>
#include <vector>

namespace mnemora {

// Several vaults may sync into one account: each keeps its zones apart by a scope of its own,
// written once into the vault (so it survives a rename or a move of the folder), and the zones
// of a vault that is gone can be listed and removed.
namespace CompanionZoneMaintenance {

struct Zone {
    QString name;  // the zone's name in the store
    QString scope; // the vault scope it was made for

    bool operator==(const Zone&) const = default;
};

// Why the primary vault's zones are never removed here: its bridge resets them itself.
inline const QString refusedPrimaryScope = QStringLiteral(
    "refusing to delete the primary vault's zones — pass the scope of a specific vault");

// The file that holds a vault's scope, relative to its root.
inline const QString scopeFileName = QStringLiteral(".mnemora/sync-zone");

// The scope of the vault at `vaultRoot`: "" for the primary vault, else the one written in the
// vault, else a new one written there now. A scope that cannot be written is still used for
// this launch.
QString vaultScope(const QString& vaultRoot, const QString& primaryRoot);

// A folder name as a zone word: each character that is neither a letter nor a digit becomes
// "-", runs of "-" become one, and "-" is trimmed at both ends; "vault" when nothing is left.
QString slug(const QString& folderName);

// The store's zones of synced documents, with the scope each belongs to. A missing store gives
// none.
QCoro::Task<Expected<QList<Zone>>>
listZones(std::shared_ptr<RecordStore> store,
          std::vector<core::SyncedDocCollectionConfig> collections);

// Deletes the zones of every collection for `scope`, one at a time; the names deleted, or the
// first failure. The empty scope is refused and deletes nothing.
QCoro::Task<Expected<QStringList>>
deleteZones(std::shared_ptr<RecordStore> store, QString scope,
            std::vector<core::SyncedDocCollectionConfig> collections);

} // namespace CompanionZoneMaintenance

} // namespace mnemora

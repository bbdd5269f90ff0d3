#pragma once

#include "core/BlockRepair.h"
#include "sync/SyncLog.h"

#include <QString>

#include <vector>

// How repairs of blocks that came in from outside reach the sync log: the notes of the record
// translator, of the engine's remote apply and of its reading of stored keys all read alike.
namespace mnemora::RepairLog {

// "[SyncedDocsBridgeService] REPAIRED {field} of {blockID} in {docPath}: {detail}".
QString line(const QString& docPath, const core::BlockRepair& repair);

// One line per repair, in order.
void write(const SyncLog& log, const QString& docPath,
           const std::vector<core::BlockRepair>& repairs);

} // namespace mnemora::RepairLog

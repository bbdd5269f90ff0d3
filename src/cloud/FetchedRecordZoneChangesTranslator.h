#pragma once

#include "cloud/Record.h"
#include "cloud/RecordStore.h"
#include "core/BlockOp.h"
#include "core/BlockRepair.h"

#include <QList>

#include <vector>

namespace mnemora::FetchedRecordZoneChangesTranslator {

// A record deleted on the server: its name and its type.
using Deletion = RecordDeletion;

// The block operations of fetched changes: an `edit` for each modified record that holds a block,
// in order (a block new to the desktop arrives as `edit` too), then a `delete` for each deleted
// "SyncedDocBlock". Everything else is skipped.
std::vector<core::BlockOp> translate(const QList<Record>& modifications,
                                     const QList<Deletion>& deletions);

// As above, appending a note for each block record skipped and each field dropped (see
// BlockRecordMapping::block), for the caller to log with the engine's own repairs.
std::vector<core::BlockOp> translate(const QList<Record>& modifications,
                                     const QList<Deletion>& deletions,
                                     std::vector<core::BlockRepair>& repairs);

} // namespace mnemora::FetchedRecordZoneChangesTranslator

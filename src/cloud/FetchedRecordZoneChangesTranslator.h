#pragma once

#include "cloud/Record.h"
#include "cloud/RecordStore.h"
#include "core/BlockOp.h"

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

} // namespace mnemora::FetchedRecordZoneChangesTranslator

#pragma once

#include "cloud/PendingChanges.h"
#include "core/BlockOp.h"

#include <QList>
#include <QString>

#include <vector>

namespace mnemora::BlockOpPendingChange {

// The record changes that send a document's operations, in their order: `edit`, `add` and
// `move` save the block's record, `delete` deletes it, `keep` sends nothing.
QList<PendingRecordZoneChange> pendingChanges(const std::vector<core::BlockOp>& ops,
                                              const QString& zoneName);

} // namespace mnemora::BlockOpPendingChange

#pragma once

#include "cloud/Record.h"
#include "core/Block.h"

#include <QString>

#include <optional>

namespace mnemora::BlockRecordMapping {

// A block's record is named after its identifier, in the zone of its collection.
RecordID recordID(const core::Block& block, const QString& zoneName);

// A new record of the block, filled by apply().
Record makeRecord(const core::Block& block, const QString& zoneName,
                  const RecordReference& documentReference);

// Writes every field of the block into the record, in their order: `documentRef`, `position`,
// `kind`, `level`, `text`, then every optional field. An absent optional field is removed, so the
// save clears it on the server. The record's change tag, and fields the desktop never writes
// (`audioAsset`), stay as they are: re-saving a record read from the server this way is what lets
// the server accept it.
void apply(const core::Block& block, Record& record, const RecordReference& documentReference);

// The block a record holds: none unless it is a "SyncedDocBlock" with a text `position` and
// `text` and a `kind` word of BlockKind. `level` falls back to 0; any other field of the wrong
// type, or an enumeration word of no case, reads as absent. An empty position stops the program.
std::optional<core::Block> block(const Record& record);

} // namespace mnemora::BlockRecordMapping

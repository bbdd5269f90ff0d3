#pragma once

#include "cloud/Record.h"
#include "core/Block.h"
#include "core/BlockRepair.h"

#include <QString>

#include <optional>
#include <vector>

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

// Longer record names are refused: names are block identifiers, kept in the sidecar and in every
// change the desktop sends, and the account's other clients make them 36 characters long.
constexpr qsizetype kMaxRecordNameBytes = 255;

// The block a record holds: none unless it is a "SyncedDocBlock" with a name of at most
// kMaxRecordNameBytes, a text `position` and `text` and a `kind` word of BlockKind. `level` falls back to 0 and is held to the range of an
// int; any other field of the wrong type, or an enumeration word of no case, reads as absent.
// The position is taken as it stands, even empty: any client can write a record, so the engine
// checks every key before it stores it.
std::optional<core::Block> block(const Record& record);

// As above, appending a note for each record of the block type that gives no block, and for each
// field that was present but could not be read, for the caller to log.
std::optional<core::Block> block(const Record& record, std::vector<core::BlockRepair>& repairs);

} // namespace mnemora::BlockRecordMapping

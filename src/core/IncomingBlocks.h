#pragma once

#include "core/Block.h"
#include "core/BlockRepair.h"

#include <cstddef>
#include <vector>

// Checks for blocks that this program did not make. The cloud's records can be written by any
// client, and a sidecar by an older or newer build; whatever they hold, a block must not be able
// to stop the program later (a position that `FractionalIndex::between` cannot work with) or to
// change the file's shape (a line feed in a line). Each check repairs what it finds and says so.
namespace mnemora::core::IncomingBlocks {

// The longest text kept in any one field; a longer one is cut at a character boundary.
inline constexpr std::size_t kMaxFieldBytes = 64 * 1024;

// Cuts every text field to kMaxFieldBytes, turns the line breaks of `text` (which the file writes
// raw, as one line) into blanks, and brings `level` into its range: 1 to 6 for a heading, 0 for
// every other kind. Then the block takes the content that its line of the file reads back as,
// so that the file parses as the very blocks it was written from. Appends one repair for each
// change.
void repairFields(Block& block, std::vector<BlockRepair>& repairs);

// `blocks` in the order they are stored and written: ascending by position, ties in any order.
// Every block whose key is not well formed, is longer than kMaxFieldBytes, or is not above the
// key before it, gets a fresh key between the keys around it, so that afterwards the keys are
// well formed and strictly ascending. The blocks are first put in the order of their keys, ties
// by identifier, so that the outcome does not depend on the order they came in. Appends one
// repair for each key it replaced.
void repairPositions(std::vector<Block>& blocks, std::vector<BlockRepair>& repairs);

} // namespace mnemora::core::IncomingBlocks

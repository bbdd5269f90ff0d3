#pragma once

#include "core/Block.h"
#include "core/BlockOp.h"

#include <string_view>
#include <vector>

namespace mnemora::core {

// Recovers block identity across edits of a file. The file carries no identifiers, so every
// parse yields fresh ones; the matcher decides which stored block each parsed block continues,
// hands it that block's identifier, places it, and says what changed. It is a pure function.
namespace BlockDiffMatcher {

// For one new index: the old index it continues, and whether it is part of the common
// subsequence (an anchor keeps its old position).
struct Match {
    int previousIndex = 0;
    bool isAnchor = false;

    bool operator==(const Match&) const = default;
};

// `previous` is the stored document, ascending by position. Two stored blocks with the same
// position are tolerated: they are ordered by identifier and the later one is given a fresh key
// between its neighbours, which then shows as a `move` (or `edit`). `newBlocks` is the parsed
// document in file order; its identifiers are fresh and its positions are ignored.
//
// The result holds one operation per new block in document order, then one `delete_` per
// stored block that nothing continues, in ascending stored order.
std::vector<BlockOp> diff(const std::vector<Block>& previous, const std::vector<Block>& newBlocks);
// The same, taking the new blocks over instead of copying them; they are gone on return.
std::vector<BlockOp> diff(const std::vector<Block>& previous, std::vector<Block>&& newBlocks);

// 2 * lcs / (count(a) + count(b)) over user-perceived characters (grapheme clusters), where lcs
// is the length of their longest common subsequence; 0 when either text is empty. Bytes that
// are not valid UTF-8 count as one character each.
double similarity(std::string_view a, std::string_view b);

} // namespace BlockDiffMatcher

} // namespace mnemora::core

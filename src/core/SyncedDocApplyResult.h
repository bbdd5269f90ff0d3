#pragma once

#include "core/Block.h"
#include "core/BlockOp.h"
#include "core/BlockRepair.h"
#include "core/MarkdownCodec.h"

#include <vector>

namespace mnemora::core {

// What one new text of a file did to its document.
struct SyncedDocApplyResult {
    // One operation per block of the new text, `keep` included, then the deletes.
    std::vector<BlockOp> ops{};
    // The document after the change, in position order.
    std::vector<Block> blocks{};
    // Lines that claimed a typed kind and were kept as text; the caller logs them.
    std::vector<MarkdownCodec::Degradation> degradations{};
    // Stored keys that were unusable and were replaced; such a block shows as `move` in `ops`, so
    // that the cloud gets the new key too. The caller logs them.
    std::vector<BlockRepair> repairs{};

    bool operator==(const SyncedDocApplyResult&) const = default;
};

} // namespace mnemora::core

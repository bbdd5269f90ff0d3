#include "core/SyncedDocEngine.h"

#include "core/BlockDiffMatcher.h"
#include "core/FatalError.h"
#include "core/IncomingBlocks.h"
#include "core/MarkdownCodec.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace mnemora::core {

namespace {

std::unordered_map<BlockID, Block> byIdentifier(std::vector<Block> blocks) {
    std::unordered_map<BlockID, Block> byID;
    for (Block& block : blocks) {
        BlockID id = block.id;
        if (!byID.emplace(std::move(id), std::move(block)).second) {
            fatalError("SyncedDocEngine: a stored document holds one block identifier twice");
        }
    }
    return byID;
}

void apply(const BlockOp& op, std::unordered_map<BlockID, Block>& byID,
           std::vector<BlockRepair>& repairs) {
    switch (op.kind()) {
    case BlockOp::Kind::keep:
        break;
    case BlockOp::Kind::delete_:
        byID.erase(op.id());
        break;
    case BlockOp::Kind::edit:
    case BlockOp::Kind::add:
    case BlockOp::Kind::move: {
        // The cloud's block replaces ours whole; there is no field merge.
        Block incoming = *op.blockIfAny();
        const auto stored = byID.find(op.id());
        if (stored == byID.end() || !stored->second.hasSameContent(incoming)) {
            IncomingBlocks::repairFields(incoming, repairs);
        }
        byID.insert_or_assign(op.id(), std::move(incoming));
        break;
    }
    }
}

std::vector<Block> values(std::unordered_map<BlockID, Block> byID) {
    std::vector<Block> blocks;
    blocks.reserve(byID.size());
    for (auto& [id, block] : byID) {
        blocks.push_back(std::move(block));
    }
    return blocks;
}

// A block whose stored key was replaced is sent again, so that the cloud holds the new key too.
void sendRepairedKeys(std::vector<BlockOp>& ops, const std::vector<BlockRepair>& repairs) {
    std::unordered_set<BlockID> repaired;
    for (const BlockRepair& repair : repairs) {
        repaired.insert(repair.blockID);
    }
    for (BlockOp& op : ops) {
        if (op.kind() == BlockOp::Kind::keep && repaired.count(op.id()) > 0) {
            op = BlockOp::move(*op.blockIfAny());
        }
    }
}

} // namespace

SyncedDocApplyResult SyncedDocEngine::applyFileChange(const std::string& docPath,
                                                      std::string_view contents) {
    SyncedDocApplyResult result;
    std::vector<Block> previous = store_.loadBlocks(docPath);
    IncomingBlocks::repairPositions(previous, result.repairs);
    result.ops =
        BlockDiffMatcher::diff(previous, MarkdownCodec::parse(contents, result.degradations));
    sendRepairedKeys(result.ops, result.repairs);

    // The stored list is done with. Its memory, already paged in, takes the new document: for a
    // long document fresh memory costs more than the copying.
    const auto placed = static_cast<std::size_t>(
        std::count_if(result.ops.begin(), result.ops.end(),
                      [](const BlockOp& op) { return op.blockIfAny() != nullptr; }));
    previous.clear();
    result.blocks = std::move(previous);
    reserveBlocks(result.blocks, placed);
    for (const BlockOp& op : result.ops) {
        if (const Block* block = op.blockIfAny()) {
            result.blocks.push_back(*block);
        }
    }
    sortByPosition(result.blocks);

    store_.saveChanges(docPath, result.ops);
    return result;
}

std::string SyncedDocEngine::applyRemoteOps(const std::string& zone, const std::string& docPath,
                                            const std::vector<BlockOp>& ops) {
    std::vector<BlockRepair> repairs;
    return applyRemoteOps(zone, docPath, ops, repairs);
}

std::string SyncedDocEngine::applyRemoteOps(const std::string& zone, const std::string& docPath,
                                            const std::vector<BlockOp>& ops,
                                            std::vector<BlockRepair>& repairs) {
    std::unordered_map<BlockID, Block> byID = byIdentifier(store_.loadBlocks(zone, docPath));
    for (const BlockOp& op : ops) {
        apply(op, byID, repairs);
    }
    std::vector<Block> blocks = values(std::move(byID));
    IncomingBlocks::repairPositions(blocks, repairs);
    if (blocks.empty()) {
        // The empty file reads as one empty line; storing that line makes the read-back a `keep`.
        blocks.push_back(Block{.position = FractionalIndex::between(std::nullopt, std::nullopt)});
    }
    store_.saveBlocks(zone, docPath, blocks);
    return MarkdownCodec::serialize(blocks);
}

void SyncedDocEngine::restore(const std::string& zone, const std::string& docPath,
                              const std::vector<Block>& blocks) {
    store_.saveBlocks(zone, docPath, blocks);
}

std::string SyncedDocEngine::serialize(const std::string& docPath) {
    return MarkdownCodec::serialize(store_.loadBlocks(docPath));
}

std::vector<Block> SyncedDocEngine::blocks(const std::string& zone, const std::string& docPath) {
    return store_.loadBlocks(zone, docPath);
}

void SyncedDocEngine::deleteDoc(const std::string& zone, const std::string& docPath) {
    store_.deleteDoc(zone, docPath);
}

std::vector<SyncedDocSidecarStore::Document> SyncedDocEngine::allDocs() {
    return store_.allDocs();
}

std::optional<SyncedDocSidecarStore::FoundBlock>
SyncedDocEngine::findBlock(const BlockID& blockID) {
    return store_.findBlock(blockID);
}

} // namespace mnemora::core

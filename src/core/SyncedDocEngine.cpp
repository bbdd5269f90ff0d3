#include "core/SyncedDocEngine.h"

#include "core/BlockDiffMatcher.h"
#include "core/FatalError.h"
#include "core/MarkdownCodec.h"

#include <algorithm>
#include <unordered_map>
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

void apply(const BlockOp& op, std::unordered_map<BlockID, Block>& byID) {
    switch (op.kind()) {
    case BlockOp::Kind::keep:
        break;
    case BlockOp::Kind::delete_:
        byID.erase(op.id());
        break;
    case BlockOp::Kind::edit:
    case BlockOp::Kind::add:
    case BlockOp::Kind::move:
        // The cloud's block replaces ours whole; there is no field merge.
        byID.insert_or_assign(op.id(), *op.blockIfAny());
        break;
    }
}

// Ties on position break by identifier only so that the result does not depend on the hash
// map's order.
std::vector<Block> inPlaceOrder(std::unordered_map<BlockID, Block> byID) {
    std::vector<Block> blocks;
    blocks.reserve(byID.size());
    for (auto& [id, block] : byID) {
        blocks.push_back(std::move(block));
    }
    std::sort(blocks.begin(), blocks.end(), [](const Block& a, const Block& b) {
        if (a.position != b.position) {
            return a.position < b.position;
        }
        return a.id < b.id;
    });
    return blocks;
}

} // namespace

SyncedDocApplyResult SyncedDocEngine::applyFileChange(const std::string& docPath,
                                                      std::string_view contents) {
    SyncedDocApplyResult result;
    {
        // A long document is held several times over here; each copy goes as soon as it can.
        const std::vector<Block> previous = store_.loadBlocks(docPath);
        result.ops =
            BlockDiffMatcher::diff(previous, MarkdownCodec::parse(contents, result.degradations));
    }

    result.blocks.reserve(result.ops.size());
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
    std::unordered_map<BlockID, Block> byID = byIdentifier(store_.loadBlocks(zone, docPath));
    for (const BlockOp& op : ops) {
        apply(op, byID);
    }
    const std::vector<Block> blocks = inPlaceOrder(std::move(byID));
    store_.saveBlocks(zone, docPath, blocks);
    return MarkdownCodec::serialize(blocks);
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

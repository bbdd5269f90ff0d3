#include "core/SyncedDocSidecarStore.h"

namespace mnemora::core {

// Without single-row writes the whole document is written; `changes` name every block of it.
void SyncedDocSidecarStore::saveChanges(const std::string& zone, const std::string& docPath,
                                        const std::vector<BlockOp>& changes) {
    std::vector<Block> blocks;
    blocks.reserve(changes.size());
    for (const BlockOp& op : changes) {
        if (const Block* block = op.blockIfAny()) {
            blocks.push_back(*block);
        }
    }
    sortByPosition(blocks);
    saveBlocks(zone, docPath, blocks);
}

} // namespace mnemora::core

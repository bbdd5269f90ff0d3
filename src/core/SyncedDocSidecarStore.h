#pragma once

#include "core/Block.h"
#include "core/BlockID.h"
#include "core/BlockOp.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace mnemora::core {

// Where a document's blocks keep what the Markdown file cannot hold: identity, position and the
// full field set. A document is named by (`zone`, `docPath`); the application uses zone "".
//
// Every operation may throw `SyncedDocSidecarStore::Error` on a database failure. An
// implementation that overrides the zoned forms adds `using SyncedDocSidecarStore::loadBlocks;`
// (and the same for `saveBlocks` and `deleteDoc`) so that the forms without a zone stay visible.
class SyncedDocSidecarStore {
public:
    // A database failure, with the store's own words in front of the engine's message.
    class Error : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    struct Document {
        std::string zone;
        std::string docPath;

        bool operator==(const Document&) const = default;
    };

    struct FoundBlock {
        std::string zone;
        std::string docPath;
        Block block;

        bool operator==(const FoundBlock&) const = default;
    };

    virtual ~SyncedDocSidecarStore() = default;

    // The document's blocks, ascending by position; empty for an unknown document.
    virtual std::vector<Block> loadBlocks(const std::string& zone, const std::string& docPath) = 0;

    // Replaces the document's blocks as a whole, all or nothing. An empty list removes it.
    virtual void saveBlocks(const std::string& zone, const std::string& docPath,
                            const std::vector<Block>& blocks) = 0;

    // Saves the document that `changes` make of the stored one, all or nothing, with the same
    // result as `saveBlocks` of the whole document. `changes` hold one operation per block of the
    // new document and a `delete_` per stored block that is gone, as the matcher gives them
    // against what is stored now. A store that can write single rows writes only the rows added,
    // edited, moved or removed, so that one edit of a long document costs one row, not all of them.
    virtual void saveChanges(const std::string& zone, const std::string& docPath,
                             const std::vector<BlockOp>& changes);

    // Removes the document's blocks; an unknown document is no error.
    virtual void deleteDoc(const std::string& zone, const std::string& docPath) = 0;

    // The block with this identifier in any document. Should two documents hold it, one of them.
    virtual std::optional<FoundBlock> findBlock(const BlockID& blockID) = 0;

    // Every document that has at least one block, ordered by zone, then path.
    virtual std::vector<Document> allDocs() = 0;

    std::vector<Block> loadBlocks(const std::string& docPath) { return loadBlocks("", docPath); }
    void saveBlocks(const std::string& docPath, const std::vector<Block>& blocks) {
        saveBlocks("", docPath, blocks);
    }
    void deleteDoc(const std::string& docPath) { deleteDoc("", docPath); }
    void saveChanges(const std::string& docPath, const std::vector<BlockOp>& changes) {
        saveChanges("", docPath, changes);
    }

protected:
    SyncedDocSidecarStore() = default;
    SyncedDocSidecarStore(const SyncedDocSidecarStore&) = default;
    SyncedDocSidecarStore& operator=(const SyncedDocSidecarStore&) = default;
};

} // namespace mnemora::core

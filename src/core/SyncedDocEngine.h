#pragma once

#include "core/Block.h"
#include "core/BlockOp.h"
#include "core/BlockRepair.h"
#include "core/SyncedDocApplyResult.h"
#include "core/SyncedDocSidecarStore.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mnemora::core {

// Joins the codec, the matcher and the sidecar into the two ways a document changes: its file
// was edited on disk, or block operations arrived from the cloud. It keeps no state and takes no
// lock, so the caller must not run two changes to one document at once. Database errors from the
// store pass through untouched; a failed save has saved nothing.
class SyncedDocEngine {
public:
    // The store must outlive the engine.
    explicit SyncedDocEngine(SyncedDocSidecarStore& store)
        : store_(store) {}

    // Reads a new text of the file at `docPath` (zone ""), matches it against the stored
    // document, saves the result and says what changed. The file wins over the sidecar. Stored
    // keys that an older build or an earlier remote change left unusable are replaced first.
    SyncedDocApplyResult applyFileChange(const std::string& docPath, std::string_view contents);

    // Applies operations from the cloud and returns the new text of the file. `edit`, `add` and
    // `move` all put their block whole, position included; `delete_` of an unknown identifier is
    // ignored. Stops the program when the stored document holds one identifier twice, which only
    // a faulty store can do.
    //
    // Any client can write a record, so a put block is checked before it is stored
    // (IncomingBlocks::repairFields), unless its content is what the sidecar already holds for
    // it, which is this desktop's own block coming back. The document's keys are then made
    // usable and strictly ascending (IncomingBlocks::repairPositions). A document left with no
    // block is stored as the one empty line that its empty file reads as, so that reading the
    // file back finds nothing to send.
    std::string applyRemoteOps(const std::string& zone, const std::string& docPath,
                               const std::vector<BlockOp>& ops);

    // As above, appending what was repaired to `repairs` for the caller to log.
    std::string applyRemoteOps(const std::string& zone, const std::string& docPath,
                               const std::vector<BlockOp>& ops, std::vector<BlockRepair>& repairs);

    // Puts back a document as `blocks(zone, docPath)` gave it earlier, undoing the changes made
    // since; for a caller whose write of those changes did not happen.
    void restore(const std::string& zone, const std::string& docPath,
                 const std::vector<Block>& blocks);

    // The file text of the stored document (zone "").
    std::string serialize(const std::string& docPath);

    std::vector<Block> blocks(const std::string& zone, const std::string& docPath);
    void deleteDoc(const std::string& zone, const std::string& docPath);
    std::vector<SyncedDocSidecarStore::Document> allDocs();
    std::optional<SyncedDocSidecarStore::FoundBlock> findBlock(const BlockID& blockID);

private:
    SyncedDocSidecarStore& store_;
};

} // namespace mnemora::core

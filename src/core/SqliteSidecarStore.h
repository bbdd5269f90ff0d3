#pragma once

#include "core/SyncedDocSidecarStore.h"

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace SQLite {
class Database;
}

namespace mnemora::core {

// The sidecar on SQLite: one table `syncedDocBlocks`, one row per block, keyed by zone, document
// path and block identifier. Every operation goes through one connection behind one lock, so
// callers may come from any thread and no reader sees a document half saved.
class SqliteSidecarStore final : public SyncedDocSidecarStore {
public:
    // Opens the database file, creating it if needed, and brings it to the current schema. The
    // folder must exist. Several processes may open one file at once. Throws `Error` when the
    // file cannot be opened or migrated, and also when it could be opened but not written to
    // (read-only) or holds damaged pages: either would otherwise fail every later save.
    explicit SqliteSidecarStore(const std::string& path);

    // A private database in memory with the same schema, gone with the object.
    SqliteSidecarStore();

    ~SqliteSidecarStore() override;

    SqliteSidecarStore(const SqliteSidecarStore&) = delete;
    SqliteSidecarStore& operator=(const SqliteSidecarStore&) = delete;

    using SyncedDocSidecarStore::deleteDoc;
    using SyncedDocSidecarStore::loadBlocks;
    using SyncedDocSidecarStore::saveBlocks;
    using SyncedDocSidecarStore::saveChanges;

    std::vector<Block> loadBlocks(const std::string& zone, const std::string& docPath) override;
    void saveBlocks(const std::string& zone, const std::string& docPath,
                    const std::vector<Block>& blocks) override;
    void saveChanges(const std::string& zone, const std::string& docPath,
                     const std::vector<BlockOp>& changes) override;
    void deleteDoc(const std::string& zone, const std::string& docPath) override;
    std::optional<FoundBlock> findBlock(const BlockID& blockID) override;
    std::vector<Document> allDocs() override;

    // The schema steps in the order they run; each is recorded by name in `schema_migrations`
    // once it has run, and never runs again on that file.
    static std::vector<std::string_view> migrationNames();

private:
    void open(const std::string& path, std::string_view label);

    std::mutex mutex_;
    std::unique_ptr<SQLite::Database> db_;
};

} // namespace mnemora::core

#include "core/SqliteSidecarStore.h"

#include "core/WireWord.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <array>
#include <chrono>
#include <initializer_list>
#include <iterator>
#include <set>
#include <thread>
#include <type_traits>
#include <utility>

namespace mnemora::core {

namespace {

// The block's columns in the order of its fields; every row puts `zone` and `docPath` before them.
constexpr std::string_view kBlockColumns[] = {
#define MNEMORA_BLOCK_PLACE(Type, name, column) column,
#define MNEMORA_BLOCK_CONTENT(Type, name, init) #name,
#include "core/BlockFields.def"
};
static_assert(std::size(kBlockColumns) == kBlockFieldCount);

std::string joinedColumns() {
    std::string columns;
    for (std::string_view column : kBlockColumns) {
        columns += columns.empty() ? "" : ", ";
        columns += column;
    }
    return columns;
}
const std::string kAllColumns = joinedColumns();

// Unordered: SQLite would sort whole rows in a temporary table, which costs more for a long
// document than reading it; the rows come mostly in order and are put in order afterwards.
const std::string kLoadSql =
    "SELECT " + kAllColumns + "\nFROM syncedDocBlocks\nWHERE zone = ? AND docPath = ?";
const std::string kCountSql = "SELECT count(*) FROM syncedDocBlocks WHERE zone = ? AND docPath = ?";
const std::string kDeleteSql = "DELETE FROM syncedDocBlocks WHERE zone = ? AND docPath = ?";
const std::string kAllDocsSql =
    "SELECT DISTINCT zone, docPath FROM syncedDocBlocks ORDER BY zone, docPath";
const std::string kFindSql =
    "SELECT zone, docPath, " + kAllColumns + "\nFROM syncedDocBlocks\nWHERE blockID = ?\nLIMIT 1";

std::string insertSql() {
    std::string sql = "INSERT INTO syncedDocBlocks (zone, docPath, " + kAllColumns + ") VALUES (?";
    for (std::size_t i = 1; i < std::size(kBlockColumns) + 2; ++i) {
        sql += ", ?";
    }
    return sql + ")";
}
const std::string kInsertSql = insertSql();
const std::string kReplaceSql =
    "INSERT OR REPLACE" + kInsertSql.substr(std::string("INSERT").size());
const std::string kDeleteRowSql =
    "DELETE FROM syncedDocBlocks WHERE zone = ? AND docPath = ? AND blockID = ?";

struct Migration {
    std::string_view name;
    std::vector<std::string> statements;
};

// One statement a column, each added at the end of the table.
std::vector<std::string> addColumns(std::initializer_list<std::string_view> definitions) {
    std::vector<std::string> statements;
    for (std::string_view definition : definitions) {
        statements.push_back("ALTER TABLE syncedDocBlocks ADD COLUMN " + std::string(definition));
    }
    return statements;
}

// SQLite cannot widen a primary key in place, so the zone joins the key by a rebuild. It carries
// over the columns that the fourth step left, the primary key aside.
std::vector<std::string> zoneScopeRebuild() {
    const std::string columns =
        "blockID, kind, level, text, checked, position, questionID, questionStatus, askedBy, "
        "askedAt, answeredBy, answeredAt, answer, audioAssetRef, transcriptionState, "
        "transcriptionProgress, transcriptionPartial, period, business, closePhase, activity, "
        "startedAt, movedAt, blockedKind, blockedReason, answerableCount, deliverableLabel, "
        "deliverableDetail, deliverableStatus, countDone, countTotal";
    return {
        "ALTER TABLE syncedDocBlocks ADD COLUMN zone TEXT NOT NULL DEFAULT ''",
        "CREATE TABLE syncedDocBlocks_new (zone TEXT NOT NULL DEFAULT '', docPath TEXT NOT "
        "NULL, blockID TEXT NOT NULL, kind TEXT NOT NULL, level INTEGER NOT NULL, text TEXT NOT "
        "NULL, checked BOOLEAN, position TEXT NOT NULL, questionID TEXT, questionStatus TEXT, "
        "askedBy TEXT, askedAt TEXT, answeredBy TEXT, answeredAt TEXT, answer TEXT, "
        "audioAssetRef TEXT, transcriptionState TEXT, transcriptionPartial TEXT, period TEXT, "
        "business TEXT, closePhase TEXT, activity TEXT, startedAt TEXT, movedAt TEXT, "
        "blockedKind TEXT, blockedReason TEXT, deliverableLabel TEXT, deliverableDetail TEXT, "
        "deliverableStatus TEXT, transcriptionProgress INTEGER, answerableCount INTEGER, "
        "countDone INTEGER, countTotal INTEGER, PRIMARY KEY (zone, docPath, blockID))",
        "INSERT INTO syncedDocBlocks_new (zone, docPath, " + columns + ") SELECT zone, docPath, " +
            columns + " FROM syncedDocBlocks",
        "DROP TABLE syncedDocBlocks",
        "ALTER TABLE syncedDocBlocks_new RENAME TO syncedDocBlocks",
        "CREATE INDEX idx_syncedDocBlocks_zone_docPath ON syncedDocBlocks (zone, docPath)",
    };
}

// The schema steps of the file, which are its history: each runs once on a file and is never
// changed afterwards, so they name their columns instead of taking them from the block's table.
const std::vector<Migration>& migrations() {
    static const std::vector<Migration> all{
        {"v1_createSyncedDocBlocks",
         {"CREATE TABLE syncedDocBlocks (docPath TEXT NOT NULL, blockID TEXT NOT NULL, kind TEXT "
          "NOT NULL, level INTEGER NOT NULL, text TEXT NOT NULL, checked BOOLEAN, position TEXT "
          "NOT NULL, PRIMARY KEY (docPath, blockID))",
          "CREATE INDEX idx_syncedDocBlocks_docPath ON syncedDocBlocks (docPath)"}},
        {"v2_questionFields",
         addColumns({"questionID TEXT", "questionStatus TEXT", "askedBy TEXT", "askedAt TEXT",
                     "answeredBy TEXT", "answeredAt TEXT", "answer TEXT", "audioAssetRef TEXT"})},
        {"v3_transcriptionProgressFields",
         addColumns({"transcriptionState TEXT", "transcriptionProgress INTEGER",
                     "transcriptionPartial TEXT"})},
        {"v4_closeStatusFields",
         addColumns({"period TEXT", "business TEXT", "closePhase TEXT", "activity TEXT",
                     "startedAt TEXT", "movedAt TEXT", "blockedKind TEXT", "blockedReason TEXT",
                     "answerableCount INTEGER", "deliverableLabel TEXT", "deliverableDetail TEXT",
                     "deliverableStatus TEXT", "countDone INTEGER", "countTotal INTEGER"})},
        {"v5_vaultZoneScope", zoneScopeRebuild()},
        {"v6_questionBooksID", addColumns({"booksID TEXT"})},
        {"v7_ledgerRowFields", addColumns({"ledgerDate TEXT", "ledgerOrigin TEXT",
                                           "ledgerAmount TEXT", "ledgerState TEXT"})},
        {"v8_questionKindAndSuggestedActions",
         addColumns({"questionKind TEXT", "suggestedActions TEXT"})},
        {"v9_appliedAt", addColumns({"appliedAt TEXT"})},
    };
    return all;
}

// Binds the insert parameters in column order, one call a field: zone, path, then the block.
// Texts are bound without a copy; the block outlives the statement's step.
class RowWriter {
public:
    explicit RowWriter(SQLite::Statement& statement)
        : statement_(statement) {}

    void put(const std::string& value) { statement_.bindNoCopy(++index_, value); }
    void put(const BlockID& value) { put(value.rawValue); }
    void put(const FractionalIndex& value) { put(value.key); }
    void put(std::int64_t value) { statement_.bind(++index_, value); }
    void put(int value) { put(static_cast<std::int64_t>(value)); }
    void put(bool value) { put(std::int64_t{value ? 1 : 0}); }
    // Wire words are string literals, so they outlive any statement.
    template <typename E>
    requires std::is_enum_v<E>
    void put(E value) { statement_.bindNoCopy(++index_, wireWord(value).data()); }
    void put(const OptionalString& value) {
        if (value) {
            put(*value);
        } else {
            statement_.bind(++index_);
        }
    }
    template <typename T> void put(const std::optional<T>& value) {
        if (value) {
            put(*value);
        } else {
            statement_.bind(++index_);
        }
    }

private:
    SQLite::Statement& statement_;
    int index_ = 0;
};

void bindRow(SQLite::Statement& insert, const std::string& zone, const std::string& docPath,
             const Block& block) {
    RowWriter row(insert);
    row.put(zone);
    row.put(docPath);
#define MNEMORA_BLOCK_FIELD(Type, name) row.put(block.name);
#include "core/BlockFields.def"
}

// A query read row by row through SQLite's own interface, for the readers of whole documents
// (see RowReader). Texts are bound without a copy, so they must outlive the query.
class RawQuery {
public:
    RawQuery(SQLite::Database& db, const std::string& sql) {
        const int code = sqlite3_prepare_v2(db.getHandle(), sql.c_str(),
                                            static_cast<int>(sql.size()), &statement_, nullptr);
        if (code != SQLITE_OK) {
            throw SQLite::Exception(db.getHandle(), code);
        }
    }
    ~RawQuery() { sqlite3_finalize(statement_); }
    RawQuery(const RawQuery&) = delete;
    RawQuery& operator=(const RawQuery&) = delete;

    void bind(int index, const std::string& text) {
        sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC);
    }
    // Whether a row came; throws on a failure.
    bool step() {
        const int code = sqlite3_step(statement_);
        if (code == SQLITE_ROW) {
            return true;
        }
        if (code == SQLITE_DONE) {
            return false;
        }
        throw SQLite::Exception(sqlite3_db_handle(statement_), code);
    }
    sqlite3_stmt* handle() const { return statement_; }

private:
    sqlite3_stmt* statement_ = nullptr;
};

// Reads the block's fields from consecutive columns, one call a field. Rows may come from older
// or newer versions of the application, so an unknown kind reads as text and an unknown word of
// any other enumeration as absent, rather than failing the whole document.
//
// A long document is tens of thousands of rows of forty columns, most of them empty, so this reads
// the statement's columns directly instead of through a wrapper object per column.
class RowReader {
public:
    RowReader(sqlite3_stmt* statement, int firstColumn)
        : statement_(statement)
        , index_(firstColumn) {}

    void get(std::string& field) {
        const int column = index_++;
        field.assign(text(column));
    }
    void get(BlockID& field) { get(field.rawValue); }
    void get(FractionalIndex& field) { get(field.key); }
    void get(int& field) { field = sqlite3_column_int(statement_, index_++); }
    void get(BlockKind& field) {
        std::optional<BlockKind> word;
        get(word);
        field = word.value_or(BlockKind::text);
    }
    void get(OptionalString& field) {
        const int column = index_++;
        if (isNull(column)) {
            field.reset();
        } else {
            field.emplace(text(column));
        }
    }
    void get(std::optional<std::int64_t>& field) {
        const int column = index_++;
        field = isNull(column) ? std::nullopt
                               : std::optional(sqlite3_column_int64(statement_, column));
    }
    void get(std::optional<bool>& field) {
        const int column = index_++;
        const int type = sqlite3_column_type(statement_, column);
        const bool isNumber = type == SQLITE_INTEGER || type == SQLITE_FLOAT;
        field = isNumber ? std::optional(sqlite3_column_int64(statement_, column) != 0)
                         : std::nullopt;
    }
    template <typename E>
    requires std::is_enum_v<E>
    void get(std::optional<E>& field) {
        const int column = index_++;
        field = isNull(column) ? std::nullopt : fromWireWord<E>(text(column));
    }

private:
    bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    // The column as text, as SQLite converts it; a NULL reads as empty.
    std::string_view text(int column) const {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
        if (bytes == nullptr) {
            return {};
        }
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
    }

    sqlite3_stmt* statement_;
    int index_;
};

Block readRow(sqlite3_stmt* statement, int firstColumn) {
    RowReader row(statement, firstColumn);
    // A stored identifier replaces this one, so none is minted.
    Block block{.id = BlockID(std::string())};
#define MNEMORA_BLOCK_FIELD(Type, name) row.get(block.name);
#include "core/BlockFields.def"
    return block;
}

std::string describeDoc(const std::string& zone, const std::string& docPath) {
    std::string described = "\"";
    described += docPath;
    described += '"';
    if (!zone.empty()) {
        described += " in zone \"";
        described += zone;
        described += '"';
    }
    return described;
}

// Sets the connection up as the store relies on and returns the schema steps the file has had.
std::set<std::string> prepare(SQLite::Database& db) {
    // With the write-ahead log a save costs one sync instead of several and stays durable.
    // Switching a new file over needs it to itself, and SQLite answers "locked" at once, without
    // waiting, when another process is switching it at the same moment: that is tried again.
    for (int attempt = 1;; ++attempt) {
        try {
            db.exec("PRAGMA journal_mode = WAL");
            break;
        } catch (const SQLite::Exception& e) {
            const int code = e.getErrorCode() & 0xff;
            if ((code != SQLITE_BUSY && code != SQLITE_LOCKED) || attempt == 200) {
                throw;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
    }
    // Saving a long document touches more pages than the default two megabytes of cache hold;
    // SQLite would then write them out and read them back while the save runs. The cache only
    // grows to this as pages are used.
    db.exec("PRAGMA cache_size = -16384"); // kilobytes
    // Taking the write lock first makes a second opener wait for it; a statement that read first
    // and then wanted to write would be refused at once instead.
    SQLite::Transaction creating(db, SQLite::TransactionBehavior::IMMEDIATE);
    db.exec("CREATE TABLE IF NOT EXISTS schema_migrations (identifier TEXT NOT NULL PRIMARY KEY)");
    creating.commit();
    SQLite::Statement query(db, "SELECT identifier FROM schema_migrations");
    std::set<std::string> applied;
    while (query.executeStep()) {
        applied.insert(query.getColumn(0).getString());
    }
    return applied;
}

// Runs one schema step and records it, all or nothing. Another process may open the same file at
// the same moment and run the step first, so whether it has run is asked again once this
// connection holds the write lock.
void run(SQLite::Database& db, const Migration& migration) {
    SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
    SQLite::Statement done(db, "SELECT 1 FROM schema_migrations WHERE identifier = ?");
    done.bindNoCopy(1, migration.name.data());
    if (done.executeStep()) {
        return;
    }
    for (const std::string& statement : migration.statements) {
        db.exec(statement);
    }
    SQLite::Statement record(db, "INSERT INTO schema_migrations (identifier) VALUES (?)");
    record.bindNoCopy(1, migration.name.data());
    record.exec();
    transaction.commit();
}

std::size_t rowCount(SQLite::Database& db, const std::string& zone, const std::string& docPath) {
    SQLite::Statement count(db, kCountSql);
    count.bindNoCopy(1, zone);
    count.bindNoCopy(2, docPath);
    count.executeStep();
    return static_cast<std::size_t>(count.getColumn(0).getInt64());
}

// The first problem SQLite finds on reading every page of the file; empty when there is none. A
// damaged page would otherwise show only when a save reaches it, and then at every save.
std::string firstDamage(SQLite::Database& db) {
    SQLite::Statement check(db, "PRAGMA quick_check(1)");
    if (!check.executeStep()) {
        return {};
    }
    const std::string answer = check.getColumn(0).getString();
    return answer == "ok" ? std::string() : answer;
}

// The store's words for a failure to open: a file that cannot be written or is damaged says so,
// since either stops every later save.
std::string openFailure(std::string_view where, const SQLite::Exception& e) {
    switch (e.getErrorCode()) {
    case SQLITE_READONLY:
        return "Could not open " + std::string(where) +
               ": it is read-only, so no change could be saved in it";
    case SQLITE_CORRUPT:
        return "Could not open " + std::string(where) + ": it is damaged (" + e.what() + ")";
    default:
        return "Could not open " + std::string(where) + ": " + e.what();
    }
}

// Removes the document's rows, within the caller's transaction.
void removeRows(SQLite::Database& db, const std::string& zone, const std::string& docPath) {
    SQLite::Statement remove(db, kDeleteSql);
    remove.bindNoCopy(1, zone);
    remove.bindNoCopy(2, docPath);
    remove.exec();
}

} // namespace

SqliteSidecarStore::SqliteSidecarStore(const std::string& path) {
    open(path, "at " + path);
}

SqliteSidecarStore::SqliteSidecarStore() {
    open(":memory:", "in memory");
}

SqliteSidecarStore::~SqliteSidecarStore() = default;

std::vector<std::string_view> SqliteSidecarStore::migrationNames() {
    std::vector<std::string_view> names;
    for (const Migration& migration : migrations()) {
        names.push_back(migration.name);
    }
    return names;
}

void SqliteSidecarStore::open(const std::string& path, std::string_view label) {
    const std::lock_guard lock(mutex_);
    const std::string where = "the sidecar store " + std::string(label);
    std::set<std::string> applied;
    try {
        // Every use of the connection holds `mutex_`, so SQLite's own lock on each call (several
        // million of them to save a long document) is left out.
        db_ = std::make_unique<SQLite::Database>(
            path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX);
        // Another copy of the application on the same vault holds the file only briefly.
        db_->setBusyTimeout(5000);
        // SQLite falls back to reading a file it may not write; every save would then fail.
        if (sqlite3_db_readonly(db_->getHandle(), "main") == 1) {
            throw SQLite::Exception("attempt to write a readonly database", SQLITE_READONLY);
        }
        applied = prepare(*db_);
    } catch (const SQLite::Exception& e) {
        throw Error(openFailure(where, e));
    }
    for (const Migration& migration : migrations()) {
        if (applied.count(std::string(migration.name)) > 0) {
            continue;
        }
        try {
            run(*db_, migration);
        } catch (const SQLite::Exception& e) {
            throw Error("Could not bring " + where + " up to date (" + std::string(migration.name) +
                        "): " + e.what());
        }
    }
    try {
        if (const std::string damage = firstDamage(*db_); !damage.empty()) {
            throw SQLite::Exception(damage, SQLITE_CORRUPT);
        }
    } catch (const SQLite::Exception& e) {
        throw Error(openFailure(where, e));
    }
}

std::vector<Block> SqliteSidecarStore::loadBlocks(const std::string& zone,
                                                  const std::string& docPath) {
    const std::lock_guard lock(mutex_);
    try {
        RawQuery query(*db_, kLoadSql);
        query.bind(1, zone);
        query.bind(2, docPath);
        std::vector<Block> blocks;
        // A block is large; growing the list by doubling would hold one and a half copies of a
        // long document at once. A little room is left over, so that a caller that turns the
        // list into the next version of the document, a few lines longer, can keep its memory.
        const std::size_t count = rowCount(*db_, zone, docPath);
        reserveBlocks(blocks, count + count / 64 + 8);
        while (query.step()) {
            blocks.push_back(readRow(query.handle(), 0));
        }
        sortByPosition(blocks);
        return blocks;
    } catch (const SQLite::Exception& e) {
        throw Error("Could not load " + describeDoc(zone, docPath) +
                    " from the sidecar store: " + e.what());
    }
}

void SqliteSidecarStore::saveBlocks(const std::string& zone, const std::string& docPath,
                                    const std::vector<Block>& blocks) {
    const std::lock_guard lock(mutex_);
    try {
        // One transaction: a failure anywhere rolls the document back to what it was.
        SQLite::Transaction transaction(*db_, SQLite::TransactionBehavior::IMMEDIATE);
        removeRows(*db_, zone, docPath);
        SQLite::Statement insert(*db_, kInsertSql);
        for (const Block& block : blocks) {
            bindRow(insert, zone, docPath, block);
            insert.exec();
            insert.reset();
        }
        transaction.commit();
    } catch (const SQLite::Exception& e) {
        throw Error("Could not save " + describeDoc(zone, docPath) +
                    " in the sidecar store: " + e.what());
    }
}

void SqliteSidecarStore::saveChanges(const std::string& zone, const std::string& docPath,
                                     const std::vector<BlockOp>& changes) {
    const std::lock_guard lock(mutex_);
    try {
        SQLite::Transaction transaction(*db_, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement replace(*db_, kReplaceSql);
        SQLite::Statement remove(*db_, kDeleteRowSql);
        for (const BlockOp& op : changes) {
            if (op.kind() == BlockOp::Kind::keep) {
                continue; // the stored row is this block already
            }
            if (const Block* block = op.blockIfAny()) {
                bindRow(replace, zone, docPath, *block);
                replace.exec();
                replace.reset();
                continue;
            }
            remove.bindNoCopy(1, zone);
            remove.bindNoCopy(2, docPath);
            remove.bindNoCopy(3, op.id().rawValue);
            remove.exec();
            remove.reset();
        }
        transaction.commit();
    } catch (const SQLite::Exception& e) {
        throw Error("Could not save " + describeDoc(zone, docPath) +
                    " in the sidecar store: " + e.what());
    }
}

void SqliteSidecarStore::deleteDoc(const std::string& zone, const std::string& docPath) {
    const std::lock_guard lock(mutex_);
    try {
        SQLite::Transaction transaction(*db_, SQLite::TransactionBehavior::IMMEDIATE);
        removeRows(*db_, zone, docPath);
        transaction.commit();
    } catch (const SQLite::Exception& e) {
        throw Error("Could not delete " + describeDoc(zone, docPath) +
                    " from the sidecar store: " + e.what());
    }
}

std::optional<SyncedDocSidecarStore::FoundBlock>
SqliteSidecarStore::findBlock(const BlockID& blockID) {
    const std::lock_guard lock(mutex_);
    try {
        RawQuery query(*db_, kFindSql);
        query.bind(1, blockID.rawValue);
        if (!query.step()) {
            return std::nullopt;
        }
        FoundBlock found{.zone = {}, .docPath = {}, .block = readRow(query.handle(), 2)};
        RowReader place(query.handle(), 0);
        place.get(found.zone);
        place.get(found.docPath);
        return found;
    } catch (const SQLite::Exception& e) {
        throw Error("Could not look up block " + blockID.rawValue +
                    " in the sidecar store: " + e.what());
    }
}

std::vector<SyncedDocSidecarStore::Document> SqliteSidecarStore::allDocs() {
    const std::lock_guard lock(mutex_);
    try {
        SQLite::Statement query(*db_, kAllDocsSql);
        std::vector<Document> docs;
        while (query.executeStep()) {
            docs.push_back(Document{.zone = query.getColumn(0).getString(),
                                    .docPath = query.getColumn(1).getString()});
        }
        return docs;
    } catch (const SQLite::Exception& e) {
        throw Error(std::string("Could not list the documents of the sidecar store: ") + e.what());
    }
}

} // namespace mnemora::core

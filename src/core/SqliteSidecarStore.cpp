#include "core/SqliteSidecarStore.h"

#include "core/WireWord.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <set>
#include <utility>

namespace mnemora::core {

namespace {

// The 39 stored fields behind `docPath`, in the order of Block.
constexpr const char* kAllColumns =
    "blockID, kind, level, text, checked, position, questionID, questionStatus, booksID, "
    "questionKind, suggestedActions, askedBy, askedAt, answeredBy, answeredAt, appliedAt, answer, "
    "audioAssetRef, transcriptionState, transcriptionProgress, transcriptionPartial, period, "
    "business, closePhase, activity, startedAt, movedAt, blockedKind, blockedReason, "
    "answerableCount, deliverableLabel, deliverableDetail, deliverableStatus, countDone, "
    "countTotal, ledgerDate, ledgerOrigin, ledgerAmount, ledgerState";
constexpr int kStoredFieldCount = 39;

const std::string kLoadSql = std::string("SELECT ") + kAllColumns +
                             "\nFROM syncedDocBlocks\nWHERE zone = ? AND docPath = ?\n"
                             "ORDER BY position ASC";
const std::string kDeleteSql = "DELETE FROM syncedDocBlocks WHERE zone = ? AND docPath = ?";
const std::string kAllDocsSql =
    "SELECT DISTINCT zone, docPath FROM syncedDocBlocks ORDER BY zone, docPath";
const std::string kFindSql = std::string("SELECT zone, docPath, ") + kAllColumns +
                             "\nFROM syncedDocBlocks\nWHERE blockID = ?\nLIMIT 1";

std::string insertSql() {
    std::string sql =
        std::string("INSERT INTO syncedDocBlocks (zone, docPath, ") + kAllColumns + ") VALUES (?";
    for (int i = 1; i < kStoredFieldCount + 2; ++i) {
        sql += ", ?";
    }
    return sql + ")";
}
const std::string kInsertSql = insertSql();

struct Migration {
    std::string_view name;
    std::vector<std::string_view> statements;
};

// The columns that the table rebuild carries over, the primary key aside.
constexpr std::string_view kRebuildColumns =
    "blockID, kind, level, text, checked, position, questionID, questionStatus, askedBy, askedAt, "
    "answeredBy, answeredAt, answer, audioAssetRef, transcriptionState, transcriptionProgress, "
    "transcriptionPartial, period, business, closePhase, activity, startedAt, movedAt, "
    "blockedKind, blockedReason, answerableCount, deliverableLabel, deliverableDetail, "
    "deliverableStatus, countDone, countTotal";

const std::vector<Migration>& migrations() {
    static const std::string copyRows =
        std::string("INSERT INTO syncedDocBlocks_new (zone, docPath, ") +
        std::string(kRebuildColumns) + ") SELECT zone, docPath, " + std::string(kRebuildColumns) +
        " FROM syncedDocBlocks";
    static const std::vector<Migration> all{
        {"v1_createSyncedDocBlocks",
         {"CREATE TABLE syncedDocBlocks (docPath TEXT NOT NULL, blockID TEXT NOT NULL, kind TEXT "
          "NOT NULL, level INTEGER NOT NULL, text TEXT NOT NULL, checked BOOLEAN, position TEXT "
          "NOT NULL, PRIMARY KEY (docPath, blockID))",
          "CREATE INDEX idx_syncedDocBlocks_docPath ON syncedDocBlocks (docPath)"}},
        {"v2_questionFields",
         {"ALTER TABLE syncedDocBlocks ADD COLUMN questionID TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN questionStatus TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN askedBy TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN askedAt TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN answeredBy TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN answeredAt TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN answer TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN audioAssetRef TEXT"}},
        {"v3_transcriptionProgressFields",
         {"ALTER TABLE syncedDocBlocks ADD COLUMN transcriptionState TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN transcriptionProgress INTEGER",
          "ALTER TABLE syncedDocBlocks ADD COLUMN transcriptionPartial TEXT"}},
        {"v4_closeStatusFields",
         {"ALTER TABLE syncedDocBlocks ADD COLUMN period TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN business TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN closePhase TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN activity TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN startedAt TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN movedAt TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN blockedKind TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN blockedReason TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN answerableCount INTEGER",
          "ALTER TABLE syncedDocBlocks ADD COLUMN deliverableLabel TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN deliverableDetail TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN deliverableStatus TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN countDone INTEGER",
          "ALTER TABLE syncedDocBlocks ADD COLUMN countTotal INTEGER"}},
        // SQLite cannot widen a primary key in place, so the zone joins the key by a rebuild.
        {"v5_vaultZoneScope",
         {"ALTER TABLE syncedDocBlocks ADD COLUMN zone TEXT NOT NULL DEFAULT ''",
          "CREATE TABLE syncedDocBlocks_new (zone TEXT NOT NULL DEFAULT '', docPath TEXT NOT "
          "NULL, blockID TEXT NOT NULL, kind TEXT NOT NULL, level INTEGER NOT NULL, text TEXT NOT "
          "NULL, checked BOOLEAN, position TEXT NOT NULL, questionID TEXT, questionStatus TEXT, "
          "askedBy TEXT, askedAt TEXT, answeredBy TEXT, answeredAt TEXT, answer TEXT, "
          "audioAssetRef TEXT, transcriptionState TEXT, transcriptionPartial TEXT, period TEXT, "
          "business TEXT, closePhase TEXT, activity TEXT, startedAt TEXT, movedAt TEXT, "
          "blockedKind TEXT, blockedReason TEXT, deliverableLabel TEXT, deliverableDetail TEXT, "
          "deliverableStatus TEXT, transcriptionProgress INTEGER, answerableCount INTEGER, "
          "countDone INTEGER, countTotal INTEGER, PRIMARY KEY (zone, docPath, blockID))",
          copyRows, "DROP TABLE syncedDocBlocks",
          "ALTER TABLE syncedDocBlocks_new RENAME TO syncedDocBlocks",
          "CREATE INDEX idx_syncedDocBlocks_zone_docPath ON syncedDocBlocks (zone, docPath)"}},
        {"v6_questionBooksID", {"ALTER TABLE syncedDocBlocks ADD COLUMN booksID TEXT"}},
        {"v7_ledgerRowFields",
         {"ALTER TABLE syncedDocBlocks ADD COLUMN ledgerDate TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN ledgerOrigin TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN ledgerAmount TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN ledgerState TEXT"}},
        {"v8_questionKindAndSuggestedActions",
         {"ALTER TABLE syncedDocBlocks ADD COLUMN questionKind TEXT",
          "ALTER TABLE syncedDocBlocks ADD COLUMN suggestedActions TEXT"}},
        {"v9_appliedAt", {"ALTER TABLE syncedDocBlocks ADD COLUMN appliedAt TEXT"}},
    };
    return all;
}

// Binds the 41 insert parameters: zone, path, then the stored fields in column order. Texts
// are bound without a copy; the block outlives the statement's step.
class RowWriter {
public:
    explicit RowWriter(SQLite::Statement& statement)
        : statement_(statement) {}

    void text(const std::string& value) { statement_.bindNoCopy(++index_, value); }
    void text(const std::optional<std::string>& value) { value ? text(*value) : null(); }
    void integer(std::int64_t value) { statement_.bind(++index_, value); }
    void integer(const std::optional<std::int64_t>& value) { value ? integer(*value) : null(); }
    void boolean(const std::optional<bool>& value) { value ? integer(*value ? 1 : 0) : null(); }
    // Wire words are string literals, so they outlive any statement.
    template <typename E> void word(E value) {
        statement_.bindNoCopy(++index_, wireWord(value).data());
    }
    template <typename E> void word(const std::optional<E>& value) {
        value ? word(*value) : null();
    }

private:
    void null() { statement_.bind(++index_); }

    SQLite::Statement& statement_;
    int index_ = 0;
};

void bindRow(SQLite::Statement& insert, const std::string& zone, const std::string& docPath,
             const Block& b) {
    RowWriter w(insert);
    w.text(zone);
    w.text(docPath);
    w.text(b.id.rawValue);
    w.word(b.kind);
    w.integer(b.level);
    w.text(b.text);
    w.boolean(b.checked);
    w.text(b.position.key);
    w.text(b.questionID);
    w.word(b.questionStatus);
    w.text(b.booksID);
    w.text(b.questionKind);
    w.text(b.suggestedActions);
    w.text(b.askedBy);
    w.text(b.askedAt);
    w.text(b.answeredBy);
    w.text(b.answeredAt);
    w.text(b.appliedAt);
    w.text(b.answer);
    w.text(b.audioAssetRef);
    w.word(b.transcriptionState);
    w.integer(b.transcriptionProgress);
    w.text(b.transcriptionPartial);
    w.text(b.period);
    w.text(b.business);
    w.word(b.closePhase);
    w.text(b.activity);
    w.text(b.startedAt);
    w.text(b.movedAt);
    w.word(b.blockedKind);
    w.text(b.blockedReason);
    w.integer(b.answerableCount);
    w.text(b.deliverableLabel);
    w.text(b.deliverableDetail);
    w.word(b.deliverableStatus);
    w.integer(b.countDone);
    w.integer(b.countTotal);
    w.text(b.ledgerDate);
    w.text(b.ledgerOrigin);
    w.text(b.ledgerAmount);
    w.word(b.ledgerState);
}

// Reads the stored fields from consecutive columns. Rows may come from older or newer
// versions of the application, so an unknown kind reads as text and an unknown word of any
// other enumeration as absent, rather than failing the whole document.
class RowReader {
public:
    RowReader(const SQLite::Statement& statement, int firstColumn)
        : statement_(statement)
        , index_(firstColumn) {}

    std::string text() { return next().getString(); }
    std::optional<std::string> optionalText() {
        const SQLite::Column column = next();
        return column.isNull() ? std::nullopt : std::optional(column.getString());
    }
    int integer() { return next().getInt(); }
    std::optional<std::int64_t> optionalInteger() {
        const SQLite::Column column = next();
        return column.isNull() ? std::nullopt : std::optional(column.getInt64());
    }
    std::optional<bool> boolean() {
        const SQLite::Column column = next();
        if (column.isInteger() || column.isFloat()) {
            return column.getInt64() != 0;
        }
        return std::nullopt;
    }
    template <typename E> std::optional<E> word() {
        const SQLite::Column column = next();
        return column.isNull() ? std::nullopt : fromWireWord<E>(column.getString());
    }

private:
    SQLite::Column next() { return statement_.getColumn(index_++); }

    const SQLite::Statement& statement_;
    int index_;
};

Block readRow(const SQLite::Statement& row, int firstColumn) {
    RowReader r(row, firstColumn);
    Block b{.id = BlockID(r.text())};
    b.kind = r.word<BlockKind>().value_or(BlockKind::text);
    b.level = r.integer();
    b.text = r.text();
    b.checked = r.boolean();
    b.position = FractionalIndex(r.text());
    b.questionID = r.optionalText();
    b.questionStatus = r.word<QuestionCardStatus>();
    b.booksID = r.optionalText();
    b.questionKind = r.optionalText();
    b.suggestedActions = r.optionalText();
    b.askedBy = r.optionalText();
    b.askedAt = r.optionalText();
    b.answeredBy = r.optionalText();
    b.answeredAt = r.optionalText();
    b.appliedAt = r.optionalText();
    b.answer = r.optionalText();
    b.audioAssetRef = r.optionalText();
    b.transcriptionState = r.word<VoiceTranscriptionState>();
    b.transcriptionProgress = r.optionalInteger();
    b.transcriptionPartial = r.optionalText();
    b.period = r.optionalText();
    b.business = r.optionalText();
    b.closePhase = r.word<ClosePhase>();
    b.activity = r.optionalText();
    b.startedAt = r.optionalText();
    b.movedAt = r.optionalText();
    b.blockedKind = r.word<CloseBlockedKind>();
    b.blockedReason = r.optionalText();
    b.answerableCount = r.optionalInteger();
    b.deliverableLabel = r.optionalText();
    b.deliverableDetail = r.optionalText();
    b.deliverableStatus = r.word<DeliverableStatus>();
    b.countDone = r.optionalInteger();
    b.countTotal = r.optionalInteger();
    b.ledgerDate = r.optionalText();
    b.ledgerOrigin = r.optionalText();
    b.ledgerAmount = r.optionalText();
    b.ledgerState = r.word<SyncedLedgerState>();
    return b;
}

std::string describeDoc(const std::string& zone, const std::string& docPath) {
    return zone.empty() ? "\"" + docPath + "\"" : "\"" + docPath + "\" in zone \"" + zone + "\"";
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
    std::set<std::string> applied;
    try {
        db_ =
            std::make_unique<SQLite::Database>(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        // Another copy of the application on the same vault holds the file only briefly.
        db_->setBusyTimeout(5000);
        // With the write-ahead log a save costs one sync instead of several and stays durable.
        db_->exec("PRAGMA journal_mode = WAL");
        db_->exec("CREATE TABLE IF NOT EXISTS schema_migrations (identifier TEXT NOT NULL "
                  "PRIMARY KEY)");
        SQLite::Statement query(*db_, "SELECT identifier FROM schema_migrations");
        while (query.executeStep()) {
            applied.insert(query.getColumn(0).getString());
        }
    } catch (const SQLite::Exception& e) {
        throw Error("Could not open the sidecar store " + std::string(label) + ": " + e.what());
    }
    for (const Migration& migration : migrations()) {
        if (applied.count(std::string(migration.name)) > 0) {
            continue;
        }
        try {
            SQLite::Transaction transaction(*db_, SQLite::TransactionBehavior::IMMEDIATE);
            for (std::string_view statement : migration.statements) {
                db_->exec(std::string(statement));
            }
            SQLite::Statement record(*db_, "INSERT INTO schema_migrations (identifier) VALUES (?)");
            record.bindNoCopy(1, migration.name.data());
            record.exec();
            transaction.commit();
        } catch (const SQLite::Exception& e) {
            throw Error("Could not bring the sidecar store " + std::string(label) +
                        " up to date (" + std::string(migration.name) + "): " + e.what());
        }
    }
}

std::vector<Block> SqliteSidecarStore::loadBlocks(const std::string& zone,
                                                  const std::string& docPath) {
    const std::lock_guard lock(mutex_);
    try {
        SQLite::Statement query(*db_, kLoadSql);
        query.bindNoCopy(1, zone);
        query.bindNoCopy(2, docPath);
        std::vector<Block> blocks;
        while (query.executeStep()) {
            blocks.push_back(readRow(query, 0));
        }
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
        SQLite::Statement remove(*db_, kDeleteSql);
        remove.bindNoCopy(1, zone);
        remove.bindNoCopy(2, docPath);
        remove.exec();
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

void SqliteSidecarStore::deleteDoc(const std::string& zone, const std::string& docPath) {
    const std::lock_guard lock(mutex_);
    try {
        SQLite::Transaction transaction(*db_, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement remove(*db_, kDeleteSql);
        remove.bindNoCopy(1, zone);
        remove.bindNoCopy(2, docPath);
        remove.exec();
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
        SQLite::Statement query(*db_, kFindSql);
        query.bindNoCopy(1, blockID.rawValue);
        if (!query.executeStep()) {
            return std::nullopt;
        }
        return FoundBlock{.zone = query.getColumn(0).getString(),
                          .docPath = query.getColumn(1).getString(),
                          .block = readRow(query, 2)};
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

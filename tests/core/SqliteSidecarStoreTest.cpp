#include "core/SqliteSidecarStore.h"

#include "BlockFieldValues.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace mnemora::core {
namespace {

namespace fs = std::filesystem;
using FI = FractionalIndex;
using Document = SyncedDocSidecarStore::Document;

class SqliteSidecarStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "sidecar-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
        path_ = (dir_ / "synced-docs.sqlite").string();
    }
    void TearDown() override { fs::remove_all(dir_); }

    fs::path dir_;
    std::string path_;
};

Block line(const std::string& id, const std::string& position, const std::string& text) {
    return Block{.id = BlockID(id), .text = text, .position = FI(position)};
}

Block item(const std::string& id, const std::string& position, const std::string& text,
           bool checked) {
    Block block = line(id, position, text);
    block.kind = BlockKind::item;
    block.checked = checked;
    return block;
}

std::string joined(const std::vector<std::string>& values) {
    std::string text;
    for (std::size_t k = 0; k < values.size(); ++k) {
        text += (k == 0 ? "" : ", ") + values[k];
    }
    return text;
}

std::vector<std::string> column(SQLite::Database& db, const std::string& sql, int index = 0) {
    SQLite::Statement query(db, sql);
    std::vector<std::string> values;
    while (query.executeStep()) {
        values.push_back(query.getColumn(index).getString());
    }
    return values;
}

TEST_F(SqliteSidecarStoreTest, BlocksRoundTripThroughTheFileWithAbsentAndEmptyApart) {
    Block empty = line("B", "ii", "");
    empty.answer = "";
    empty.checked = false;
    const std::vector<Block> blocks{blockWithEveryField(), empty, line("C", "iii", "")};
    {
        SqliteSidecarStore store(path_);
        store.saveBlocks("questions/inbox.md", blocks);
    }
    SqliteSidecarStore reopened(path_);
    EXPECT_EQ(reopened.loadBlocks("", "questions/inbox.md"), blocks);
    EXPECT_EQ(reopened.findBlock(blocks[0].id),
              (SyncedDocSidecarStore::FoundBlock{
                  .zone = "", .docPath = "questions/inbox.md", .block = blocks[0]}));
}

TEST_F(SqliteSidecarStoreTest, LoadsInByteOrderOfPositions) {
    SqliteSidecarStore store;
    store.saveBlocks("a.md", {line("A", "ii", "a"), line("B", "i9", "b"), line("C", "Z", "c"),
                              line("D", "i", "d")});
    std::vector<std::string> positions;
    for (const Block& block : store.loadBlocks("a.md")) {
        positions.push_back(block.position.key);
    }
    EXPECT_EQ(positions, (std::vector<std::string>{"Z", "i", "i9", "ii"}));
}

TEST_F(SqliteSidecarStoreTest, DocumentsComeAndGoWithTheirBlocks) {
    SqliteSidecarStore store;
    EXPECT_TRUE(store.loadBlocks("unknown.md").empty());
    store.deleteDoc("unknown.md");
    EXPECT_TRUE(store.allDocs().empty());

    store.saveBlocks("lists/b.md", {line("A", "i", "a"), line("B", "ii", "b")});
    store.saveBlocks("lists/a.md", {line("C", "i", "c")});
    EXPECT_EQ(store.allDocs(), (std::vector<Document>{{.zone = "", .docPath = "lists/a.md"},
                                                      {.zone = "", .docPath = "lists/b.md"}}));

    // A save replaces the document as a whole.
    store.saveBlocks("lists/b.md", {line("D", "i", "d")});
    EXPECT_EQ(store.loadBlocks("lists/b.md"), std::vector<Block>{line("D", "i", "d")});
    EXPECT_EQ(store.findBlock(BlockID("A")), std::nullopt);

    store.saveBlocks("lists/b.md", {});
    EXPECT_EQ(store.allDocs(), (std::vector<Document>{{.zone = "", .docPath = "lists/a.md"}}));
    store.deleteDoc("lists/a.md");
    EXPECT_TRUE(store.allDocs().empty());
    EXPECT_EQ(store.findBlock(BlockID("unknown")), std::nullopt);
}

TEST_F(SqliteSidecarStoreTest, ZonesKeepDocumentsOfOnePathApart) {
    SqliteSidecarStore store;
    store.saveBlocks("a", "status/close.md", {line("A", "i", "zone a")});
    store.saveBlocks("status/close.md", {line("B", "i", "zone empty")});
    EXPECT_EQ(store.allDocs(),
              (std::vector<Document>{{.zone = "", .docPath = "status/close.md"},
                                     {.zone = "a", .docPath = "status/close.md"}}));
    EXPECT_EQ(store.loadBlocks("a", "status/close.md"),
              std::vector<Block>{line("A", "i", "zone a")});
    EXPECT_EQ(store.loadBlocks("status/close.md"),
              std::vector<Block>{line("B", "i", "zone empty")});
    EXPECT_EQ(store.findBlock(BlockID("A"))->zone, "a");

    store.deleteDoc("status/close.md");
    EXPECT_EQ(store.allDocs(),
              (std::vector<Document>{{.zone = "a", .docPath = "status/close.md"}}));
}

TEST_F(SqliteSidecarStoreTest, FailedSaveRollsBack) {
    SqliteSidecarStore store(path_);
    const std::vector<Block> before{line("A", "i", "a"), line("B", "ii", "b")};
    store.saveBlocks("a.md", before);

    // The second row repeats an identifier, so the save fails after its delete and one insert.
    const std::vector<Block> broken{line("C", "i", "c"), line("C", "ii", "c again")};
    try {
        store.saveBlocks("a.md", broken);
        FAIL() << "the save should have failed";
    } catch (const SyncedDocSidecarStore::Error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Could not save \"a.md\" in the sidecar store: UNIQUE constraint failed: "
                  "syncedDocBlocks.zone, syncedDocBlocks.docPath, syncedDocBlocks.blockID");
    }
    EXPECT_THROW(store.saveBlocks("z", "new.md", broken), SyncedDocSidecarStore::Error);

    EXPECT_EQ(store.loadBlocks("a.md"), before);
    EXPECT_EQ(store.allDocs(), (std::vector<Document>{{.zone = "", .docPath = "a.md"}}));
    // The connection is usable after the failure.
    store.saveBlocks("a.md", {line("C", "i", "c")});
    EXPECT_EQ(store.loadBlocks("a.md"), std::vector<Block>{line("C", "i", "c")});
}

TEST_F(SqliteSidecarStoreTest, SavingChangesWritesWhatTheFullSaveWrites) {
    SqliteSidecarStore store(path_);
    const std::vector<Block> stored{line("A", "i", "one"), line("B", "ii", "two"),
                                    line("C", "iii", "three"), line("D", "iiii", "four")};
    Block edited = item("B", "ii", "two", true);
    const std::vector<BlockOp> changes{
        BlockOp::keep(stored[0]),       BlockOp::move(line("C", "i9", "three")),
        BlockOp::edit(edited),          BlockOp::add(line("E", "iii", "five")),
        BlockOp::delete_(BlockID("D")),
    };
    for (const std::string zone : {"", "z"}) {
        store.saveBlocks(zone, "changed.md", stored);
        store.saveChanges(zone, "changed.md", changes);
    }
    const std::vector<Block> expected{line("A", "i", "one"), line("C", "i9", "three"), edited,
                                      line("E", "iii", "five")};
    EXPECT_EQ(store.loadBlocks("changed.md"), expected);
    EXPECT_EQ(store.loadBlocks("z", "changed.md"), expected);
    SQLite::Database db(path_, SQLite::OPEN_READONLY);
    EXPECT_EQ(column(db, "SELECT count(*) FROM syncedDocBlocks"), std::vector<std::string>{"8"});

    // Removing every block removes the document.
    store.saveChanges("changed.md",
                      {BlockOp::delete_(BlockID("A")), BlockOp::delete_(BlockID("B")),
                       BlockOp::delete_(BlockID("C")), BlockOp::delete_(BlockID("E"))});
    EXPECT_EQ(store.allDocs(), (std::vector<Document>{{.zone = "z", .docPath = "changed.md"}}));
}

TEST(SyncedDocSidecarStoreTest, StoreWithoutRowWritesSavesTheWholeDocument) {
    class WholeDocuments final : public SyncedDocSidecarStore {
    public:
        std::vector<Block> loadBlocks(const std::string&, const std::string&) override {
            return {};
        }
        void saveBlocks(const std::string& zone, const std::string& docPath,
                        const std::vector<Block>& blocks) override {
            saved = zone + "/" + docPath;
            for (const Block& block : blocks) {
                saved += " " + block.id.rawValue;
            }
        }
        void deleteDoc(const std::string&, const std::string&) override {}
        std::optional<FoundBlock> findBlock(const BlockID&) override { return std::nullopt; }
        std::vector<Document> allDocs() override { return {}; }

        std::string saved;
    };
    WholeDocuments store;
    store.saveChanges("a.md",
                      {BlockOp::add(line("N", "iii", "new")), BlockOp::keep(line("K", "i", "k")),
                       BlockOp::delete_(BlockID("D")), BlockOp::move(line("M", "ii", "m"))});
    EXPECT_EQ(store.saved, "/a.md K M N");
}

TEST_F(SqliteSidecarStoreTest, UnknownWordsReadTolerantly) {
    { SqliteSidecarStore create(path_); }
    {
        SQLite::Database db(path_, SQLite::OPEN_READWRITE);
        db.exec("INSERT INTO syncedDocBlocks (zone, docPath, blockID, kind, level, text, checked, "
                "position, questionStatus, closePhase, transcriptionState, blockedKind, "
                "deliverableStatus, ledgerState) VALUES ('', 'a.md', 'T', 'table', 0, '| a | b |', "
                "'yes', 'i', 'snoozed', 'Closed', '', 'needsCoffee', 'late', 'lost')");
        db.exec("INSERT INTO syncedDocBlocks (zone, docPath, blockID, kind, level, text, checked, "
                "position, questionStatus) VALUES ('', 'a.md', 'U', 'item', 0, 'milk', 1, 'ii', "
                "'dismissed')");
    }
    SqliteSidecarStore store(path_);
    Block milk = item("U", "ii", "milk", true);
    milk.questionStatus = QuestionCardStatus::dismissed;
    EXPECT_EQ(store.loadBlocks("a.md"), (std::vector<Block>{line("T", "i", "| a | b |"), milk}));
}

std::string tableShape(SQLite::Database& db) {
    SQLite::Statement query(db, "PRAGMA table_info(syncedDocBlocks)");
    std::vector<std::string> shape;
    while (query.executeStep()) {
        std::string entry = query.getColumn(1).getString() + " " + query.getColumn(2).getString();
        if (query.getColumn(3).getInt() != 0) {
            entry += " NOT NULL";
        }
        if (!query.getColumn(4).isNull()) {
            entry += " DEFAULT " + query.getColumn(4).getString();
        }
        if (query.getColumn(5).getInt() != 0) {
            entry += " KEY " + query.getColumn(5).getString();
        }
        shape.push_back(entry);
    }
    return joined(shape);
}

// The table as the last migration leaves it: name, type, constraints, key order.
const std::string kFinalShape =
    "zone TEXT NOT NULL DEFAULT '' KEY 1, docPath TEXT NOT NULL KEY 2, blockID TEXT NOT NULL "
    "KEY 3, kind TEXT NOT NULL, level INTEGER NOT NULL, text TEXT NOT NULL, checked BOOLEAN, "
    "position TEXT NOT NULL, questionID TEXT, questionStatus TEXT, askedBy TEXT, askedAt "
    "TEXT, answeredBy TEXT, answeredAt TEXT, answer TEXT, audioAssetRef TEXT, "
    "transcriptionState TEXT, transcriptionPartial TEXT, period TEXT, business TEXT, "
    "closePhase TEXT, activity TEXT, startedAt TEXT, movedAt TEXT, blockedKind TEXT, "
    "blockedReason TEXT, deliverableLabel TEXT, deliverableDetail TEXT, deliverableStatus "
    "TEXT, transcriptionProgress INTEGER, answerableCount INTEGER, countDone INTEGER, "
    "countTotal INTEGER, booksID TEXT, ledgerDate TEXT, ledgerOrigin TEXT, ledgerAmount TEXT, "
    "ledgerState TEXT, questionKind TEXT, suggestedActions TEXT, appliedAt TEXT";

const std::string kMigrationNames =
    "v1_createSyncedDocBlocks, v2_questionFields, v3_transcriptionProgressFields, "
    "v4_closeStatusFields, v5_vaultZoneScope, v6_questionBooksID, v7_ledgerRowFields, "
    "v8_questionKindAndSuggestedActions, v9_appliedAt";

TEST_F(SqliteSidecarStoreTest, NewFileGetsTheFinalTableAndRecordsEachMigrationOnce) {
    const std::vector<std::string_view> names = SqliteSidecarStore::migrationNames();
    EXPECT_EQ(joined({names.begin(), names.end()}), kMigrationNames);
    { SqliteSidecarStore first(path_); }
    // A second open must not run anything again; re-adding a column would fail.
    { SqliteSidecarStore second(path_); }
    SQLite::Database db(path_);
    EXPECT_EQ(tableShape(db), kFinalShape);
    EXPECT_EQ(column(db, "PRAGMA journal_mode"), std::vector<std::string>{"wal"});
    EXPECT_EQ(joined(column(db, "SELECT identifier FROM schema_migrations ORDER BY rowid")),
              kMigrationNames);
    EXPECT_EQ(column(db, "SELECT name FROM sqlite_master WHERE type = 'index' AND tbl_name = "
                         "'syncedDocBlocks' AND sql IS NOT NULL"),
              std::vector<std::string>{"idx_syncedDocBlocks_zone_docPath"});
}

// A sidecar as the first version of the application left it, with four blocks in two documents.
void writeFirstVersionFile(const std::string& path) {
    SQLite::Database db(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    db.exec("CREATE TABLE schema_migrations (identifier TEXT NOT NULL PRIMARY KEY)");
    db.exec("INSERT INTO schema_migrations VALUES ('v1_createSyncedDocBlocks')");
    db.exec("CREATE TABLE syncedDocBlocks (docPath TEXT NOT NULL, blockID TEXT NOT NULL, kind "
            "TEXT NOT NULL, level INTEGER NOT NULL, text TEXT NOT NULL, checked BOOLEAN, "
            "position TEXT NOT NULL, PRIMARY KEY (docPath, blockID))");
    db.exec("CREATE INDEX idx_syncedDocBlocks_docPath ON syncedDocBlocks (docPath)");
    db.exec("INSERT INTO syncedDocBlocks VALUES "
            "('lists/active/groceries.md', 'A', 'heading', 1, 'Groceries', NULL, 'i'), "
            "('lists/active/groceries.md', 'B', 'item', 0, 'milk', 0, 'ii'), "
            "('lists/active/groceries.md', 'C', 'item', 0, 'eggs', 1, 'iii'), "
            "('orientation/board.md', 'D', 'text', 0, '', NULL, 'i')");
}

TEST_F(SqliteSidecarStoreTest, RowsOfAFirstVersionFileSurviveEveryMigrationWithZoneEmpty) {
    writeFirstVersionFile(path_);
    SqliteSidecarStore store(path_);
    EXPECT_EQ(store.allDocs(),
              (std::vector<Document>{{.zone = "", .docPath = "lists/active/groceries.md"},
                                     {.zone = "", .docPath = "orientation/board.md"}}));
    Block heading = line("A", "i", "Groceries");
    heading.kind = BlockKind::heading;
    heading.level = 1;
    const std::vector<Block> expected{heading, item("B", "ii", "milk", false),
                                      item("C", "iii", "eggs", true)};
    EXPECT_EQ(store.loadBlocks("lists/active/groceries.md"), expected);
    EXPECT_EQ(store.findBlock(BlockID("D"))->docPath, "orientation/board.md");

    SQLite::Database db(path_);
    EXPECT_EQ(tableShape(db), kFinalShape);
    EXPECT_EQ(joined(column(db, "SELECT identifier FROM schema_migrations ORDER BY rowid")),
              kMigrationNames);
}

TEST_F(SqliteSidecarStoreTest, TableRebuildCarriesEveryFieldOfTheFourthVersion) {
    {
        SQLite::Database db(path_, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        db.exec("CREATE TABLE schema_migrations (identifier TEXT NOT NULL PRIMARY KEY)");
        db.exec("INSERT INTO schema_migrations VALUES ('v1_createSyncedDocBlocks'), "
                "('v2_questionFields'), ('v3_transcriptionProgressFields'), "
                "('v4_closeStatusFields')");
        db.exec("CREATE TABLE syncedDocBlocks (docPath TEXT NOT NULL, blockID TEXT NOT NULL, kind "
                "TEXT NOT NULL, level INTEGER NOT NULL, text TEXT NOT NULL, checked BOOLEAN, "
                "position TEXT NOT NULL, questionID TEXT, questionStatus TEXT, askedBy TEXT, "
                "askedAt TEXT, answeredBy TEXT, answeredAt TEXT, answer TEXT, audioAssetRef TEXT, "
                "transcriptionState TEXT, transcriptionProgress INTEGER, transcriptionPartial "
                "TEXT, period TEXT, business TEXT, closePhase TEXT, activity TEXT, startedAt "
                "TEXT, movedAt TEXT, blockedKind TEXT, blockedReason TEXT, answerableCount "
                "INTEGER, deliverableLabel TEXT, deliverableDetail TEXT, deliverableStatus TEXT, "
                "countDone INTEGER, countTotal INTEGER, PRIMARY KEY (docPath, blockID))");
        db.exec("CREATE INDEX idx_syncedDocBlocks_docPath ON syncedDocBlocks (docPath)");
        db.exec("INSERT INTO syncedDocBlocks VALUES ('status/close.md', 'Q', 'question', 0, "
                "'Private?', NULL, 'i', 'q-1', 'answered', 'agent', 't1', 'me', 't2', 'no', "
                "'clip.m4a', 'done', 100, 'no', '2024-03', 'Bakery', 'draft', 'writing', 't3', "
                "'t4', 'needsMac', 'keys', 2, 'Letter', 'sent soon', 'done', 3, 4)");
    }
    { SqliteSidecarStore store(path_); }
    SQLite::Database db(path_);
    SQLite::Statement row(db,
                          "SELECT zone, docPath, blockID, kind, level, text, checked, position, "
                          "questionID, questionStatus, askedBy, askedAt, answeredBy, "
                          "answeredAt, answer, audioAssetRef, transcriptionState, "
                          "transcriptionProgress, transcriptionPartial, period, business, "
                          "closePhase, activity, startedAt, movedAt, blockedKind, "
                          "blockedReason, answerableCount, deliverableLabel, "
                          "deliverableDetail, deliverableStatus, countDone, countTotal, "
                          "booksID FROM syncedDocBlocks");
    ASSERT_TRUE(row.executeStep());
    std::vector<std::string> values;
    for (int k = 0; k < row.getColumnCount(); ++k) {
        values.push_back(row.getColumn(k).isNull() ? "NULL" : row.getColumn(k).getString());
    }
    EXPECT_EQ(joined(values),
              ", status/close.md, Q, question, 0, Private?, NULL, i, q-1, answered, "
              "agent, t1, me, t2, no, clip.m4a, done, 100, no, 2024-03, Bakery, "
              "draft, writing, t3, t4, needsMac, keys, 2, Letter, sent soon, done, "
              "3, 4, NULL");
    EXPECT_FALSE(row.executeStep());
}

TEST_F(SqliteSidecarStoreTest, OpeningSomethingThatIsNoDatabaseThrows) {
    {
        std::ofstream out(path_);
        out << "These are my notes, not a database. They are long enough to fill a header.\n";
    }
    try {
        SqliteSidecarStore store(path_);
        FAIL() << "opening should have failed";
    } catch (const SyncedDocSidecarStore::Error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Could not open the sidecar store at " + path_ + ": file is not a database");
    }
    EXPECT_THROW(SqliteSidecarStore((dir_ / "missing" / "synced-docs.sqlite").string()),
                 SyncedDocSidecarStore::Error);
}

struct Opened {
    int exitCode = -1;
    std::string output;
};

// Starts one sidecar_opener per document on `path`, releases them all at once and waits for
// each. `asUser` runs them as that user through setpriv, for tests that need a file the process
// may not write even when the suite runs as root.
std::vector<Opened> openAtOnce(const std::string& path, const std::vector<std::string>& docs,
                               const std::vector<std::string>& asUser = {}) {
    int gate[2];
    EXPECT_EQ(pipe2(gate, O_CLOEXEC), 0);
    std::vector<std::pair<pid_t, int>> children;
    for (const std::string& doc : docs) {
        int out[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, gate[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        std::vector<std::string> args = asUser;
        args.insert(args.end(), {MNEMORA_SIDECAR_OPENER, path, doc});
        std::vector<char*> argv;
        for (std::string& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        pid_t pid = 0;
        EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        children.emplace_back(pid, out[0]);
    }
    // Every child waits for the end of its input: closing the gate lets them all go.
    close(gate[0]);
    close(gate[1]);
    std::vector<Opened> results;
    for (const auto& [pid, out] : children) {
        Opened opened;
        char buffer[512];
        for (ssize_t n; (n = read(out, buffer, sizeof buffer)) > 0;) {
            opened.output.append(buffer, static_cast<std::size_t>(n));
        }
        close(out);
        int status = 0;
        waitpid(pid, &status, 0);
        opened.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        results.push_back(opened);
    }
    return results;
}

TEST_F(SqliteSidecarStoreTest, SixProcessesOpeningOneFileAtOnceAllSucceedWithOneSchema) {
    const std::vector<std::string> docs{"a.md", "b.md", "c.md", "d.md", "e.md", "f.md"};
    for (int round = 0; round < 6; ++round) {
        const bool old = round % 2 == 1;
        const std::string path = (dir_ / ("round-" + std::to_string(round) + ".sqlite")).string();
        if (old) {
            writeFirstVersionFile(path);
        }
        const std::string context =
            (old ? "first-version file, round " : "new file, round ") + std::to_string(round);
        for (const Opened& opened : openAtOnce(path, docs)) {
            EXPECT_EQ(opened.exitCode, 0) << context << ": " << opened.output;
        }
        SQLite::Database db(path);
        EXPECT_EQ(tableShape(db), kFinalShape) << context;
        EXPECT_EQ(joined(column(db, "SELECT identifier FROM schema_migrations ORDER BY rowid")),
                  kMigrationNames)
            << context;
        EXPECT_EQ(joined(column(db, "SELECT DISTINCT docPath FROM syncedDocBlocks ORDER BY 1")),
                  old ? "a.md, b.md, c.md, d.md, e.md, f.md, lists/active/groceries.md, "
                        "orientation/board.md"
                      : "a.md, b.md, c.md, d.md, e.md, f.md")
            << context;
    }
}

TEST_F(SqliteSidecarStoreTest, ReadOnlyFileFailsAtOpenWithItsWords) {
    { SqliteSidecarStore(path_).saveBlocks("a.md", {line("A", "i", "kept")}); }
    fs::permissions(path_, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    fs::permissions(dir_, fs::perms::all);
    // Root writes any file whatever its mode, so the opener then runs as nobody.
    const std::vector<std::string> asNobody{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534",
                                            "--clear-groups"};
    const auto opened =
        openAtOnce(path_, {"b.md"}, geteuid() == 0 ? asNobody : std::vector<std::string>{});
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0].exitCode, 1);
    EXPECT_EQ(opened[0].output, "Could not open the sidecar store at " + path_ +
                                    ": it is read-only, so no change could be saved in it");
}

TEST_F(SqliteSidecarStoreTest, DamagedFileFailsAtOpenWithItsWords) {
    {
        SqliteSidecarStore store(path_);
        for (int doc = 0; doc < 20; ++doc) {
            std::vector<Block> blocks;
            for (int k = 0; k < 20; ++k) {
                blocks.push_back(line(std::to_string(doc) + "-" + std::to_string(k),
                                      std::string(static_cast<std::size_t>(k + 1), 'i'),
                                      std::string(200, 'x')));
            }
            store.saveBlocks("doc-" + std::to_string(doc) + ".md", blocks);
        }
    }
    int rootPage = 0;
    int pageSize = 0;
    {
        SQLite::Database db(path_);
        rootPage =
            db.execAndGet("SELECT rootpage FROM sqlite_master WHERE name = 'syncedDocBlocks'")
                .getInt();
        pageSize = db.execAndGet("PRAGMA page_size").getInt();
    }
    {
        // Garbage over the table's first page: the file still opens and reads its schema, and
        // only a read of the blocks would meet the damage.
        std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(rootPage - 1) * pageSize);
        const std::string garbage(static_cast<std::size_t>(pageSize), '\x7f');
        file.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
    }
    try {
        SqliteSidecarStore store(path_);
        FAIL() << "opening should have failed";
    } catch (const SyncedDocSidecarStore::Error& error) {
        const std::string prefix =
            "Could not open the sidecar store at " + path_ + ": it is damaged (";
        EXPECT_EQ(std::string(error.what()).substr(0, prefix.size()), prefix) << error.what();
    }
}

// Calls from several threads go through the one connection one at a time; interleaved
// transactions on it would fail.
TEST_F(SqliteSidecarStoreTest, CallsFromManyThreadsAreSerialised) {
    SqliteSidecarStore store(path_);
    constexpr int kThreads = 4;
    constexpr int kRounds = 40;
    std::vector<std::thread> threads;
    std::vector<std::string> failures(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&store, &failures, t] {
            const std::string path = "doc-" + std::to_string(t) + ".md";
            try {
                for (int round = 0; round < kRounds; ++round) {
                    std::vector<Block> blocks;
                    for (int k = 0; k < 10; ++k) {
                        blocks.push_back(line(path + "-" + std::to_string(k),
                                              std::string(static_cast<std::size_t>(k + 1), 'i'),
                                              std::to_string(round)));
                    }
                    store.saveBlocks(path, blocks);
                    if (store.loadBlocks(path) != blocks) {
                        failures[static_cast<std::size_t>(t)] = "read back differs";
                        return;
                    }
                    store.allDocs();
                }
            } catch (const std::exception& error) {
                failures[static_cast<std::size_t>(t)] = error.what();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, std::vector<std::string>(kThreads));
    EXPECT_EQ(store.allDocs().size(), static_cast<std::size_t>(kThreads));
    EXPECT_EQ(store.loadBlocks("doc-2.md").front().text, std::to_string(kRounds - 1));
}

} // namespace
} // namespace mnemora::core

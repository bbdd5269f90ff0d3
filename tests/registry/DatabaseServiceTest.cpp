#include <gtest/gtest.h>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include "app/ConfigService.h"
#include "app/VaultPaths.h"
#include "registry/DatabaseService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::TestEnvironment;

namespace {

// The daemon's side: a read-write connection in write-ahead-log mode.
std::unique_ptr<SQLite::Database> writeIndex(const QString& path,
                                             const std::vector<std::string>& titles) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    auto db = std::make_unique<SQLite::Database>(path.toStdString(),
                                                 SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    db->exec("PRAGMA journal_mode = WAL");
    db->exec("CREATE TABLE IF NOT EXISTS items (title TEXT NOT NULL, identity_id TEXT)");
    for (const std::string& title : titles) {
        SQLite::Statement insert(*db, "INSERT INTO items (title) VALUES (?)");
        insert.bind(1, title);
        insert.exec();
    }
    return db;
}

std::vector<std::string> titlesOf(SQLite::Database& db) {
    std::vector<std::string> titles;
    SQLite::Statement select(db, "SELECT title FROM items ORDER BY rowid");
    while (select.executeStep()) {
        titles.push_back(select.getColumn(0).getString());
    }
    return titles;
}

struct DatabaseFixture : ::testing::Test {
    TestEnvironment env;
    test::BundleOverride bundle{"tallo.ai", "Tallo", "Tallo"};
    ConfigService config;
    DatabaseService database;

    DatabaseFixture() { database.setConfig(&config); }

    std::vector<std::string> titles() {
        return test::runTask(
            database.query<std::vector<std::string>>(QStringLiteral("Query failed"), titlesOf));
    }
};

} // namespace

TEST_F(DatabaseFixture, TheIndexLivesInTheCacheFolderOfTheConfiguredVault) {
    EXPECT_EQ(database.indexPath(), env.cacheHome() + "/tallo.ai/registry_index.sqlite");

    TestEnvironment::writeFile(config.filePath(), R"({"mnemora_path": "~/Books/"})");
    config.load();
    EXPECT_EQ(database.indexPath(), env.cacheHome() + "/tallo.ai/vaults/" +
                                        VaultPaths::cacheKey(env.home() + "/Books") +
                                        "/registry_index.sqlite");

    database.setCacheDirOverride(env.root() + "/vault-cache");
    EXPECT_EQ(database.indexPath(), env.root() + "/vault-cache/registry_index.sqlite");
}

TEST_F(DatabaseFixture, NoFileIsANormalStateAndALaterFileOpensOnTheNextOpen) {
    test::runTask(database.open());
    EXPECT_FALSE(database.isOpen());
    EXPECT_TRUE(database.lastError().isEmpty());
    EXPECT_TRUE(titles().empty());
    EXPECT_TRUE(database.lastError().isEmpty());

    auto writer = writeIndex(database.indexPath(), {"first", "second"});
    test::runTask(database.open());
    EXPECT_TRUE(database.isOpen());
    EXPECT_EQ(titles(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(DatabaseFixture, AFileThatIsNoDatabaseFailsToOpenWithTheProductsWords) {
    TestEnvironment::writeFile(database.indexPath(), QByteArray(4096, 'x'));
    test::runTask(database.open());
    EXPECT_FALSE(database.isOpen());
    EXPECT_TRUE(database.lastError().startsWith("Failed to open registry index: "))
        << database.lastError().toStdString();
    EXPECT_TRUE(titles().empty());
}

TEST_F(DatabaseFixture, AFailingQueryGivesItsWordAndAnEmptyResultNeverAThrow) {
    auto writer = writeIndex(database.indexPath(), {"a"});
    test::runTask(database.open());
    const int result = test::runTask(database.query<int>(
        QStringLiteral("Source coverage query failed"),
        [](SQLite::Database& db) { return db.execAndGet("SELECT count(*) FROM missing").getInt(); },
        -1));
    EXPECT_EQ(result, -1);
    EXPECT_EQ(database.lastError(), "Source coverage query failed: no such table: missing");
}

TEST_F(DatabaseFixture, ReadsNeverBlockTheWriterAndNeverChangeARow) {
    auto writer = writeIndex(database.indexPath(), {"committed"});
    test::runTask(database.open());

    // The daemon holds a write transaction with an uncommitted row.
    writer->exec("BEGIN IMMEDIATE");
    writer->exec("INSERT INTO items (title) VALUES ('pending')");
    EXPECT_EQ(titles(), std::vector<std::string>{"committed"}); // one committed snapshot
    writer->exec("COMMIT");
    EXPECT_EQ(titles(), (std::vector<std::string>{"committed", "pending"}));

    // A reader trying to write is refused by the connection itself.
    const bool wrote = test::runTask(database.query<bool>(
        QStringLiteral("Query failed"),
        [](SQLite::Database& db) {
            db.exec("INSERT INTO items (title) VALUES ('intruder')");
            return true;
        },
        false));
    EXPECT_FALSE(wrote);
    EXPECT_TRUE(database.lastError().startsWith("Query failed: "))
        << database.lastError().toStdString();
    EXPECT_EQ(titlesOf(*writer), (std::vector<std::string>{"committed", "pending"}));

    // And the writer can still write while readers hold the file open.
    writer->exec("INSERT INTO items (title) VALUES ('after')");
    EXPECT_EQ(titles().back(), "after");
}

TEST_F(DatabaseFixture, AVaultRuntimeReadsItsOwnIndexNeverThePrimarys) {
    auto primary = writeIndex(database.indexPath(), {"primary"});
    const QString vaultPath = env.home() + "/Other Vault";
    DatabaseService vault;
    ConfigService vaultConfig;
    vaultConfig.setConfigPathOverride(VaultPaths::vaultConfigFile(vaultPath));
    vault.setConfig(&vaultConfig);
    vault.setCacheDirOverride(VaultPaths::vaultCacheFolder(vaultPath));

    test::runTask(vault.open());
    EXPECT_FALSE(vault.isOpen()); // its own file does not exist yet

    auto own = writeIndex(vault.indexPath(), {"vault"});
    test::runTask(vault.open());
    const auto rows = test::runTask(
        vault.query<std::vector<std::string>>(QStringLiteral("Query failed"), titlesOf));
    EXPECT_EQ(rows, std::vector<std::string>{"vault"});
}

TEST_F(DatabaseFixture, IdentityScopes) {
    EXPECT_EQ(database.identityId(IdentityScope::active()), std::nullopt);
    EXPECT_EQ(database.identityId(IdentityScope::all()), std::nullopt);
    EXPECT_EQ(database.identityId(IdentityScope::specific("p1")), "p1");
    TestEnvironment::writeFile(config.filePath(), R"({"active_identity_id": "me"})");
    config.load();
    EXPECT_EQ(database.identityId(IdentityScope::active()), "me");
    EXPECT_EQ(database.identityId(IdentityScope::all()), std::nullopt);

    // The configuration's one rule: the older spelling stands in, an empty value is none.
    const std::pair<QByteArray, std::optional<QString>> active[] = {
        {R"({"active_identity": "old"})", "old"},
        {R"({"active_identity_id": "", "active_identity": "old"})", "old"},
        {R"({"active_identity_id": "", "active_identity": ""})", std::nullopt},
    };
    for (const auto& [json, id] : active) {
        TestEnvironment::writeFile(config.filePath(), json);
        config.load();
        EXPECT_EQ(database.identityId(IdentityScope::active()), id) << json.toStdString();
    }
}

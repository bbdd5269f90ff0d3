#include "registry/ReadPool.h"

#include <QFileInfo>

#include <SQLiteCpp/Statement.h>

#include <sqlite3.h>

namespace mnemora {

ReadPool::ReadPool(const QString& path, int maxReaders)
    : path_(path) {
    threads_.setMaxThreadCount(maxReaders);
    threads_.setExpiryTimeout(30'000);
    std::unique_ptr<SQLite::Database> first = openConnection();
    // Opening is lazy in SQLite; reading the schema proves the file is a database.
    SQLite::Statement probe(*first, "SELECT count(*) FROM sqlite_master");
    probe.executeStep();
    idle_.push_back(std::move(first));
}

ReadPool::Result<std::shared_ptr<ReadPool>> ReadPool::openIfExists(const QString& path) {
    Result<std::shared_ptr<ReadPool>> result;
    if (!QFileInfo::exists(path)) {
        return result;
    }
    try {
        result.value = std::make_shared<ReadPool>(path);
    } catch (const std::exception& error) {
        result.error = QString::fromUtf8(error.what());
    }
    return result;
}

ReadPool::~ReadPool() {
    threads_.waitForDone();
}

std::unique_ptr<SQLite::Database> ReadPool::openConnection() const {
    auto database = std::make_unique<SQLite::Database>(path_.toStdString(), SQLite::OPEN_READONLY,
                                                       /*busyTimeoutMs=*/5000);
    database->exec("PRAGMA query_only = 1");
    return database;
}

ReadPool::Lease::Lease(ReadPool& owner)
    : pool(owner) {
    {
        std::lock_guard<std::mutex> lock(pool.mutex_);
        if (!pool.idle_.empty()) {
            database = std::move(pool.idle_.back());
            pool.idle_.pop_back();
        }
    }
    if (!database) {
        database = pool.openConnection();
    }
    // Deferred: the snapshot is taken by the first statement and held until the end.
    database->exec("BEGIN");
}

ReadPool::Lease::~Lease() {
    if (!database) {
        return;
    }
    try {
        database->exec("ROLLBACK"); // nothing was written; this only lets the snapshot go
    } catch (const std::exception&) {
        // Checked below.
    }
    // A connection still inside a transaction would serve every later read an old snapshot.
    if (sqlite3_get_autocommit(database->getHandle()) == 0) {
        return;
    }
    std::lock_guard<std::mutex> lock(pool.mutex_);
    pool.idle_.push_back(std::move(database));
}

} // namespace mnemora

#pragma once

#include <QFuture>
#include <QString>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <SQLiteCpp/Database.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace mnemora {

// A pool of read-only connections on one SQLite file that another process writes. Readers run on
// the pool's own threads, several at once, each seeing one committed snapshot; with the writer in
// write-ahead-log mode they never block it, and a read-only connection can never change a row.
class ReadPool {
public:
    // The answer of one read: its value, or the error it raised.
    template <typename T> struct Result {
        std::optional<T> value;
        QString error;
    };

    // Opens the file read-only and checks that it is a database. Throws std::exception on failure.
    explicit ReadPool(const QString& path, int maxReaders = 4);

    // The pool on `path` when the daemon has built the file. No pool and no error when the file
    // does not exist yet, which is a normal state; no pool and the reason when it cannot be opened.
    static Result<std::shared_ptr<ReadPool>> openIfExists(const QString& path);
    ~ReadPool();

    ReadPool(const ReadPool&) = delete;
    ReadPool& operator=(const ReadPool&) = delete;

    const QString& path() const { return path_; }

    // Runs `block` on a pooled connection off the calling thread, inside one read transaction:
    // all its statements see the same committed snapshot, so counts taken one after another agree
    // with each other even while the daemon commits between them.
    template <typename T> QFuture<Result<T>> read(std::function<T(SQLite::Database&)> block) {
        return QtConcurrent::run(&threads_, [this, block = std::move(block)]() -> Result<T> {
            Result<T> result;
            try {
                Lease lease(*this);
                result.value = block(*lease.database);
            } catch (const std::exception& error) {
                result.error = QString::fromUtf8(error.what());
            }
            return result;
        });
    }

private:
    // A connection taken from the pool for one read, with its read transaction open, and given
    // back after it with the transaction ended.
    struct Lease {
        explicit Lease(ReadPool& pool);
        ~Lease();
        ReadPool& pool;
        std::unique_ptr<SQLite::Database> database;
    };

    std::unique_ptr<SQLite::Database> openConnection() const;

    QString path_;
    QThreadPool threads_;
    std::mutex mutex_; // guards idle_ only; connections are used by one thread at a time
    std::vector<std::unique_ptr<SQLite::Database>> idle_;
};

} // namespace mnemora

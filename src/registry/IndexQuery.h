#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroFuture>
#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>

#include "registry/ReadPool.h"

namespace mnemora {

// The one pattern of every read of the index, whoever owns the pool: with no pool there is
// nothing; otherwise `block` runs on a pooled connection off the main thread and the caller
// resumes on its own thread. A failure goes to `fail` as "{word}: {error}" while `owner` lives,
// and gives nothing. The pool is held until the read is over, so dropping it meanwhile is safe.
template <typename T>
QCoro::Task<std::optional<T>> readIndex(std::shared_ptr<ReadPool> pool, QPointer<QObject> owner,
                                        QString word, std::function<T(SQLite::Database&)> block,
                                        std::function<void(const QString&)> fail) {
    if (!pool) {
        co_return std::nullopt;
    }
    QFuture<ReadPool::Result<T>> reading = pool->read<T>(std::move(block));
    ReadPool::Result<T> result = co_await reading;
    if (!owner) {
        co_return std::nullopt;
    }
    if (!result.value) {
        fail(word + QStringLiteral(": ") + result.error);
        co_return std::nullopt;
    }
    co_return std::move(result.value);
}

} // namespace mnemora

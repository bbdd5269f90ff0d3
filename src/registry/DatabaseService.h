#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroFuture>
#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>

#include "app/ConfigService.h"
#include "registry/IdentityScope.h"
#include "registry/ReadPool.h"

namespace mnemora {

// Read-only access to the daemon's index of one vault. The daemon owns the file and writes it;
// we only read, through a pool of read-only connections, and never block it. Queries never throw:
// a failure lands in `lastError` with the query's own word and the result is empty.
class DatabaseService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    explicit DatabaseService(QObject* parent = nullptr);

    bool isOpen() const { return isOpen_; }
    // Empty when there is no error.
    const QString& lastError() const { return lastError_; }

    ConfigService* config() const { return config_; }
    void setConfig(ConfigService* config) { config_ = config; }

    // Set for a vault runtime: that vault's cache folder.
    const QString& cacheDirOverride() const { return cacheDirOverride_; }
    void setCacheDirOverride(const QString& folder) { cacheDirOverride_ = folder; }

    // `{cache folder}/registry_index.sqlite`.
    QString indexPath() const;

    // Opens the index if the daemon has built it. A missing file is a normal state, not an error;
    // a later call picks up a file that has appeared since.
    QCoro::Task<> open();

    // The identity a scope filters on; none means no filter.
    std::optional<QString> identityId(const IdentityScope& scope) const;

    // The one pattern of every query: no pool gives `empty`; otherwise `block` runs on a pooled
    // connection off the main thread, and a failure sets "{word}: {error}" and gives `empty`.
    template <typename T>
    QCoro::Task<T> query(QString word, std::function<T(SQLite::Database&)> block, T empty = T{}) {
        if (!pool_) {
            co_return empty;
        }
        QPointer<DatabaseService> self(this);
        std::shared_ptr<ReadPool> pool = pool_; // kept alive across the wait
        ReadPool::Result<T> result = co_await pool->read<T>(std::move(block));
        if (!self) {
            co_return empty;
        }
        if (!result.value) {
            setLastError(word + QStringLiteral(": ") + result.error);
            co_return empty;
        }
        co_return std::move(*result.value);
    }

signals:
    void isOpenChanged();
    void lastErrorChanged();

protected:
    void setLastError(const QString& error);

private:
    void setOpen(bool open);

    bool isOpen_ = false;
    QString lastError_;
    QPointer<ConfigService> config_;
    std::shared_ptr<ReadPool> pool_;
    QString cacheDirOverride_;
};

} // namespace mnemora

#include "registry/DatabaseService.h"

#include <QDir>
#include <QFileInfo>

#include "app/VaultPaths.h"

namespace mnemora {

DatabaseService::DatabaseService(QObject* parent)
    : QObject(parent) {}

QString DatabaseService::indexPath() const {
    return VaultPaths::cacheFolder(cacheDirOverride_, config_) +
           QStringLiteral("/registry_index.sqlite");
}

void DatabaseService::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

void DatabaseService::setOpen(bool open) {
    if (isOpen_ != open) {
        isOpen_ = open;
        emit isOpenChanged();
    }
}

QCoro::Task<> DatabaseService::open() {
    const QString path = indexPath();
    QDir().mkpath(QFileInfo(path).absolutePath()); // best effort; the daemon makes it too
    if (!QFileInfo::exists(path)) {
        // The daemon has not built the index yet.
        pool_.reset();
        setOpen(false);
        setLastError({});
        co_return;
    }
    try {
        pool_ = std::make_shared<ReadPool>(path);
    } catch (const std::exception& error) {
        pool_.reset();
        setLastError(QStringLiteral("Failed to open registry index: ") +
                     QString::fromUtf8(error.what()));
        setOpen(false);
        co_return;
    }
    setOpen(true);
    setLastError({});
}

std::optional<QString> DatabaseService::identityId(const IdentityScope& scope) const {
    switch (scope.kind) {
    case IdentityScope::Kind::specific:
        return scope.id;
    case IdentityScope::Kind::all:
        return std::nullopt;
    case IdentityScope::Kind::active:
        break;
    }
    if (!config_) {
        return std::nullopt;
    }
    const QJsonValue id = config_->config().value(QLatin1String("active_identity_id"));
    return id.isString() ? std::optional(id.toString()) : std::nullopt;
}

} // namespace mnemora

#include "app/VaultPaths.h"

#include <QJsonValue>

#include "app/Brand.h"
#include "app/ConfigService.h"
#include "platform/Paths.h"

namespace mnemora::VaultPaths {

namespace {

QString chopTrailingSlashes(QString path) {
    while (path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    return path;
}

} // namespace

QString cacheKey(const QString& vaultPath) {
    return chopTrailingSlashes(vaultPath).replace(QLatin1Char('/'), QLatin1Char('_'));
}

QString sharedCacheFolder() {
    return platform::Paths::cachesRoot() + QLatin1Char('/') + bundleIdentifier();
}

QString vaultCacheFolder(const QString& vaultPath) {
    return sharedCacheFolder() + QStringLiteral("/vaults/") + cacheKey(vaultPath);
}

QString cacheFolder(const QString& cacheDirOverride, const ConfigService* config) {
    if (!cacheDirOverride.isEmpty()) {
        return cacheDirOverride;
    }
    if (config != nullptr) {
        const QJsonValue path = config->config().value(QLatin1String("mnemora_path"));
        if (path.isString() && !path.toString().isEmpty()) {
            return vaultCacheFolder(config->vaultRoot());
        }
    }
    return sharedCacheFolder();
}

QString daemonLogFile(const QString& logNameSuffix) {
    const QString folder = platform::Paths::logsRoot() + QLatin1Char('/') + bundleIdentifier();
    return logNameSuffix.isEmpty()
               ? folder + QStringLiteral("/daemon.log")
               : folder + QStringLiteral("/daemon-") + logNameSuffix + QStringLiteral(".log");
}

QString vaultConfigFile(const QString& vaultPath) {
    return chopTrailingSlashes(vaultPath) + QStringLiteral("/.mnemora/config.json");
}

} // namespace mnemora::VaultPaths

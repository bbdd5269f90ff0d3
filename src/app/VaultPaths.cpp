#include "app/VaultPaths.h"

#include "app/Brand.h"
#include "app/ConfigService.h"
#include "platform/Paths.h"

namespace mnemora::VaultPaths {

QString cacheKey(const QString& vaultPath) {
    QString key = vaultPath;
    while (key.endsWith(QLatin1Char('/'))) {
        key.chop(1);
    }
    key.replace(QLatin1Char('/'), QLatin1Char('_'));
    return key;
}

QString sharedCacheFolder() {
    return Paths::cachesRoot() + QLatin1Char('/') + bundleIdentifier();
}

QString vaultCacheFolder(const QString& vaultPath) {
    return sharedCacheFolder() + QStringLiteral("/vaults/") + cacheKey(vaultPath);
}

std::optional<QString> configuredVault(const QJsonObject& config) {
    const QJsonValue value = config.value(QLatin1String("mnemora_path"));
    if (!value.isString() || value.toString().isEmpty()) {
        return std::nullopt;
    }
    return Paths::expandTilde(value.toString());
}

QString daemonCacheFolder(const QString& cacheDirOverride, const ConfigService* config) {
    if (!cacheDirOverride.isEmpty()) {
        return cacheDirOverride;
    }
    if (config != nullptr) {
        if (const auto vault = configuredVault(config->config())) {
            return vaultCacheFolder(*vault);
        }
    }
    return sharedCacheFolder();
}

QString daemonLogFile(const QString& logNameSuffix) {
    const QString name = logNameSuffix.isEmpty()
                             ? QStringLiteral("daemon.log")
                             : QStringLiteral("daemon-") + logNameSuffix + QStringLiteral(".log");
    return Paths::logsRoot() + QLatin1Char('/') + bundleIdentifier() + QLatin1Char('/') + name;
}

QString vaultConfigFile(const QString& vaultPath) {
    QString root = vaultPath;
    while (root.endsWith(QLatin1Char('/'))) {
        root.chop(1);
    }
    return root + QStringLiteral("/.mnemora/config.json");
}

} // namespace mnemora::VaultPaths

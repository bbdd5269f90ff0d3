#include "DaemonPlaces.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/ConfigService.h"
#include "app/VaultPaths.h"

namespace mnemora::refdaemon {

namespace {

QJsonObject readConfig(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QJsonDocument::fromJson(file.readAll()).object();
}

QString withoutTrailingSlash(QString path) {
    while (path.size() > 1 && path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    return path;
}

} // namespace

DaemonPlaces DaemonPlaces::fromEnvironment() {
    DaemonPlaces places;
    const QString configFolder = qEnvironmentVariable("MN_CONFIG_DIR");
    if (!configFolder.isEmpty()) {
        // A vault window's daemon: the vault holds its configuration folder.
        const auto configured =
            VaultPaths::configuredVault(readConfig(configFolder + QStringLiteral("/config.json")));
        places.vaultPath = withoutTrailingSlash(
            configured.value_or(QFileInfo(withoutTrailingSlash(configFolder)).absolutePath()));
        places.cacheFolder = VaultPaths::vaultCacheFolder(places.vaultPath);
        places.configFolder = configFolder;
        return places;
    }
    places.configFolder = QFileInfo(ConfigService::primaryFilePath()).absolutePath();
    const auto configured =
        VaultPaths::configuredVault(readConfig(ConfigService::primaryFilePath()));
    if (configured) {
        places.vaultPath = withoutTrailingSlash(*configured);
        places.cacheFolder = VaultPaths::vaultCacheFolder(places.vaultPath);
    } else {
        places.cacheFolder = VaultPaths::sharedCacheFolder();
    }
    return places;
}

} // namespace mnemora::refdaemon

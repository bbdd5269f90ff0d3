#include "cloud/SyncedDocZone.h"

#include <QStringList>

#include <algorithm>

namespace mnemora::SyncedDocZone {

namespace {

const QString kPrefix = QStringLiteral("SyncedDocs-");

QString dashedPath(const QString& folderPath) {
    QString dashed = folderPath;
    dashed.replace(QLatin1Char('/'), QLatin1Char('-'));
    return dashed;
}

} // namespace

QString zoneID(const core::SyncedDocCollectionConfig& collection, const QString& scope) {
    return zoneID(QString::fromStdString(collection.folderPath), scope);
}

QString zoneID(const QString& folderPath, const QString& scope) {
    QString name = QStringLiteral("SyncedDocs");
    if (!scope.isEmpty()) {
        name += QLatin1Char('-') + scope;
    }
    return name + QLatin1Char('-') + dashedPath(folderPath);
}

QString vaultScope(const QString& zoneName,
                   const std::vector<core::SyncedDocCollectionConfig>& collections) {
    const QString rest = zoneName.startsWith(kPrefix) ? zoneName.mid(kPrefix.size()) : zoneName;
    QStringList paths;
    for (const core::SyncedDocCollectionConfig& collection : collections) {
        paths.append(dashedPath(QString::fromStdString(collection.folderPath)));
    }
    std::stable_sort(paths.begin(), paths.end(),
                     [](const QString& a, const QString& b) { return a.size() > b.size(); });
    for (const QString& path : paths) {
        if (rest == path) {
            return {};
        }
        if (rest.endsWith(path)) {
            const QString before = rest.chopped(path.size());
            if (before.endsWith(QLatin1Char('-'))) {
                return before.chopped(1);
            }
        }
    }
    return rest;
}

} // namespace mnemora::SyncedDocZone

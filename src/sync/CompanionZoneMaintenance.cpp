#include "sync/CompanionZoneMaintenance.h"

#include "cloud/SyncedDocZone.h"
#include "platform/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

namespace mnemora::CompanionZoneMaintenance {

namespace {

QString standardised(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

} // namespace

QString slug(const QString& folderName) {
    QString result;
    for (const QChar c : folderName) {
        const bool keep = c.isLetterOrNumber();
        if (keep) {
            result.append(c);
        } else if (!result.endsWith(QLatin1Char('-'))) {
            result.append(QLatin1Char('-'));
        }
    }
    while (result.startsWith(QLatin1Char('-'))) {
        result.remove(0, 1);
    }
    while (result.endsWith(QLatin1Char('-'))) {
        result.chop(1);
    }
    return result.isEmpty() ? QStringLiteral("vault") : result;
}

QString vaultScope(const QString& vaultRoot, const QString& primaryRoot) {
    if (standardised(vaultRoot) == standardised(primaryRoot)) {
        return {};
    }
    const QString filePath = QDir(vaultRoot).filePath(scopeFileName);
    QFile file(filePath);
    if (file.open(QIODevice::ReadOnly)) {
        const QString stored = QString::fromUtf8(file.readAll()).trimmed();
        if (!stored.isEmpty()) {
            return stored;
        }
    }
    const QString made = slug(QFileInfo(standardised(vaultRoot)).fileName()) + QLatin1Char('-') +
                         QString::asprintf("%04x", QRandomGenerator::global()->bounded(0x10000));
    QDir().mkpath(QFileInfo(filePath).absolutePath());
    writeFileAtomically(filePath, made.toUtf8());
    return made;
}

QCoro::Task<Expected<QList<Zone>>>
listZones(std::shared_ptr<RecordStore> store,
          std::vector<core::SyncedDocCollectionConfig> collections) {
    if (!store) {
        co_return QList<Zone>{};
    }
    QCoro::Task<StoreResult<QStringList>> fetching = store->fetchAllZones();
    const StoreResult<QStringList> zones = co_await fetching;
    if (!zones.ok()) {
        co_return fail(zones.error->message);
    }
    QList<Zone> found;
    for (const QString& name : zones.value) {
        if (name.startsWith(QLatin1String("SyncedDocs"))) {
            found.append(Zone{name, SyncedDocZone::vaultScope(name, collections)});
        }
    }
    co_return found;
}

QCoro::Task<Expected<QStringList>>
deleteZones(std::shared_ptr<RecordStore> store, QString scope,
            std::vector<core::SyncedDocCollectionConfig> collections) {
    if (scope.isEmpty()) {
        co_return fail(refusedPrimaryScope);
    }
    if (!store) {
        co_return fail(QStringLiteral("no record store is set up"));
    }
    QStringList deleted;
    for (const core::SyncedDocCollectionConfig& collection : collections) {
        const QString zone = SyncedDocZone::zoneID(collection, scope);
        QCoro::Task<StoreResult<ModifyZonesResult>> deleting = store->modifyZones({}, {zone});
        const StoreResult<ModifyZonesResult> result = co_await deleting;
        if (!result.ok()) {
            co_return fail(result.error->message);
        }
        for (const ZoneResult& answer : result.value.deletes) {
            if (answer.error) {
                co_return fail(answer.error->message);
            }
        }
        deleted.append(zone);
    }
    co_return deleted;
}

} // namespace mnemora::CompanionZoneMaintenance

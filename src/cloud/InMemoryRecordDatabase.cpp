#include "cloud/InMemoryRecordDatabase.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTimer>

namespace mnemora {

namespace {

qint64 seqOf(const QString& token) {
    return token.isEmpty() ? 0 : token.toLongLong();
}

} // namespace

QString InMemoryRecordDatabase::tagOf(const RecordEntry& entry) const {
    return QStringLiteral("%1-%2").arg(entry.generation).arg(entry.seq, 8, 16, QLatin1Char('0'));
}

qint64 InMemoryRecordDatabase::touch(const Key& key, qint64 oldSeq) {
    bySeq_.erase(oldSeq);
    bySeq_[++lastSeq_] = key;
    wakeWaits();
    return lastSeq_;
}

InMemoryRecordDatabase::~InMemoryRecordDatabase() {
    wakeWaits();
}

QFuture<void> InMemoryRecordDatabase::nextChange(std::chrono::milliseconds limit) {
    auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    waits_.push_back(promise);
    QTimer::singleShot(limit, [promise] { promise->finish(); });
    return promise->future();
}

void InMemoryRecordDatabase::wakeWaits() {
    for (const std::shared_ptr<QPromise<void>>& promise : std::exchange(waits_, {})) {
        promise->finish();
    }
}

QStringList InMemoryRecordDatabase::liveZones() const {
    QStringList zones;
    for (const auto& [name, zone] : zones_) {
        if (!zone.deleted) {
            zones.append(name);
        }
    }
    return zones;
}

ZoneResult InMemoryRecordDatabase::saveZone(const QString& zoneName) {
    ZoneEntry& zone = zones_[zoneName];
    if (zone.seq == 0 || zone.deleted) {
        zone.deleted = false;
        zone.seq = touch(zoneName, zone.seq);
    }
    return ZoneResult{zoneName, std::nullopt};
}

ZoneResult InMemoryRecordDatabase::deleteZone(const QString& zoneName) {
    for (auto& [id, entry] : records_) {
        if (id.zoneName == zoneName && !entry.deleted) {
            remove(id);
        }
    }
    const auto found = zones_.find(zoneName);
    if (found != zones_.end() && !found->second.deleted) {
        found->second.deleted = true;
        found->second.seq = touch(zoneName, found->second.seq);
    }
    return ZoneResult{zoneName, std::nullopt};
}

std::optional<RecordStoreError> InMemoryRecordDatabase::storeAssets(const Record& record,
                                                                    RecordEntry& entry,
                                                                    Record& stored) const {
    QHash<QString, QByteArray> assets;
    for (const Record::Field& field : record.fields()) {
        const auto* asset = std::get_if<RecordAsset>(&field.value);
        if (asset == nullptr) {
            continue;
        }
        if (asset->isStored()) {
            assets.insert(field.key, entry.assets.value(field.key));
            continue;
        }
        QFile file(asset->filePath);
        if (!file.open(QIODevice::ReadOnly)) {
            return RecordStoreError::assetUnreadable(asset->filePath, field.key,
                                                     file.errorString());
        }
        const QByteArray bytes = file.readAll();
        assets.insert(field.key, bytes);
        stored.set(
            field.key,
            RecordAsset{
                .filePath = {},
                .contentType = asset->contentType,
                .digest = QStringLiteral("md5-") +
                          QString::fromLatin1(
                              QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toBase64()),
                .length = bytes.size()});
    }
    entry.assets = assets;
    return std::nullopt;
}

RecordSaveResult InMemoryRecordDatabase::save(const Record& record) {
    const RecordID& id = record.recordID();
    RecordSaveResult result{id, std::nullopt, std::nullopt};
    const auto found = records_.find(id);
    const bool live = found != records_.end() && !found->second.deleted;
    if (live && record.changeTag() != tagOf(found->second)) {
        result.error = RecordStoreError::serverChanged(found->second.record);
        return result;
    }
    if (!live && record.changeTag()) {
        result.error = RecordStoreError::unknownItem(id);
        return result;
    }
    RecordEntry next = found == records_.end() ? RecordEntry{} : found->second;
    Record stored = record;
    if (auto error = storeAssets(record, next, stored)) {
        result.error = error;
        return result;
    }
    next.deleted = false;
    next.generation += 1;
    next.seq = touch(id, next.seq);
    stored.setChangeTag(tagOf(next));
    next.record = stored;
    records_[id] = next;
    result.savedRecord = record;
    result.savedRecord->setChangeTag(tagOf(next));
    return result;
}

RecordDeleteResult InMemoryRecordDatabase::remove(const RecordID& id) {
    const auto found = records_.find(id);
    if (found == records_.end() || found->second.deleted) {
        return RecordDeleteResult{id, {}, std::nullopt};
    }
    RecordEntry& entry = found->second;
    entry.deleted = true;
    entry.generation += 1;
    entry.assets.clear();
    entry.seq = touch(id, entry.seq);
    return RecordDeleteResult{id, tagOf(entry), std::nullopt};
}

ChangesPage InMemoryRecordDatabase::changes(const QString& token, int limit) const {
    ChangesPage page;
    page.token = token.isEmpty() ? QStringLiteral("0") : token;
    auto it = bySeq_.upper_bound(seqOf(token));
    for (int taken = 0; it != bySeq_.end() && taken < limit; ++it, ++taken) {
        page.token = QString::number(it->first);
        if (const auto* zone = std::get_if<QString>(&it->second)) {
            (zones_.at(*zone).deleted ? page.deletedZones : page.modifiedZones).append(*zone);
            continue;
        }
        const RecordEntry& entry = records_.at(std::get<RecordID>(it->second));
        if (entry.deleted) {
            page.deletedRecords.append(
                RecordDeletion{entry.record.recordID(), entry.record.recordType(), tagOf(entry)});
        } else {
            page.modifiedRecords.append(entry.record);
        }
    }
    page.moreComing = it != bySeq_.end();
    return page;
}

bool InMemoryRecordDatabase::hasChangesAfter(const QString& token) const {
    return lastSeq_ > seqOf(token);
}

std::optional<QByteArray> InMemoryRecordDatabase::assetBytes(const RecordID& id,
                                                             const QString& fieldName) const {
    const auto found = records_.find(id);
    if (found == records_.end() || found->second.deleted ||
        !found->second.assets.contains(fieldName)) {
        return std::nullopt;
    }
    return found->second.assets.value(fieldName);
}

} // namespace mnemora

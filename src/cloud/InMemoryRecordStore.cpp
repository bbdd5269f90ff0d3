#include "cloud/InMemoryRecordStore.h"

#include <QPointer>

#include <QCoroFuture>
#include <QCoroTimer>

namespace mnemora {

InMemoryRecordStore::InMemoryRecordStore(QObject* parent)
    : InMemoryRecordStore(std::make_shared<InMemoryRecordDatabase>(), {}, parent) {}

InMemoryRecordStore::InMemoryRecordStore(std::shared_ptr<InMemoryRecordDatabase> database,
                                         QString accountName, QObject* parent)
    : RecordStore(parent)
    , database_(std::move(database))
    , accountName_(std::move(accountName)) {}

InMemoryRecordStore::~InMemoryRecordStore() {
    abortWaits();
}

QCoro::Task<std::optional<RecordStoreError>> InMemoryRecordStore::roundTrip() {
    QPointer<InMemoryRecordStore> self(this);
    QCoro::Task<> turn = QCoro::sleepFor(std::chrono::milliseconds(0));
    co_await turn;
    if (!self) {
        co_return RecordStoreError::closed();
    }
    if (!self->database_->isReachable()) {
        co_return RecordStoreError::unreachable(QStringLiteral("memory"),
                                                QStringLiteral("Connection refused"));
    }
    co_return std::nullopt;
}

QCoro::Task<StoreResult<QStringList>> InMemoryRecordStore::fetchAllZones() {
    QCoro::Task<std::optional<RecordStoreError>> trip = roundTrip();
    if (auto failure = co_await trip) {
        co_return StoreResult<QStringList>{failure, {}};
    }
    co_return StoreResult<QStringList>{std::nullopt, database_->liveZones()};
}

QCoro::Task<StoreResult<ModifyZonesResult>> InMemoryRecordStore::modifyZones(QStringList saves,
                                                                             QStringList deletes) {
    QCoro::Task<std::optional<RecordStoreError>> trip = roundTrip();
    if (auto failure = co_await trip) {
        co_return StoreResult<ModifyZonesResult>{failure, {}};
    }
    ModifyZonesResult result;
    for (const QString& zone : saves) {
        result.saves.append(database_->saveZone(zone));
    }
    for (const QString& zone : deletes) {
        result.deletes.append(database_->deleteZone(zone));
    }
    co_return StoreResult<ModifyZonesResult>{std::nullopt, result};
}

QCoro::Task<StoreResult<ModifyRecordsResult>>
InMemoryRecordStore::modifyRecords(QList<Record> saves, QList<RecordID> deletes) {
    QCoro::Task<std::optional<RecordStoreError>> trip = roundTrip();
    if (auto failure = co_await trip) {
        co_return StoreResult<ModifyRecordsResult>{failure, {}};
    }
    ModifyRecordsResult result;
    for (const Record& record : saves) {
        result.saves.append(database_->save(record));
    }
    for (const RecordID& id : deletes) {
        result.deletes.append(database_->remove(id));
    }
    co_return StoreResult<ModifyRecordsResult>{std::nullopt, result};
}

QCoro::Task<StoreResult<ChangesPage>> InMemoryRecordStore::fetchChanges(QString token, int limit) {
    QCoro::Task<std::optional<RecordStoreError>> trip = roundTrip();
    if (auto failure = co_await trip) {
        co_return StoreResult<ChangesPage>{failure, {}};
    }
    co_return StoreResult<ChangesPage>{std::nullopt, database_->changes(token, limit)};
}

QCoro::Task<StoreResult<bool>>
InMemoryRecordStore::waitForChanges(QString token, std::chrono::milliseconds limit) {
    QCoro::Task<std::optional<RecordStoreError>> trip = roundTrip();
    if (auto failure = co_await trip) {
        co_return StoreResult<bool>{failure, false};
    }
    // The frame keeps the database alive while it waits, whatever becomes of this store.
    const std::shared_ptr<InMemoryRecordDatabase> database = database_;
    if (!database->hasChangesAfter(token)) {
        QFuture<void> change = database->nextChange(limit);
        co_await change;
    }
    co_return StoreResult<bool>{std::nullopt, database->hasChangesAfter(token)};
}

void InMemoryRecordStore::abortWaits() {
    database_->wakeWaits();
}

QCoro::Task<StoreAction> InMemoryRecordStore::downloadAsset(RecordID recordID, QString fieldName,
                                                            QString filePath) {
    QCoro::Task<std::optional<RecordStoreError>> trip = roundTrip();
    if (auto failure = co_await trip) {
        co_return StoreAction{failure, {}};
    }
    const std::optional<QByteArray> bytes = database_->assetBytes(recordID, fieldName);
    if (!bytes) {
        co_return StoreAction{RecordStoreError::assetMissing(recordID, fieldName), {}};
    }
    co_return StoreAction{writeAssetFile(filePath, *bytes), {}};
}

} // namespace mnemora

#pragma once

#include "cloud/InMemoryRecordDatabase.h"
#include "cloud/RecordStore.h"

#include <memory>

namespace mnemora {

// The record store in memory, for fast tests of everything above the store. It behaves as
// CouchRecordStore does against a real server (the same contract tests run on both), and like
// a network it answers on a later turn of the event loop, never inside the call.
class InMemoryRecordStore : public RecordStore {
    Q_OBJECT

public:
    // A store on a database of its own.
    explicit InMemoryRecordStore(QObject* parent = nullptr);
    // A store on a database that other stores share, speaking for `accountName`.
    InMemoryRecordStore(std::shared_ptr<InMemoryRecordDatabase> database, QString accountName,
                        QObject* parent = nullptr);
    ~InMemoryRecordStore() override;

    const std::shared_ptr<InMemoryRecordDatabase>& database() const { return database_; }

    QString accountName() const override { return accountName_; }

    QCoro::Task<StoreResult<QStringList>> fetchAllZones() override;
    QCoro::Task<StoreResult<ModifyZonesResult>> modifyZones(QStringList saves,
                                                            QStringList deletes) override;
    QCoro::Task<StoreResult<ModifyRecordsResult>> modifyRecords(QList<Record> saves,
                                                                QList<RecordID> deletes) override;
    QCoro::Task<StoreResult<ChangesPage>> fetchChanges(QString token, int limit) override;
    QCoro::Task<StoreResult<bool>> waitForChanges(QString token,
                                                  std::chrono::milliseconds limit) override;
    void abortWaits() override;
    QCoro::Task<StoreAction> downloadAsset(RecordID recordID, QString fieldName,
                                           QString filePath) override;

private:
    // Gives the event loop a turn, then the failure that stops the call: the store closed or
    // the database down.
    QCoro::Task<std::optional<RecordStoreError>> roundTrip();

    std::shared_ptr<InMemoryRecordDatabase> database_;
    QString accountName_;
};

} // namespace mnemora

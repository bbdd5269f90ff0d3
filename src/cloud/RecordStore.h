#pragma once

#include "cloud/Record.h"
#include "cloud/RecordStoreError.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <optional>
#include <variant>

namespace mnemora {

// The answer of one store call: the failure of the whole call, else its value.
template <typename T> struct StoreResult {
    std::optional<RecordStoreError> error;
    T value{};

    bool ok() const { return !error; }
};
using StoreAction = StoreResult<std::monostate>;

// A record deleted on the server, as the change feed reports it: the tombstone keeps its type.
struct RecordDeletion {
    RecordID recordID;
    QString recordType;
    QString changeTag; // the tombstone's tag

    bool operator==(const RecordDeletion&) const = default;
};

// The answer for one zone of a zone save or delete.
struct ZoneResult {
    QString zoneName;
    std::optional<RecordStoreError> error;
};

struct ModifyZonesResult {
    QList<ZoneResult> saves;
    QList<ZoneResult> deletes;
};

// The answer for one record of a batch: saved (with the record as saved, carrying its new
// change tag), or the failure of this record alone.
struct RecordSaveResult {
    RecordID recordID;
    std::optional<Record> savedRecord;
    std::optional<RecordStoreError> error;
};

struct RecordDeleteResult {
    RecordID recordID;
    QString changeTag; // the tombstone's tag; empty when there was nothing to delete
    std::optional<RecordStoreError> error;
};

// One answer per record of the batch, in the order asked.
struct ModifyRecordsResult {
    QList<RecordSaveResult> saves;
    QList<RecordDeleteResult> deletes;
};

// One page of the database's changes since a token. A change seen twice (saved, then changed
// again) is reported once, as it stands now.
struct ChangesPage {
    QStringList modifiedZones;
    QStringList deletedZones;
    QList<Record> modifiedRecords;
    QList<RecordDeletion> deletedRecords;
    QString token; // resumes after this page
    bool moreComing = false;
};

// The cloud database of one account: zones by name, records in them, and a feed of changes
// since a saved token. Every call gives its failure as a value; nothing throws. Zone names must
// not be empty. Main thread only.
class RecordStore : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Who the store speaks for, to notice a change of account; empty when anonymous.
    virtual QString accountName() const = 0;

    virtual QCoro::Task<StoreResult<QStringList>> fetchAllZones() = 0;

    // Saving a zone that exists is no failure. Deleting a zone deletes every record in it.
    virtual QCoro::Task<StoreResult<ModifyZonesResult>> modifyZones(QStringList saves,
                                                                    QStringList deletes) = 0;

    // Saves and deletes in one batch. A save whose change tag is not the server's fails with
    // serverRecordChanged carrying the server's record; one whose record was deleted on the
    // server (or never existed, when a tag is given) fails with unknownItem. A save without a
    // tag creates the record, also over one deleted before. Deleting what is not there is no
    // failure.
    virtual QCoro::Task<StoreResult<ModifyRecordsResult>>
    modifyRecords(QList<Record> saves, QList<RecordID> deletes) = 0;

    // At most `limit` changes after `token` (empty for the beginning of time).
    virtual QCoro::Task<StoreResult<ChangesPage>> fetchChanges(QString token, int limit) = 0;

    // Waits until the database has a change after `token`, at most `limit`: true when one is
    // there, false when the time ran out or the wait was aborted.
    virtual QCoro::Task<StoreResult<bool>> waitForChanges(QString token,
                                                          std::chrono::milliseconds limit) = 0;

    // Ends every wait in progress at once.
    virtual void abortWaits() = 0;

    // Writes the bytes of the record's asset field to `filePath`, replacing the file.
    virtual QCoro::Task<StoreAction> downloadAsset(RecordID recordID, QString fieldName,
                                                   QString filePath) = 0;

protected:
    // Writes downloaded bytes atomically, creating the folder; the failure's words, else none.
    static std::optional<RecordStoreError> writeAssetFile(const QString& filePath,
                                                          const QByteArray& bytes);
};

} // namespace mnemora

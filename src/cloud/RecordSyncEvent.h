#pragma once

#include "cloud/PendingChanges.h"
#include "cloud/RecordStore.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <variant>

namespace mnemora {

class RecordSyncEngine;

// Which changes a send covers: every zone, or the zones named.
struct SendChangesContext {
    enum class Reason { scheduled, explicitCall };
    Reason reason = Reason::explicitCall;
    std::optional<QStringList> zoneNames{};

    bool contains(const RecordID& id) const {
        return !zoneNames || zoneNames->contains(id.zoneName);
    }
    bool contains(const QString& zoneName) const {
        return !zoneNames || zoneNames->contains(zoneName);
    }
};

// The records of one send: those to save as the delegate built them, and those to delete.
struct RecordZoneChangeBatch {
    QList<Record> recordsToSave;
    QList<RecordID> recordIDsToDelete;

    bool isEmpty() const { return recordsToSave.isEmpty() && recordIDsToDelete.isEmpty(); }

    // A batch of the pending changes, in their order, of at most `limit` records: each delete
    // as it stands, each save with the record `provider` builds. A save the provider has no
    // record for is left out. None when nothing is left.
    using RecordProvider = std::function<std::optional<Record>(const RecordID&)>;
    static std::optional<RecordZoneChangeBatch> make(const QList<PendingRecordZoneChange>& pending,
                                                     const RecordProvider& provider,
                                                     int limit = 400);
};

// What the sync engine tells its delegate.
namespace SyncEvent {

// The state to keep; give it back when the engine is made again.
struct StateUpdate {
    QByteArray stateJson;
};

struct AccountChange {
    enum class Kind { signIn, signOut, switchAccounts };
    Kind kind = Kind::signIn;
    QString previousAccount;
    QString currentAccount;

    // "signIn(anna)", "signOut(anna)", "switchAccounts(anna → ben)".
    QString description() const;
};

struct FetchedDatabaseChanges {
    QStringList modifiedZones;
    QStringList deletedZones;
};

// Changes written by other clients; the engine's own writes are not reported back.
struct FetchedRecordZoneChanges {
    QList<Record> modifications;
    QList<RecordDeletion> deletions;
};

struct SentDatabaseChanges {
    QStringList savedZones;
    QList<ZoneResult> failedZoneSaves;
    QStringList deletedZones;
    QList<ZoneResult> failedZoneDeletes;
};

struct FailedRecordSave {
    Record record;
    RecordStoreError error;
};

struct FailedRecordDelete {
    RecordID recordID;
    RecordStoreError error;
};

// The outcome of one batch. A failed change leaves the pending changes unless its failure was
// transient; the delegate adds it again when it wants it sent.
struct SentRecordZoneChanges {
    QList<Record> savedRecords;
    QList<FailedRecordSave> failedRecordSaves;
    QList<RecordID> deletedRecordIDs;
    QList<FailedRecordDelete> failedRecordDeletes;
};

struct WillFetchChanges {};
struct DidFetchChanges {
    std::optional<RecordStoreError> failure; // why the fetch stopped short, for the log
};
struct WillFetchRecordZoneChanges {
    QStringList zoneNames;
};
struct DidFetchRecordZoneChanges {
    QStringList zoneNames;
};
struct WillSendChanges {
    SendChangesContext context;
};
struct DidSendChanges {
    SendChangesContext context;
    std::optional<RecordStoreError> failure; // why changes stay pending, for the log
};

} // namespace SyncEvent

using RecordSyncEvent =
    std::variant<SyncEvent::StateUpdate, SyncEvent::AccountChange,
                 SyncEvent::FetchedDatabaseChanges, SyncEvent::FetchedRecordZoneChanges,
                 SyncEvent::SentDatabaseChanges, SyncEvent::SentRecordZoneChanges,
                 SyncEvent::WillFetchChanges, SyncEvent::DidFetchChanges,
                 SyncEvent::WillFetchRecordZoneChanges, SyncEvent::DidFetchRecordZoneChanges,
                 SyncEvent::WillSendChanges, SyncEvent::DidSendChanges>;

// The side of the sync that knows the records: it hears the engine's events and builds the
// records of each send. Called on the main thread.
class RecordSyncEngineDelegate {
public:
    virtual ~RecordSyncEngineDelegate() = default;

    virtual void handleEvent(const RecordSyncEvent& event, RecordSyncEngine& engine) = 0;

    // The next records to send of those pending in the context's scope; none when nothing is
    // left. RecordZoneChangeBatch::make builds one from the pending changes.
    virtual std::optional<RecordZoneChangeBatch>
    nextRecordZoneChangeBatch(const SendChangesContext& context, RecordSyncEngine& engine) = 0;
};

} // namespace mnemora

#pragma once

#include "cloud/PendingChanges.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace mnemora {

// What the sync engine must not forget across launches: the changes it still has to send, the
// token the change feed resumes from, and the account it last spoke for. Adding a change that is
// already pending does nothing; adding the opposite change of a record or zone replaces it.
class RecordSyncEngineState {
public:
    RecordSyncEngineState() = default;
    // A copy carries the values, not the engine that watches the original.
    RecordSyncEngineState(const RecordSyncEngineState& other);
    RecordSyncEngineState& operator=(const RecordSyncEngineState& other);

    const QList<PendingDatabaseChange>& pendingDatabaseChanges() const { return databaseChanges_; }
    const QList<PendingRecordZoneChange>& pendingRecordZoneChanges() const {
        return recordChanges_;
    }

    void add(const QList<PendingDatabaseChange>& changes);
    void add(const QList<PendingRecordZoneChange>& changes);
    void remove(const QList<PendingDatabaseChange>& changes);
    void remove(const QList<PendingRecordZoneChange>& changes);

    // Where the change feed resumes; empty before the first fetch.
    const QString& changeToken() const { return changeToken_; }
    void setChangeToken(const QString& token);

    // The account the engine last spoke for; none before it first reached the store.
    const std::optional<QString>& account() const { return account_; }
    void setAccount(const QString& account);

    QByteArray toJson() const;
    // None for bytes that are not a state this engine wrote.
    static std::optional<RecordSyncEngineState> fromJson(const QByteArray& json);

    bool operator==(const RecordSyncEngineState& other) const;

private:
    friend class RecordSyncEngine;

    // `added`: pending changes were added, which calls for a send.
    void changed(bool added) const;

    QList<PendingDatabaseChange> databaseChanges_;
    QList<PendingRecordZoneChange> recordChanges_;
    QString changeToken_;
    std::optional<QString> account_;
    std::function<void(bool added)> observer_; // the owning engine's
};

} // namespace mnemora

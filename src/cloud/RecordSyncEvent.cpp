#include "cloud/RecordSyncEvent.h"

namespace mnemora {

QString SyncEvent::AccountChange::description() const {
    switch (kind) {
    case Kind::signIn:
        return QStringLiteral("signIn(%1)").arg(currentAccount);
    case Kind::signOut:
        return QStringLiteral("signOut(%1)").arg(previousAccount);
    case Kind::switchAccounts:
        return QStringLiteral("switchAccounts(%1 → %2)").arg(previousAccount, currentAccount);
    }
    return {};
}

std::optional<RecordZoneChangeBatch>
RecordZoneChangeBatch::make(const QList<PendingRecordZoneChange>& pending,
                            const RecordProvider& provider, int limit) {
    RecordZoneChangeBatch batch;
    for (const PendingRecordZoneChange& change : pending) {
        if (batch.recordsToSave.size() + batch.recordIDsToDelete.size() >= limit) {
            break;
        }
        if (change.kind == PendingRecordZoneChange::Kind::deleteRecord) {
            batch.recordIDsToDelete.append(change.recordID);
        } else if (std::optional<Record> record = provider(change.recordID)) {
            batch.recordsToSave.append(std::move(*record));
        }
    }
    return batch.isEmpty() ? std::nullopt : std::optional(batch);
}

} // namespace mnemora

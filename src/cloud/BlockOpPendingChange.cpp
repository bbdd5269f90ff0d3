#include "cloud/BlockOpPendingChange.h"

namespace mnemora::BlockOpPendingChange {

QList<PendingRecordZoneChange> pendingChanges(const std::vector<core::BlockOp>& ops,
                                              const QString& zoneName) {
    QList<PendingRecordZoneChange> changes;
    for (const core::BlockOp& op : ops) {
        const RecordID id{zoneName, QString::fromStdString(op.id().rawValue)};
        switch (op.kind()) {
        case core::BlockOp::Kind::keep:
            break;
        case core::BlockOp::Kind::edit:
        case core::BlockOp::Kind::add:
        case core::BlockOp::Kind::move:
            changes.append(PendingRecordZoneChange::saveRecord(id));
            break;
        case core::BlockOp::Kind::delete_:
            changes.append(PendingRecordZoneChange::deleteRecord(id));
            break;
        }
    }
    return changes;
}

} // namespace mnemora::BlockOpPendingChange

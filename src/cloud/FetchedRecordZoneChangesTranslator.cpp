#include "cloud/FetchedRecordZoneChangesTranslator.h"

#include "cloud/BlockRecordMapping.h"
#include "cloud/SyncedDocRecordType.h"

namespace mnemora::FetchedRecordZoneChangesTranslator {

std::vector<core::BlockOp> translate(const QList<Record>& modifications,
                                     const QList<Deletion>& deletions) {
    std::vector<core::BlockRepair> repairs;
    return translate(modifications, deletions, repairs);
}

std::vector<core::BlockOp> translate(const QList<Record>& modifications,
                                     const QList<Deletion>& deletions,
                                     std::vector<core::BlockRepair>& repairs) {
    std::vector<core::BlockOp> ops;
    for (const Record& record : modifications) {
        if (auto block = BlockRecordMapping::block(record, repairs)) {
            ops.push_back(core::BlockOp::edit(std::move(*block)));
        }
    }
    for (const Deletion& deletion : deletions) {
        if (deletion.recordType == SyncedDocRecordType::block) {
            ops.push_back(
                core::BlockOp::delete_(core::BlockID(deletion.recordID.recordName.toStdString())));
        }
    }
    return ops;
}

} // namespace mnemora::FetchedRecordZoneChangesTranslator

#include "sync/RepairLog.h"

namespace mnemora::RepairLog {

QString line(const QString& docPath, const core::BlockRepair& repair) {
    return QStringLiteral("[SyncedDocsBridgeService] REPAIRED %1 of %2 in %3: %4")
        .arg(QString::fromStdString(repair.field), QString::fromStdString(repair.blockID.rawValue),
             docPath, QString::fromStdString(repair.detail));
}

void write(const SyncLog& log, const QString& docPath,
           const std::vector<core::BlockRepair>& repairs) {
    for (const core::BlockRepair& repair : repairs) {
        log.write(line(docPath, repair));
    }
}

} // namespace mnemora::RepairLog

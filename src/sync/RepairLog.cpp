#include "sync/RepairLog.h"

namespace mnemora::RepairLog {

namespace {

// A repair quotes what came in, which may hold line breaks; the log keeps one line per message.
QString oneLine(const std::string& text) {
    return QString::fromStdString(text)
        .replace(QLatin1Char('\n'), QStringLiteral("\\n"))
        .replace(QLatin1Char('\r'), QStringLiteral("\\r"));
}

} // namespace

QString line(const QString& docPath, const core::BlockRepair& repair) {
    return QStringLiteral("[SyncedDocsBridgeService] REPAIRED %1 of %2 in %3: %4")
        .arg(oneLine(repair.field), oneLine(repair.blockID.rawValue), docPath,
             oneLine(repair.detail));
}

void write(const SyncLog& log, const QString& docPath,
           const std::vector<core::BlockRepair>& repairs) {
    for (const core::BlockRepair& repair : repairs) {
        log.write(line(docPath, repair));
    }
}

} // namespace mnemora::RepairLog

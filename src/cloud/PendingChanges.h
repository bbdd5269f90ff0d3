#pragma once

#include "cloud/Record.h"

#include <QString>

namespace mnemora {

// A zone change the sync engine still has to send.
struct PendingDatabaseChange {
    enum class Kind { saveZone, deleteZone };
    Kind kind = Kind::saveZone;
    QString zoneName{};

    static PendingDatabaseChange saveZone(QString zoneName) {
        return {Kind::saveZone, std::move(zoneName)};
    }
    static PendingDatabaseChange deleteZone(QString zoneName) {
        return {Kind::deleteZone, std::move(zoneName)};
    }

    bool operator==(const PendingDatabaseChange&) const = default;
};

// A record change the sync engine still has to send. Only the name travels: the record itself
// is asked of the delegate when its batch is built, so it is always the latest.
struct PendingRecordZoneChange {
    enum class Kind { saveRecord, deleteRecord };
    Kind kind = Kind::saveRecord;
    RecordID recordID{};

    static PendingRecordZoneChange saveRecord(RecordID id) {
        return {Kind::saveRecord, std::move(id)};
    }
    static PendingRecordZoneChange deleteRecord(RecordID id) {
        return {Kind::deleteRecord, std::move(id)};
    }

    bool operator==(const PendingRecordZoneChange&) const = default;
};

} // namespace mnemora

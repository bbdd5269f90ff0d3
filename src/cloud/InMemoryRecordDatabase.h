#pragma once

#include "cloud/RecordStore.h"

#include <QByteArray>
#include <QFuture>
#include <QHash>
#include <QPromise>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <variant>

namespace mnemora {

// The server side of InMemoryRecordStore: one account's database held in memory, shared by every
// store object that speaks to it, the way clients share a server. It answers exactly as
// CouchRecordStore's server does, synchronously. Main thread only.
class InMemoryRecordDatabase {
public:
    InMemoryRecordDatabase() = default;
    ~InMemoryRecordDatabase();
    InMemoryRecordDatabase(const InMemoryRecordDatabase&) = delete;
    InMemoryRecordDatabase& operator=(const InMemoryRecordDatabase&) = delete;

    // A database that is down answers every call as an unreachable server would.
    bool isReachable() const { return reachable_; }
    void setReachable(bool reachable) { reachable_ = reachable; }

    QStringList liveZones() const;
    ZoneResult saveZone(const QString& zoneName);
    ZoneResult deleteZone(const QString& zoneName);

    RecordSaveResult save(const Record& record);
    RecordDeleteResult remove(const RecordID& id);

    ChangesPage changes(const QString& token, int limit) const;
    bool hasChangesAfter(const QString& token) const;

    std::optional<QByteArray> assetBytes(const RecordID& id, const QString& fieldName) const;

    // Finishes at the next write, at wakeWaits(), or when `limit` has passed.
    QFuture<void> nextChange(std::chrono::milliseconds limit);
    // Ends every wait, to look again.
    void wakeWaits();

private:
    struct RecordEntry {
        Record record; // assets as stored: digest and length, no file
        bool deleted = false;
        int generation = 0;
        qint64 seq = 0;
        QHash<QString, QByteArray> assets;
    };
    struct ZoneEntry {
        bool deleted = false;
        qint64 seq = 0;
    };
    using Key = std::variant<RecordID, QString>;

    QString tagOf(const RecordEntry& entry) const;
    qint64 touch(const Key& key, qint64 oldSeq);
    std::optional<RecordStoreError> storeAssets(const Record& record, RecordEntry& entry,
                                                Record& stored) const;

    bool reachable_ = true;
    qint64 lastSeq_ = 0;
    std::map<RecordID, RecordEntry> records_;
    std::map<QString, ZoneEntry> zones_;
    std::map<qint64, Key> bySeq_;
    std::vector<std::shared_ptr<QPromise<void>>> waits_;
};

} // namespace mnemora

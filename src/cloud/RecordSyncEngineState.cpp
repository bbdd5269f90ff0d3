#include "cloud/RecordSyncEngineState.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace mnemora {

namespace {

const QString kVersion = QStringLiteral("version");
const QString kToken = QStringLiteral("changeToken");
const QString kAccount = QStringLiteral("account");
const QString kDatabase = QStringLiteral("pendingDatabaseChanges");
const QString kRecords = QStringLiteral("pendingRecordZoneChanges");
const QString kKind = QStringLiteral("kind");
const QString kZone = QStringLiteral("zone");
const QString kRecordName = QStringLiteral("recordName");

const QString kSaveZone = QStringLiteral("saveZone");
const QString kDeleteZone = QStringLiteral("deleteZone");
const QString kSaveRecord = QStringLiteral("saveRecord");
const QString kDeleteRecord = QStringLiteral("deleteRecord");

QString subject(const PendingDatabaseChange& change) {
    return change.zoneName;
}
RecordID subject(const PendingRecordZoneChange& change) {
    return change.recordID;
}

// Keeps one change per subject: the last one added.
template <typename Change> bool addTo(QList<Change>& list, const QList<Change>& changes) {
    bool changed = false;
    for (const Change& change : changes) {
        if (list.contains(change)) {
            continue;
        }
        list.removeIf([&](const Change& other) { return subject(other) == subject(change); });
        list.append(change);
        changed = true;
    }
    return changed;
}

template <typename Change> bool removeFrom(QList<Change>& list, const QList<Change>& changes) {
    bool changed = false;
    for (const Change& change : changes) {
        changed = list.removeOne(change) || changed;
    }
    return changed;
}

} // namespace

RecordSyncEngineState::RecordSyncEngineState(const RecordSyncEngineState& other)
    : databaseChanges_(other.databaseChanges_)
    , recordChanges_(other.recordChanges_)
    , changeToken_(other.changeToken_)
    , account_(other.account_) {}

RecordSyncEngineState& RecordSyncEngineState::operator=(const RecordSyncEngineState& other) {
    databaseChanges_ = other.databaseChanges_;
    recordChanges_ = other.recordChanges_;
    changeToken_ = other.changeToken_;
    account_ = other.account_;
    changed(false);
    return *this;
}

bool RecordSyncEngineState::operator==(const RecordSyncEngineState& other) const {
    return databaseChanges_ == other.databaseChanges_ && recordChanges_ == other.recordChanges_ &&
           changeToken_ == other.changeToken_ && account_ == other.account_;
}

void RecordSyncEngineState::changed(bool added) const {
    if (observer_) {
        observer_(added);
    }
}

void RecordSyncEngineState::add(const QList<PendingDatabaseChange>& changes) {
    if (addTo(databaseChanges_, changes)) {
        changed(true);
    }
}

void RecordSyncEngineState::add(const QList<PendingRecordZoneChange>& changes) {
    if (addTo(recordChanges_, changes)) {
        changed(true);
    }
}

void RecordSyncEngineState::remove(const QList<PendingDatabaseChange>& changes) {
    if (removeFrom(databaseChanges_, changes)) {
        changed(false);
    }
}

void RecordSyncEngineState::remove(const QList<PendingRecordZoneChange>& changes) {
    if (removeFrom(recordChanges_, changes)) {
        changed(false);
    }
}

void RecordSyncEngineState::setChangeToken(const QString& token) {
    if (token != changeToken_) {
        changeToken_ = token;
        changed(false);
    }
}

void RecordSyncEngineState::setAccount(const QString& account) {
    if (account_ != account) {
        account_ = account;
        changed(false);
    }
}

QByteArray RecordSyncEngineState::toJson() const {
    QJsonArray database;
    for (const PendingDatabaseChange& change : databaseChanges_) {
        database.append(QJsonObject{
            {kKind, change.kind == PendingDatabaseChange::Kind::saveZone ? kSaveZone : kDeleteZone},
            {kZone, change.zoneName}});
    }
    QJsonArray records;
    for (const PendingRecordZoneChange& change : recordChanges_) {
        records.append(QJsonObject{{kKind, change.kind == PendingRecordZoneChange::Kind::saveRecord
                                               ? kSaveRecord
                                               : kDeleteRecord},
                                   {kZone, change.recordID.zoneName},
                                   {kRecordName, change.recordID.recordName}});
    }
    QJsonObject object{
        {kVersion, 1}, {kToken, changeToken_}, {kDatabase, database}, {kRecords, records}};
    if (account_) {
        object.insert(kAccount, *account_);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<RecordSyncEngineState> RecordSyncEngineState::fromJson(const QByteArray& json) {
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    if (object.value(kVersion).toInt() != 1) {
        return std::nullopt;
    }
    RecordSyncEngineState state;
    state.changeToken_ = object.value(kToken).toString();
    if (object.value(kAccount).isString()) {
        state.account_ = object.value(kAccount).toString();
    }
    for (const QJsonValue& value : object.value(kDatabase).toArray()) {
        const QJsonObject change = value.toObject();
        const QString kind = change.value(kKind).toString();
        if (kind != kSaveZone && kind != kDeleteZone) {
            return std::nullopt;
        }
        state.databaseChanges_.append({kind == kSaveZone ? PendingDatabaseChange::Kind::saveZone
                                                         : PendingDatabaseChange::Kind::deleteZone,
                                       change.value(kZone).toString()});
    }
    for (const QJsonValue& value : object.value(kRecords).toArray()) {
        const QJsonObject change = value.toObject();
        const QString kind = change.value(kKind).toString();
        if (kind != kSaveRecord && kind != kDeleteRecord) {
            return std::nullopt;
        }
        state.recordChanges_.append(
            {kind == kSaveRecord ? PendingRecordZoneChange::Kind::saveRecord
                                 : PendingRecordZoneChange::Kind::deleteRecord,
             RecordID{change.value(kZone).toString(), change.value(kRecordName).toString()}});
    }
    return state;
}

} // namespace mnemora

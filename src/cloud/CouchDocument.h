#pragma once

#include "cloud/Record.h"
#include "cloud/RecordStore.h"

#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

namespace mnemora {

// How records and zones are written as documents of a CouchDB-protocol database, which is also
// what a phone's CouchDB client reads and writes:
//
//   zone    {"_id": "zone:{zone}", "type": "zone", "zone": "{zone}"}
//   record  {"_id": "{zone}/{recordName}", "_rev": tag, "type": "record", "zone": ...,
//            "recordName": ..., "recordType": ..., "fields": {name: value},
//            "fieldTypes": {name: "string" | "integer" | "double" | "boolean" | "date" |
//                           "reference" | "reference.deleteSelf"},
//            "_attachments": {assetField: ...}}
//
// In an `_id` the zone is written with "%" as "%25" and "/" as "%2F", so the first "/" always
// ends it and a zone's own `_id` has none; the common "zone:" prefix lets zones be listed by one
// key range. References hold the target's record name; dates are ISO 8601 text in UTC. Asset
// fields are attachments named after the field. A deletion is a tombstone that keeps `type`,
// `zone`, `recordName` and `recordType`.
namespace CouchDocument {

QString recordDocumentID(const RecordID& id);
QString zoneDocumentID(const QString& zoneName);
inline const QString zoneDocumentPrefix = QStringLiteral("zone:");

// The record as a document for `_bulk_docs`. Asset files are read and inlined; a missing file
// gives the failure of this record.
std::variant<QJsonObject, RecordStoreError> fromRecord(const Record& record);

// The tombstone that deletes the record at `changeTag`.
QJsonObject tombstone(const RecordID& id, const QString& recordType, const QString& changeTag);

QJsonObject zoneDocument(const QString& zoneName);
QJsonObject zoneTombstone(const QString& zoneName, const QString& changeTag);

// The record a stored document holds; none for a zone or for a document of no record. Fields
// without a written type take the type of their JSON value.
std::optional<Record> toRecord(const QJsonObject& document);

// True for a zone's document or tombstone.
bool isZone(const QJsonObject& document, const QString& documentID);

// The zone a zone document names.
QString zoneNameOf(const QJsonObject& document, const QString& documentID);

// The record named by a document, from its body or else from its `_id`.
std::optional<RecordID> recordIDOf(const QJsonObject& document, const QString& documentID);

} // namespace CouchDocument

} // namespace mnemora

#include "cloud/CouchDocument.h"

#include <QFile>
#include <QJsonValue>

#include <cmath>

namespace mnemora::CouchDocument {

namespace {

const QString kType = QStringLiteral("type");
const QString kZone = QStringLiteral("zone");
const QString kRecordName = QStringLiteral("recordName");
const QString kRecordType = QStringLiteral("recordType");
const QString kFields = QStringLiteral("fields");
const QString kFieldTypes = QStringLiteral("fieldTypes");
const QString kAttachments = QStringLiteral("_attachments");
const QString kDeleteSelf = QStringLiteral("reference.deleteSelf");

QString escapeZone(const QString& zoneName) {
    QString escaped = zoneName;
    escaped.replace(QLatin1Char('%'), QLatin1String("%25"));
    escaped.replace(QLatin1Char('/'), QLatin1String("%2F"));
    return escaped;
}

QString unescapeZone(QString escaped) {
    escaped.replace(QLatin1String("%2F"), QLatin1String("/"));
    escaped.replace(QLatin1String("%25"), QLatin1String("%"));
    return escaped;
}

QString typeWord(const RecordValue& value) {
    switch (fieldType(value)) {
    case RecordFieldType::string:
        return QStringLiteral("string");
    case RecordFieldType::integer:
        return QStringLiteral("integer");
    case RecordFieldType::double_:
        return QStringLiteral("double");
    case RecordFieldType::boolean:
        return QStringLiteral("boolean");
    case RecordFieldType::date:
        return QStringLiteral("date");
    case RecordFieldType::reference:
        return std::get<RecordReference>(value).action == ReferenceAction::deleteSelf
                   ? kDeleteSelf
                   : QStringLiteral("reference");
    case RecordFieldType::asset:
        return QStringLiteral("asset");
    }
    return {};
}

QJsonValue plainValue(const RecordValue& value) {
    switch (fieldType(value)) {
    case RecordFieldType::string:
        return std::get<QString>(value);
    case RecordFieldType::integer: {
        // JavaScript servers and clients hold numbers as doubles: past 2^53 the digits go as text.
        const std::int64_t number = std::get<std::int64_t>(value);
        constexpr std::int64_t exact = std::int64_t{1} << 53;
        if (number > exact || number < -exact) {
            return QString::number(number);
        }
        return QJsonValue(static_cast<qint64>(number));
    }
    case RecordFieldType::double_:
        return std::get<double>(value);
    case RecordFieldType::boolean:
        return std::get<bool>(value);
    case RecordFieldType::date:
        return std::get<QDateTime>(value).toUTC().toString(Qt::ISODate);
    case RecordFieldType::reference:
        return std::get<RecordReference>(value).recordID.recordName;
    case RecordFieldType::asset:
        break;
    }
    return {};
}

std::variant<QJsonObject, RecordStoreError> attachment(const QString& key,
                                                       const RecordAsset& asset) {
    if (asset.isStored()) {
        // PouchDB finds the stored bytes by their digest.
        return QJsonObject{{QStringLiteral("stub"), true},
                           {QStringLiteral("digest"), asset.digest},
                           {QStringLiteral("content_type"), asset.contentType},
                           {QStringLiteral("length"), asset.length}};
    }
    QFile file(asset.filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        return RecordStoreError::assetUnreadable(asset.filePath, key, file.errorString());
    }
    return QJsonObject{{QStringLiteral("content_type"), asset.contentType},
                       {QStringLiteral("data"), QString::fromLatin1(file.readAll().toBase64())}};
}

// A field as written with a type word; a missing or unknown word takes the JSON value's type.
std::optional<RecordValue> typedValue(const QJsonValue& value, const QString& type,
                                      const QString& zoneName) {
    if (type == QLatin1String("reference") || type == kDeleteSelf) {
        if (!value.isString()) {
            return std::nullopt;
        }
        return RecordReference{.recordID = {zoneName, value.toString()},
                               .action = type == kDeleteSelf ? ReferenceAction::deleteSelf
                                                             : ReferenceAction::none};
    }
    if (type == QLatin1String("date") && value.isString()) {
        const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        if (date.isValid()) {
            return date.toUTC();
        }
        return std::nullopt;
    }
    if (value.isString()) {
        bool isNumber = false;
        const qlonglong number = value.toString().toLongLong(&isNumber);
        if (type == QLatin1String("integer") && isNumber) {
            return static_cast<std::int64_t>(number);
        }
        return value.toString();
    }
    if (value.isBool()) {
        return value.toBool();
    }
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    const bool integral = std::trunc(number) == number && std::abs(number) < 9.0e18;
    if (type == QLatin1String("double") || (type != QLatin1String("integer") && !integral)) {
        return number;
    }
    return static_cast<std::int64_t>(value.toInteger());
}

RecordAsset storedAsset(const QJsonObject& stub) {
    return RecordAsset{
        .filePath = {},
        .contentType = stub.value(QStringLiteral("content_type")).toString(),
        .digest = stub.value(QStringLiteral("digest")).toString(),
        .length = stub.value(QStringLiteral("length")).toInteger(-1),
    };
}

} // namespace

QString recordDocumentID(const RecordID& id) {
    return escapeZone(id.zoneName) + QLatin1Char('/') + id.recordName;
}

QString zoneDocumentID(const QString& zoneName) {
    return zoneDocumentPrefix + escapeZone(zoneName);
}

std::variant<QJsonObject, RecordStoreError> fromRecord(const Record& record) {
    QJsonObject fields;
    QJsonObject types;
    QJsonObject attachments;
    for (const Record::Field& field : record.fields()) {
        if (const auto* asset = std::get_if<RecordAsset>(&field.value)) {
            auto written = attachment(field.key, *asset);
            if (auto* error = std::get_if<RecordStoreError>(&written)) {
                return *error;
            }
            attachments.insert(field.key, std::get<QJsonObject>(written));
            continue;
        }
        fields.insert(field.key, plainValue(field.value));
        types.insert(field.key, typeWord(field.value));
    }
    QJsonObject document{
        {QStringLiteral("_id"), recordDocumentID(record.recordID())},
        {kType, QStringLiteral("record")},
        {kZone, record.recordID().zoneName},
        {kRecordName, record.recordID().recordName},
        {kRecordType, record.recordType()},
        {kFields, fields},
        {kFieldTypes, types},
    };
    if (record.changeTag()) {
        document.insert(QStringLiteral("_rev"), *record.changeTag());
    }
    if (!attachments.isEmpty()) {
        document.insert(kAttachments, attachments);
    }
    return document;
}

QJsonObject tombstone(const RecordID& id, const QString& recordType, const QString& changeTag) {
    return QJsonObject{
        {QStringLiteral("_id"), recordDocumentID(id)},
        {QStringLiteral("_rev"), changeTag},
        {QStringLiteral("_deleted"), true},
        {kType, QStringLiteral("record")},
        {kZone, id.zoneName},
        {kRecordName, id.recordName},
        {kRecordType, recordType},
    };
}

QJsonObject zoneDocument(const QString& zoneName) {
    return QJsonObject{{QStringLiteral("_id"), zoneDocumentID(zoneName)},
                       {kType, QStringLiteral("zone")},
                       {kZone, zoneName}};
}

QJsonObject zoneTombstone(const QString& zoneName, const QString& changeTag) {
    QJsonObject document = zoneDocument(zoneName);
    document.insert(QStringLiteral("_rev"), changeTag);
    document.insert(QStringLiteral("_deleted"), true);
    return document;
}

bool isZone(const QJsonObject& document, const QString& documentID) {
    if (document.contains(kType)) {
        return document.value(kType).toString() == QLatin1String("zone");
    }
    return documentID.startsWith(zoneDocumentPrefix) && !documentID.contains(QLatin1Char('/'));
}

QString zoneNameOf(const QJsonObject& document, const QString& documentID) {
    const QJsonValue zone = document.value(kZone);
    return zone.isString() ? zone.toString()
                           : unescapeZone(documentID.mid(zoneDocumentPrefix.size()));
}

std::optional<RecordID> recordIDOf(const QJsonObject& document, const QString& documentID) {
    const QJsonValue zone = document.value(kZone);
    const QJsonValue name = document.value(kRecordName);
    if (zone.isString() && name.isString()) {
        return RecordID{zone.toString(), name.toString()};
    }
    const qsizetype slash = documentID.indexOf(QLatin1Char('/'));
    if (slash <= 0) {
        return std::nullopt;
    }
    return RecordID{unescapeZone(documentID.left(slash)), documentID.mid(slash + 1)};
}

std::optional<Record> toRecord(const QJsonObject& document) {
    const QJsonValue recordType = document.value(kRecordType);
    const QString documentID = document.value(QStringLiteral("_id")).toString();
    if (isZone(document, documentID) || !recordType.isString()) {
        return std::nullopt;
    }
    const auto id = recordIDOf(document, documentID);
    if (!id) {
        return std::nullopt;
    }
    Record record(recordType.toString(), *id);
    const QJsonObject fields = document.value(kFields).toObject();
    const QJsonObject types = document.value(kFieldTypes).toObject();
    for (auto it = fields.begin(); it != fields.end(); ++it) {
        record.set(it.key(),
                   typedValue(it.value(), types.value(it.key()).toString(), id->zoneName));
    }
    const QJsonObject attachments = document.value(kAttachments).toObject();
    for (auto it = attachments.begin(); it != attachments.end(); ++it) {
        record.set(it.key(), storedAsset(it.value().toObject()));
    }
    const QJsonValue rev = document.value(QStringLiteral("_rev"));
    if (rev.isString()) {
        record.setChangeTag(rev.toString());
    }
    return record;
}

} // namespace mnemora::CouchDocument

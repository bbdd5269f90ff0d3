#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <utility>
#include <variant>

namespace mnemora {

// Names one record: the zone it lives in and its name there.
struct RecordID {
    QString zoneName{};
    QString recordName{};

    bool operator==(const RecordID&) const = default;
    auto operator<=>(const RecordID& other) const {
        return std::pair(zoneName, recordName) <=> std::pair(other.zoneName, other.recordName);
    }
};

// What happens to a record when the record it points at is deleted.
enum class ReferenceAction { none, deleteSelf };

// A pointer from one record to another of the same zone.
struct RecordReference {
    RecordID recordID{};
    ReferenceAction action = ReferenceAction::none;

    bool operator==(const RecordReference&) const = default;
};

// A file carried by a record. To upload, `filePath` names the local file. A record read from the
// store describes the stored bytes instead (`digest`, `length`, `contentType`) and leaves
// `filePath` empty; the bytes come down through the store's download.
struct RecordAsset {
    QString filePath{};
    QString contentType = QStringLiteral("application/octet-stream");
    QString digest{};
    qint64 length = -1;

    bool isStored() const { return filePath.isEmpty() && !digest.isEmpty(); }
    bool operator==(const RecordAsset&) const = default;
};

// The value of one field; the alternatives are the field types, in the order of RecordFieldType.
using RecordValue =
    std::variant<QString, std::int64_t, double, bool, QDateTime, RecordReference, RecordAsset>;

enum class RecordFieldType { string, integer, double_, boolean, date, reference, asset };

RecordFieldType fieldType(const RecordValue& value);

// One record of the store: a type, a name, typed fields and the change tag the store gave it.
// Fields keep the order they were first set in. Setting a field to absent removes it, so that a
// save of the record clears it on the server.
class Record {
public:
    struct Field {
        QString key;
        RecordValue value;

        bool operator==(const Field&) const = default;
    };

    Record() = default;
    Record(QString recordType, RecordID recordID)
        : recordType_(std::move(recordType))
        , recordID_(std::move(recordID)) {}

    const QString& recordType() const { return recordType_; }
    const RecordID& recordID() const { return recordID_; }

    // The server's tag of the version this record was read as or saved as; none for a record
    // that the store has not seen yet. A save with a stale tag is refused by the store.
    const std::optional<QString>& changeTag() const { return changeTag_; }
    void setChangeTag(std::optional<QString> tag) { changeTag_ = std::move(tag); }

    const QList<Field>& fields() const { return fields_; }
    QStringList keys() const;
    const RecordValue* value(const QString& key) const;
    void set(const QString& key, std::optional<RecordValue> value);

    // The value of `key` when it has that type; none when it is absent or of another type.
    template <typename T> std::optional<T> get(const QString& key) const {
        const RecordValue* found = value(key);
        if (found == nullptr) {
            return std::nullopt;
        }
        if (const T* typed = std::get_if<T>(found)) {
            return *typed;
        }
        return std::nullopt;
    }

    // Same type, name, tag and fields; the order of the fields does not count.
    bool operator==(const Record& other) const;

private:
    QString recordType_;
    RecordID recordID_;
    std::optional<QString> changeTag_;
    QList<Field> fields_;
};

} // namespace mnemora

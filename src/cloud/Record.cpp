#include "cloud/Record.h"

namespace mnemora {

RecordFieldType fieldType(const RecordValue& value) {
    return static_cast<RecordFieldType>(value.index());
}

QStringList Record::keys() const {
    QStringList result;
    result.reserve(fields_.size());
    for (const Field& field : fields_) {
        result.append(field.key);
    }
    return result;
}

const RecordValue* Record::value(const QString& key) const {
    for (const Field& field : fields_) {
        if (field.key == key) {
            return &field.value;
        }
    }
    return nullptr;
}

void Record::set(const QString& key, std::optional<RecordValue> value) {
    for (qsizetype i = 0; i < fields_.size(); ++i) {
        if (fields_[i].key != key) {
            continue;
        }
        if (value) {
            fields_[i].value = std::move(*value);
        } else {
            fields_.removeAt(i);
        }
        return;
    }
    if (value) {
        fields_.append(Field{key, std::move(*value)});
    }
}

bool Record::operator==(const Record& other) const {
    if (recordType_ != other.recordType_ || recordID_ != other.recordID_ ||
        changeTag_ != other.changeTag_ || fields_.size() != other.fields_.size()) {
        return false;
    }
    for (const Field& field : fields_) {
        const RecordValue* theirs = other.value(field.key);
        if (theirs == nullptr || !(*theirs == field.value)) {
            return false;
        }
    }
    return true;
}

} // namespace mnemora

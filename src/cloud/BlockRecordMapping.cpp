#include "cloud/BlockRecordMapping.h"

#include "cloud/SyncedDocRecordType.h"
#include "core/MarkdownCodec.h"

#include <algorithm>
#include <limits>
#include <string>
#include <tuple>

namespace mnemora::BlockRecordMapping {

namespace {

using core::Block;

// A block holds its optional texts as core::OptionalString, its other optional fields as
// std::optional; both read and write alike.
template <typename T>
using OptionalMember = std::conditional_t<std::is_same_v<T, std::string>, core::OptionalString,
                                          std::optional<T>>;

template <typename T> struct OptionalField {
    const char* key;
    OptionalMember<T> Block::*member;
};

template <typename T>
concept WireEnum = std::is_enum_v<T> && requires {
    core::WireWords<T>::words;
};

// The optional fields of a block, in writing order, after the five that every block has.
const auto optionalFields = std::make_tuple(
    OptionalField<bool>{"checked", &Block::checked},
    OptionalField<std::string>{"questionID", &Block::questionID},
    OptionalField<core::QuestionCardStatus>{"questionStatus", &Block::questionStatus},
    OptionalField<std::string>{"booksID", &Block::booksID},
    OptionalField<std::string>{"questionKind", &Block::questionKind},
    OptionalField<std::string>{"suggestedActions", &Block::suggestedActions},
    OptionalField<std::string>{"askedBy", &Block::askedBy},
    OptionalField<std::string>{"askedAt", &Block::askedAt},
    OptionalField<std::string>{"answeredBy", &Block::answeredBy},
    OptionalField<std::string>{"answeredAt", &Block::answeredAt},
    OptionalField<std::string>{"appliedAt", &Block::appliedAt},
    OptionalField<std::string>{"answer", &Block::answer},
    OptionalField<std::string>{"audioAssetRef", &Block::audioAssetRef},
    OptionalField<core::VoiceTranscriptionState>{"transcriptionState", &Block::transcriptionState},
    OptionalField<std::int64_t>{"transcriptionProgress", &Block::transcriptionProgress},
    OptionalField<std::string>{"transcriptionPartial", &Block::transcriptionPartial},
    OptionalField<std::string>{"period", &Block::period},
    OptionalField<std::string>{"business", &Block::business},
    OptionalField<core::ClosePhase>{"closePhase", &Block::closePhase},
    OptionalField<std::string>{"activity", &Block::activity},
    OptionalField<std::string>{"startedAt", &Block::startedAt},
    OptionalField<std::string>{"movedAt", &Block::movedAt},
    OptionalField<core::CloseBlockedKind>{"blockedKind", &Block::blockedKind},
    OptionalField<std::string>{"blockedReason", &Block::blockedReason},
    OptionalField<std::int64_t>{"answerableCount", &Block::answerableCount},
    OptionalField<std::string>{"deliverableLabel", &Block::deliverableLabel},
    OptionalField<std::string>{"deliverableDetail", &Block::deliverableDetail},
    OptionalField<core::DeliverableStatus>{"deliverableStatus", &Block::deliverableStatus},
    OptionalField<std::int64_t>{"countDone", &Block::countDone},
    OptionalField<std::int64_t>{"countTotal", &Block::countTotal},
    OptionalField<std::string>{"ledgerDate", &Block::ledgerDate},
    OptionalField<std::string>{"ledgerOrigin", &Block::ledgerOrigin},
    OptionalField<std::string>{"ledgerAmount", &Block::ledgerAmount},
    OptionalField<core::SyncedLedgerState>{"ledgerState", &Block::ledgerState});

// Every field of a block but the five always written (id, kind, level, text, position).
static_assert(std::tuple_size_v<decltype(optionalFields)> == 34);

RecordValue toValue(const std::string& text) {
    return QString::fromStdString(text);
}
RecordValue toValue(bool value) {
    return value;
}
RecordValue toValue(std::int64_t value) {
    return value;
}
template <WireEnum E> RecordValue toValue(E value) {
    const std::string_view word = core::wireWord(value);
    return QString::fromUtf8(word.data(), static_cast<qsizetype>(word.size()));
}

template <typename T> std::optional<T> fromRecord(const Record& record, const QString& key) {
    if constexpr (std::is_same_v<T, std::string>) {
        const auto text = record.get<QString>(key);
        return text ? std::optional(text->toStdString()) : std::nullopt;
    } else if constexpr (WireEnum<T>) {
        const auto word = record.get<QString>(key);
        return word ? core::fromWireWord<T>(word->toStdString()) : std::nullopt;
    } else {
        return record.get<T>(key);
    }
}

QString keyOf(const char* key) {
    return QString::fromLatin1(key);
}

template <typename T> const char* expectedValue() {
    if constexpr (std::is_same_v<T, bool>) {
        return "true or false";
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
        return "an integer";
    } else {
        return "text";
    }
}

// A word of the record as a note shows it: quoted, and cut if long.
std::string quoted(const QString& word) {
    return core::MarkdownCodec::quotedPreview(word.toStdString());
}

core::BlockRepair note(const Record& record, const char* field, std::string detail) {
    return core::BlockRepair{.blockID = core::BlockID(record.recordID().recordName.toStdString()),
                             .field = field,
                             .detail = std::move(detail)};
}

// Why a present field of the record gave no value.
template <typename T> std::string unreadable(const Record& record, const QString& key) {
    if constexpr (WireEnum<T>) {
        if (const auto word = record.get<QString>(key)) {
            return quoted(*word) + " is no known word; read as absent";
        }
    }
    return std::string("is not ") + expectedValue<T>() + "; read as absent";
}

// The field's value; a present value that cannot be read is noted when `repairs` is given.
template <typename T>
std::optional<T> readField(const Record& record, const char* field,
                           std::vector<core::BlockRepair>* repairs) {
    const QString key = keyOf(field);
    std::optional<T> value = fromRecord<T>(record, key);
    if (!value && repairs != nullptr && record.value(key) != nullptr) {
        repairs->push_back(note(record, field, unreadable<T>(record, key)));
    }
    return value;
}

// The block's level as an int: an absent or unreadable one is 0, a larger one is held to the
// range of an int (the engine then brings it into the range of its kind).
int readLevel(const Record& record, std::vector<core::BlockRepair>* repairs) {
    const QString key = QStringLiteral("level");
    const std::optional<std::int64_t> read = record.get<std::int64_t>(key);
    if (!read) {
        if (repairs != nullptr && record.value(key) != nullptr) {
            repairs->push_back(note(record, "level", "is not an integer; read as 0"));
        }
        return 0;
    }
    const std::int64_t level = *read;
    const auto fitted = static_cast<int>(std::clamp<std::int64_t>(
        level, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    if (fitted != level && repairs != nullptr) {
        repairs->push_back(
            note(record, "level",
                 std::to_string(level) + " is out of range; read as " + std::to_string(fitted)));
    }
    return fitted;
}

// Why a block record gives no block, for one that gives none.
core::BlockRepair skipped(const Record& record) {
    for (const char* field : {"position", "text", "kind"}) {
        if (!record.get<QString>(keyOf(field))) {
            return note(record, field, "is missing or not text; record skipped");
        }
    }
    return note(record, "kind",
                quoted(*record.get<QString>(QStringLiteral("kind"))) +
                    " is no block kind; record skipped");
}

std::optional<Block> readBlock(const Record& record, std::vector<core::BlockRepair>* repairs) {
    if (record.recordType() != SyncedDocRecordType::block) {
        return std::nullopt;
    }
    const QByteArray name = record.recordID().recordName.toUtf8();
    if (name.size() > kMaxRecordNameBytes) {
        if (repairs != nullptr) {
            // The note names the block by the start of its name; the whole would flood the log.
            repairs->push_back(core::BlockRepair{
                .blockID = core::BlockID(core::MarkdownCodec::linePreview(name.toStdString())),
                .field = "name",
                .detail = "is " + std::to_string(name.size()) + " bytes, over the " +
                          std::to_string(kMaxRecordNameBytes) + " a record name may have; "
                          "record skipped"});
        }
        return std::nullopt;
    }
    const auto position = record.get<QString>(QStringLiteral("position"));
    const auto text = record.get<QString>(QStringLiteral("text"));
    const auto kind = fromRecord<core::BlockKind>(record, QStringLiteral("kind"));
    if (!position || !text || !kind) {
        if (repairs != nullptr) {
            repairs->push_back(skipped(record));
        }
        return std::nullopt;
    }
    Block block{.id = core::BlockID(record.recordID().recordName.toStdString()),
                .kind = *kind,
                .level = readLevel(record, repairs),
                .text = text->toStdString(),
                .position = core::FractionalIndex(position->toStdString())};
    std::apply(
        [&](const auto&... field) {
            ((block.*field.member = readField<
                  typename std::remove_reference_t<decltype(block.*field.member)>::value_type>(
                  record, field.key, repairs)),
             ...);
        },
        optionalFields);
    return block;
}

} // namespace

RecordID recordID(const Block& block, const QString& zoneName) {
    return RecordID{zoneName, QString::fromStdString(block.id.rawValue)};
}

Record makeRecord(const Block& block, const QString& zoneName,
                  const RecordReference& documentReference) {
    Record record(SyncedDocRecordType::block, recordID(block, zoneName));
    apply(block, record, documentReference);
    return record;
}

void apply(const Block& block, Record& record, const RecordReference& documentReference) {
    record.set(QStringLiteral("documentRef"), documentReference);
    record.set(QStringLiteral("position"), toValue(block.position.key));
    record.set(QStringLiteral("kind"), toValue(block.kind));
    record.set(QStringLiteral("level"), std::int64_t{block.level});
    record.set(QStringLiteral("text"), toValue(block.text));
    std::apply(
        [&](const auto&... field) {
            ((block.*field.member ? record.set(keyOf(field.key), toValue(*(block.*field.member)))
                                  : record.set(keyOf(field.key), std::nullopt)),
             ...);
        },
        optionalFields);
}

std::optional<Block> block(const Record& record) {
    return readBlock(record, nullptr);
}

std::optional<Block> block(const Record& record, std::vector<core::BlockRepair>& repairs) {
    return readBlock(record, &repairs);
}

} // namespace mnemora::BlockRecordMapping

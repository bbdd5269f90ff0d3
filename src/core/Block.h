#pragma once

#include "core/BlockID.h"
#include "core/BlockKind.h"
#include "core/CloseBlockedKind.h"
#include "core/ClosePhase.h"
#include "core/DeliverableStatus.h"
#include "core/FractionalIndex.h"
#include "core/QuestionCardStatus.h"
#include "core/SyncedLedgerState.h"
#include "core/VoiceTranscriptionState.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>

namespace mnemora::core {

// One line of a synced document. The value is flat on purpose: the same fields travel unchanged
// through the file, the sidecar and the cloud record, and a field that a kind does not use stays
// absent everywhere. Build it with designated initialisers; every optional field defaults to
// absent, and an omitted `id` is freshly minted. Every field has a default member initialiser so
// that designated initialisers may leave fields out without -Wmissing-field-initializers.
struct Block {
    struct ContentKey;

    BlockID id{};
    BlockKind kind = BlockKind::text;
    int level = 0; // heading depth 1 to 6; 0 for every other kind
    std::string text{};
    std::optional<bool> checked{};
    FractionalIndex position{};
    std::optional<std::string> questionID{};
    std::optional<QuestionCardStatus> questionStatus{};
    std::optional<std::string> booksID{};
    std::optional<std::string> questionKind{};
    std::optional<std::string> suggestedActions{};
    std::optional<std::string> askedBy{};
    std::optional<std::string> askedAt{};
    std::optional<std::string> answeredBy{};
    std::optional<std::string> answeredAt{};
    std::optional<std::string> appliedAt{};
    std::optional<std::string> answer{};
    std::optional<std::string> audioAssetRef{};
    std::optional<VoiceTranscriptionState> transcriptionState{};
    std::optional<std::int64_t> transcriptionProgress{};
    std::optional<std::string> transcriptionPartial{};
    std::optional<std::string> period{};
    std::optional<std::string> business{};
    std::optional<ClosePhase> closePhase{};
    std::optional<std::string> activity{};
    std::optional<std::string> startedAt{};
    std::optional<std::string> movedAt{};
    std::optional<CloseBlockedKind> blockedKind{};
    std::optional<std::string> blockedReason{};
    std::optional<std::int64_t> answerableCount{};
    std::optional<std::string> deliverableLabel{};
    std::optional<std::string> deliverableDetail{};
    std::optional<DeliverableStatus> deliverableStatus{};
    std::optional<std::int64_t> countDone{};
    std::optional<std::int64_t> countTotal{};
    std::optional<std::string> ledgerDate{};
    std::optional<std::string> ledgerOrigin{};
    std::optional<std::string> ledgerAmount{};
    std::optional<SyncedLedgerState> ledgerState{};

    // All 39 fields.
    bool operator==(const Block&) const = default;

    // The block without `id` and `position`.
    ContentKey contentKey() const;

    // Same content key; an absent field differs from an empty one. Compares in place without
    // building the keys.
    bool hasSameContent(const Block& other) const;

    // Equals std::hash<ContentKey>{}(contentKey()) without copying the fields, so callers that
    // compare many blocks pairwise can hash each block once and compare hashes first.
    std::size_t contentHash() const;

private:
    auto contentFields() const {
        return std::tie(kind, level, text, checked, questionID, questionStatus, booksID,
                        questionKind, suggestedActions, askedBy, askedAt, answeredBy, answeredAt,
                        appliedAt, answer, audioAssetRef, transcriptionState, transcriptionProgress,
                        transcriptionPartial, period, business, closePhase, activity, startedAt,
                        movedAt, blockedKind, blockedReason, answerableCount, deliverableLabel,
                        deliverableDetail, deliverableStatus, countDone, countTotal, ledgerDate,
                        ledgerOrigin, ledgerAmount, ledgerState);
    }
};

// The 37 content fields of a block, in the order of Block, as one hashable value.
struct Block::ContentKey {
    BlockKind kind = BlockKind::text;
    int level = 0;
    std::string text{};
    std::optional<bool> checked{};
    std::optional<std::string> questionID{};
    std::optional<QuestionCardStatus> questionStatus{};
    std::optional<std::string> booksID{};
    std::optional<std::string> questionKind{};
    std::optional<std::string> suggestedActions{};
    std::optional<std::string> askedBy{};
    std::optional<std::string> askedAt{};
    std::optional<std::string> answeredBy{};
    std::optional<std::string> answeredAt{};
    std::optional<std::string> appliedAt{};
    std::optional<std::string> answer{};
    std::optional<std::string> audioAssetRef{};
    std::optional<VoiceTranscriptionState> transcriptionState{};
    std::optional<std::int64_t> transcriptionProgress{};
    std::optional<std::string> transcriptionPartial{};
    std::optional<std::string> period{};
    std::optional<std::string> business{};
    std::optional<ClosePhase> closePhase{};
    std::optional<std::string> activity{};
    std::optional<std::string> startedAt{};
    std::optional<std::string> movedAt{};
    std::optional<CloseBlockedKind> blockedKind{};
    std::optional<std::string> blockedReason{};
    std::optional<std::int64_t> answerableCount{};
    std::optional<std::string> deliverableLabel{};
    std::optional<std::string> deliverableDetail{};
    std::optional<DeliverableStatus> deliverableStatus{};
    std::optional<std::int64_t> countDone{};
    std::optional<std::int64_t> countTotal{};
    std::optional<std::string> ledgerDate{};
    std::optional<std::string> ledgerOrigin{};
    std::optional<std::string> ledgerAmount{};
    std::optional<SyncedLedgerState> ledgerState{};

    bool operator==(const ContentKey&) const = default;

    std::size_t hash() const;

private:
    friend struct Block;

    auto fields() const {
        return std::tie(kind, level, text, checked, questionID, questionStatus, booksID,
                        questionKind, suggestedActions, askedBy, askedAt, answeredBy, answeredAt,
                        appliedAt, answer, audioAssetRef, transcriptionState, transcriptionProgress,
                        transcriptionPartial, period, business, closePhase, activity, startedAt,
                        movedAt, blockedKind, blockedReason, answerableCount, deliverableLabel,
                        deliverableDetail, deliverableStatus, countDone, countTotal, ledgerDate,
                        ledgerOrigin, ledgerAmount, ledgerState);
    }
};

} // namespace mnemora::core

template <> struct std::hash<mnemora::core::Block::ContentKey> {
    std::size_t operator()(const mnemora::core::Block::ContentKey& key) const noexcept {
        return key.hash();
    }
};

template <> struct std::hash<mnemora::core::Block> {
    std::size_t operator()(const mnemora::core::Block& block) const noexcept;
};

#pragma once

#include "core/BlockID.h"
#include "core/BlockKind.h"
#include "core/CloseBlockedKind.h"
#include "core/ClosePhase.h"
#include "core/DeliverableStatus.h"
#include "core/FractionalIndex.h"
#include "core/OptionalString.h"
#include "core/QuestionCardStatus.h"
#include "core/SyncedLedgerState.h"
#include "core/VoiceTranscriptionState.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {

// One line of a synced document. The value is flat on purpose: the same fields travel unchanged
// through the file, the sidecar and the cloud record, and a field that a kind does not use stays
// absent everywhere. Build it with designated initialisers; every optional field defaults to
// absent, and an omitted `id` is freshly minted. Every field has a default member initialiser so
// that designated initialisers may leave fields out without -Wmissing-field-initializers.
//
// The fields are listed in core/BlockFields.def and nowhere else.
struct Block {
    struct ContentKey;

#define MNEMORA_BLOCK_PLACE(Type, name, column) Type name{};
#define MNEMORA_BLOCK_CONTENT(Type, name, init) Type name{init};
#include "core/BlockFields.def"

    // Every field.
    bool operator==(const Block&) const = default;

    // The block without `id` and `position`.
    ContentKey contentKey() const;

    // Same content key; an absent field differs from an empty one. Compares in place without
    // building the keys.
    bool hasSameContent(const Block& other) const;

    // Equals std::hash<ContentKey>{}(contentKey()) without copying the fields, so callers that
    // compare many blocks pairwise can hash each block once and compare hashes first.
    std::size_t contentHash() const;
};

// The content fields of a block (all but `id` and `position`), in the order of Block, as one
// hashable value.
struct Block::ContentKey {
#define MNEMORA_BLOCK_CONTENT(Type, name, init) Type name{init};
#include "core/BlockFields.def"

    bool operator==(const ContentKey&) const = default;

    std::size_t hash() const;
};

// How many fields a block has, and how many of them are content.
inline constexpr std::size_t kBlockFieldCount = 0
#define MNEMORA_BLOCK_FIELD(Type, name) +1
#include "core/BlockFields.def"
    ;

inline constexpr std::size_t kBlockContentFieldCount = 0
#define MNEMORA_BLOCK_CONTENT(Type, name, init) +1
#include "core/BlockFields.def"
    ;

// Calls `visit(name, field)` for each content field of `block` (a Block or a ContentKey, const
// or not), in declaration order. For code that treats the fields by their type.
template <typename Content, typename Visit>
void forEachContentField(Content& block, Visit&& visit) {
#define MNEMORA_BLOCK_CONTENT(Type, name, init) visit(#name, block.name);
#include "core/BlockFields.def"
}

// Orders blocks by position; blocks of equal position keep their order.
void sortByPosition(std::vector<Block>& blocks);

// Makes room for at least `count` blocks, as std::vector::reserve. A block is some hundreds of
// bytes, so the list of a long document spans tens of megabytes, and touching it page by page for
// the first time costs more than everything done with it; such a list asks the kernel for large
// pages.
void reserveBlocks(std::vector<Block>& blocks, std::size_t count);

} // namespace mnemora::core

template <> struct std::hash<mnemora::core::Block::ContentKey> {
    std::size_t operator()(const mnemora::core::Block::ContentKey& key) const noexcept {
        return key.hash();
    }
};

template <> struct std::hash<mnemora::core::Block> {
    std::size_t operator()(const mnemora::core::Block& block) const noexcept;
};

#pragma once

#include "core/Block.h"
#include "core/BlockID.h"
#include "core/WireWord.h"

#include <memory>
#include <optional>
#include <utility>
#include <variant>

namespace mnemora::core {

// One change to one block of a document, as the matcher reports it and as the cloud delivers it.
// Every case but `delete_` carries the whole block; a delete carries only the identifier.
//
// The block is immutable once in an operation, so copies of an operation share it, and the
// operations of one diff can all point into the one list of the new document (`sharing`) instead
// of each holding a copy of its block: a long document is then not held twice.
class BlockOp {
public:
    // `delete` is a C++ keyword, hence the trailing underscore; its wire word is "delete".
    enum class Kind {
        keep,    // same identity, same content, same position
        edit,    // same identity, changed content; the position may have changed as well
        add,     // a fresh identity with an assigned position
        delete_, // the old block is gone
        move,    // same identity, same content, new position
    };

    static BlockOp keep(Block block) { return BlockOp(Kind::keep, held(std::move(block))); }
    static BlockOp edit(Block block) { return BlockOp(Kind::edit, held(std::move(block))); }
    static BlockOp add(Block block) { return BlockOp(Kind::add, held(std::move(block))); }
    static BlockOp delete_(BlockID id) { return BlockOp(Kind::delete_, std::move(id)); }
    static BlockOp move(Block block) { return BlockOp(Kind::move, held(std::move(block))); }

    // An operation of any kind but `delete_` on a block that is already held elsewhere, which
    // nobody changes any more; `block` must not be null.
    static BlockOp sharing(Kind kind, std::shared_ptr<const Block> block) {
        return BlockOp(kind, std::move(block));
    }

    Kind kind() const { return kind_; }

    // The block's identifier in every case.
    const BlockID& id() const {
        if (const Block* block = blockIfAny()) {
            return block->id;
        }
        return std::get<BlockID>(payload_);
    }

    // The payload; absent for a delete.
    std::optional<Block> block() const {
        if (const Block* block = blockIfAny()) {
            return *block;
        }
        return std::nullopt;
    }

    // The payload without a copy; null for a delete.
    const Block* blockIfAny() const {
        const auto* block = std::get_if<std::shared_ptr<const Block>>(&payload_);
        return block ? block->get() : nullptr;
    }

    // By value: the same kind and the same block, or the same deleted identifier.
    bool operator==(const BlockOp& other) const {
        if (kind_ != other.kind_) {
            return false;
        }
        const Block* block = blockIfAny();
        const Block* otherBlock = other.blockIfAny();
        if (block && otherBlock) {
            return block == otherBlock || *block == *otherBlock;
        }
        return !block && !otherBlock && id() == other.id();
    }

private:
    using Payload = std::variant<std::shared_ptr<const Block>, BlockID>;

    static std::shared_ptr<const Block> held(Block block) {
        return std::make_shared<const Block>(std::move(block));
    }

    BlockOp(Kind kind, Payload payload)
        : kind_(kind)
        , payload_(std::move(payload)) {}

    Kind kind_;
    Payload payload_;
};

template <> struct WireWords<BlockOp::Kind> {
    static constexpr std::array<std::string_view, 5> words{"keep", "edit", "add", "delete", "move"};
};

} // namespace mnemora::core

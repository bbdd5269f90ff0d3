#pragma once

#include "core/Block.h"
#include "core/BlockID.h"
#include "core/WireWord.h"

#include <optional>
#include <utility>
#include <variant>

namespace mnemora::core {

// One change to one block of a document, as the matcher reports it and as the cloud delivers it.
// Every case but `delete_` carries the whole block; a delete carries only the identifier.
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

    static BlockOp keep(Block block) { return BlockOp(Kind::keep, std::move(block)); }
    static BlockOp edit(Block block) { return BlockOp(Kind::edit, std::move(block)); }
    static BlockOp add(Block block) { return BlockOp(Kind::add, std::move(block)); }
    static BlockOp delete_(BlockID id) { return BlockOp(Kind::delete_, std::move(id)); }
    static BlockOp move(Block block) { return BlockOp(Kind::move, std::move(block)); }

    Kind kind() const { return kind_; }

    // The block's identifier in every case.
    const BlockID& id() const {
        if (const Block* block = std::get_if<Block>(&payload_)) {
            return block->id;
        }
        return std::get<BlockID>(payload_);
    }

    // The payload; absent for a delete.
    std::optional<Block> block() const {
        if (const Block* block = std::get_if<Block>(&payload_)) {
            return *block;
        }
        return std::nullopt;
    }

    // The payload without a copy; null for a delete.
    const Block* blockIfAny() const { return std::get_if<Block>(&payload_); }

    bool operator==(const BlockOp&) const = default;

private:
    BlockOp(Kind kind, std::variant<Block, BlockID> payload)
        : kind_(kind)
        , payload_(std::move(payload)) {}

    Kind kind_;
    std::variant<Block, BlockID> payload_;
};

template <> struct WireWords<BlockOp::Kind> {
    static constexpr std::array<std::string_view, 5> words{"keep", "edit", "add", "delete", "move"};
};

} // namespace mnemora::core

#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

namespace mnemora::core {

// The stable identity of a block. It is minted once and kept across edits of the file; the
// cloud record of a block is named after it.
class BlockID {
public:
    // Mints a fresh identifier: the upper-case text of a random UUID.
    BlockID();
    // Wraps a stored identifier (sidecar row, cloud record name) as it is.
    explicit BlockID(std::string rawValue)
        : rawValue(std::move(rawValue)) {}

    const std::string& description() const { return rawValue; }

    bool operator==(const BlockID&) const = default;
    std::strong_ordering operator<=>(const BlockID&) const = default;

    std::string rawValue;
};

std::ostream& operator<<(std::ostream& out, const BlockID& id);

} // namespace mnemora::core

template <> struct std::hash<mnemora::core::BlockID> {
    std::size_t operator()(const mnemora::core::BlockID& id) const noexcept {
        return std::hash<std::string>{}(id.rawValue);
    }
};

#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {

// The order key of a block: a base-36 fraction written with "0123456789abcdefghijklmnopqrstuvwxyz",
// most significant digit first. Keys order by plain byte comparison of their text, so a block
// can be placed between two others without renumbering anything.
class FractionalIndex {
public:
    FractionalIndex() = default;
    // Wraps any text without checking it; characters outside the alphabet read as digit 0.
    explicit FractionalIndex(std::string key)
        : key(std::move(key)) {}

    const std::string& description() const { return key; }

    bool operator==(const FractionalIndex&) const = default;
    std::strong_ordering operator<=>(const FractionalIndex&) const = default;

    // A key strictly between `lower` and `upper`; an absent bound is open. Stops the program
    // when the bounds are inverted or equal, when asked for a key below an all-zero key, and
    // when no key of at most 199 digits lies between the bounds.
    static FractionalIndex between(const std::optional<FractionalIndex>& lower,
                                   const std::optional<FractionalIndex>& upper);

    // Keys for a brand-new list of `count` items (empty below 1), ascending, spread evenly at the
    // shortest width that holds them (about log36 of the count), none ending in "0": one item
    // gets "i", three get "9", "i", "r". Stored keys are never rebalanced.
    static std::vector<FractionalIndex> evenlySpaced(int count);

    // Keys for `count` items appended after the key `lower` with nothing after them, ascending,
    // spread evenly over the rest of the range above `lower` at the shortest width that holds
    // them: one item after "i" gets "r", one after "z" gets "zi". Their width never exceeds
    // that of `lower` followed by evenlySpaced(count), and stays near log36 of the count unless
    // `lower` is a run of "z". A `lower` that is not well formed gets exactly that, so the new
    // keys still sort after it.
    static std::vector<FractionalIndex> evenlySpacedAfter(const FractionalIndex& lower, int count);

    // Whether between() can always work with this key: it is not empty, uses only the alphabet
    // and does not end in "0". Every key made here is such a key; one that came in from outside
    // (a cloud record, an older file) must be checked before it is stored.
    bool isWellFormed() const;

    std::string key;
};

std::ostream& operator<<(std::ostream& out, const FractionalIndex& index);

} // namespace mnemora::core

template <> struct std::hash<mnemora::core::FractionalIndex> {
    std::size_t operator()(const mnemora::core::FractionalIndex& index) const noexcept {
        return std::hash<std::string>{}(index.key);
    }
};

#pragma once

#include "core/Block.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

// Values for a block's fields chosen by their type, so that a test reaches every field of the
// table, one added later included, without listing them.
namespace mnemora::core {

template <typename T> struct IsOptional : std::false_type {};
template <typename T> struct IsOptional<std::optional<T>> : std::true_type {};
template <> struct IsOptional<OptionalString> : std::true_type {};

// Another value than the field holds: a present value changes; an absent one becomes the empty
// value of its type, which must count as different from absent.
template <typename T> void changeField(T& field) {
    if constexpr (IsOptional<T>::value) {
        field ? changeField(*field) : void(field.emplace());
    } else if constexpr (std::is_enum_v<T>) {
        field = static_cast<T>((static_cast<std::size_t>(field) + 1) % WireWords<T>::words.size());
    } else if constexpr (std::is_same_v<T, bool>) {
        field = !field;
    } else if constexpr (std::is_same_v<T, std::string>) {
        field += "!";
    } else {
        ++field;
    }
}

// Calls `change(name, field)` for the content field at `index` only.
template <typename Change> void changeContentField(Block& block, std::size_t index, Change change) {
    std::size_t at = 0;
    forEachContentField(block, [&](std::string_view name, auto& field) {
        if (at++ == index) {
            change(name, field);
        }
    });
}

// Every field set to a value unlike its default: texts that need quoting and escaping, each named
// after its field so that no two are alike; numbers far from zero on both sides; the last case of
// each enumeration.
inline Block blockWithEveryField() {
    Block block{.id = BlockID("3F2504E0-4F89-41D3-9D0C-0305E82C3301"),
                .position = FractionalIndex("i9")};
    std::int64_t count = 0;
    forEachContentField(block, [&count](std::string_view name, auto& field) {
        using T = std::remove_reference_t<decltype(field)>;
        using Value =
            typename std::conditional_t<IsOptional<T>::value, T, std::optional<T>>::value_type;
        Value value{};
        if constexpr (std::is_enum_v<Value>) {
            value = static_cast<Value>(WireWords<Value>::words.size() - 1);
        } else if constexpr (std::is_same_v<Value, std::string>) {
            value = std::string(name) + " \"quoted\" :: caf\u00e9 \u2615\nnext line";
        } else if constexpr (std::is_same_v<Value, bool>) {
            value = true;
        } else if constexpr (std::is_same_v<Value, int>) {
            value = 3;
        } else {
            ++count;
            value = static_cast<Value>(count % 2 == 0 ? -count : 9007199254740993 + count);
        }
        field = value;
    });
    return block;
}

} // namespace mnemora::core

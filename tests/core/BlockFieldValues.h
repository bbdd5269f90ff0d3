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

// Another value than the field holds: a present value changes; an absent one becomes the empty
// value of its type, which must count as different from absent.
inline void changeField(std::string& field) {
    field += "!";
}
inline void changeField(int& field) {
    ++field;
}
inline void changeField(bool& field) {
    field = !field;
}
inline void changeField(std::int64_t& field) {
    ++field;
}
template <typename E>
requires std::is_enum_v<E>
void changeField(E& field) {
    field = static_cast<E>((static_cast<std::size_t>(field) + 1) % WireWords<E>::words.size());
}
template <typename T> void changeField(std::optional<T>& field) {
    if (field) {
        changeField(*field);
    } else {
        field = T{};
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

// Fills each field with a value unlike its default: texts that need quoting and escaping, each
// named after its field so that no two are alike; numbers far from zero on both sides; the last
// case of each enumeration.
class EveryFieldFiller {
public:
    void operator()(std::string_view name, std::string& field) {
        field = std::string(name) + " \"quoted\" :: caf\u00e9 \u2615\nnext line";
    }
    void operator()(std::string_view, int& field) { field = 3; }
    void operator()(std::string_view, bool& field) { field = true; }
    void operator()(std::string_view, std::int64_t& field) {
        ++count_;
        field = count_ % 2 == 0 ? -count_ : 9007199254740993 + count_;
    }
    template <typename E>
    requires std::is_enum_v<E>
    void operator()(std::string_view, E& field) {
        field = static_cast<E>(WireWords<E>::words.size() - 1);
    }
    template <typename T> void operator()(std::string_view name, std::optional<T>& field) {
        T value{};
        (*this)(name, value);
        field = std::move(value);
    }

private:
    std::int64_t count_ = 0;
};

inline Block blockWithEveryField() {
    Block block{.id = BlockID("3F2504E0-4F89-41D3-9D0C-0305E82C3301"),
                .position = FractionalIndex("i9")};
    forEachContentField(block, EveryFieldFiller{});
    return block;
}

} // namespace mnemora::core

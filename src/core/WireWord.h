#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace mnemora::core {

// Each payload enumeration specialises this with `words`, its raw words in case order. The same
// words are written to the file, the sidecar and the cloud record.
template <typename E> struct WireWords;

template <typename E> constexpr std::string_view wireWord(E value) {
    return WireWords<E>::words[static_cast<std::size_t>(value)];
}

// The case whose raw word is `word`, compared byte for byte; nothing for an unknown word.
template <typename E> constexpr std::optional<E> fromWireWord(std::string_view word) {
    const auto& words = WireWords<E>::words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == word) {
            return static_cast<E>(i);
        }
    }
    return std::nullopt;
}

} // namespace mnemora::core

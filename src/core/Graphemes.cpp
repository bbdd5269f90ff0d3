#include "core/Graphemes.h"

#include <utf8proc.h>

namespace mnemora::core::Graphemes {

namespace {

// Calls `onStart(offset)` at the byte offset where each character begins.
template <typename OnStart> void forEachStart(std::string_view text, OnStart onStart) {
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto size = static_cast<utf8proc_ssize_t>(text.size());
    utf8proc_int32_t previous = 0;
    bool previousInvalid = false;
    utf8proc_int32_t state = 0;
    for (utf8proc_ssize_t pos = 0; pos < size;) {
        utf8proc_int32_t codepoint = 0;
        utf8proc_ssize_t length = utf8proc_iterate(bytes + pos, size - pos, &codepoint);
        const bool invalid = length <= 0;
        if (pos == 0 || invalid || previousInvalid ||
            utf8proc_grapheme_break_stateful(previous, codepoint, &state)) {
            onStart(static_cast<std::size_t>(pos));
        }
        if (invalid) {
            length = 1;
            state = 0;
        }
        previous = codepoint;
        previousInvalid = invalid;
        pos += length;
    }
}

} // namespace

std::vector<std::string_view> split(std::string_view text) {
    std::vector<std::string_view> characters;
    characters.reserve(text.size());
    std::size_t start = 0;
    forEachStart(text, [&](std::size_t offset) {
        if (offset > 0) {
            characters.push_back(text.substr(start, offset - start));
        }
        start = offset;
    });
    if (!text.empty()) {
        characters.push_back(text.substr(start));
    }
    return characters;
}

std::size_t count(std::string_view text) {
    std::size_t characters = 0;
    forEachStart(text, [&characters](std::size_t) { ++characters; });
    return characters;
}

} // namespace mnemora::core::Graphemes

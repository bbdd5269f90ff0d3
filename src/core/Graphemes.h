#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

// User-perceived characters (grapheme clusters), so that text is measured and compared as a
// person reads it. A byte that does not start a valid UTF-8 sequence stands alone as one
// character, so damaged text still measures sensibly instead of failing.
namespace mnemora::core::Graphemes {

// The characters of `text`, in order; they join up to `text` again.
std::vector<std::string_view> split(std::string_view text);

// How many characters `text` holds.
std::size_t count(std::string_view text);

} // namespace mnemora::core::Graphemes

#pragma once

#include "core/Block.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Reads and writes the text of a synced document. One line is one block. Headings, checkboxes and
// paragraphs are plain Markdown; the four typed kinds take one line each: a marker, a row of
// blank-separated tokens, " :: " and the visible text, e.g. "▸ Bank%20statement - partial 3 5 ::
// Bank statement 3 of 5".
//
// The file must never lose a byte: a line that claims a typed kind but fails any check is kept as
// a `text` block holding the whole line, and the reason is reported as a Degradation. So
// serialize(parse(text)) == text for every input, valid UTF-8 or not. Parsing never fails.
namespace mnemora::core::MarkdownCodec {

// One line that claimed a typed kind and was kept as text.
struct Degradation {
    BlockKind claimedKind = BlockKind::text;
    std::string reason{};
    // The line, or its first 80 user-perceived characters and "…" when it is longer.
    std::string linePreview{};

    bool operator==(const Degradation&) const = default;
};

// Splits on every "\n" (a "\r" stays in its line; a trailing line feed gives a last empty line,
// the empty text one empty line) and reads each line. Every block gets a fresh BlockID and the
// next key of FractionalIndex::evenlySpaced: identity is recovered later by matching.
std::vector<Block> parse(std::string_view text);

// As above, appending one entry per degraded line to `degradations`, in line order.
std::vector<Block> parse(std::string_view text, std::vector<Degradation>& degradations);

// Sorts the blocks by position (equal positions keep their order) and joins their lines with
// "\n". Block text is not escaped, so a line feed in it becomes a line break.
std::string serialize(std::span<const Block> blocks);

// One block's line, without a line end.
std::string serializeLine(const Block& block);

// A token for an optional string: "-" for absent or empty, "%2D" for "-" itself, "%3A%3A" for
// "::" itself, otherwise the text with line feed, carriage return, blank and percent sign written
// %0A, %0D, %20 and %25.
std::string encodeToken(const std::optional<std::string>& value);

// Absent for "-"; otherwise %2D, %0D, %0A, %20, %3A and %25 replaced in that order, one pass each.
std::optional<std::string> decodeToken(std::string_view token);

// `line` cut after 80 grapheme clusters with "…" appended; unchanged when it is not longer. A byte
// that is not valid UTF-8 counts as one character and is kept as it is.
std::string linePreview(std::string_view line);
// The preview in double quotes, as the notes of a repair show a word that came in.
std::string quotedPreview(std::string_view line);

} // namespace mnemora::core::MarkdownCodec

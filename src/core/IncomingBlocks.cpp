#include "core/IncomingBlocks.h"

#include "core/MarkdownCodec.h"

#include <algorithm>
#include <optional>
#include <string>
#include <type_traits>

namespace mnemora::core::IncomingBlocks {

namespace {

// Cuts `value` to at most kMaxFieldBytes without splitting a UTF-8 sequence.
void cap(std::string& value, std::string_view name, const BlockID& id,
         std::vector<BlockRepair>& repairs) {
    if (value.size() <= kMaxFieldBytes) {
        return;
    }
    const std::size_t before = value.size();
    std::size_t end = kMaxFieldBytes;
    while (end > 0 && (static_cast<unsigned char>(value[end]) & 0xC0) == 0x80) {
        --end;
    }
    value.resize(end);
    repairs.push_back(
        {.blockID = id,
         .field = std::string(name),
         .detail = "cut from " + std::to_string(before) + " to " + std::to_string(end) + " bytes"});
}

void joinLines(Block& block, std::vector<BlockRepair>& repairs) {
    const auto breaks =
        static_cast<std::size_t>(std::count(block.text.begin(), block.text.end(), '\n'));
    if (breaks == 0) {
        return;
    }
    std::replace(block.text.begin(), block.text.end(), '\n', ' ');
    repairs.push_back(
        {.blockID = block.id,
         .field = "text",
         .detail = (breaks == 1 ? std::string("a line break became a blank")
                                : std::to_string(breaks) + " line breaks became blanks") +
                   ", since a block is one line of the file"});
}

void fitLevel(Block& block, std::vector<BlockRepair>& repairs) {
    const bool heading = block.kind == BlockKind::heading;
    const int fitted = heading ? std::clamp(block.level, 1, 6) : 0;
    if (fitted == block.level) {
        return;
    }
    const std::string was = "level " + std::to_string(block.level);
    repairs.push_back({.blockID = block.id,
                       .field = "level",
                       .detail = heading
                                     ? was + " is no heading level; now " + std::to_string(fitted)
                                     : was + " on a block of kind " +
                                           MarkdownCodec::quotedPreview(wireWord(block.kind)) +
                                           ", which has none; now 0"});
    block.level = fitted;
}

// The names of the content fields in which two blocks differ, joined by ", ".
std::string differingFields(const Block& a, const Block& b) {
    std::string names;
    forEachContentField(a, [&](std::string_view name, const auto& field) {
        forEachContentField(b, [&](std::string_view otherName, const auto& other) {
            if constexpr (std::is_same_v<decltype(field), decltype(other)>) {
                if (name == otherName && field != other) {
                    names += (names.empty() ? "" : ", ") + std::string(name);
                }
            }
        });
    });
    return names;
}

// Content lives in the file on this desktop, so a block is stored as its line reads back.
// Otherwise reading the file back would take the line for another block, and the block would
// lose its identity (a `text` block "# Milk" reads as a heading, an empty answer as none).
void matchTheFile(Block& block, std::vector<BlockRepair>& repairs) {
    const std::string line = MarkdownCodec::serializeLine(block);
    const std::vector<Block> read = MarkdownCodec::parse(line);
    if (read.size() != 1 || read.front().hasSameContent(block)) {
        return;
    }
    const std::string fields = differingFields(block, read.front());
    BlockID id = block.id;
    FractionalIndex position = block.position;
    block = read.front();
    block.id = std::move(id);
    block.position = std::move(position);
    repairs.push_back(
        {.blockID = block.id,
         .field = fields,
         .detail = "taken as the file reads the line " + MarkdownCodec::quotedPreview(line)});
}

// Why a key cannot be kept as it is; empty when it can.
std::string faultOf(const FractionalIndex& position) {
    const std::string& key = position.key;
    if (key.empty()) {
        return "is empty";
    }
    if (key.size() > kMaxFieldBytes) {
        return "is longer than " + std::to_string(kMaxFieldBytes) + " bytes";
    }
    if (position.isWellFormed()) {
        return {};
    }
    // With a digit after it the key is well formed only if all its characters are.
    if (FractionalIndex(key + "1").isWellFormed()) {
        return "ends in \"0\"";
    }
    return "has characters other than 0-9 and a-z";
}

bool positionThenID(const Block& a, const Block& b) {
    if (a.position != b.position) {
        return a.position < b.position;
    }
    return a.id < b.id;
}

} // namespace

void repairFields(Block& block, std::vector<BlockRepair>& repairs) {
    forEachContentField(block, [&](std::string_view name, auto& field) {
        using T = std::remove_reference_t<decltype(field)>;
        if constexpr (std::is_same_v<T, std::string>) {
            cap(field, name, block.id, repairs);
        } else if constexpr (std::is_same_v<T, OptionalString>) {
            if (field) {
                cap(*field, name, block.id, repairs);
            }
        }
    });
    joinLines(block, repairs);
    fitLevel(block, repairs);
    matchTheFile(block, repairs);
}

void repairPositions(std::vector<Block>& blocks, std::vector<BlockRepair>& repairs) {
    std::sort(blocks.begin(), blocks.end(), positionThenID);
    std::optional<FractionalIndex> last;
    // The first key after the current block that may stay, found once for a run of repairs.
    std::size_t upperAt = 0;
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        Block& block = blocks[k];
        std::string fault = faultOf(block.position);
        if (fault.empty() && (!last || *last < block.position)) {
            last = block.position;
            continue;
        }
        if (fault.empty()) {
            // In key order a usable key that is not above the one before it equals it.
            fault = "is also the key of the block before it";
        }
        if (upperAt <= k) {
            upperAt = k + 1;
            while (upperAt < blocks.size() && (!faultOf(blocks[upperAt].position).empty() ||
                                               (last && !(*last < blocks[upperAt].position)))) {
                ++upperAt;
            }
        }
        const std::optional<FractionalIndex> upper =
            upperAt < blocks.size() ? std::optional(blocks[upperAt].position) : std::nullopt;
        FractionalIndex fresh = FractionalIndex::between(last, upper);
        repairs.push_back({.blockID = block.id,
                           .field = "position",
                           .detail = MarkdownCodec::quotedPreview(block.position.key) + " " +
                                     fault + "; now " + MarkdownCodec::quotedPreview(fresh.key)});
        block.position = std::move(fresh);
        last = block.position;
    }
}

} // namespace mnemora::core::IncomingBlocks

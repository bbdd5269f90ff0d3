#include "core/LedgerDoc.h"

#include "core/FractionalIndex.h"
#include "core/Graphemes.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace mnemora::core {

namespace {

bool isWhiteSpaceOrLineEnd(utf8proc_int32_t codepoint) {
    if ((codepoint >= 0x09 && codepoint <= 0x0D) || codepoint == 0x85) {
        return true;
    }
    const auto category = utf8proc_category(codepoint);
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
           category == UTF8PROC_CATEGORY_ZP;
}

// Trims Unicode white space and line ends, then lower-cases code point by code point.
std::string trimmedLowercase(std::string_view text) {
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto size = static_cast<utf8proc_ssize_t>(text.size());
    std::vector<utf8proc_int32_t> codepoints;
    for (utf8proc_ssize_t pos = 0; pos < size;) {
        utf8proc_int32_t codepoint = 0;
        const utf8proc_ssize_t length = utf8proc_iterate(bytes + pos, size - pos, &codepoint);
        if (length <= 0) {
            // Damaged text can never equal one of the known origins.
            return std::string(text);
        }
        codepoints.push_back(codepoint);
        pos += length;
    }
    auto first = std::ranges::find_if_not(codepoints, isWhiteSpaceOrLineEnd);
    auto last = std::find_if_not(codepoints.rbegin(), std::make_reverse_iterator(first),
                                 isWhiteSpaceOrLineEnd)
                    .base();
    std::string result;
    for (auto it = first; it != last; ++it) {
        std::array<utf8proc_uint8_t, 4> encoded{};
        const auto length = utf8proc_encode_char(utf8proc_tolower(*it), encoded.data());
        result.append(reinterpret_cast<const char*>(encoded.data()),
                      static_cast<std::size_t>(length));
    }
    return result;
}

} // namespace

std::string LedgerDoc::Row::shortDate() const {
    const auto firstDash = date.find('-');
    if (firstDash == std::string::npos) {
        return date;
    }
    const auto secondDash = date.find('-', firstDash + 1);
    if (secondDash == std::string::npos || date.find('-', secondDash + 1) != std::string::npos) {
        return date;
    }
    // A year is measured as a person reads it.
    if (Graphemes::count(std::string_view(date).substr(0, firstDash)) != 4) {
        return date;
    }
    return date.substr(firstDash + 1);
}

std::string LedgerDoc::Row::stateLine() const {
    switch (state) {
    case SyncedLedgerState::working:
        return "still looking";
    case SyncedLedgerState::asking:
        return "asking you";
    case SyncedLedgerState::found:
        break;
    }
    if (origin) {
        std::string source = trimmedLowercase(*origin);
        if (source == "your bank" || source == "your mail" || source == "your photos" ||
            source == "your answer") {
            return source;
        }
    }
    return "with a document";
}

LedgerDoc::Counts LedgerDoc::counts() const {
    Counts counts;
    for (const Row& row : rows) {
        switch (row.state) {
        case SyncedLedgerState::found:
            ++counts.found;
            break;
        case SyncedLedgerState::working:
            ++counts.working;
            break;
        case SyncedLedgerState::asking:
            ++counts.asking;
            break;
        }
    }
    return counts;
}

std::vector<Block> LedgerDoc::blocks() const {
    const std::vector<FractionalIndex> keys =
        FractionalIndex::evenlySpaced(static_cast<int>(rows.size()));
    std::vector<Block> result;
    result.reserve(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        result.push_back(Block{
            .kind = BlockKind::ledgerRow,
            .text = row.counterparty,
            .position = keys[i],
            .ledgerDate = row.date,
            .ledgerOrigin = row.origin,
            .ledgerAmount = row.amount,
            .ledgerState = row.state,
        });
    }
    return result;
}

LedgerDoc LedgerDoc::from(std::vector<Block> blocks) {
    sortByPosition(blocks);
    LedgerDoc doc;
    for (const Block& block : blocks) {
        if (block.kind != BlockKind::ledgerRow || !block.ledgerDate || block.ledgerDate->empty() ||
            block.text.empty()) {
            continue;
        }
        doc.rows.push_back(Row{
            .date = *block.ledgerDate,
            .counterparty = block.text,
            .origin = block.ledgerOrigin,
            .amount = block.ledgerAmount,
            .state = block.ledgerState.value_or(SyncedLedgerState::working),
        });
    }
    return doc;
}

} // namespace mnemora::core

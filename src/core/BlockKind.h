#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// What one line of a synced document is.
enum class BlockKind { heading, item, text, question, closeStatus, deliverable, ledgerRow };

template <> struct WireWords<BlockKind> {
    static constexpr std::array<std::string_view, 7> words{
        "heading", "item", "text", "question", "closeStatus", "deliverable", "ledgerRow"};
};

} // namespace mnemora::core

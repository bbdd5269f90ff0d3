#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// What a synced document is for, which decides how the phone shows it.
enum class SyncedDocType { checklist, board, doc, questionInbox, closeStatus };

template <> struct WireWords<SyncedDocType> {
    static constexpr std::array<std::string_view, 5> words{"checklist", "board", "doc",
                                                           "questionInbox", "closeStatus"};
};

} // namespace mnemora::core

#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// The phases of a period close, in the order a run passes them.
enum class ClosePhase { setup, collecting, matching, assembling, draft, sent, closed };

template <> struct WireWords<ClosePhase> {
    static constexpr std::array<std::string_view, 7> words{
        "setup", "collecting", "matching", "assembling", "draft", "sent", "closed"};
};

} // namespace mnemora::core

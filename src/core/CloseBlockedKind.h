#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// Why a period close cannot go on by itself.
enum class CloseBlockedKind { needsAnswer, needsMac, waitingExternal };

template <> struct WireWords<CloseBlockedKind> {
    static constexpr std::array<std::string_view, 3> words{"needsAnswer", "needsMac",
                                                           "waitingExternal"};
};

} // namespace mnemora::core

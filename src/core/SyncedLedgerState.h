#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// Where one ledger row stands: matched to a document, still searched for, or asked about.
enum class SyncedLedgerState { found, working, asking };

template <> struct WireWords<SyncedLedgerState> {
    static constexpr std::array<std::string_view, 3> words{"found", "working", "asking"};
};

} // namespace mnemora::core

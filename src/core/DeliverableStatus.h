#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// How far one deliverable of a period close has come.
enum class DeliverableStatus { pending, partial, done };

template <> struct WireWords<DeliverableStatus> {
    static constexpr std::array<std::string_view, 3> words{"pending", "partial", "done"};
};

} // namespace mnemora::core

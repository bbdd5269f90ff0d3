#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// Where a question card stands.
enum class QuestionCardStatus { open, answered, dismissed };

template <> struct WireWords<QuestionCardStatus> {
    static constexpr std::array<std::string_view, 3> words{"open", "answered", "dismissed"};
};

} // namespace mnemora::core

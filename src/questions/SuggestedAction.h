#pragma once

#include <QString>

namespace mnemora {

// One tap-to-answer choice of a question: the button's label and the answer it gives. Both are
// non-empty.
struct SuggestedAction {
    QString label;
    QString answer;

    bool operator==(const SuggestedAction&) const = default;
};

} // namespace mnemora

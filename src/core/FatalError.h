#pragma once

#include <string_view>

namespace mnemora::core {

// Stops the program after writing `message` to stderr. Used for programming errors that no
// caller can recover from (inverted position bounds, duplicate identifiers). Unlike assert it
// also fires in release builds, because continuing would corrupt a document.
[[noreturn]] void fatalError(std::string_view message);

} // namespace mnemora::core

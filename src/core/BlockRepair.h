#pragma once

#include "core/BlockID.h"

#include <ostream>
#include <string>

namespace mnemora::core {

// One change made to a block that came in from outside (a cloud record, a sidecar written by
// another build) so that it can be stored, ordered and written to the file. Nothing here is an
// error: the block syncs in its repaired form, and the caller logs the note.
struct BlockRepair {
    // The block, or the record it was read from.
    BlockID blockID{std::string()};
    // The field that was changed, by its name in the block ("position", "text", "level", ...).
    std::string field{};
    // What was wrong and what became of it, e.g. `position "i0" ends in "0"; now "i9"`.
    std::string detail{};

    bool operator==(const BlockRepair&) const = default;
};

// "{field} of {blockID}: {detail}", for messages and test failures.
inline std::ostream& operator<<(std::ostream& out, const BlockRepair& repair) {
    return out << repair.field << " of " << repair.blockID.rawValue << ": " << repair.detail;
}

} // namespace mnemora::core

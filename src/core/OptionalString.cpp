#include "core/OptionalString.h"

#include <iomanip>
#include <ostream>

namespace mnemora::core {

void PrintTo(const OptionalString& value, std::ostream* out) {
    if (value) {
        *out << std::quoted(*value);
    } else {
        *out << "(absent)";
    }
}

} // namespace mnemora::core

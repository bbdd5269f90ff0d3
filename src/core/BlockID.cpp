#include "core/BlockID.h"

#include <ostream>
#include <uuid/uuid.h>

namespace mnemora::core {

BlockID::BlockID() {
    uuid_t uuid;
    uuid_generate_random(uuid);
    char text[37];
    uuid_unparse_upper(uuid, text);
    rawValue.assign(text, 36);
}

std::ostream& operator<<(std::ostream& out, const BlockID& id) {
    return out << id.rawValue;
}

} // namespace mnemora::core

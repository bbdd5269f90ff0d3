#include "core/BlockID.h"

#include <array>
#include <cstddef>
#include <ostream>
#include <pthread.h>
#include <sys/random.h>
#include <uuid/uuid.h>

namespace mnemora::core {

namespace {

// Every parse mints one identifier per line, on every change of a file. libuuid spends several
// system calls on each random UUID, so identifiers are cut from a per-thread pool of kernel
// random bytes instead: one getrandom() call serves 256 identifiers.
struct RandomPool {
    std::array<unsigned char, 16 * 256> bytes;
    std::size_t used = bytes.size();
};

thread_local RandomPool pool;

// A forked child would otherwise mint the same identifiers as its parent.
void discardPoolAfterFork() {
    pool.used = pool.bytes.size();
}

bool refill() {
    static const bool forkHandlerInstalled =
        pthread_atfork(nullptr, nullptr, discardPoolAfterFork) == 0;
    if (!forkHandlerInstalled) {
        return false;
    }
    std::size_t filled = 0;
    while (filled < pool.bytes.size()) {
        const ssize_t got = getrandom(pool.bytes.data() + filled, pool.bytes.size() - filled, 0);
        if (got <= 0) {
            return false;
        }
        filled += static_cast<std::size_t>(got);
    }
    pool.used = 0;
    return true;
}

// Sixteen random bytes with the version 4 and RFC 4122 variant bits, as uuid_generate_random.
bool randomUuid(uuid_t uuid) {
    if (pool.used == pool.bytes.size() && !refill()) {
        return false;
    }
    for (std::size_t i = 0; i < 16; ++i) {
        uuid[i] = pool.bytes[pool.used + i];
    }
    pool.used += 16;
    uuid[6] = static_cast<unsigned char>((uuid[6] & 0x0F) | 0x40);
    uuid[8] = static_cast<unsigned char>((uuid[8] & 0x3F) | 0x80);
    return true;
}

} // namespace

BlockID::BlockID() {
    uuid_t uuid;
    if (!randomUuid(uuid)) {
        uuid_generate_random(uuid);
    }
    char text[37];
    uuid_unparse_upper(uuid, text);
    rawValue.assign(text, 36);
}

std::ostream& operator<<(std::ostream& out, const BlockID& id) {
    return out << id.rawValue;
}

} // namespace mnemora::core

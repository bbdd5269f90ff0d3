#include "platform/AllocatorTuning.h"

#include <malloc.h>

namespace mnemora {

bool keepFreedMemoryForReuse(int keptMegabytes, int mappedFromMegabytes) {
    constexpr int megabyte = 1024 * 1024;
    // Setting either value fixes both where glibc would otherwise move them with what it sees;
    // a fixed trim threshold alone would leave every allocation over 128 KB on pages of its own.
    const bool mapped = mallopt(M_MMAP_THRESHOLD, mappedFromMegabytes * megabyte) == 1;
    const bool kept = mallopt(M_TRIM_THRESHOLD, keptMegabytes * megabyte) == 1;
    return mapped && kept;
}

} // namespace mnemora

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstdlib>
#include <cstring>

#include "platform/AllocatorTuning.h"

using namespace mnemora;

namespace {

constexpr std::size_t kMegabyte = 1024 * 1024;

// Allocates `bytes`, writes every page so it is really there, and returns how many bytes the
// allocator holds on pages of their own while it lives.
std::size_t mappedWhileHolding(std::size_t bytes, std::size_t& freeAfter) {
    void* volatile block = std::malloc(bytes);
    std::memset(block, 7, bytes);
    const std::size_t mapped = mallinfo2().hblkhd;
    std::free(block);
    freeAfter = mallinfo2().fordblks;
    return mapped;
}

} // namespace

// Each test runs in a process of its own, so the allocator starts from glibc's defaults here.
TEST(AllocatorTuning, KeepsFreedMegabytesForReuseAndStillMapsHugeBlocks) {
    ASSERT_TRUE(keepFreedMemoryForReuse(64, 16));

    std::size_t freeAfter = 0;
    const std::size_t mappedBefore = mallinfo2().hblkhd;
    // Eight megabytes come from the heap and stay there once freed, ready for the next save.
    EXPECT_LT(mappedWhileHolding(8 * kMegabyte, freeAfter), mappedBefore + kMegabyte);
    EXPECT_GE(freeAfter, 8 * kMegabyte);
    // Twenty megabytes is past the mapping threshold: its own pages, given back when freed.
    EXPECT_GE(mappedWhileHolding(20 * kMegabyte, freeAfter), mappedBefore + 20 * kMegabyte);
    EXPECT_LT(mallinfo2().hblkhd, mappedBefore + kMegabyte);
}

TEST(AllocatorTuning, ByDefaultAFreedBlockOfMegabytesGoesBackAtOnce) {
    // What the tuning changes: glibc's first threshold puts eight megabytes on pages of their own.
    std::size_t freeAfter = 0;
    const std::size_t mappedBefore = mallinfo2().hblkhd;
    EXPECT_GE(mappedWhileHolding(8 * kMegabyte, freeAfter), mappedBefore + 8 * kMegabyte);
    EXPECT_LT(freeAfter, 8 * kMegabyte);
}

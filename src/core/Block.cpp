#include "core/Block.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <utility>

#include <sys/mman.h>

namespace mnemora::core {

namespace {

void mix(std::size_t& seed, std::size_t value) {
    seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 12) + (seed >> 4);
}

template <typename T> std::size_t hashOf(const T& value) {
    return std::hash<T>{}(value);
}

// Presence is mixed in separately so that an absent field and an empty one hash apart.
template <typename T> std::size_t hashOf(const std::optional<T>& value) {
    std::size_t seed = value.has_value() ? 1 : 0;
    if (value) {
        mix(seed, hashOf(*value));
    }
    return seed;
}

std::size_t hashOf(const OptionalString& value) {
    std::size_t seed = value.has_value() ? 1 : 0;
    if (value) {
        mix(seed, hashOf(*value));
    }
    return seed;
}

// One body for Block and ContentKey, so that a block hashes as its key does.
template <typename Content> std::size_t hashContent(const Content& content) {
    std::size_t seed = 0;
    forEachContentField(content,
                        [&seed](std::string_view, const auto& field) { mix(seed, hashOf(field)); });
    return seed;
}

} // namespace

Block::ContentKey Block::contentKey() const {
    return ContentKey{
#define MNEMORA_BLOCK_CONTENT(Type, name, init) .name = name,
#include "core/BlockFields.def"
    };
}

bool Block::hasSameContent(const Block& other) const {
#define MNEMORA_BLOCK_CONTENT(Type, name, init)                                                    \
    if (name != other.name) {                                                                      \
        return false;                                                                              \
    }
#include "core/BlockFields.def"
    return true;
}

std::size_t Block::contentHash() const {
    return hashContent(*this);
}

std::size_t Block::ContentKey::hash() const {
    return hashContent(*this);
}

void sortByPosition(std::vector<Block>& blocks) {
    const auto byPosition = [&blocks](std::size_t a, std::size_t b) {
        return blocks[a].position < blocks[b].position;
    };
    std::vector<std::size_t> order(blocks.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // Blocks mostly come in order already, and moving thousands of blocks about is not free.
    if (std::is_sorted(order.begin(), order.end(), byPosition)) {
        return;
    }
    // The order is found on indices, and each block then moved once, round its cycle of the
    // permutation: sorting the blocks themselves would move every one of them many times.
    std::stable_sort(order.begin(), order.end(), byPosition);
    for (std::size_t start = 0; start < order.size(); ++start) {
        if (order[start] == start) {
            continue;
        }
        Block first = std::move(blocks[start]);
        std::size_t at = start;
        while (order[at] != start) {
            const std::size_t from = order[at];
            blocks[at] = std::move(blocks[from]);
            order[at] = at;
            at = from;
        }
        blocks[at] = std::move(first);
        order[at] = at;
    }
}

void reserveBlocks(std::vector<Block>& blocks, std::size_t count) {
    if (blocks.capacity() >= count) {
        return;
    }
    std::vector<Block> larger;
    larger.reserve(count);
#ifdef MADV_HUGEPAGE
    // Only whole large pages inside the buffer are asked for; below a few of them it is not worth
    // a system call. The advice is only a hint: without large pages the list works as before.
    constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
    const auto start = reinterpret_cast<std::uintptr_t>(larger.data());
    const std::uintptr_t first = (start + kLargePage - 1) & ~(kLargePage - 1);
    const std::uintptr_t end = (start + count * sizeof(Block)) & ~(kLargePage - 1);
    if (end >= first + 4 * kLargePage) {
        madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
    }
#endif
    larger.insert(larger.end(), std::make_move_iterator(blocks.begin()),
                  std::make_move_iterator(blocks.end()));
    blocks = std::move(larger);
}

} // namespace mnemora::core

std::size_t
std::hash<mnemora::core::Block>::operator()(const mnemora::core::Block& block) const noexcept {
    std::size_t seed = block.contentHash();
#define MNEMORA_BLOCK_PLACE(Type, name, column)                                                    \
    mnemora::core::mix(seed, mnemora::core::hashOf(block.name));
#include "core/BlockFields.def"
    return seed;
}

#include "core/Block.h"

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

template <typename Tuple> std::size_t hashFields(const Tuple& fields) {
    return std::apply(
        [](const auto&... field) {
            std::size_t seed = 0;
            (mix(seed, hashOf(field)), ...);
            return seed;
        },
        fields);
}

} // namespace

Block::ContentKey Block::contentKey() const {
    return std::apply([](const auto&... field) { return ContentKey{field...}; }, contentFields());
}

bool Block::hasSameContent(const Block& other) const {
    return contentFields() == other.contentFields();
}

std::size_t Block::contentHash() const {
    return hashFields(contentFields());
}

std::size_t Block::ContentKey::hash() const {
    return hashFields(fields());
}

} // namespace mnemora::core

std::size_t
std::hash<mnemora::core::Block>::operator()(const mnemora::core::Block& block) const noexcept {
    std::size_t seed = block.contentHash();
    mnemora::core::mix(seed, std::hash<mnemora::core::BlockID>{}(block.id));
    mnemora::core::mix(seed, std::hash<mnemora::core::FractionalIndex>{}(block.position));
    return seed;
}

#include "core/BlockDiffMatcher.h"

#include "core/FractionalIndex.h"
#include "core/Graphemes.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace mnemora::core::BlockDiffMatcher {

namespace {

constexpr double kMinSimilarity = 0.5;

// Gives each distinct cluster of both texts a small number, so the LCS compares integers. A
// single-byte cluster is its own byte value; longer ones are numbered from 256 on.
class ClusterNumbers {
public:
    std::vector<int> of(std::string_view text) {
        const std::vector<std::string_view> clusters = Graphemes::split(text);
        std::vector<int> numbers;
        numbers.reserve(clusters.size());
        for (std::string_view cluster : clusters) {
            if (cluster.size() == 1) {
                numbers.push_back(static_cast<unsigned char>(cluster[0]));
                continue;
            }
            const auto [it, inserted] =
                numbers_.try_emplace(cluster, 256 + static_cast<int>(numbers_.size()));
            numbers.push_back(it->second);
        }
        return numbers;
    }

private:
    std::unordered_map<std::string_view, int> numbers_;
};

// Length of the longest common subsequence over two rolling rows.
std::size_t lcsLength(const std::vector<int>& a, const std::vector<int>& b) {
    std::vector<std::size_t> above(b.size() + 1, 0);
    std::vector<std::size_t> row(b.size() + 1, 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = a[i - 1] == b[j - 1] ? above[j - 1] + 1 : std::max(above[j], row[j - 1]);
        }
        std::swap(above, row);
    }
    return above[b.size()];
}

// Orders one run of equal keys, [start, end), by identifier and gives every block but the first a
// fresh key between its predecessor and the next distinct key.
void separateRun(std::vector<Block>& blocks, std::size_t start, std::size_t end) {
    const auto first = blocks.begin() + static_cast<std::ptrdiff_t>(start);
    const auto last = blocks.begin() + static_cast<std::ptrdiff_t>(end);
    std::stable_sort(first, last, [](const Block& a, const Block& b) { return a.id < b.id; });
    const std::optional<FractionalIndex> upper =
        end < blocks.size() ? std::optional(blocks[end].position) : std::nullopt;
    for (std::size_t k = start + 1; k < end; ++k) {
        blocks[k].position = FractionalIndex::between(blocks[k - 1].position, upper);
    }
}

// Stored blocks should never share a position, but two inserts made at once on two devices can
// produce that, and a later `between` of two equal keys would stop the program. Within each run
// of equal keys the blocks are separated (see above). Nothing happens without a run, so distinct
// keys give exactly the result they always gave. Only blocks within a run change place, so index
// i of the result still has the stored position of index i of the input.
std::optional<std::vector<Block>> withDistinctPositions(const std::vector<Block>& previous) {
    const auto firstEqual =
        std::adjacent_find(previous.begin(), previous.end(),
                           [](const Block& a, const Block& b) { return a.position == b.position; });
    if (firstEqual == previous.end()) {
        return std::nullopt;
    }
    std::vector<Block> repaired = previous;
    std::size_t start = 0;
    while (start < repaired.size()) {
        std::size_t end = start + 1;
        while (end < repaired.size() && repaired[end].position == repaired[start].position) {
            ++end;
        }
        if (end - start > 1) {
            separateRun(repaired, start, end);
        }
        start = end;
    }
    return repaired;
}

std::vector<std::size_t> contentHashes(const std::vector<Block>& blocks) {
    std::vector<std::size_t> hashes;
    hashes.reserve(blocks.size());
    for (const Block& block : blocks) {
        hashes.push_back(block.contentHash());
    }
    return hashes;
}

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

// An edit keeps the kind and at least half of the text.
bool isEdit(const Block& before, const Block& after) {
    return before.kind == after.kind &&
           (before.text == after.text || similarity(before.text, after.text) >= kMinSimilarity);
}

// Lengths of the longest common subsequence by content, filled from the end: cell (i, j) holds
// it for the stored blocks from i on and the new blocks from j on.
class SuffixTable {
public:
    SuffixTable(int n, int m)
        : width_(at(m) + 1)
        , cells_((at(n) + 1) * width_, 0) {}

    int& operator()(int i, int j) { return cells_[at(i) * width_ + at(j)]; }
    int operator()(int i, int j) const { return cells_[at(i) * width_ + at(j)]; }

private:
    std::size_t width_;
    std::vector<int> cells_;
};

// The stretch between two consecutive anchors: the stored indices strictly between `oldAfter` and
// `oldBefore`, and the new ones strictly between `newAfter` and `newBefore`.
struct Gap {
    int oldAfter = -1;
    int oldBefore = 0;
    int newAfter = -1;
    int newBefore = 0;
};

// One diff: which stored block each new block continues, found by passes that each keep what the
// earlier ones matched, then the operations that follow from it.
class Matching {
public:
    Matching(const std::vector<Block>& stored, const std::vector<Block>& previous,
             const std::vector<Block>& newBlocks)
        : stored_(stored)
        , previous_(previous)
        , newBlocks_(newBlocks)
        , n_(static_cast<int>(previous.size()))
        , m_(static_cast<int>(newBlocks.size()))
        , oldHashes_(contentHashes(previous))
        , newHashes_(contentHashes(newBlocks))
        , matches_(newBlocks.size())
        , unmatched_(previous.size(), true) {}

    void matchAnchors();
    void matchMoves();
    void matchEdits();
    std::vector<BlockOp> operations() const;

private:
    const Block& oldAt(int i) const { return previous_[at(i)]; }
    const Block& newAt(int j) const { return newBlocks_[at(j)]; }
    bool isAnchor(int j) const { return matches_[at(j)] && matches_[at(j)]->isAnchor; }

    // The hash settles almost every comparison; fields are compared only on a hit.
    bool sameContent(int i, int j) const {
        return oldHashes_[at(i)] == newHashes_[at(j)] && oldAt(i).hasSameContent(newAt(j));
    }

    void record(int j, int i, bool isAnchor) {
        matches_[at(j)] = Match{.previousIndex = i, .isAnchor = isAnchor};
        unmatched_[at(i)] = false;
    }

    SuffixTable commonSubsequence() const;
    std::unordered_map<std::size_t, std::vector<int>> unmatchedByContent() const;
    void takeSameContent(std::vector<int>& candidates, int j);
    std::vector<Gap> gaps() const;
    void pairEdits(const Gap& gap);
    std::vector<std::optional<FractionalIndex>> nextAnchorPositions() const;
    BlockOp operationFor(int j, Block block) const;

    const std::vector<Block>& stored_;
    const std::vector<Block>& previous_;
    const std::vector<Block>& newBlocks_;
    const int n_;
    const int m_;
    const std::vector<std::size_t> oldHashes_;
    const std::vector<std::size_t> newHashes_;
    std::vector<std::optional<Match>> matches_; // by new index
    std::vector<bool> unmatched_;               // by old index
};

SuffixTable Matching::commonSubsequence() const {
    SuffixTable t(n_, m_);
    for (int i = n_ - 1; i >= 0; --i) {
        for (int j = m_ - 1; j >= 0; --j) {
            t(i, j) = sameContent(i, j) ? t(i + 1, j + 1) + 1 : std::max(t(i + 1, j), t(i, j + 1));
        }
    }
    return t;
}

// Anchors: the longest common subsequence by content.
void Matching::matchAnchors() {
    if (n_ == 0 || m_ == 0) {
        return;
    }
    const SuffixTable t = commonSubsequence();
    int i = 0;
    int j = 0;
    while (i < n_ && j < m_) {
        if (sameContent(i, j)) {
            record(j, i, true);
            ++i;
            ++j;
        } else if (t(i + 1, j) < t(i, j + 1)) {
            ++j;
        } else {
            ++i; // on a tie the old block is dropped first
        }
    }
}

std::unordered_map<std::size_t, std::vector<int>> Matching::unmatchedByContent() const {
    std::unordered_map<std::size_t, std::vector<int>> byContent;
    for (int i = 0; i < n_; ++i) {
        if (unmatched_[at(i)]) {
            byContent[oldHashes_[at(i)]].push_back(i);
        }
    }
    return byContent;
}

// A list may mix contents whose hashes collide; the first entry of equal content is the one the
// content key would have given.
void Matching::takeSameContent(std::vector<int>& candidates, int j) {
    const auto taken = std::find_if(candidates.begin(), candidates.end(),
                                    [&](int i) { return oldAt(i).hasSameContent(newAt(j)); });
    if (taken == candidates.end()) {
        return;
    }
    record(j, *taken, false);
    candidates.erase(taken);
}

// Moved blocks: the same content elsewhere. Old blocks of equal content are taken in ascending
// order.
void Matching::matchMoves() {
    std::unordered_map<std::size_t, std::vector<int>> byContent = unmatchedByContent();
    for (int j = 0; j < m_; ++j) {
        if (matches_[at(j)]) {
            continue;
        }
        const auto found = byContent.find(newHashes_[at(j)]);
        if (found != byContent.end()) {
            takeSameContent(found->second, j);
        }
    }
}

// The stretches between consecutive anchors, the ends of both documents counting as anchors.
std::vector<Gap> Matching::gaps() const {
    std::vector<Gap> gaps{Gap{}};
    for (int j = 0; j < m_; ++j) {
        if (!isAnchor(j)) {
            continue;
        }
        const int i = matches_[at(j)]->previousIndex;
        gaps.back().oldBefore = i;
        gaps.back().newBefore = j;
        gaps.push_back(Gap{.oldAfter = i, .newAfter = j});
    }
    gaps.back().oldBefore = n_;
    gaps.back().newBefore = m_;
    return gaps;
}

// Within one gap the unmatched blocks of either side pair by rank.
void Matching::pairEdits(const Gap& gap) {
    std::vector<int> olds;
    for (int i = gap.oldAfter + 1; i < gap.oldBefore; ++i) {
        if (unmatched_[at(i)]) {
            olds.push_back(i);
        }
    }
    std::vector<int> news;
    for (int j = gap.newAfter + 1; j < gap.newBefore; ++j) {
        if (!matches_[at(j)]) {
            news.push_back(j);
        }
    }
    const std::size_t pairs = std::min(olds.size(), news.size());
    for (std::size_t r = 0; r < pairs; ++r) {
        if (isEdit(oldAt(olds[r]), newAt(news[r]))) {
            record(news[r], olds[r], false);
        }
    }
}

// Edited blocks, paired by rank within each gap between anchors.
void Matching::matchEdits() {
    for (const Gap& gap : gaps()) {
        pairEdits(gap);
    }
}

// For each new index, the stored position of the first anchor at or after it.
std::vector<std::optional<FractionalIndex>> Matching::nextAnchorPositions() const {
    std::vector<std::optional<FractionalIndex>> nextAnchor(at(m_));
    std::optional<FractionalIndex> nearest;
    for (int j = m_ - 1; j >= 0; --j) {
        if (isAnchor(j)) {
            nearest = oldAt(matches_[at(j)]->previousIndex).position;
        }
        nextAnchor[at(j)] = nearest;
    }
    return nextAnchor;
}

// `block` is the new block at index j, already placed.
BlockOp Matching::operationFor(int j, Block block) const {
    const std::optional<Match>& match = matches_[at(j)];
    if (!match) {
        return BlockOp::add(std::move(block));
    }
    const Block& before = oldAt(match->previousIndex);
    block.id = before.id;
    if (!block.hasSameContent(before)) {
        return BlockOp::edit(std::move(block));
    }
    // A key handed out by the equal-keys guard is new, so compare with the stored key.
    if (block.position == stored_[at(match->previousIndex)].position) {
        return BlockOp::keep(std::move(block));
    }
    return BlockOp::move(std::move(block));
}

// Anchors keep their stored position; every other block is placed between its predecessor and
// the next anchor. Stored blocks that nothing continues are deleted last, in stored order.
std::vector<BlockOp> Matching::operations() const {
    const std::vector<std::optional<FractionalIndex>> nextAnchor = nextAnchorPositions();
    std::vector<BlockOp> ops;
    ops.reserve(newBlocks_.size() + previous_.size());
    std::optional<FractionalIndex> last;
    for (int j = 0; j < m_; ++j) {
        Block block = newAt(j);
        block.position = isAnchor(j) ? oldAt(matches_[at(j)]->previousIndex).position
                                     : FractionalIndex::between(last, nextAnchor[at(j)]);
        last = block.position;
        ops.push_back(operationFor(j, std::move(block)));
    }
    for (int i = 0; i < n_; ++i) {
        if (unmatched_[at(i)]) {
            ops.push_back(BlockOp::delete_(oldAt(i).id));
        }
    }
    return ops;
}

} // namespace

double similarity(std::string_view a, std::string_view b) {
    if (a.empty() || b.empty()) {
        return 0.0;
    }
    ClusterNumbers numbers;
    const std::vector<int> left = numbers.of(a);
    const std::vector<int> right = numbers.of(b);
    const std::size_t lcs = lcsLength(left, right);
    return 2.0 * static_cast<double>(lcs) / static_cast<double>(left.size() + right.size());
}

// The matcher hands out identity and position itself and compares everything else as content.
static_assert(kBlockFieldCount - kBlockContentFieldCount == 2);

std::vector<BlockOp> diff(const std::vector<Block>& stored, const std::vector<Block>& newBlocks) {
    const std::optional<std::vector<Block>> repaired = withDistinctPositions(stored);
    Matching matching(stored, repaired ? *repaired : stored, newBlocks);
    matching.matchAnchors();
    matching.matchMoves();
    matching.matchEdits();
    return matching.operations();
}

} // namespace mnemora::core::BlockDiffMatcher

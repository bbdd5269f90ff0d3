#include "core/BlockDiffMatcher.h"

#include "core/CommonSubsequence.h"
#include "core/FractionalIndex.h"
#include "core/Graphemes.h"

#include <algorithm>
#include <cstddef>
#include <memory>
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

// Numbers each distinct content once, so that the passes below compare two integers instead of
// two blocks field by field. The hash settles almost every lookup; fields are compared on a hit,
// and contents whose hashes collide are chained.
class ContentClasses {
public:
    std::vector<int> of(const std::vector<Block>& blocks) {
        std::vector<int> classes;
        classes.reserve(blocks.size());
        firstByHash_.reserve(firstByHash_.size() + blocks.size());
        for (const Block& block : blocks) {
            classes.push_back(classOf(block));
        }
        return classes;
    }

private:
    int classOf(const Block& block) {
        const int next = static_cast<int>(examples_.size());
        const auto [first, inserted] = firstByHash_.try_emplace(block.contentHash(), next);
        int* link = &first->second;
        for (int known = *link; !inserted && known >= 0; known = *link) {
            if (examples_[static_cast<std::size_t>(known)]->hasSameContent(block)) {
                return known;
            }
            link = &sameHash_[static_cast<std::size_t>(known)];
        }
        *link = next;
        examples_.push_back(&block);
        sameHash_.push_back(-1);
        return next;
    }

    std::unordered_map<std::size_t, int> firstByHash_;
    std::vector<const Block*> examples_; // by class
    std::vector<int> sameHash_;          // by class: the next class with the same hash, or -1
};

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

// An edit keeps the kind and at least half of the text.
bool isEdit(const Block& before, const Block& after) {
    return before.kind == after.kind &&
           (before.text == after.text || similarity(before.text, after.text) >= kMinSimilarity);
}

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
             std::vector<Block>& newBlocks, std::vector<int> oldClasses,
             std::vector<int> newClasses)
        : stored_(stored)
        , previous_(previous)
        , newBlocks_(newBlocks)
        , n_(static_cast<int>(previous.size()))
        , m_(static_cast<int>(newBlocks.size()))
        , oldClasses_(std::move(oldClasses))
        , newClasses_(std::move(newClasses))
        , matches_(newBlocks.size())
        , unmatched_(previous.size(), true) {}

    void matchAnchors();
    void matchMoves();
    void matchEdits();
    std::vector<BlockOp> operations(); // last: takes the new blocks

private:
    const Block& oldAt(int i) const { return previous_[at(i)]; }
    const Block& newAt(int j) const { return newBlocks_[at(j)]; }
    bool isAnchor(int j) const { return matches_[at(j)] && matches_[at(j)]->isAnchor; }

    void record(int j, int i, bool isAnchor) {
        matches_[at(j)] = Match{.previousIndex = i, .isAnchor = isAnchor};
        unmatched_[at(i)] = false;
    }

    std::unordered_map<int, std::vector<int>> unmatchedByContent() const;
    std::vector<Gap> gaps() const;
    void pairEdits(const Gap& gap);
    std::vector<int> nextAnchors() const;
    BlockOp::Kind continueBlock(int j, Block& block) const;

    const std::vector<Block>& stored_;
    const std::vector<Block>& previous_;
    std::vector<Block>& newBlocks_;
    const int n_;
    const int m_;
    const std::vector<int> oldClasses_; // equal numbers, equal content
    const std::vector<int> newClasses_;
    std::vector<std::optional<Match>> matches_; // by new index
    std::vector<bool> unmatched_;               // by old index
};

// Anchors: the longest common subsequence by content, on a tie dropping the old block first.
void Matching::matchAnchors() {
    for (const CommonSubsequence::Pair& pair :
         CommonSubsequence::anchors(oldClasses_, newClasses_)) {
        record(pair.newIndex, pair.oldIndex, true);
    }
}

// Old indices of each content, ascending, reversed so that the first is taken off the back.
std::unordered_map<int, std::vector<int>> Matching::unmatchedByContent() const {
    std::unordered_map<int, std::vector<int>> byContent;
    for (int i = n_ - 1; i >= 0; --i) {
        if (unmatched_[at(i)]) {
            byContent[oldClasses_[at(i)]].push_back(i);
        }
    }
    return byContent;
}

// Moved blocks: the same content elsewhere. Old blocks of equal content are taken in ascending
// order.
void Matching::matchMoves() {
    std::unordered_map<int, std::vector<int>> byContent = unmatchedByContent();
    for (int j = 0; j < m_; ++j) {
        if (matches_[at(j)]) {
            continue;
        }
        const auto found = byContent.find(newClasses_[at(j)]);
        if (found != byContent.end() && !found->second.empty()) {
            record(j, found->second.back(), false);
            found->second.pop_back();
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

// For each new index, the stored index of the first anchor at or after it, or -1.
std::vector<int> Matching::nextAnchors() const {
    std::vector<int> nextAnchor(at(m_));
    int nearest = -1;
    for (int j = m_ - 1; j >= 0; --j) {
        if (isAnchor(j)) {
            nearest = matches_[at(j)]->previousIndex;
        }
        nextAnchor[at(j)] = nearest;
    }
    return nextAnchor;
}

// `block` is the new block at index j, already placed. It takes the identifier of the stored
// block it continues; the result says how it changed.
BlockOp::Kind Matching::continueBlock(int j, Block& block) const {
    const std::optional<Match>& match = matches_[at(j)];
    if (!match) {
        return BlockOp::Kind::add;
    }
    const Block& before = oldAt(match->previousIndex);
    block.id = before.id;
    if (oldClasses_[at(match->previousIndex)] != newClasses_[at(j)]) {
        return BlockOp::Kind::edit;
    }
    // A key handed out by the equal-keys guard is new, so compare with the stored key.
    if (block.position == stored_[at(match->previousIndex)].position) {
        return BlockOp::Kind::keep;
    }
    return BlockOp::Kind::move;
}

// Keys for the `count` blocks after the last anchor, which have no neighbour after them. Placing
// them one by one after their predecessor made each key a character longer than the one before,
// so a file first seen at thousands of lines, or a long paste at its end, carried keys thousands
// of characters long. They are spread evenly over the rest of the range instead, at the shortest
// width that holds them, so a line added at the end costs a character only now and then.
std::vector<FractionalIndex> trailingKeys(const FractionalIndex* last, int count) {
    return last ? FractionalIndex::evenlySpacedAfter(*last, count)
                : FractionalIndex::evenlySpaced(count);
}

// Anchors keep their stored position; every other block is placed between its predecessor and
// the next anchor, or spread out behind the last one. The new blocks are placed where they are
// and then shared by their operations, so the document is not copied. Stored blocks that nothing
// continues are deleted last, in stored order.
std::vector<BlockOp> Matching::operations() {
    const std::vector<int> nextAnchor = nextAnchors();
    int trailing = m_;
    while (trailing > 0 && !isAnchor(trailing - 1)) {
        --trailing;
    }
    std::vector<BlockOp::Kind> kinds(at(m_));
    const FractionalIndex* last = nullptr;
    for (int j = 0; j < trailing; ++j) {
        Block& block = newBlocks_[at(j)];
        if (isAnchor(j)) {
            block.position = oldAt(matches_[at(j)]->previousIndex).position;
        } else {
            const int next = nextAnchor[at(j)];
            block.position = FractionalIndex::between(
                last ? std::optional(*last) : std::nullopt,
                next < 0 ? std::nullopt : std::optional(oldAt(next).position));
        }
        last = &block.position;
        kinds[at(j)] = continueBlock(j, block);
    }
    std::vector<FractionalIndex> keys = trailingKeys(last, m_ - trailing);
    for (int j = trailing; j < m_; ++j) {
        Block& block = newBlocks_[at(j)];
        block.position = std::move(keys[at(j - trailing)]);
        kinds[at(j)] = continueBlock(j, block);
    }

    const auto placed = std::make_shared<const std::vector<Block>>(std::move(newBlocks_));
    std::vector<BlockOp> ops;
    ops.reserve(at(m_) +
                at(static_cast<int>(std::count(unmatched_.begin(), unmatched_.end(), true))));
    for (std::size_t j = 0; j < placed->size(); ++j) {
        ops.push_back(
            BlockOp::sharing(kinds[j], std::shared_ptr<const Block>(placed, &(*placed)[j])));
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
    return diff(stored, std::vector<Block>(newBlocks));
}

std::vector<BlockOp> diff(const std::vector<Block>& stored, std::vector<Block>&& taken) {
    std::vector<Block> newBlocks = std::move(taken); // freed here, not by the caller
    const std::optional<std::vector<Block>> repaired = withDistinctPositions(stored);
    const std::vector<Block>& previous = repaired ? *repaired : stored;
    ContentClasses classes;
    std::vector<int> oldClasses = classes.of(previous);
    std::vector<int> newClasses = classes.of(newBlocks);
    Matching matching(stored, previous, newBlocks, std::move(oldClasses), std::move(newClasses));
    matching.matchAnchors();
    matching.matchMoves();
    matching.matchEdits();
    return matching.operations();
}

} // namespace mnemora::core::BlockDiffMatcher

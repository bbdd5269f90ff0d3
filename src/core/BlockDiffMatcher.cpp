#include "core/BlockDiffMatcher.h"

#include "core/FractionalIndex.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace mnemora::core::BlockDiffMatcher {

namespace {

constexpr double kMinSimilarity = 0.5;

// Splits text into user-perceived characters. A byte that does not start a valid UTF-8 sequence
// stands alone, so a damaged line still compares sensibly instead of failing.
std::vector<std::string_view> graphemeClusters(std::string_view text) {
    std::vector<std::string_view> clusters;
    clusters.reserve(text.size());
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto size = static_cast<utf8proc_ssize_t>(text.size());
    utf8proc_ssize_t pos = 0;
    utf8proc_ssize_t clusterStart = 0;
    utf8proc_int32_t previous = 0;
    bool previousInvalid = false;
    utf8proc_int32_t state = 0;
    while (pos < size) {
        utf8proc_int32_t codepoint = 0;
        utf8proc_ssize_t length = utf8proc_iterate(bytes + pos, size - pos, &codepoint);
        const bool invalid = length <= 0;
        if (invalid) {
            length = 1;
        }
        if (pos > 0) {
            const bool boundary = invalid || previousInvalid ||
                                  utf8proc_grapheme_break_stateful(previous, codepoint, &state);
            if (boundary) {
                clusters.push_back(text.substr(static_cast<std::size_t>(clusterStart),
                                               static_cast<std::size_t>(pos - clusterStart)));
                clusterStart = pos;
            }
        }
        if (invalid) {
            state = 0;
        }
        previous = codepoint;
        previousInvalid = invalid;
        pos += length;
    }
    if (size > 0) {
        clusters.push_back(text.substr(static_cast<std::size_t>(clusterStart)));
    }
    return clusters;
}

// Gives each distinct cluster of both texts a small number, so the LCS compares integers. A
// single-byte cluster is its own byte value; longer ones are numbered from 256 on.
class ClusterNumbers {
public:
    std::vector<int> of(std::string_view text) {
        const std::vector<std::string_view> clusters = graphemeClusters(text);
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

// Stored blocks should never share a position, but two inserts made at once on two devices can
// produce that, and a later `between` of two equal keys would stop the program. Within each run
// of equal keys the blocks are ordered by identifier and every one but the first is given a
// fresh key between its predecessor and the next distinct key. Nothing happens without a run, so
// distinct keys give exactly the result they always gave. Only blocks within a run change place,
// so index i of the result still has the stored position of index i of the input.
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
            const auto first = repaired.begin() + static_cast<std::ptrdiff_t>(start);
            const auto last = repaired.begin() + static_cast<std::ptrdiff_t>(end);
            std::stable_sort(first, last,
                             [](const Block& a, const Block& b) { return a.id < b.id; });
            const std::optional<FractionalIndex> upper =
                end < repaired.size() ? std::optional(repaired[end].position) : std::nullopt;
            for (std::size_t k = start + 1; k < end; ++k) {
                repaired[k].position = FractionalIndex::between(repaired[k - 1].position, upper);
            }
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

std::vector<BlockOp> diff(const std::vector<Block>& stored, const std::vector<Block>& newBlocks) {
    const std::optional<std::vector<Block>> repaired = withDistinctPositions(stored);
    const std::vector<Block>& previous = repaired ? *repaired : stored;

    const int n = static_cast<int>(previous.size());
    const int m = static_cast<int>(newBlocks.size());
    const auto oldAt = [&](int i) -> const Block& { return previous[static_cast<std::size_t>(i)]; };
    const auto newAt = [&](int j) -> const Block& {
        return newBlocks[static_cast<std::size_t>(j)];
    };

    // The hash settles almost every comparison of the table; fields are compared only on a hit.
    const std::vector<std::size_t> oldHashes = contentHashes(previous);
    const std::vector<std::size_t> newHashes = contentHashes(newBlocks);
    const auto sameContent = [&](int i, int j) {
        return oldHashes[static_cast<std::size_t>(i)] == newHashes[static_cast<std::size_t>(j)] &&
               oldAt(i).hasSameContent(newAt(j));
    };

    std::vector<std::optional<Match>> matches(static_cast<std::size_t>(m));
    std::vector<bool> unmatched(static_cast<std::size_t>(n), true);
    const auto record = [&](int j, int i, bool isAnchor) {
        matches[static_cast<std::size_t>(j)] = Match{.previousIndex = i, .isAnchor = isAnchor};
        unmatched[static_cast<std::size_t>(i)] = false;
    };

    // Pass 1: anchors, the longest common subsequence by content.
    if (n > 0 && m > 0) {
        const std::size_t width = static_cast<std::size_t>(m) + 1;
        std::vector<int> table((static_cast<std::size_t>(n) + 1) * width, 0);
        const auto t = [&](int i, int j) -> int& {
            return table[static_cast<std::size_t>(i) * width + static_cast<std::size_t>(j)];
        };
        for (int i = n - 1; i >= 0; --i) {
            for (int j = m - 1; j >= 0; --j) {
                t(i, j) =
                    sameContent(i, j) ? t(i + 1, j + 1) + 1 : std::max(t(i + 1, j), t(i, j + 1));
            }
        }
        int i = 0;
        int j = 0;
        while (i < n && j < m) {
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

    // Pass 2: moved blocks, the same content elsewhere. Old blocks of equal content are taken in
    // ascending order. The map is keyed by content hash, so a list may mix contents that collide;
    // the first entry of equal content is the one the content key would have given.
    {
        std::unordered_map<std::size_t, std::vector<int>> byContent;
        for (int i = 0; i < n; ++i) {
            if (unmatched[static_cast<std::size_t>(i)]) {
                byContent[oldHashes[static_cast<std::size_t>(i)]].push_back(i);
            }
        }
        for (int j = 0; j < m; ++j) {
            if (matches[static_cast<std::size_t>(j)]) {
                continue;
            }
            const auto found = byContent.find(newHashes[static_cast<std::size_t>(j)]);
            if (found == byContent.end()) {
                continue;
            }
            std::vector<int>& candidates = found->second;
            const auto taken = std::find_if(candidates.begin(), candidates.end(), [&](int i) {
                return oldAt(i).hasSameContent(newAt(j));
            });
            if (taken != candidates.end()) {
                record(j, *taken, false);
                candidates.erase(taken);
            }
        }
    }

    // Pass 3: edited blocks, paired by rank within each gap between anchors.
    {
        std::vector<int> oldBounds{-1};
        std::vector<int> newBounds{-1};
        for (int j = 0; j < m; ++j) {
            const std::optional<Match>& match = matches[static_cast<std::size_t>(j)];
            if (match && match->isAnchor) {
                oldBounds.push_back(match->previousIndex);
                newBounds.push_back(j);
            }
        }
        oldBounds.push_back(n);
        newBounds.push_back(m);

        std::vector<int> oldGap;
        std::vector<int> newGap;
        for (std::size_t k = 0; k + 1 < oldBounds.size(); ++k) {
            oldGap.clear();
            newGap.clear();
            for (int i = oldBounds[k] + 1; i < oldBounds[k + 1]; ++i) {
                if (unmatched[static_cast<std::size_t>(i)]) {
                    oldGap.push_back(i);
                }
            }
            for (int j = newBounds[k] + 1; j < newBounds[k + 1]; ++j) {
                if (!matches[static_cast<std::size_t>(j)]) {
                    newGap.push_back(j);
                }
            }
            const std::size_t pairs = std::min(oldGap.size(), newGap.size());
            for (std::size_t r = 0; r < pairs; ++r) {
                const Block& before = oldAt(oldGap[r]);
                const Block& after = newAt(newGap[r]);
                if (before.kind == after.kind &&
                    (before.text == after.text ||
                     similarity(before.text, after.text) >= kMinSimilarity)) {
                    record(newGap[r], oldGap[r], false);
                }
            }
        }
    }

    // Pass 4: positions and operations.
    std::vector<std::optional<FractionalIndex>> nextAnchor(static_cast<std::size_t>(m));
    {
        std::optional<FractionalIndex> nearest;
        for (int j = m - 1; j >= 0; --j) {
            const std::optional<Match>& match = matches[static_cast<std::size_t>(j)];
            if (match && match->isAnchor) {
                nearest = oldAt(match->previousIndex).position;
            }
            nextAnchor[static_cast<std::size_t>(j)] = nearest;
        }
    }

    std::vector<BlockOp> ops;
    ops.reserve(newBlocks.size() + previous.size());
    std::optional<FractionalIndex> last;
    for (int j = 0; j < m; ++j) {
        const std::optional<Match>& match = matches[static_cast<std::size_t>(j)];
        Block block = newAt(j);
        if (match && match->isAnchor) {
            block.position = oldAt(match->previousIndex).position;
        } else {
            block.position =
                FractionalIndex::between(last, nextAnchor[static_cast<std::size_t>(j)]);
        }
        last = block.position;
        if (!match) {
            ops.push_back(BlockOp::add(std::move(block)));
            continue;
        }
        const Block& before = oldAt(match->previousIndex);
        block.id = before.id;
        // A key handed out by the equal-keys guard is new, so compare with the stored key.
        const FractionalIndex& storedPosition =
            stored[static_cast<std::size_t>(match->previousIndex)].position;
        if (!block.hasSameContent(before)) {
            ops.push_back(BlockOp::edit(std::move(block)));
        } else if (block.position == storedPosition) {
            ops.push_back(BlockOp::keep(std::move(block)));
        } else {
            ops.push_back(BlockOp::move(std::move(block)));
        }
    }

    for (int i = 0; i < n; ++i) {
        if (unmatched[static_cast<std::size_t>(i)]) {
            ops.push_back(BlockOp::delete_(oldAt(i).id));
        }
    }
    return ops;
}

} // namespace mnemora::core::BlockDiffMatcher

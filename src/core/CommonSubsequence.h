#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace mnemora::core {

// The anchors of the block diff: a longest common subsequence of two lists of content classes
// (equal numbers stand for equal content), chosen exactly as this walk over the table of suffix
// lengths t(i, j) chooses it:
//
//   from (0, 0), while both lists remain: take the pair when a[i] == b[j]; otherwise drop a[i]
//   when t(i + 1, j) >= t(i, j + 1), else drop b[j].
//
// The whole table has n × m cells, which is gigabytes for long documents, so the walk is found
// without it: the common head and tail are taken first, a small remainder gets the table, a
// remainder with few differences is walked by the distances from the end (about D² / 2 numbers
// for D lines added or removed), and anything else is split in halves in linear memory. Every
// route gives the pairs the table would.
namespace CommonSubsequence {

struct Pair {
    int oldIndex = 0;
    int newIndex = 0;

    bool operator==(const Pair&) const = default;
};

// How many numbers the full table and the distance levels may hold before the walk moves on to
// the next route; `forSize` scales both with the document.
struct Limits {
    std::size_t tableCells = 0;
    std::size_t levelCells = 0;

    static Limits forSize(std::size_t oldCount, std::size_t newCount);
};

std::vector<Pair> anchors(std::span<const int> oldClasses, std::span<const int> newClasses,
                          const Limits& limits);
std::vector<Pair> anchors(std::span<const int> oldClasses, std::span<const int> newClasses);

} // namespace CommonSubsequence

} // namespace mnemora::core

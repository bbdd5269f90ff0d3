#include "core/CommonSubsequence.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <optional>

namespace mnemora::core::CommonSubsequence {

namespace {

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

// A stretch of both lists: old [i0, i1), new [j0, j1). Indices are those of the whole lists.
struct Region {
    int i0 = 0;
    int i1 = 0;
    int j0 = 0;
    int j1 = 0;

    int rows() const { return i1 - i0; }
    int columns() const { return j1 - j0; }
    std::size_t tableCells() const { return at(rows() + 1) * at(columns() + 1); }
};

// Where a walk left its region: one of the two lists is used up there.
struct Exit {
    int i = 0;
    int j = 0;
};

// The walk restricted to a region equals the walk of the whole lists through it, because the
// suffix lengths inside a region the walk passes differ from the region's own only by a constant.
// Each route below finds the pairs of one region and where the walk leaves it.
class Walker {
public:
    Walker(std::span<const int> a, std::span<const int> b, const Limits& limits,
           std::vector<Pair>& out)
        : a_(a)
        , b_(b)
        , limits_(limits)
        , out_(out) {}

    Exit walk(Region region);

private:
    bool same(int i, int j) const { return a_[at(i)] == b_[at(j)]; }
    void take(int i, int j) { out_.push_back(Pair{.oldIndex = i, .newIndex = j}); }

    Exit walkMiddle(const Region& middle);
    Exit byTable(const Region& region);
    std::optional<Exit> byLevels(const Region& region);
    Exit byHalves(const Region& region);
    int entryColumn(const Region& region, int row) const;

    std::span<const int> a_;
    std::span<const int> b_;
    Limits limits_;
    std::vector<Pair>& out_;
};

// The common head is what the walk takes first anyway. Past the common tail of length k, the
// suffix lengths are those of the middle plus k, so the walk through the middle is the middle's
// own walk. Where it leaves the middle early, the rest of one list is matched in full by the
// tail, which the walk does greedily: each remaining element takes its first equal partner.
Exit Walker::walk(Region region) {
    while (region.i0 < region.i1 && region.j0 < region.j1 && same(region.i0, region.j0)) {
        take(region.i0++, region.j0++);
    }
    int tail = 0;
    while (region.i1 - tail > region.i0 && region.j1 - tail > region.j0 &&
           same(region.i1 - 1 - tail, region.j1 - 1 - tail)) {
        ++tail;
    }
    const Region middle{region.i0, region.i1 - tail, region.j0, region.j1 - tail};
    Exit exit = walkMiddle(middle);
    // Out of the middle's last row, every old element left must be taken, so new ones are
    // skipped; out of its last column the reverse.
    const bool skipNew = exit.i == middle.i1;
    while (exit.i < region.i1 && exit.j < region.j1) {
        if (same(exit.i, exit.j)) {
            take(exit.i++, exit.j++);
        } else if (skipNew) {
            ++exit.j;
        } else {
            ++exit.i;
        }
    }
    return exit;
}

Exit Walker::walkMiddle(const Region& middle) {
    if (middle.rows() == 0 || middle.columns() == 0) {
        return Exit{middle.i0, middle.j0};
    }
    if (middle.rows() < 2 || middle.tableCells() <= limits_.tableCells) {
        return byTable(middle);
    }
    if (const std::optional<Exit> exit = byLevels(middle)) {
        return *exit;
    }
    return byHalves(middle);
}

// The reference route: the whole suffix table of the region, then the walk.
Exit Walker::byTable(const Region& r) {
    const std::size_t width = at(r.columns()) + 1;
    std::vector<int> t(at(r.rows() + 1) * width, 0);
    const auto cell = [&](int i, int j) -> int& { return t[at(i - r.i0) * width + at(j - r.j0)]; };
    for (int i = r.i1 - 1; i >= r.i0; --i) {
        for (int j = r.j1 - 1; j >= r.j0; --j) {
            cell(i, j) =
                same(i, j) ? cell(i + 1, j + 1) + 1 : std::max(cell(i + 1, j), cell(i, j + 1));
        }
    }
    Exit at{r.i0, r.j0};
    while (at.i < r.i1 && at.j < r.j1) {
        if (same(at.i, at.j)) {
            take(at.i++, at.j++);
        } else if (cell(at.i + 1, at.j) >= cell(at.i, at.j + 1)) {
            ++at.i;
        } else {
            ++at.j;
        }
    }
    return at;
}

// Distances from the end: d(i, j) = (rows - i) + (columns - j) - 2 t(i, j), the lines to add or
// remove from (i, j) on. Along a diagonal k = j - i they never grow towards the end, so level e
// keeps for each diagonal the first row from which d <= e. The walk drops a[i] exactly when
// d(i + 1, j) = d(i, j) - 1, which one look-up in level d(i, j) - 1 answers. Gives up when the
// levels would pass their budget.
class DistanceLevels {
public:
    static constexpr int kNone = INT_MAX;

    DistanceLevels(int rows, int columns)
        : rows_(rows)
        , columns_(columns)
        , endDiagonal_(columns - rows) {}

    // Row of diagonal k at level e, for |k - endDiagonal| <= e with matching parity.
    int& row(int e, int k) { return rows(e)[at((k - (endDiagonal_ - e)) / 2)]; }
    int row(int e, int k) const { return firstRows_[start(e) + at((k - (endDiagonal_ - e)) / 2)]; }

    // Whether d(i, j) <= e.
    bool within(int e, int i, int j) const {
        const int k = j - i;
        if ((k - endDiagonal_ - e) % 2 != 0) {
            --e; // d has the parity of |k - endDiagonal|
        }
        if (e < 0 || std::abs(k - endDiagonal_) > e) {
            return false;
        }
        const int first = row(e, k);
        return first != kNone && i >= first;
    }

    void addLevel(int e) { firstRows_.resize(start(e + 1), kNone); }
    std::size_t size() const { return firstRows_.size(); }
    int endDiagonal() const { return endDiagonal_; }
    int rowCount() const { return rows_; }
    int columnCount() const { return columns_; }

private:
    static std::size_t start(int e) { return at(e) * at(e + 1) / 2; }
    int* rows(int e) { return firstRows_.data() + start(e); }

    int rows_;
    int columns_;
    int endDiagonal_;
    std::vector<int> firstRows_;
};

// First row of diagonal k from which d <= e, given level e - 1 (and e - 2) already there.
int firstRowAt(const DistanceLevels& levels, int e, int k) {
    const int n = levels.rowCount();
    const int m = levels.columnCount();
    int best = DistanceLevels::kNone;
    const auto consider = [&](int i) {
        if (i >= 0 && i <= n && i + k >= 0 && i + k <= m) {
            best = std::min(best, i);
        }
    };
    const int kEnd = levels.endDiagonal();
    // Right of (i, i + k) lies diagonal k + 1; below it, diagonal k - 1.
    if (std::abs(k + 1 - kEnd) <= e - 1 && levels.row(e - 1, k + 1) != DistanceLevels::kNone) {
        const int i = std::max({levels.row(e - 1, k + 1), -k, 0});
        if (i + k + 1 <= m) {
            consider(i);
        }
    }
    if (std::abs(k - 1 - kEnd) <= e - 1 && levels.row(e - 1, k - 1) != DistanceLevels::kNone) {
        const int i = std::max({levels.row(e - 1, k - 1) - 1, -k, 0});
        if (i + 1 <= n) {
            consider(i);
        }
    }
    if (e >= 2 && std::abs(k - kEnd) <= e - 2) {
        best = std::min(best, levels.row(e - 2, k));
    }
    return best;
}

std::optional<Exit> Walker::byLevels(const Region& r) {
    const int n = r.rows();
    const int m = r.columns();
    DistanceLevels levels(n, m);
    const auto slideBack = [&](int i, int k) {
        while (i > 0 && i + k > 0 && same(r.i0 + i - 1, r.j0 + i + k - 1)) {
            --i;
        }
        return i;
    };
    int distance = -1;
    for (int e = 0; distance < 0; ++e) {
        levels.addLevel(e);
        if (levels.size() > limits_.levelCells) {
            return std::nullopt;
        }
        for (int k = levels.endDiagonal() - e; k <= levels.endDiagonal() + e; k += 2) {
            const int first =
                e == 0 ? (k == m - n ? n : DistanceLevels::kNone) : firstRowAt(levels, e, k);
            levels.row(e, k) = first == DistanceLevels::kNone ? first : slideBack(first, k);
        }
        if (levels.within(e, 0, 0)) {
            distance = e;
        }
    }
    Exit here{0, 0};
    while (here.i < n && here.j < m) {
        if (same(r.i0 + here.i, r.j0 + here.j)) {
            take(r.i0 + here.i++, r.j0 + here.j++);
        } else if (levels.within(--distance, here.i + 1, here.j)) {
            ++here.i;
        } else {
            ++here.j;
        }
    }
    return Exit{r.i0 + here.i, r.j0 + here.j};
}

// The walk is the leftmost of the optimal paths that always take a pair when one is there, so it
// enters row `row` at the first column that such a path reaches with a prefix as long as the best
// and that lies on an optimal path. Two passes of one row each find that column.
int Walker::entryColumn(const Region& r, int row) const {
    const int m = r.columns();
    const auto pairAt = [&](int i, int j) { return j < m && same(r.i0 + i, r.j0 + j); };
    // Forward: prefix lengths p and whether such a path reaches the cell.
    std::vector<int> p(at(m) + 1, 0);
    std::vector<char> reached(at(m) + 1, 0);
    reached[0] = 1;
    for (int j = 1; j <= m; ++j) {
        reached[at(j)] = reached[at(j - 1)] && !pairAt(0, j - 1);
    }
    for (int i = 1; i <= row; ++i) {
        int diagonalP = p[0];
        char diagonalReached = reached[0];
        reached[0] = reached[0] && !pairAt(i - 1, 0);
        for (int j = 1; j <= m; ++j) {
            const int aboveP = p[at(j)];
            const char aboveReached = reached[at(j)];
            const bool pair = same(r.i0 + i - 1, r.j0 + j - 1);
            const int here = pair ? diagonalP + 1 : std::max(aboveP, p[at(j - 1)]);
            reached[at(j)] = (pair && diagonalReached) ||
                             (aboveReached && !pairAt(i - 1, j) && aboveP == here) ||
                             (reached[at(j - 1)] && !pairAt(i, j - 1) && p[at(j - 1)] == here);
            p[at(j)] = here;
            diagonalP = aboveP;
            diagonalReached = aboveReached;
        }
    }
    // Backward: suffix lengths of row `row`.
    std::vector<int> t(at(m) + 1, 0);
    for (int i = r.rows() - 1; i >= row; --i) {
        int diagonal = 0; // t(i + 1, j + 1)
        for (int j = m - 1; j >= 0; --j) {
            const int below = t[at(j)];
            t[at(j)] = same(r.i0 + i, r.j0 + j) ? diagonal + 1 : std::max(below, t[at(j + 1)]);
            diagonal = below;
        }
    }
    int best = 0;
    for (int j = 0; j <= m; ++j) {
        best = std::max(best, p[at(j)] + t[at(j)]);
    }
    for (int j = 0; j <= m; ++j) {
        if (reached[at(j)] && p[at(j)] + t[at(j)] == best) {
            return j;
        }
    }
    return m; // not reached: some column always qualifies
}

// Linear memory at any size: find where the walk crosses the middle row, then walk both halves.
Exit Walker::byHalves(const Region& r) {
    const int row = r.rows() / 2;
    const int column = entryColumn(r, row);
    const Exit top = walk(Region{r.i0, r.i0 + row, r.j0, r.j0 + column});
    if (column == r.columns()) {
        return top; // the new list ran out above the middle row
    }
    return walk(Region{r.i0 + row, r.i1, r.j0 + column, r.j1});
}

} // namespace

Limits Limits::forSize(std::size_t oldCount, std::size_t newCount) {
    // A few numbers per line, and never less than a small fixed amount.
    const std::size_t budget = 4 * (oldCount + newCount) + 4096;
    return Limits{.tableCells = budget, .levelCells = budget};
}

std::vector<Pair> anchors(std::span<const int> oldClasses, std::span<const int> newClasses,
                          const Limits& limits) {
    std::vector<Pair> pairs;
    Walker walker(oldClasses, newClasses, limits, pairs);
    walker.walk(
        Region{0, static_cast<int>(oldClasses.size()), 0, static_cast<int>(newClasses.size())});
    return pairs;
}

std::vector<Pair> anchors(std::span<const int> oldClasses, std::span<const int> newClasses) {
    return anchors(oldClasses, newClasses, Limits::forSize(oldClasses.size(), newClasses.size()));
}

} // namespace mnemora::core::CommonSubsequence

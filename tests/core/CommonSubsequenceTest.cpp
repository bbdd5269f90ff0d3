#include "core/CommonSubsequence.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace mnemora::core {

namespace CommonSubsequence {
void PrintTo(const Pair& pair, std::ostream* out) {
    *out << "(" << pair.oldIndex << ", " << pair.newIndex << ")";
}
} // namespace CommonSubsequence

namespace {

using CommonSubsequence::Limits;
using CommonSubsequence::Pair;
using Pairs = std::vector<Pair>;
using Classes = std::vector<int>;

// The reference: the whole (n + 1) × (m + 1) table of suffix lengths, filled from the end, then
// the walk from the front that takes equal pairs and on a tie drops the old element first.
Pairs fullTable(const Classes& a, const Classes& b) {
    const std::size_t n = a.size();
    const std::size_t m = b.size();
    std::vector<std::vector<int>> t(n + 1, std::vector<int>(m + 1, 0));
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t j = m; j-- > 0;) {
            t[i][j] = a[i] == b[j] ? t[i + 1][j + 1] + 1 : std::max(t[i + 1][j], t[i][j + 1]);
        }
    }
    Pairs pairs;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < n && j < m) {
        if (a[i] == b[j]) {
            pairs.push_back(Pair{static_cast<int>(i++), static_cast<int>(j++)});
        } else if (t[i + 1][j] < t[i][j + 1]) {
            ++j;
        } else {
            ++i;
        }
    }
    return pairs;
}

Classes classesOf(const std::string& letters) {
    return Classes(letters.begin(), letters.end());
}

// Each route on its own, and the mix the application uses.
const std::vector<std::pair<std::string, Limits>> kRoutes{
    {"table", Limits{.tableCells = 1u << 20, .levelCells = 0}},
    {"levels", Limits{.tableCells = 0, .levelCells = 1u << 20}},
    {"halves", Limits{.tableCells = 0, .levelCells = 0}},
    {"small budgets", Limits{.tableCells = 12, .levelCells = 10}},
    {"by size", Limits::forSize(0, 0)},
};

TEST(CommonSubsequenceTest, ChoosesThePairsTheTableWalkChooses) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "abc"},           {"abc", "abc"},     {"a", "aa"}, // the head takes the first "a"
        {"xa", "aya"}, // the old "a" pairs with the first new one, not with the common tail
        {"aya", "xa"},         {"ab", "ba"}, // on a tie the old "a" is dropped
        {"abcdef", "abXdeYf"}, {"aaaa", "aXaaYa"},
    };
    for (const auto& [route, limits] : kRoutes) {
        for (const auto& [before, after] : cases) {
            SCOPED_TRACE(route + ": " + before + " -> " + after);
            const Classes a = classesOf(before);
            const Classes b = classesOf(after);
            EXPECT_EQ(CommonSubsequence::anchors(a, b, limits), fullTable(a, b));
        }
    }
    EXPECT_EQ(CommonSubsequence::anchors(classesOf("xa"), classesOf("aya")), (Pairs{{1, 0}}));
}

// Random pairs of lists over few classes, so that equal elements abound: unrelated lists, and
// lists edited from one another by a few insertions, deletions and changes.
class RandomLists {
public:
    Classes random(int maxLength, int classCount) {
        Classes list(static_cast<std::size_t>(pick(maxLength)));
        for (int& c : list) {
            c = pick(classCount - 1);
        }
        return list;
    }

    Classes edited(Classes list, int classCount) {
        for (int edits = pick(4); edits > 0; --edits) {
            const auto where = list.begin() + pick(static_cast<int>(list.size()));
            const int what = pick(2);
            if (what == 0 || where == list.end()) {
                list.insert(where, pick(classCount - 1));
            } else if (what == 1) {
                list.erase(where);
            } else {
                *where = pick(classCount - 1);
            }
        }
        return list;
    }

private:
    int pick(int top) { return std::uniform_int_distribution<int>(0, top)(rng_); }

    std::mt19937 rng_{20261123};
};

TEST(CommonSubsequenceTest, RandomListsGiveTheTableWalkOnEveryRoute) {
    RandomLists lists;
    for (int round = 0; round < 4000; ++round) {
        const int classCount = 2 + round % 4;
        const Classes a = lists.random(round % 2 == 0 ? 12 : 40, classCount);
        const Classes b =
            round % 3 == 0 ? lists.random(40, classCount) : lists.edited(a, classCount);
        const Pairs expected = fullTable(a, b);
        for (const auto& [route, limits] : kRoutes) {
            ASSERT_EQ(CommonSubsequence::anchors(a, b, limits), expected)
                << route << ", round " << round << ": " << ::testing::PrintToString(a) << " -> "
                << ::testing::PrintToString(b);
        }
    }
}

} // namespace
} // namespace mnemora::core

#include "core/BlockDiffMatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace mnemora::core {

// Readable failure output: "edit B ai milk".
std::string describe(const BlockOp& op) {
    std::string line(wireWord(op.kind()));
    line += " " + op.id().rawValue;
    if (const Block* block = op.blockIfAny()) {
        line += " " + block->position.key + " " + block->text;
    }
    return line;
}

void PrintTo(const BlockOp& op, std::ostream* out) {
    *out << describe(op);
}

namespace {

using FI = FractionalIndex;

Block stored(const std::string& id, const std::string& position, const std::string& text,
             BlockKind kind = BlockKind::text) {
    return Block{.id = BlockID(id), .kind = kind, .text = text, .position = FI(position)};
}

// A freshly parsed line: its identifier is what an add keeps, its position is ignored.
Block parsed(const std::string& id, const std::string& text, BlockKind kind = BlockKind::text) {
    return Block{.id = BlockID(id), .kind = kind, .text = text, .position = FI("ignored")};
}

std::vector<std::string> describeAll(const std::vector<BlockOp>& ops) {
    std::vector<std::string> lines;
    for (const BlockOp& op : ops) {
        lines.push_back(describe(op));
    }
    return lines;
}

using Lines = std::vector<std::string>;

TEST(BlockOpTest, CarriesTheIdentifierInEveryCaseAndTheBlockInAllButDelete) {
    const Block block = stored("A", "i", "milk");
    const BlockOp edit = BlockOp::edit(block);
    EXPECT_EQ(edit.kind(), BlockOp::Kind::edit);
    EXPECT_EQ(edit.id(), BlockID("A"));
    EXPECT_EQ(edit.block(), block);

    const BlockOp gone = BlockOp::delete_(BlockID("B"));
    EXPECT_EQ(gone.kind(), BlockOp::Kind::delete_);
    EXPECT_EQ(gone.id(), BlockID("B"));
    EXPECT_EQ(gone.block(), std::nullopt);
    EXPECT_EQ(gone.blockIfAny(), nullptr);
    EXPECT_EQ(wireWord(gone.kind()), "delete");

    EXPECT_EQ(BlockOp::keep(block), BlockOp::keep(block));
    EXPECT_NE(BlockOp::keep(block), BlockOp::move(block));
    EXPECT_NE(BlockOp::delete_(BlockID("A")), BlockOp::delete_(BlockID("B")));
}

TEST(BlockDiffMatcherTest, EmptyPreviousAddsEverythingByAppending) {
    const auto ops = BlockDiffMatcher::diff({}, {parsed("n1", "# Groceries", BlockKind::heading),
                                                 parsed("n2", ""), parsed("n3", "milk")});
    EXPECT_EQ(describeAll(ops), (Lines{"add n1 i # Groceries", "add n2 ii ", "add n3 iii milk"}));
    Block expected = parsed("n1", "# Groceries", BlockKind::heading);
    expected.position = FI("i");
    EXPECT_EQ(ops[0], BlockOp::add(expected));
}

TEST(BlockDiffMatcherTest, EmptyNewDeletesEverythingInStoredOrder) {
    const auto ops = BlockDiffMatcher::diff(
        {stored("C", "a", "one"), stored("A", "b", "two"), stored("B", "c", "three")}, {});
    EXPECT_EQ(describeAll(ops), (Lines{"delete C", "delete A", "delete B"}));
    EXPECT_TRUE(BlockDiffMatcher::diff({}, {}).empty());
}

TEST(BlockDiffMatcherTest, IdenticalListsKeepEveryBlockInPlace) {
    const std::vector<Block> previous{stored("A", "i", "one"), stored("B", "ii", "two"),
                                      stored("C", "iii", "three")};
    const auto ops = BlockDiffMatcher::diff(
        previous, {parsed("n1", "one"), parsed("n2", "two"), parsed("n3", "three")});
    ASSERT_EQ(ops.size(), 3u);
    for (std::size_t i = 0; i < ops.size(); ++i) {
        EXPECT_EQ(ops[i], BlockOp::keep(previous[i]));
    }
}

TEST(BlockDiffMatcherTest, InsertAtTheFrontGoesBelowTheFirstAnchor) {
    const auto ops =
        BlockDiffMatcher::diff({stored("A", "i", "one"), stored("B", "ii", "two")},
                               {parsed("n0", "zero"), parsed("n1", "one"), parsed("n2", "two")});
    EXPECT_EQ(describeAll(ops), (Lines{"add n0 9 zero", "keep A i one", "keep B ii two"}));
}

TEST(BlockDiffMatcherTest, InsertBetweenTwoAnchorsTakesTheMidpoint) {
    const auto ops = BlockDiffMatcher::diff(
        {stored("A", "a", "one"), stored("B", "b", "two")},
        {parsed("n1", "one"), parsed("n2", "between"), parsed("n3", "two"), parsed("n4", "end")});
    EXPECT_EQ(describeAll(ops),
              (Lines{"keep A a one", "add n2 ai between", "keep B b two", "add n4 bi end"}));
}

TEST(BlockDiffMatcherTest, SimilarityOfHalfMatchesAndBelowHalfDoesNot) {
    const std::vector<Block> previous{stored("A", "a", "head"), stored("B", "b", "abcdef"),
                                      stored("C", "c", "tail")};
    EXPECT_EQ(describeAll(BlockDiffMatcher::diff(
                  previous, {parsed("n1", "head"), parsed("n2", "abcxyz"), parsed("n3", "tail")})),
              (Lines{"keep A a head", "edit B b abcxyz", "keep C c tail"}));
    EXPECT_EQ(describeAll(BlockDiffMatcher::diff(
                  previous, {parsed("n1", "head"), parsed("n2", "abxyzq"), parsed("n3", "tail")})),
              (Lines{"keep A a head", "add n2 b abxyzq", "keep C c tail", "delete B"}));
}

TEST(BlockDiffMatcherTest, HeadingTurnedParagraphIsDeletedAndAdded) {
    Block heading = stored("A", "i", "Groceries", BlockKind::heading);
    heading.level = 2;
    const auto ops = BlockDiffMatcher::diff({heading}, {parsed("n1", "Groceries")});
    EXPECT_EQ(describeAll(ops), (Lines{"add n1 i Groceries", "delete A"}));
}

TEST(BlockDiffMatcherTest, SwappedNeighboursGiveOneAnchorAndOneMove) {
    const auto ops = BlockDiffMatcher::diff({stored("A", "a", "x"), stored("B", "b", "y")},
                                            {parsed("n1", "y"), parsed("n2", "x")});
    // On the tie the walk drops the old "x" first, so "y" anchors.
    EXPECT_EQ(describeAll(ops), (Lines{"keep B b y", "move A bi x"}));
}

TEST(BlockDiffMatcherTest, TickedCheckboxIsAnEdit) {
    Block open = stored("A", "b", "milk", BlockKind::item);
    open.checked = false;
    Block ticked = parsed("n1", "milk", BlockKind::item);
    ticked.checked = true;
    const auto ops =
        BlockDiffMatcher::diff({stored("Z", "a", "Groceries"), open, stored("Y", "c", "eggs")},
                               {parsed("n0", "Groceries"), ticked, parsed("n2", "eggs")});
    Block expected = open;
    expected.checked = true;
    EXPECT_EQ(ops, (std::vector<BlockOp>{BlockOp::keep(stored("Z", "a", "Groceries")),
                                         BlockOp::edit(expected),
                                         BlockOp::keep(stored("Y", "c", "eggs"))}));
    // Without an anchor behind it the edited block is placed afresh after the last one.
    const auto atEnd = BlockDiffMatcher::diff({stored("Z", "a", "Groceries"), open},
                                              {parsed("n0", "Groceries"), ticked});
    EXPECT_EQ(describeAll(atEnd), (Lines{"keep Z a Groceries", "edit A ai milk"}));
}

TEST(BlockDiffMatcherTest, LineMovedIntoAnotherGapAndEditedIsDeletedAndAdded) {
    const auto ops = BlockDiffMatcher::diff(
        {stored("A", "a", "alpha"), stored("B", "b", "buy milk"), stored("C", "c", "gamma"),
         stored("D", "d", "delta"), stored("E", "e", "epsilon")},
        {parsed("n1", "alpha"), parsed("n2", "gamma"), parsed("n3", "delta"),
         parsed("n4", "buy oat milk"), parsed("n5", "epsilon")});
    EXPECT_EQ(describeAll(ops), (Lines{"keep A a alpha", "keep C c gamma", "keep D d delta",
                                       "add n4 di buy oat milk", "keep E e epsilon", "delete B"}));
}

TEST(BlockDiffMatcherTest, EditedLineKeepsIdentityWhenPlacedNextToAnInsert) {
    // Pairing is by rank within the gap: the insert comes first and takes the rank of the old
    // line, fails the test, and the edited line has no partner left.
    const std::vector<Block> previous{stored("A", "a", "alpha"), stored("B", "b", "buy milk"),
                                      stored("C", "c", "gamma")};
    EXPECT_EQ(describeAll(BlockDiffMatcher::diff(
                  previous, {parsed("n1", "alpha"), parsed("n2", "zzz"),
                             parsed("n3", "buy oat milk"), parsed("n4", "gamma")})),
              (Lines{"keep A a alpha", "add n2 b zzz", "add n3 bi buy oat milk", "keep C c gamma",
                     "delete B"}));
    // After the edited line the insert does not disturb the pairing.
    EXPECT_EQ(
        describeAll(
            BlockDiffMatcher::diff(previous, {parsed("n1", "alpha"), parsed("n2", "buy oat milk"),
                                              parsed("n3", "zzz"), parsed("n4", "gamma")})),
        (Lines{"keep A a alpha", "edit B b buy oat milk", "add n3 bi zzz", "keep C c gamma"}));
}

TEST(BlockDiffMatcherTest, EqualTextOfAnotherKindIsNoEdit) {
    Block item = stored("A", "i", "milk", BlockKind::item);
    item.checked = false;
    const auto ops = BlockDiffMatcher::diff({item}, {parsed("n1", "milk")});
    EXPECT_EQ(describeAll(ops), (Lines{"add n1 i milk", "delete A"}));
}

TEST(BlockDiffMatcherTest, DuplicateLinesAnchorInOrder) {
    EXPECT_EQ(describeAll(BlockDiffMatcher::diff(
                  {stored("A", "a", "-"), stored("B", "b", "x"), stored("C", "c", "-")},
                  {parsed("n1", "-"), parsed("n2", "x"), parsed("n3", "-"), parsed("n4", "-")})),
              (Lines{"keep A a -", "keep B b x", "keep C c -", "add n4 ci -"}));
    EXPECT_EQ(describeAll(BlockDiffMatcher::diff({stored("A", "a", "x"), stored("B", "b", "x")},
                                                 {parsed("n1", "x")})),
              (Lines{"keep A a x", "delete B"}));
}

TEST(BlockDiffMatcherTest, MovedDuplicateTakesTheFirstStoredCandidate) {
    const auto ops = BlockDiffMatcher::diff(
        {stored("A", "a", "x"), stored("B", "b", "x"), stored("C", "c", "y")},
        {parsed("n1", "y"), parsed("n2", "x")});
    EXPECT_EQ(describeAll(ops), (Lines{"keep C c y", "move A ci x", "delete B"}));
}

TEST(BlockDiffMatcherTest, EditedBlockIsPlacedAfreshBetweenItsNeighbours) {
    const auto ops = BlockDiffMatcher::diff(
        {stored("A", "a", "one"), stored("B", "bb", "two words"), stored("C", "c", "three")},
        {parsed("n1", "one"), parsed("n2", "two word"), parsed("n3", "three"),
         parsed("n4", "four")});
    EXPECT_EQ(describeAll(ops),
              (Lines{"keep A a one", "edit B b two word", "keep C c three", "add n4 ci four"}));
}

// Two stored blocks with one key used to stop the program at the next insert between them.
TEST(BlockDiffMatcherEqualKeysTest, LaterIdentifierGetsAFreshKeyAndMoves) {
    const std::vector<Block> previous{stored("A", "i", "one"), stored("C", "ii", "three"),
                                      stored("B", "ii", "two"), stored("D", "iii", "four")};
    EXPECT_EQ(describeAll(
                  BlockDiffMatcher::diff(previous, {parsed("n1", "one"), parsed("n2", "two"),
                                                    parsed("n3", "three"), parsed("n4", "four")})),
              (Lines{"keep A i one", "keep B ii two", "move C ii9 three", "keep D iii four"}));
}

TEST(BlockDiffMatcherEqualKeysTest, InsertBetweenEqualKeysNoLongerStops) {
    const std::vector<Block> previous{stored("B", "ii", "two"), stored("A", "ii", "one"),
                                      stored("Z", "ii", "zed")};
    EXPECT_EQ(
        describeAll(BlockDiffMatcher::diff(previous, {parsed("n1", "one"), parsed("n2", "new"),
                                                      parsed("n3", "two"), parsed("n4", "zed")})),
        (Lines{"keep A ii one", "add n2 ii9 new", "move B iii two", "move Z iiii zed"}));
}

TEST(BlockDiffMatcherEqualKeysTest, DistinctKeysAreNeverReorderedByIdentifier) {
    const auto ops = BlockDiffMatcher::diff({stored("Z", "i", "one"), stored("A", "ii", "two")},
                                            {parsed("n1", "one"), parsed("n2", "two")});
    EXPECT_EQ(describeAll(ops), (Lines{"keep Z i one", "keep A ii two"}));
}

TEST(BlockDiffMatcherSimilarityTest, CountsUserPerceivedCharacters) {
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("abcdef", "abcxyz"), 0.5);
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("abcdef", "abxyzq"), 4.0 / 12.0);
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("same", "same"), 1.0);
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("", ""), 0.0);
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("a", ""), 0.0);
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("", "a"), 0.0);
    // "e" with a combining acute is one character, so it shares nothing with a bare "e".
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("cafe\u0301", "cafe"), 6.0 / 8.0);
    // A family emoji joined by zero-width joiners, and a flag, are one character each.
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("\U0001F468\u200D\U0001F469\u200D\U0001F467 ok",
                                                  "\U0001F468 ok"),
                     6.0 / 8.0);
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("\U0001F1E9\U0001F1EA!", "\U0001F1E9!"),
                     2.0 / 4.0);
    // Broken UTF-8 counts byte by byte instead of failing.
    EXPECT_DOUBLE_EQ(BlockDiffMatcher::similarity("ab\xff\xfe", "ab\xff"), 6.0 / 7.0);
}

// For any pair of documents: one operation per new block in order, every stored block continued
// or deleted exactly once, and positions strictly ascending in document order.
TEST(BlockDiffMatcherPropertyTest, EveryStoredBlockIsMatchedOrDeletedOnceAndPositionsAscend) {
    std::mt19937 rng(20240611);
    const std::vector<std::string> texts{"",         "milk",      "milk!",   "eggs",
                                         "buy eggs", "bread",     "- [ ] x", "abc",
                                         "abd",      "a\u0301 b", "zz",      "Groceries"};
    const auto pick = [&](int bound) { return std::uniform_int_distribution<int>(0, bound)(rng); };
    const auto randomContent = [&](Block block) {
        block.kind = std::array{BlockKind::text, BlockKind::item, BlockKind::heading}[pick(2)];
        block.text = texts[static_cast<std::size_t>(pick(static_cast<int>(texts.size()) - 1))];
        block.level = block.kind == BlockKind::heading ? 1 + pick(2) : 0;
        block.checked = block.kind == BlockKind::item ? std::optional(pick(1) == 1) : std::nullopt;
        return block;
    };

    for (int round = 0; round < 3000; ++round) {
        const int n = pick(14);
        std::vector<Block> previous;
        const auto keys = FI::evenlySpaced(n);
        for (int i = 0; i < n; ++i) {
            Block block = randomContent(Block{});
            block.position = keys[static_cast<std::size_t>(i)];
            previous.push_back(block);
        }
        if (round % 3 == 0 && n > 2) {
            // Some rounds carry equal keys, as two devices inserting at once can leave them.
            const std::size_t k = static_cast<std::size_t>(pick(n - 2));
            previous[k + 1].position = previous[k].position;
        }

        std::vector<Block> newBlocks;
        for (const Block& old : previous) {
            switch (pick(5)) {
            case 0: // dropped
                break;
            case 1: // rewritten
                newBlocks.push_back(randomContent(Block{}));
                break;
            case 2: // checked flag flipped, text kept
                newBlocks.push_back(old);
                newBlocks.back().checked = !newBlocks.back().checked.value_or(false);
                break;
            default:
                newBlocks.push_back(old);
            }
            if (pick(4) == 0) {
                newBlocks.push_back(randomContent(Block{}));
            }
        }
        std::shuffle(newBlocks.begin(),
                     newBlocks.begin() + pick(static_cast<int>(newBlocks.size())), rng);
        for (Block& block : newBlocks) {
            block.id = BlockID();
            block.position = FI("ignored");
        }

        const auto ops = BlockDiffMatcher::diff(previous, newBlocks);
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_GE(ops.size(), newBlocks.size());

        std::map<BlockID, int> seen;
        std::optional<FI> last;
        for (std::size_t j = 0; j < newBlocks.size(); ++j) {
            const Block* block = ops[j].blockIfAny();
            ASSERT_NE(block, nullptr) << describe(ops[j]);
            EXPECT_TRUE(block->hasSameContent(newBlocks[j])) << describe(ops[j]);
            if (last) {
                EXPECT_LT(*last, block->position) << describe(ops[j]);
            }
            last = block->position;
            if (ops[j].kind() == BlockOp::Kind::add) {
                EXPECT_EQ(block->id, newBlocks[j].id);
            } else {
                ++seen[block->id];
            }
        }
        std::vector<std::size_t> deletedIndices;
        for (std::size_t k = newBlocks.size(); k < ops.size(); ++k) {
            ASSERT_EQ(ops[k].kind(), BlockOp::Kind::delete_) << describe(ops[k]);
            ++seen[ops[k].id()];
            const auto at = std::find_if(previous.begin(), previous.end(),
                                         [&](const Block& b) { return b.id == ops[k].id(); });
            ASSERT_NE(at, previous.end());
            deletedIndices.push_back(static_cast<std::size_t>(at - previous.begin()));
        }
        ASSERT_EQ(seen.size(), previous.size());
        for (const Block& old : previous) {
            EXPECT_EQ(seen[old.id], 1) << old.id;
        }
        if (round % 3 != 0) {
            EXPECT_TRUE(std::is_sorted(deletedIndices.begin(), deletedIndices.end()));
        }
        for (std::size_t j = 0; j < newBlocks.size(); ++j) {
            const Block& block = *ops[j].blockIfAny();
            const auto old = std::find_if(previous.begin(), previous.end(),
                                          [&](const Block& b) { return b.id == block.id; });
            switch (ops[j].kind()) {
            case BlockOp::Kind::keep:
                ASSERT_NE(old, previous.end());
                EXPECT_EQ(block, *old);
                break;
            case BlockOp::Kind::move:
                ASSERT_NE(old, previous.end());
                EXPECT_TRUE(block.hasSameContent(*old));
                EXPECT_NE(block.position, old->position);
                break;
            case BlockOp::Kind::edit:
                ASSERT_NE(old, previous.end());
                EXPECT_FALSE(block.hasSameContent(*old));
                EXPECT_EQ(block.kind, old->kind);
                break;
            case BlockOp::Kind::add:
                EXPECT_EQ(old, previous.end());
                break;
            case BlockOp::Kind::delete_:
                ADD_FAILURE() << "delete among the first operations";
            }
        }
    }
}

} // namespace
} // namespace mnemora::core

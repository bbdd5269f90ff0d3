#include "core/BlockDiffMatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace mnemora::core {

// "edit B ai milk": kind, identifier, position and text, for exact and readable expectations.
std::string describe(const BlockOp& op) {
    std::string line = std::string(wireWord(op.kind())) + " " + op.id().rawValue;
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
using Lines = std::vector<std::string>;
namespace M = BlockDiffMatcher;

Block block(const std::string& id, const std::string& position, const std::string& text,
            BlockKind kind = BlockKind::text) {
    return Block{.id = BlockID(id), .kind = kind, .text = text, .position = FI(position)};
}

Lines describeAll(const std::vector<BlockOp>& ops) {
    Lines lines;
    std::transform(ops.begin(), ops.end(), std::back_inserter(lines), describe);
    return lines;
}

// Stored blocks given as {id, position, text}; the new document as its texts, whose fresh
// identifiers are "n1", "n2", ...
Lines diffTexts(const std::vector<std::array<std::string, 3>>& stored, const Lines& texts) {
    std::vector<Block> previous;
    for (const auto& [id, position, text] : stored) {
        previous.push_back(block(id, position, text));
    }
    std::vector<Block> parsed;
    for (std::size_t k = 0; k < texts.size(); ++k) {
        parsed.push_back(
            block(std::string("n").append(std::to_string(k + 1)), "ignored", texts[k]));
    }
    return describeAll(M::diff(previous, parsed));
}

TEST(BlockOpTest, CarriesTheIdentifierAlwaysAndTheBlockInAllButDelete) {
    const BlockOp edit = BlockOp::edit(block("A", "i", "milk"));
    EXPECT_EQ(edit.id(), BlockID("A"));
    EXPECT_EQ(edit.block(), block("A", "i", "milk"));
    const BlockOp gone = BlockOp::delete_(BlockID("B"));
    EXPECT_EQ(gone.id(), BlockID("B"));
    EXPECT_EQ(gone.block(), std::nullopt);
    EXPECT_EQ(wireWord(gone.kind()), "delete");
    EXPECT_NE(BlockOp::keep(block("A", "i", "milk")), BlockOp::move(block("A", "i", "milk")));
}

TEST(BlockDiffMatcherTest, EmptySidesAndIdenticalLists) {
    EXPECT_EQ(diffTexts({}, {"# Groceries", "", "milk"}),
              (Lines{"add n1 9 # Groceries", "add n2 i ", "add n3 r milk"}));
    EXPECT_EQ(diffTexts({{"C", "a", "one"}, {"A", "b", "two"}, {"B", "c", "three"}}, {}),
              (Lines{"delete C", "delete A", "delete B"}));
    const std::vector<Block> previous{block("A", "i", "one"), block("B", "ii", "two")};
    EXPECT_EQ(M::diff(previous, {block("n1", "", "one"), block("n2", "", "two")}),
              (std::vector<BlockOp>{BlockOp::keep(previous[0]), BlockOp::keep(previous[1])}));
}

TEST(BlockDiffMatcherTest, InsertsArePlacedBetweenTheirNeighbours) {
    EXPECT_EQ(diffTexts({{"A", "i", "one"}, {"B", "ii", "two"}}, {"zero", "one", "two"}),
              (Lines{"add n1 9 zero", "keep A i one", "keep B ii two"}));
    EXPECT_EQ(diffTexts({{"A", "a", "one"}, {"B", "b", "two"}}, {"one", "mid", "two", "end"}),
              (Lines{"keep A a one", "add n2 ai mid", "keep B b two", "add n4 n end"}));
}

TEST(BlockDiffMatcherTest, BlocksAfterTheLastAnchorAreSpreadOverTheRestOfTheRange) {
    // Neither one block after the last anchor nor a run of them grows the key a character per
    // block: they share out the room left above the last anchor's key.
    EXPECT_EQ(diffTexts({{"A", "a", "one"}, {"B", "b", "two"}}, {"one", "two", "x", "y", "z"}),
              (Lines{"keep A a one", "keep B b two", "add n3 h x", "add n4 n y", "add n5 t z"}));
    // A moved block of the run is spread with the added ones.
    EXPECT_EQ(diffTexts({{"A", "a", "one"}, {"B", "b", "buy milk"}, {"C", "c", "two"}},
                        {"one", "two", "buy milk", "new"}),
              (Lines{"keep A a one", "keep C c two", "move B k buy milk", "add n4 s new"}));
}

TEST(BlockDiffMatcherTest, EditNeedsHalfTheCharactersInCommon) {
    const std::vector<std::array<std::string, 3>> stored{
        {"A", "a", "head"}, {"B", "bb", "abcdef"}, {"C", "c", "tail"}};
    // The edited block is placed afresh between its neighbours.
    EXPECT_EQ(diffTexts(stored, {"head", "abcxyz", "tail"}),
              (Lines{"keep A a head", "edit B b abcxyz", "keep C c tail"}));
    EXPECT_EQ(diffTexts(stored, {"head", "abxyzq", "tail"}),
              (Lines{"keep A a head", "add n2 b abxyzq", "keep C c tail", "delete B"}));
}

TEST(BlockDiffMatcherTest, EditsPairByRankWithinTheirGap) {
    const std::vector<std::array<std::string, 3>> stored{
        {"A", "a", "alpha"}, {"B", "b", "buy milk"}, {"C", "c", "gamma"}};
    EXPECT_EQ(
        diffTexts(stored, {"alpha", "buy oat milk", "zzz", "gamma"}),
        (Lines{"keep A a alpha", "edit B b buy oat milk", "add n3 bi zzz", "keep C c gamma"}));
    // An insert ahead of the edit takes its rank, fails, and leaves the edit without a partner.
    EXPECT_EQ(diffTexts(stored, {"alpha", "zzz", "buy oat milk", "gamma"}),
              (Lines{"keep A a alpha", "add n2 b zzz", "add n3 bi buy oat milk", "keep C c gamma",
                     "delete B"}));
    // Moved into another gap and edited: no pass finds it.
    EXPECT_EQ(
        diffTexts(
            {{"A", "a", "alpha"}, {"B", "b", "buy milk"}, {"C", "c", "gamma"}, {"D", "d", "delta"}},
            {"alpha", "gamma", "buy oat milk", "delta"}),
        (Lines{"keep A a alpha", "keep C c gamma", "add n3 ci buy oat milk", "keep D d delta",
               "delete B"}));
}

TEST(BlockDiffMatcherTest, KindChangeIsDeleteAndAdd) {
    Block heading = block("A", "i", "Groceries", BlockKind::heading);
    heading.level = 2;
    EXPECT_EQ(describeAll(M::diff({heading}, {block("n1", "", "Groceries")})),
              (Lines{"add n1 i Groceries", "delete A"}));
}

TEST(BlockDiffMatcherTest, TickedCheckboxIsAnEdit) {
    Block open = block("A", "b", "milk", BlockKind::item);
    open.checked = false;
    Block ticked = open;
    ticked.checked = true;
    EXPECT_EQ(M::diff({block("Z", "a", "Shop"), open, block("Y", "c", "eggs")},
                      {block("n0", "", "Shop"), ticked, block("n2", "", "eggs")}),
              (std::vector<BlockOp>{BlockOp::keep(block("Z", "a", "Shop")), BlockOp::edit(ticked),
                                    BlockOp::keep(block("Y", "c", "eggs"))}));
}

TEST(BlockDiffMatcherTest, MovesAndDuplicates) {
    // On the tie the walk drops the old "x" first, so "y" anchors and "x" moves.
    EXPECT_EQ(diffTexts({{"A", "a", "x"}, {"B", "b", "y"}}, {"y", "x"}),
              (Lines{"keep B b y", "move A n x"}));
    EXPECT_EQ(diffTexts({{"A", "a", "-"}, {"B", "b", "x"}, {"C", "c", "-"}}, {"-", "x", "-", "-"}),
              (Lines{"keep A a -", "keep B b x", "keep C c -", "add n4 o -"}));
    EXPECT_EQ(diffTexts({{"A", "a", "x"}, {"B", "b", "x"}}, {"x"}),
              (Lines{"keep A a x", "delete B"}));
    // A moved duplicate takes the first stored candidate.
    EXPECT_EQ(diffTexts({{"A", "a", "x"}, {"B", "b", "x"}, {"C", "c", "y"}}, {"y", "x"}),
              (Lines{"keep C c y", "move A o x", "delete B"}));
}

TEST(BlockDiffMatcherTest, EqualStoredKeysAreSeparatedByIdentifier) {
    // Two devices inserting at once can leave equal keys; the later identifier gets a fresh key.
    EXPECT_EQ(
        diffTexts(
            {{"A", "i", "one"}, {"C", "ii", "three"}, {"B", "ii", "two"}, {"D", "iii", "four"}},
            {"one", "two", "three", "four"}),
        (Lines{"keep A i one", "keep B ii two", "move C ii9 three", "keep D iii four"}));
    // An insert between them used to ask `between` for a key between two equal keys.
    EXPECT_EQ(diffTexts({{"B", "ii", "two"}, {"A", "ii", "one"}, {"Z", "ii", "zed"}},
                        {"one", "new", "two", "zed"}),
              (Lines{"keep A ii one", "add n2 ii9 new", "move B iii two", "move Z iiii zed"}));
    // Distinct keys are never reordered by identifier.
    EXPECT_EQ(diffTexts({{"Z", "i", "one"}, {"A", "ii", "two"}}, {"one", "two"}),
              (Lines{"keep Z i one", "keep A ii two"}));
}

TEST(BlockDiffMatcherTest, SimilarityCountsUserPerceivedCharacters) {
    EXPECT_DOUBLE_EQ(M::similarity("abcdef", "abcxyz"), 0.5);
    EXPECT_DOUBLE_EQ(M::similarity("abcdef", "abxyzq"), 4.0 / 12.0);
    EXPECT_DOUBLE_EQ(M::similarity("", ""), 0.0);
    EXPECT_DOUBLE_EQ(M::similarity("a", ""), 0.0);
    // An "e" with a combining accent, a family joined by zero-width joiners and a flag are one
    // character each.
    EXPECT_DOUBLE_EQ(M::similarity("cafe\u0301", "cafe"), 6.0 / 8.0);
    EXPECT_DOUBLE_EQ(
        M::similarity("\U0001F468\u200D\U0001F469\u200D\U0001F467 ok", "\U0001F468 ok"), 6.0 / 8.0);
    EXPECT_DOUBLE_EQ(M::similarity("\U0001F1E9\U0001F1EA!", "\U0001F1E9!"), 2.0 / 4.0);
    // Broken UTF-8 counts byte by byte.
    EXPECT_DOUBLE_EQ(M::similarity("ab\xff\xfe", "ab\xff"), 6.0 / 7.0);
}

// Random stored documents of up to 14 blocks, and parses of edited copies of them.
class RandomDocuments {
public:
    std::vector<Block> stored(bool equalKeys) {
        std::vector<Block> blocks;
        for (const FI& key : FI::evenlySpaced(pick(14))) {
            blocks.push_back(randomBlock());
            blocks.back().position = key;
        }
        if (equalKeys && blocks.size() > 2) {
            blocks[1].position = blocks[0].position;
        }
        return blocks;
    }

    // Blocks kept, ticked, replaced, dropped and inserted, and the front part shuffled.
    std::vector<Block> edited(const std::vector<Block>& previous) {
        std::vector<Block> parsed;
        for (const Block& old : previous) {
            const int fate = pick(5);
            if (fate == 1) {
                parsed.push_back(randomBlock());
            } else if (fate > 1) {
                parsed.push_back(old);
                if (fate == 2) {
                    parsed.back().checked = !old.checked.value_or(false);
                }
            }
            if (pick(4) == 0) {
                parsed.push_back(randomBlock());
            }
        }
        std::shuffle(parsed.begin(), parsed.begin() + pick(static_cast<int>(parsed.size())), rng_);
        for (Block& b : parsed) {
            b.id = BlockID();
        }
        return parsed;
    }

private:
    int pick(int top) { return std::uniform_int_distribution<int>(0, top)(rng_); }

    Block randomBlock() {
        static const Lines texts{"",    "milk", "milk!",     "eggs", "buy eggs",
                                 "abc", "abd",  "a\u0301 b", "zz"};
        Block b{.kind = std::array{BlockKind::text, BlockKind::item, BlockKind::heading}[pick(2)],
                .text = texts[static_cast<std::size_t>(pick(static_cast<int>(texts.size()) - 1))]};
        b.checked = b.kind == BlockKind::item ? std::optional(pick(1) == 1) : std::nullopt;
        return b;
    }

    std::mt19937 rng_{20240611};
};

// One operation per new block in order, each stored block continued or deleted exactly once, and
// positions strictly ascending in document order. Without equal keys, deletes come in stored
// order.
void expectInvariants(const std::vector<Block>& previous, const std::vector<Block>& parsed,
                      const std::vector<BlockOp>& ops, bool equalKeys) {
    ASSERT_GE(ops.size(), parsed.size());
    std::map<BlockID, std::size_t> storedIndex;
    for (std::size_t i = 0; i < previous.size(); ++i) {
        storedIndex[previous[i].id] = i;
    }
    std::map<BlockID, int> seen;
    std::optional<FI> last;
    std::optional<std::size_t> lastDeleted;
    for (std::size_t j = 0; j < ops.size(); ++j) {
        const BlockOp::Kind kind = ops[j].kind();
        const Block* b = ops[j].blockIfAny();
        ASSERT_EQ(b == nullptr, j >= parsed.size()) << describe(ops[j]);
        const auto old = storedIndex.find(ops[j].id());
        ASSERT_EQ(old == storedIndex.end(), kind == BlockOp::Kind::add) << describe(ops[j]);
        if (old != storedIndex.end()) {
            ++seen[old->first];
        }
        if (b == nullptr) {
            EXPECT_TRUE(equalKeys || !lastDeleted || *lastDeleted < old->second);
            lastDeleted = old->second;
            continue;
        }
        EXPECT_TRUE(b->hasSameContent(parsed[j]));
        EXPECT_TRUE(!last || *last < b->position) << describe(ops[j]);
        last = b->position;
        if (kind == BlockOp::Kind::add) {
            EXPECT_EQ(b->id, parsed[j].id);
            continue;
        }
        const Block& before = previous[old->second];
        EXPECT_EQ(b->hasSameContent(before), kind != BlockOp::Kind::edit) << describe(ops[j]);
        if (kind != BlockOp::Kind::edit) {
            EXPECT_EQ(b->position == before.position, kind == BlockOp::Kind::keep);
        }
    }
    EXPECT_EQ(seen.size(), previous.size());
    EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](auto& e) { return e.second == 1; }));
}

TEST(BlockDiffMatcherTest, RandomDocumentsKeepTheInvariants) {
    RandomDocuments documents;
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE(round);
        const bool equalKeys = round % 3 == 0; // now and then
        const std::vector<Block> previous = documents.stored(equalKeys);
        const std::vector<Block> parsed = documents.edited(previous);
        expectInvariants(previous, parsed, M::diff(previous, parsed), equalKeys);
        if (HasFatalFailure()) {
            return;
        }
    }
}

} // namespace
} // namespace mnemora::core

#include "core/SyncedDocEngine.h"
#include "core/IncomingBlocks.h"
#include "core/SqliteSidecarStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace mnemora::core {
namespace {

using FI = FractionalIndex;
using Kind = BlockOp::Kind;
using Kinds = std::vector<Kind>;

Kinds kindsOf(const std::vector<BlockOp>& ops) {
    Kinds kinds;
    for (const BlockOp& op : ops) {
        kinds.push_back(op.kind());
    }
    return kinds;
}

Block line(const std::string& id, const std::string& position, const std::string& text) {
    return Block{.id = BlockID(id), .text = text, .position = FI(position)};
}

class SyncedDocEngineTest : public ::testing::Test {
protected:
    SqliteSidecarStore store_;
    SyncedDocEngine engine_{store_};
};

// --- applyFileChange ---------------------------------------------------------------------------

TEST_F(SyncedDocEngineTest, FirstSightOfAFileAddsEveryLineAndSavesThem) {
    const auto result = engine_.applyFileChange("lists/active/a.md", "# Shop\n- [ ] Milk\nBread");
    EXPECT_EQ(kindsOf(result.ops), Kinds(3, Kind::add));
    EXPECT_EQ(store_.loadBlocks("lists/active/a.md"), result.blocks);
    EXPECT_TRUE(result.degradations.empty());

    const auto empty = engine_.applyFileChange("b.md", "");
    EXPECT_EQ(kindsOf(empty.ops), Kinds{Kind::add});
    EXPECT_EQ(empty.blocks[0].contentKey(), Block::ContentKey{});
}

TEST_F(SyncedDocEngineTest, SerializedTextFedBackKeepsEverything) {
    const auto first = engine_.applyFileChange("a.md", "# Shop\n- [x] Milk\nBread\n");
    const std::string text = engine_.serialize("a.md");
    EXPECT_EQ(text, "# Shop\n- [x] Milk\nBread\n");

    const auto second = engine_.applyFileChange("a.md", text);
    EXPECT_EQ(kindsOf(second.ops), Kinds(4, Kind::keep));
    EXPECT_EQ(second.blocks, first.blocks);
}

TEST_F(SyncedDocEngineTest, EditsKeepTheIdentityAndRemovedLinesLeaveTheSidecar) {
    const auto first = engine_.applyFileChange("a.md", "One\nBuy milk today\nThree");
    const auto edited = engine_.applyFileChange("a.md", "One\nBuy milk tomorrow\nThree");
    EXPECT_EQ(kindsOf(edited.ops), (Kinds{Kind::keep, Kind::edit, Kind::keep}));
    EXPECT_EQ(edited.blocks[1].id, first.blocks[1].id);

    const auto removed = engine_.applyFileChange("a.md", "One\nThree");
    EXPECT_EQ(kindsOf(removed.ops), (Kinds{Kind::keep, Kind::keep, Kind::delete_}));
    EXPECT_EQ(removed.ops[2].id(), first.blocks[1].id);
    EXPECT_EQ(store_.loadBlocks("a.md"), removed.blocks);
}

TEST_F(SyncedDocEngineTest, LinesAddedAtTheEndOneAtATimeKeepShortKeys) {
    // A journal grows by a line at a time. Each key used to be one character longer than the
    // last; spread over the rest of the range, a character is added about every fifth line.
    std::string text = "Day 0";
    engine_.applyFileChange("journal.md", text);
    for (int day = 1; day < 150; ++day) {
        text += "\nDay " + std::to_string(day);
        const auto result = engine_.applyFileChange("journal.md", text);
        ASSERT_EQ(result.ops.back().kind(), BlockOp::Kind::add) << day;
    }
    const std::vector<Block> stored = store_.loadBlocks("journal.md");
    ASSERT_EQ(stored.size(), 150u);
    EXPECT_TRUE(std::is_sorted(stored.begin(), stored.end(), [](const Block& a, const Block& b) {
        return a.position < b.position;
    }));
    EXPECT_EQ(stored.back().text, "Day 149");
    EXPECT_LE(stored.back().position.key.size(), 35u) << stored.back().position;
}

TEST_F(SyncedDocEngineTest, BrokenTypedLineIsKeptAsTextAndReported) {
    const std::string text = "Intro\n\u25b8 Bank%20statement nonsense 3 5 :: Bank statement";
    const auto result = engine_.applyFileChange("status/close.md", text);
    EXPECT_EQ(result.blocks[1].kind, BlockKind::text);
    ASSERT_EQ(result.degradations.size(), 1u);
    EXPECT_EQ(result.degradations[0].claimedKind, BlockKind::deliverable);
    EXPECT_EQ(engine_.serialize("status/close.md"), text);
}

TEST_F(SyncedDocEngineTest, SavedChangesLeaveWhatAFullSaveLeaves) {
    // Random edits of a growing file; beside it, each result saved whole under another path.
    std::mt19937 rng(11);
    const auto pick = [&](int top) { return std::uniform_int_distribution<int>(0, top)(rng); };
    std::vector<std::string> lines{"# Week", "- [ ] Post", "Notes"};
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE(round);
        const auto at = lines.begin() + pick(static_cast<int>(lines.size()) - 1);
        switch (pick(3)) {
        case 0:
            lines.insert(at, "Line " + std::to_string(round));
            break;
        case 1:
            *at += "!";
            break;
        case 2:
            std::rotate(lines.begin(), at, lines.end());
            break;
        default:
            lines.push_back(lines.size() > 1 ? lines[1] : "again"); // duplicates too
        }
        std::string text;
        for (const std::string& line : lines) {
            text += (text.empty() ? "" : "\n") + line;
        }
        const auto result = engine_.applyFileChange("a.md", text);
        store_.saveBlocks("whole.md", result.blocks);
        ASSERT_EQ(store_.loadBlocks("a.md"), store_.loadBlocks("whole.md"));
        ASSERT_EQ(engine_.serialize("a.md"), text);
    }
}

// --- applyRemoteOps ----------------------------------------------------------------------------

TEST_F(SyncedDocEngineTest, UnknownIdentifiersAndEmptyListsFromRemote) {
    store_.saveBlocks("a.md", {line("A", "i", "First")});
    // An edit of an unknown identifier adds the block; a delete of one does nothing.
    EXPECT_EQ(engine_.applyRemoteOps("", "a.md", {BlockOp::edit(line("B", "ii", "Second"))}),
              "First\nSecond");
    EXPECT_EQ(engine_.applyRemoteOps("", "a.md", {BlockOp::delete_(BlockID("Z"))}),
              "First\nSecond");
    EXPECT_EQ(store_.loadBlocks("a.md"),
              (std::vector<Block>{line("A", "i", "First"), line("B", "ii", "Second")}));

    engine_.applyFileChange("b.md", "# Title\n- [ ] Milk\n\nEnd");
    EXPECT_EQ(engine_.applyRemoteOps("", "b.md", {}), "# Title\n- [ ] Milk\n\nEnd");
}

TEST_F(SyncedDocEngineTest, RemoteBlockReplacesTheLocalOneWholeAndIsPlacedByPosition) {
    store_.saveBlocks("a.md", {Block{.id = BlockID("A"),
                                     .kind = BlockKind::item,
                                     .text = "Milk",
                                     .checked = false,
                                     .position = FI("i")},
                               line("B", "ii", "Bread"), line("C", "iii", "Eggs")});

    const std::string text = engine_.applyRemoteOps("", "a.md",
                                                    {BlockOp::keep(line("B", "ii", "ignored")),
                                                     BlockOp::move(line("A", "iiii", "Oat milk")),
                                                     BlockOp::delete_(BlockID("C"))});

    // The move carried a text block: the item's `checked` is gone, not merged.
    EXPECT_EQ(text, "Bread\nOat milk");
    EXPECT_EQ(store_.loadBlocks("a.md"),
              (std::vector<Block>{line("B", "ii", "Bread"), line("A", "iiii", "Oat milk")}));
}

TEST_F(SyncedDocEngineTest, RemoteChangeReadBackFromTheFileDoesNotEcho) {
    const auto first = engine_.applyFileChange("a.md", "# Shop\n- [ ] Milk\nBread");
    Block edited = first.blocks[1];
    edited.text = "Milk, two litres";
    edited.checked = true;
    Block added{.id = BlockID("NEW"),
                .kind = BlockKind::item,
                .text = "Butter",
                .checked = false,
                .position = FI::between(first.blocks[1].position, first.blocks[2].position)};

    const std::string text =
        engine_.applyRemoteOps("", "a.md", {BlockOp::edit(edited), BlockOp::add(added)});
    EXPECT_EQ(text, "# Shop\n- [x] Milk, two litres\n- [ ] Butter\nBread");

    const auto echo = engine_.applyFileChange("a.md", text);
    EXPECT_EQ(kindsOf(echo.ops), Kinds(4, Kind::keep));
    EXPECT_EQ(echo.blocks, store_.loadBlocks("a.md"));
}

TEST_F(SyncedDocEngineTest, RemoteBlockIsStoredAsItsLineReadsSoReadingBackKeepsIdentity) {
    engine_.applyFileChange("a.md", "Intro");
    // An item without `checked` writes as unchecked; a text "# Soap" reads as a heading.
    const Block item{
        .id = BlockID("ITEM"), .kind = BlockKind::item, .text = "Soap", .position = FI("ii")};
    const Block heading = line("HEAD", "iii", "# Soap");

    std::vector<BlockRepair> repairs;
    const std::string text =
        engine_.applyRemoteOps("", "a.md", {BlockOp::add(item), BlockOp::add(heading)}, repairs);
    EXPECT_EQ(text, "Intro\n- [ ] Soap\n# Soap");
    EXPECT_EQ(repairs, (std::vector<BlockRepair>{
                           {.blockID = BlockID("ITEM"),
                            .field = "checked",
                            .detail = "taken as the file reads the line \"- [ ] Soap\""},
                           {.blockID = BlockID("HEAD"),
                            .field = "kind, level, text",
                            .detail = "taken as the file reads the line \"# Soap\""}}));
    EXPECT_EQ(store_.loadBlocks("a.md")[1].checked, std::optional<bool>(false));

    const auto readBack = engine_.applyFileChange("a.md", text);
    EXPECT_EQ(kindsOf(readBack.ops), Kinds(3, Kind::keep));
    EXPECT_EQ(readBack.blocks[2].id, BlockID("HEAD"));
}

TEST_F(SyncedDocEngineTest, RemoteOpsUseTheirOwnZone) {
    engine_.applyRemoteOps("other", "a.md", {BlockOp::add(line("A", "i", "Elsewhere"))});
    EXPECT_TRUE(store_.loadBlocks("a.md").empty());
    EXPECT_EQ(engine_.blocks("other", "a.md"), (std::vector<Block>{line("A", "i", "Elsewhere")}));
}

// The keys of the stored document are usable and strictly ascending.
void expectOrderedKeys(const std::vector<Block>& blocks, const std::string& context) {
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        EXPECT_TRUE(blocks[k].position.isWellFormed()) << context << ": " << blocks[k].position;
        if (k > 0) {
            EXPECT_LT(blocks[k - 1].position, blocks[k].position) << context;
        }
    }
}

TEST_F(SyncedDocEngineTest, HostileRemoteKeysAreReplacedSoLocalLinesFitBesideThem) {
    struct Case {
        std::string key;
        std::string text; // what the file reads once the phone's block is in
    };
    // "One" and "Two" are stored at "c" and "o".
    const Case cases[] = {{"0", "Phone\nOne\nTwo"}, {"i0", "One\nPhone\nTwo"},
                          {"", "Phone\nOne\nTwo"},  {"AB", "Phone\nOne\nTwo"},
                          {"c", "One\nPhone\nTwo"}, {"o0", "One\nTwo\nPhone"}};
    for (const Case& c : cases) {
        SqliteSidecarStore store;
        SyncedDocEngine engine(store);
        engine.applyFileChange("a.md", "One\nTwo");
        std::vector<BlockRepair> repairs;
        const std::string text =
            engine.applyRemoteOps("", "a.md", {BlockOp::add(line("X", c.key, "Phone"))}, repairs);
        EXPECT_EQ(text, c.text) << c.key;
        ASSERT_EQ(repairs.size(), 1u) << c.key;
        EXPECT_EQ(repairs[0].blockID, BlockID("X"));
        EXPECT_EQ(repairs[0].field, "position");

        // A line typed on each side of the phone's line.
        std::string edited = text;
        edited.replace(edited.find("Phone"), 5, "Before\nPhone\nAfter");
        const auto result = engine.applyFileChange("a.md", edited);
        EXPECT_EQ(engine.serialize("a.md"), edited) << c.key;
        EXPECT_TRUE(result.repairs.empty()) << c.key;
        expectOrderedKeys(store.loadBlocks("a.md"), c.key);
    }
}

TEST_F(SyncedDocEngineTest, PhoneDeletingEveryBlockLeavesAnEmptyFileThatSendsNothingBack) {
    const auto first = engine_.applyFileChange("a.md", "# Shop\n- [ ] Milk");
    std::vector<BlockOp> deletes;
    for (const Block& block : first.blocks) {
        deletes.push_back(BlockOp::delete_(block.id));
    }
    EXPECT_EQ(engine_.applyRemoteOps("", "a.md", deletes), "");
    EXPECT_EQ(kindsOf(engine_.applyFileChange("a.md", "").ops), Kinds{Kind::keep});
    // The next line typed into the empty file goes out as usual (the empty line it replaces was
    // never sent, so its delete finds nothing on the server).
    EXPECT_EQ(kindsOf(engine_.applyFileChange("a.md", "Eggs").ops),
              (Kinds{Kind::add, Kind::delete_}));
}

TEST_F(SyncedDocEngineTest, UnusableStoredKeysAreReplacedAndSentAsMoves) {
    // As a sidecar of another build, or one written before keys were checked, may hold them.
    store_.saveBlocks("a.md",
                      {line("A", "0", "One"), line("C", "i0", "Three"), line("B", "i0", "Two")});
    const auto result = engine_.applyFileChange("a.md", "One\nTwo\nNew\nThree");
    EXPECT_EQ(kindsOf(result.ops), (Kinds{Kind::move, Kind::move, Kind::add, Kind::move}));
    std::vector<std::string> repaired;
    for (const BlockRepair& repair : result.repairs) {
        repaired.push_back(repair.blockID.rawValue + " " + repair.detail);
    }
    EXPECT_EQ(repaired, (std::vector<std::string>{"A \"0\" ends in \"0\"; now \"i\"",
                                                  "B \"i0\" ends in \"0\"; now \"ii\"",
                                                  "C \"i0\" ends in \"0\"; now \"iii\""}));
    expectOrderedKeys(store_.loadBlocks("a.md"), "stored");
    EXPECT_EQ(kindsOf(engine_.applyFileChange("a.md", "One\nTwo\nNew\nThree").ops),
              Kinds(4, Kind::keep));
}

TEST_F(SyncedDocEngineTest, OwnLongLineComingBackStaysWholeWhileAnotherIsCut) {
    const std::string longLine(IncomingBlocks::kMaxFieldBytes + 10, 'x');
    const auto first = engine_.applyFileChange("a.md", longLine + "\nShort");
    std::vector<BlockRepair> repairs;
    Block other = first.blocks[1];
    other.text = longLine + "y";
    const std::string text = engine_.applyRemoteOps(
        "", "a.md", {BlockOp::edit(first.blocks[0]), BlockOp::edit(other)}, repairs);
    EXPECT_EQ(text, longLine + "\n" + longLine.substr(0, IncomingBlocks::kMaxFieldBytes));
    EXPECT_EQ(repairs, (std::vector<BlockRepair>{{.blockID = other.id,
                                                  .field = "text",
                                                  .detail = "cut from 65547 to 65536 bytes"}}));
}

using SyncedDocEngineDeathTest = SyncedDocEngineTest;

TEST_F(SyncedDocEngineDeathTest, DuplicateStoredIdentifierStopsTheProgram) {
    // The sidecar keys rows by identifier, so only another store could hold a duplicate.
    class DuplicatingStore final : public SyncedDocSidecarStore {
    public:
        std::vector<Block> loadBlocks(const std::string&, const std::string&) override {
            return {line("A", "i", "One"), line("A", "ii", "Two")};
        }
        void saveBlocks(const std::string&, const std::string&,
                        const std::vector<Block>&) override {}
        void deleteDoc(const std::string&, const std::string&) override {}
        std::optional<FoundBlock> findBlock(const BlockID&) override { return std::nullopt; }
        std::vector<Document> allDocs() override { return {}; }
    };
    DuplicatingStore duplicating;
    SyncedDocEngine engine(duplicating);

    EXPECT_DEATH(engine.applyRemoteOps("", "a.md", {}), "identifier twice");
}

} // namespace
} // namespace mnemora::core

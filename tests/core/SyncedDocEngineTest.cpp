#include "core/SyncedDocEngine.h"
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

TEST_F(SyncedDocEngineTest, FieldThatDoesNotSurviveTheFileShowsOnceAsEdit) {
    engine_.applyFileChange("a.md", "Intro");
    // An item without `checked` writes as unchecked and reads back with `checked` false.
    const Block item{
        .id = BlockID("NEW"), .kind = BlockKind::item, .text = "Soap", .position = FI("ii")};

    const std::string text = engine_.applyRemoteOps("", "a.md", {BlockOp::add(item)});
    EXPECT_EQ(text, "Intro\n- [ ] Soap");

    const auto readBack = engine_.applyFileChange("a.md", text);
    ASSERT_EQ(kindsOf(readBack.ops), (Kinds{Kind::keep, Kind::edit}));
    EXPECT_EQ(readBack.ops[1].id(), BlockID("NEW"));
    EXPECT_EQ(readBack.blocks[1].checked, std::optional<bool>(false));
    EXPECT_EQ(kindsOf(engine_.applyFileChange("a.md", text).ops), Kinds(2, Kind::keep));
}

TEST_F(SyncedDocEngineTest, RemoteOpsUseTheirOwnZone) {
    engine_.applyRemoteOps("other", "a.md", {BlockOp::add(line("A", "i", "Elsewhere"))});
    EXPECT_TRUE(store_.loadBlocks("a.md").empty());
    EXPECT_EQ(engine_.blocks("other", "a.md"), (std::vector<Block>{line("A", "i", "Elsewhere")}));
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

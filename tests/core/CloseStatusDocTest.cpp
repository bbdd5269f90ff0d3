#include "core/CloseStatusDoc.h"
#include "core/MarkdownCodec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {
namespace {

using Deliverable = CloseStatusDoc::Deliverable;
using Presentation = CloseStatusDoc::Presentation;

CloseStatusDoc marchDraft() {
    return CloseStatusDoc{
        .period = "2026-03",
        .business = std::nullopt,
        .phase = ClosePhase::draft,
        .activity = "Drafting the report",
        .startedAt = "2026-04-01T09:00:00Z",
        .movedAt = "2026-04-03T17:30:00Z",
        .blockedKind = CloseBlockedKind::needsAnswer,
        .blockedReason = "Two receipts are unclear",
        .answerableCount = 2,
        .deliverables = {{.label = "Bank statement",
                          .detail = "Main account",
                          .status = DeliverableStatus::partial,
                          .countDone = 3,
                          .countTotal = 5},
                         {.label = "Receipts", .status = DeliverableStatus::done, .countDone = 12},
                         {.label = "Report"}},
    };
}

TEST(CloseStatusDocTest, PresentationFollowsTheBlockedKindAndOnlyClosedIsComplete) {
    const std::vector<std::pair<std::optional<CloseBlockedKind>, Presentation>> cases = {
        {CloseBlockedKind::needsAnswer, Presentation::question},
        {CloseBlockedKind::needsMac, Presentation::needsMac},
        {CloseBlockedKind::waitingExternal, Presentation::standingBy},
        {std::nullopt, Presentation::standingBy}};
    CloseStatusDoc doc = marchDraft();
    for (const auto& [kind, presentation] : cases) {
        doc.blockedKind = kind;
        EXPECT_EQ(doc.presentation(), presentation) << static_cast<int>(presentation);
    }
    for (int phase = 0; phase <= static_cast<int>(ClosePhase::closed); ++phase) {
        doc.phase = static_cast<ClosePhase>(phase);
        EXPECT_EQ(doc.isComplete(), doc.phase == ClosePhase::closed) << phase;
    }
}

TEST(CloseStatusDocTest, ProgressText) {
    EXPECT_EQ((Deliverable{.label = "a"}).progressText(), std::nullopt);
    EXPECT_EQ((Deliverable{.label = "a", .countTotal = 5}).progressText(), std::nullopt);
    EXPECT_EQ((Deliverable{.label = "a", .countDone = 3}).progressText(), "3");
    EXPECT_EQ((Deliverable{.label = "a", .countDone = 3, .countTotal = 5}).progressText(),
              "3 of 5");
}

TEST(CloseStatusDocTest, BlocksCarryTheGeneratedTextAtFreshIdentifiers) {
    CloseStatusDoc doc = marchDraft();
    const std::vector<Block> blocks = doc.blocks();
    std::vector<std::string> texts;
    for (const Block& block : blocks) {
        texts.push_back(block.position.key + " " + block.text);
    }
    EXPECT_EQ(texts,
              (std::vector<std::string>{"7 Close \u00b7 2026-03 \u00b7 draft",
                                        "e Bank statement 3 of 5", "l Receipts 12", "s Report"}));
    EXPECT_EQ(blocks[0].kind, BlockKind::closeStatus);
    EXPECT_EQ(blocks[1].kind, BlockKind::deliverable);
    EXPECT_EQ(blocks[3].deliverableStatus, DeliverableStatus::pending);
    EXPECT_NE(blocks[0].id, doc.blocks()[0].id);

    doc.business = "Acme";
    doc.phase = ClosePhase::collecting;
    doc.deliverables.clear();
    ASSERT_EQ(doc.blocks().size(), 1u);
    EXPECT_EQ(doc.blocks()[0].text, "Acme \u00b7 2026-03 \u00b7 collecting");
}

// The absent business stays absent: "Close" is only in the header's text.
TEST(CloseStatusDocTest, RoundTripsThroughBlocksAndTheFile) {
    const CloseStatusDoc doc = marchDraft();
    EXPECT_EQ(CloseStatusDoc::from(doc.blocks()), doc);
    EXPECT_EQ(CloseStatusDoc::from(MarkdownCodec::parse(MarkdownCodec::serialize(doc.blocks()))),
              doc);
}

TEST(CloseStatusDocTest, ReadsInPositionOrderWithDefaults) {
    std::vector<Block> blocks = marchDraft().blocks();
    blocks[0].answerableCount = std::nullopt;
    blocks[3].deliverableStatus = std::nullopt;
    blocks[2].deliverableLabel = std::nullopt; // not a deliverable without its label
    std::ranges::reverse(blocks);

    const auto doc = CloseStatusDoc::from(blocks);

    ASSERT_TRUE(doc.has_value());
    EXPECT_EQ(doc->answerableCount, 0);
    ASSERT_EQ(doc->deliverables.size(), 2u);
    EXPECT_EQ(doc->deliverables[0].label, "Bank statement");
    EXPECT_EQ(doc->deliverables[1].label, "Report");
    EXPECT_EQ(doc->deliverables[1].status, DeliverableStatus::pending);
}

TEST(CloseStatusDocTest, AbsentWithoutAUsableHeader) {
    const std::vector<Block> blocks = marchDraft().blocks();
    EXPECT_EQ(CloseStatusDoc::from({blocks.begin() + 1, blocks.end()}), std::nullopt);
    EXPECT_EQ(CloseStatusDoc::from({}), std::nullopt);
    std::vector<Block> noPeriod = blocks;
    noPeriod[0].period = std::nullopt;
    EXPECT_EQ(CloseStatusDoc::from(noPeriod), std::nullopt);
    std::vector<Block> noPhase = blocks;
    noPhase[0].closePhase = std::nullopt;
    EXPECT_EQ(CloseStatusDoc::from(noPhase), std::nullopt);
}

} // namespace
} // namespace mnemora::core

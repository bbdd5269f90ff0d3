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

// --- computed values ---------------------------------------------------------------------------

TEST(CloseStatusDocTest, PresentationFollowsTheBlockedKind) {
    CloseStatusDoc doc = marchDraft();
    EXPECT_EQ(doc.presentation(), Presentation::question);
    doc.blockedKind = CloseBlockedKind::needsMac;
    EXPECT_EQ(doc.presentation(), Presentation::needsMac);
    doc.blockedKind = CloseBlockedKind::waitingExternal;
    EXPECT_EQ(doc.presentation(), Presentation::standingBy);
    doc.blockedKind = std::nullopt;
    EXPECT_EQ(doc.presentation(), Presentation::standingBy);
}

TEST(CloseStatusDocTest, CompleteOnlyWhenClosed) {
    CloseStatusDoc doc = marchDraft();
    EXPECT_FALSE(doc.isComplete());
    doc.phase = ClosePhase::sent;
    EXPECT_FALSE(doc.isComplete());
    doc.phase = ClosePhase::closed;
    EXPECT_TRUE(doc.isComplete());
}

TEST(CloseStatusDocTest, ProgressText) {
    EXPECT_EQ((Deliverable{.label = "a"}).progressText(), std::nullopt);
    EXPECT_EQ((Deliverable{.label = "a", .countTotal = 5}).progressText(), std::nullopt);
    EXPECT_EQ((Deliverable{.label = "a", .countDone = 3}).progressText(), "3");
    EXPECT_EQ((Deliverable{.label = "a", .countDone = 3, .countTotal = 5}).progressText(),
              "3 of 5");
}

// --- blocks ------------------------------------------------------------------------------------

TEST(CloseStatusDocTest, BlocksCarryTheFieldsAndGeneratedText) {
    const std::vector<Block> blocks = marchDraft().blocks();

    ASSERT_EQ(blocks.size(), 4u);
    const Block& header = blocks[0];
    EXPECT_EQ(header.kind, BlockKind::closeStatus);
    EXPECT_EQ(header.level, 0);
    EXPECT_EQ(header.position, FractionalIndex("i"));
    EXPECT_EQ(header.text, "Close \u00b7 2026-03 \u00b7 draft");
    EXPECT_EQ(header.business, std::nullopt);
    EXPECT_EQ(header.closePhase, ClosePhase::draft);
    EXPECT_EQ(header.answerableCount, 2);

    EXPECT_EQ(blocks[1].kind, BlockKind::deliverable);
    EXPECT_EQ(blocks[1].text, "Bank statement 3 of 5");
    EXPECT_EQ(blocks[1].position, FractionalIndex("ii"));
    EXPECT_EQ(blocks[1].deliverableDetail, "Main account");
    EXPECT_EQ(blocks[2].text, "Receipts 12");
    EXPECT_EQ(blocks[3].text, "Report");
    EXPECT_EQ(blocks[3].deliverableStatus, DeliverableStatus::pending);
    EXPECT_EQ(blocks[3].position, FractionalIndex("iiii"));
}

TEST(CloseStatusDocTest, NamedBusinessLeadsTheText) {
    CloseStatusDoc doc = marchDraft();
    doc.business = "Acme";
    doc.phase = ClosePhase::collecting;
    EXPECT_EQ(doc.blocks()[0].text, "Acme \u00b7 2026-03 \u00b7 collecting");
}

TEST(CloseStatusDocTest, NoDeliverablesGiveOneBlockAtTheFirstKey) {
    CloseStatusDoc doc = marchDraft();
    doc.deliverables.clear();
    const std::vector<Block> blocks = doc.blocks();
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].position, FractionalIndex("i"));
}

TEST(CloseStatusDocTest, IdentifiersAreFreshEachTime) {
    EXPECT_NE(marchDraft().blocks()[0].id, marchDraft().blocks()[0].id);
}

// --- from(blocks:) -----------------------------------------------------------------------------

TEST(CloseStatusDocTest, RoundTripsThroughBlocks) {
    const CloseStatusDoc doc = marchDraft();
    const auto back = CloseStatusDoc::from(doc.blocks());

    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, doc);
    EXPECT_EQ(back->business, std::nullopt);
}

TEST(CloseStatusDocTest, RoundTripsThroughTheFile) {
    const CloseStatusDoc doc = marchDraft();
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
    std::vector<Block> blocks = marchDraft().blocks();
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

#include "core/LedgerDoc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {
namespace {

using Row = LedgerDoc::Row;

Row row(std::string date, SyncedLedgerState state, std::optional<std::string> origin = {}) {
    return Row{.date = std::move(date),
               .counterparty = "Corner Shop",
               .origin = std::move(origin),
               .amount = "12.40",
               .state = state};
}

// --- Row ---------------------------------------------------------------------------------------

TEST(LedgerDocTest, ShortDateDropsAFourDigitYear) {
    EXPECT_EQ(row("2026-03-04", SyncedLedgerState::found).shortDate(), "03-04");
    EXPECT_EQ(row("March", SyncedLedgerState::found).shortDate(), "March");
    EXPECT_EQ(row("26-03-04", SyncedLedgerState::found).shortDate(), "26-03-04");
    EXPECT_EQ(row("2026-03", SyncedLedgerState::found).shortDate(), "2026-03");
    EXPECT_EQ(row("2026-03-04-1", SyncedLedgerState::found).shortDate(), "2026-03-04-1");
    EXPECT_EQ(row("", SyncedLedgerState::found).shortDate(), "");
}

TEST(LedgerDocTest, StateLineNamesAKnownOriginOfAFoundRow) {
    EXPECT_EQ(row("d", SyncedLedgerState::working, "your bank").stateLine(), "still looking");
    EXPECT_EQ(row("d", SyncedLedgerState::asking).stateLine(), "asking you");
    EXPECT_EQ(row("d", SyncedLedgerState::found, " Your Bank ").stateLine(), "your bank");
    EXPECT_EQ(row("d", SyncedLedgerState::found, "\tYOUR MAIL\r\n").stateLine(), "your mail");
    EXPECT_EQ(row("d", SyncedLedgerState::found, "your photos\u00a0").stateLine(), "your photos");
    EXPECT_EQ(row("d", SyncedLedgerState::found, "Your Answer").stateLine(), "your answer");
    EXPECT_EQ(row("d", SyncedLedgerState::found, "Bank of Somewhere").stateLine(),
              "with a document");
    EXPECT_EQ(row("d", SyncedLedgerState::found, "your  bank").stateLine(), "with a document");
    EXPECT_EQ(row("d", SyncedLedgerState::found).stateLine(), "with a document");
}

// --- Counts ------------------------------------------------------------------------------------

TEST(LedgerDocTest, CountsByState) {
    EXPECT_EQ(LedgerDoc{}.counts().total(), 0);

    const LedgerDoc doc{
        .rows = {row("a", SyncedLedgerState::found), row("b", SyncedLedgerState::asking),
                 row("c", SyncedLedgerState::found), row("d", SyncedLedgerState::working)}};
    EXPECT_EQ(doc.counts(), (LedgerDoc::Counts{.found = 2, .working = 1, .asking = 1}));
    EXPECT_EQ(doc.counts().total(), 4);
}

// --- blocks ------------------------------------------------------------------------------------

TEST(LedgerDocTest, BlocksOnePerRowRoundTrip) {
    const LedgerDoc doc{.rows = {row("2026-03-04", SyncedLedgerState::found, "your bank"),
                                 Row{.date = "2026-03-05", .counterparty = "Rail"}}};
    const std::vector<Block> blocks = doc.blocks();
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0].contentKey(), (Block::ContentKey{.kind = BlockKind::ledgerRow,
                                                         .text = "Corner Shop",
                                                         .ledgerDate = "2026-03-04",
                                                         .ledgerOrigin = "your bank",
                                                         .ledgerAmount = "12.40",
                                                         .ledgerState = SyncedLedgerState::found}));
    EXPECT_EQ(blocks[0].position, FractionalIndex("c"));
    EXPECT_EQ(blocks[1].position, FractionalIndex("o"));
    EXPECT_EQ(LedgerDoc::from(blocks), doc);
    EXPECT_TRUE(LedgerDoc{}.blocks().empty());
}

TEST(LedgerDocTest, FromSkipsIncompleteRowsAndKeepsPositionOrder) {
    std::vector<Block> blocks = LedgerDoc{.rows = {row("2026-03-01", SyncedLedgerState::found),
                                                   row("2026-03-02", SyncedLedgerState::found),
                                                   row("2026-03-03", SyncedLedgerState::found),
                                                   row("2026-03-04", SyncedLedgerState::found)}}
                                    .blocks();
    blocks[0].ledgerState = std::nullopt;
    blocks[1].ledgerDate = "";
    blocks[2].text = "";
    blocks.push_back(Block{.text = "A note", .position = FractionalIndex("0")});
    std::ranges::reverse(blocks);

    const LedgerDoc doc = LedgerDoc::from(blocks);

    ASSERT_EQ(doc.rows.size(), 2u);
    EXPECT_EQ(doc.rows[0].date, "2026-03-01");
    EXPECT_EQ(doc.rows[0].state, SyncedLedgerState::working);
    EXPECT_EQ(doc.rows[1].date, "2026-03-04");
}

} // namespace
} // namespace mnemora::core

#include "core/MarkdownCodec.h"

#include <gtest/gtest.h>

namespace mnemora::core {
namespace {

namespace codec = MarkdownCodec;
using Degradations = std::vector<codec::Degradation>;

// Parses a text of one line and returns its block; the degradations go to `degradations`.
Block parseLine(std::string_view line, Degradations& degradations) {
    std::vector<Block> blocks = codec::parse(line, degradations);
    EXPECT_EQ(blocks.size(), 1u);
    return blocks.empty() ? Block{} : blocks.front();
}

Block parseLine(std::string_view line) {
    Degradations degradations;
    Block block = parseLine(line, degradations);
    EXPECT_TRUE(degradations.empty()) << degradations.front().reason;
    return block;
}

// Expects `line` to stay a text block holding the whole line, for exactly this reason.
void expectDegraded(std::string_view line, BlockKind claimed, std::string_view reason) {
    Degradations degradations;
    const Block block = parseLine(line, degradations);
    EXPECT_EQ(block.kind, BlockKind::text) << line;
    EXPECT_EQ(block.text, line);
    EXPECT_EQ(block.contentKey(), (Block::ContentKey{.text = std::string(line)}));
    ASSERT_EQ(degradations.size(), 1u) << line;
    EXPECT_EQ(degradations[0].claimedKind, claimed) << line;
    EXPECT_EQ(degradations[0].reason, reason) << line;
    EXPECT_EQ(degradations[0].linePreview, line);
    EXPECT_EQ(codec::serialize(std::vector<Block>{block}), line);
}

std::size_t tokenCount(const std::string& line) {
    const std::string row = line.substr(0, line.find(" :: "));
    return static_cast<std::size_t>(std::count(row.begin(), row.end(), ' '));
}

TEST(MarkdownCodecFile, SplitsOnLineFeedsOnly) {
    const std::vector<Block> blocks = codec::parse("# Title\r\n- [ ] a\n\nlast\n");
    ASSERT_EQ(blocks.size(), 5u);
    EXPECT_EQ(blocks[0].kind, BlockKind::heading);
    EXPECT_EQ(blocks[0].text, "Title\r");
    EXPECT_EQ(blocks[1].kind, BlockKind::item);
    EXPECT_EQ(blocks[2].contentKey(), Block::ContentKey{});
    EXPECT_EQ(blocks[3].text, "last");
    EXPECT_EQ(blocks[4].contentKey(), Block::ContentKey{});
    std::vector<std::string> positions;
    for (const Block& block : blocks) {
        positions.push_back(block.position.key);
    }
    EXPECT_EQ(positions, (std::vector<std::string>{"6", "c", "i", "o", "u"}));
    EXPECT_NE(blocks[2].id, blocks[4].id);

    const std::vector<Block> empty = codec::parse("");
    ASSERT_EQ(empty.size(), 1u);
    EXPECT_EQ(empty[0].contentKey(), Block::ContentKey{});
    EXPECT_EQ(empty[0].position.key, "i");
}

TEST(MarkdownCodecFile, SerializeOrdersByPositionAndKeepsTiesInGivenOrder) {
    const std::vector<Block> blocks = {
        {.text = "c", .position = FractionalIndex("k")},
        {.text = "a", .position = FractionalIndex("a")},
        {.text = "b1", .position = FractionalIndex("b")},
        {.text = "b2", .position = FractionalIndex("b")},
    };
    EXPECT_EQ(codec::serialize(blocks), "a\nb1\nb2\nc");
    EXPECT_EQ(codec::serialize(std::vector<Block>{}), "");
}

TEST(MarkdownCodecFile, LineFeedInBlockTextBecomesALineBreak) {
    const std::vector<Block> blocks = {{.kind = BlockKind::item, .text = "one\ntwo"}};
    const std::string text = codec::serialize(blocks);
    EXPECT_EQ(text, "- [ ] one\ntwo");
    EXPECT_EQ(codec::parse(text).size(), 2u);
}

TEST(MarkdownCodecFile, DegradationsAreAppendedInLineOrder) {
    Degradations degradations = {{BlockKind::question, "earlier", "kept"}};
    codec::parse("§ no separator\nplain\n◈ a b :: Harbour", degradations);
    ASSERT_EQ(degradations.size(), 3u);
    EXPECT_EQ(degradations[0].reason, "earlier");
    EXPECT_EQ(degradations[1], (codec::Degradation{BlockKind::closeStatus, "no ' :: ' separator",
                                                   "§ no separator"}));
    EXPECT_EQ(degradations[2], (codec::Degradation{BlockKind::ledgerRow, "expected 4 tokens, got 2",
                                                   "◈ a b :: Harbour"}));
}

TEST(MarkdownCodecLine, HeadingsAndItemsReadAndWriteBack) {
    using Key = Block::ContentKey;
    const std::vector<std::pair<std::string, Key>> cases = {
        {"## March", {.kind = BlockKind::heading, .level = 2, .text = "March"}},
        {"# ", {.kind = BlockKind::heading, .level = 1}},
        {"######  six", {.kind = BlockKind::heading, .level = 6, .text = " six"}},
        {"- [x] Send the bank statement",
         {.kind = BlockKind::item, .text = "Send the bank statement", .checked = true}},
        {"- [ ] ", {.kind = BlockKind::item, .checked = false}},
    };
    for (const auto& [line, key] : cases) {
        const Block block = parseLine(line);
        EXPECT_EQ(block.contentKey(), key) << line;
        EXPECT_EQ(codec::serializeLine(block), line);
    }
}

TEST(MarkdownCodecLine, NearMissesAndMarkersWithoutTheirBlankAreTextWithoutDegradation) {
    for (const char* line :
         {"#######  x", "#x", "#", " # x", "##", "- [ ]", "- [X] a", "-  [ ] a", "- [x]a",
          "- [xx] a", "* [ ] a", "?open - - - - - - - :: Q", "§2026 :: x", "▸:: x", "◈", "?", "",
          "Just a sentence :: with a separator"}) {
        EXPECT_EQ(parseLine(line).contentKey(), (Block::ContentKey{.text = line})) << line;
    }
}

TEST(MarkdownCodecLine, WriterClampsHeadingLevelsAndOpensAbsentBoxes) {
    const std::vector<std::pair<Block, std::string>> cases = {
        {{.kind = BlockKind::heading, .level = 0, .text = "x"}, "# x"},
        {{.kind = BlockKind::heading, .level = -3, .text = ""}, "# "},
        {{.kind = BlockKind::heading, .level = 3, .text = "x"}, "### x"},
        {{.kind = BlockKind::item, .text = "a"}, "- [ ] a"},
        {{.kind = BlockKind::item, .text = "a", .checked = true}, "- [x] a"},
    };
    for (const auto& [block, line] : cases) {
        EXPECT_EQ(codec::serializeLine(block), line);
    }
}

TEST(MarkdownCodecToken, EncodesAndDecodesInAFixedOrder) {
    // {text, token}: the text is written as the token, and the token reads as the text.
    const std::vector<std::pair<std::optional<std::string>, std::string>> bothWays = {
        {std::nullopt, "-"},
        {"-", "%2D"},
        {"--", "--"},
        {"a b%\n\r", "a%20b%25%0A%0D"},
        {"Café :: 5\t€", "Café%20::%205\t€"},
        {"::", "%3A%3A"}, // bare, it would read as the separator
        {"Yes, private", "Yes,%20private"},
        {"a\nb\rc%", "a%0Ab%0Dc%25"},
        // "%25" is replaced last, so an escaped escape stays one level deep.
        {"%20", "%2520"},
        {"%2D", "%252D"},
    };
    for (const auto& [text, token] : bothWays) {
        EXPECT_EQ(codec::encodeToken(text), token);
        EXPECT_EQ(codec::decodeToken(token), text) << token;
    }
    // One way only: an empty text is written as absent; an empty token and unknown or lower-case
    // escapes read as they stand.
    EXPECT_EQ(codec::encodeToken(""), "-");
    for (const std::string token : {"", "%41", "%2d"}) {
        EXPECT_EQ(codec::decodeToken(token), token);
    }
}

TEST(MarkdownCodecQuestion, ReadsTheWorkedExamples) {
    using Key = Block::ContentKey;
    const auto q = BlockKind::question;
    const std::vector<std::pair<std::string, Key>> cases = {
        {"? open q-17 dreamer 2026-03-01T09:00:00Z - - - - :: Was the March invoice private?",
         {.kind = q,
          .text = "Was the March invoice private?",
          .questionID = "q-17",
          .questionStatus = QuestionCardStatus::open,
          .askedBy = "dreamer",
          .askedAt = "2026-03-01T09:00:00Z"}},
        {"? answered q-17 dreamer 2026-03-01T09:00:00Z phone 2026-03-02T08:15:00Z - "
         "Yes,%20private :: Was the March invoice private?",
         {.kind = q,
          .text = "Was the March invoice private?",
          .questionID = "q-17",
          .questionStatus = QuestionCardStatus::answered,
          .askedBy = "dreamer",
          .askedAt = "2026-03-01T09:00:00Z",
          .answeredBy = "phone",
          .answeredAt = "2026-03-02T08:15:00Z",
          .answer = "Yes, private"}},
        {"? answered q-18 dreamer 2026-03-01T09:00:00Z phone 2026-03-02T08:20:00Z clip-4.caf - "
         "transcribing 40 Yes%20it :: Is this receipt yours?",
         {.kind = q,
          .text = "Is this receipt yours?",
          .questionID = "q-18",
          .questionStatus = QuestionCardStatus::answered,
          .askedBy = "dreamer",
          .askedAt = "2026-03-01T09:00:00Z",
          .answeredBy = "phone",
          .answeredAt = "2026-03-02T08:20:00Z",
          .audioAssetRef = "clip-4.caf",
          .transcriptionState = VoiceTranscriptionState::transcribing,
          .transcriptionProgress = 40,
          .transcriptionPartial = "Yes it"}},
        {"? open q-19 dreamer 2026-03-01T09:00:00Z - - - - - - - books-1 expense - 2026-03 :: "
         "Which account?",
         {.kind = q,
          .text = "Which account?",
          .questionID = "q-19",
          .questionStatus = QuestionCardStatus::open,
          .booksID = "books-1",
          .questionKind = "expense",
          .askedBy = "dreamer",
          .askedAt = "2026-03-01T09:00:00Z",
          .period = "2026-03"}},
    };
    for (const auto& [line, key] : cases) {
        const Block block = parseLine(line);
        EXPECT_EQ(block.contentKey(), key) << line;
        EXPECT_EQ(codec::serializeLine(block), line);
    }
}

TEST(MarkdownCodecQuestion, WriterPicksTheShortestForm) {
    const Block base{.kind = BlockKind::question, .text = "Q"};
    EXPECT_EQ(codec::serializeLine(base), "? open - - - - - - - :: Q");

    const auto tokensWith = [&](auto change) {
        Block block = base;
        change(block);
        return tokenCount(codec::serializeLine(block));
    };
    EXPECT_EQ(tokensWith([](Block& b) { b.transcriptionPartial = ""; }), 8u);
    EXPECT_EQ(tokensWith([](Block& b) { b.transcriptionPartial = "x"; }), 11u);
    EXPECT_EQ(tokensWith([](Block& b) { b.transcriptionProgress = 0; }), 11u);
    EXPECT_EQ(tokensWith([](Block& b) { b.transcriptionState = VoiceTranscriptionState::failed; }),
              11u);
    EXPECT_EQ(tokensWith([](Block& b) { b.booksID = "b"; }), 12u);
    EXPECT_EQ(tokensWith([](Block& b) { b.booksID = ""; }), 8u);
    EXPECT_EQ(tokensWith([](Block& b) { b.questionKind = ""; }), 8u);
    EXPECT_EQ(tokensWith([](Block& b) { b.suggestedActions = "[]"; }), 15u);
    EXPECT_EQ(tokensWith([](Block& b) { b.period = "2026-03"; }), 15u);
    EXPECT_EQ(tokensWith([](Block& b) { b.appliedAt = ""; }), 8u);

    Block applied = base;
    applied.questionStatus = QuestionCardStatus::dismissed;
    applied.appliedAt = "2026-03-03T10:00:00Z";
    const std::string line = "? dismissed - - - - - - - - - - - - - - 2026-03-03T10:00:00Z :: Q";
    EXPECT_EQ(codec::serializeLine(applied), line);
    EXPECT_EQ(parseLine(line).contentKey(), applied.contentKey());
}

TEST(MarkdownCodecQuestion, TextKeepsEverythingAfterTheFirstSeparator) {
    const Block block = parseLine("? open - - - - - - - :: Was it A :: or B?");
    EXPECT_EQ(block.kind, BlockKind::question);
    EXPECT_EQ(block.text, "Was it A :: or B?");
}

TEST(MarkdownCodecQuestion, Degradations) {
    const auto q = BlockKind::question;
    expectDegraded("? What is this", q, "no ' :: ' separator");
    expectDegraded("? a :: b", q, "expected one of [8, 11, 12, 15, 16] tokens, got 1");
    expectDegraded("?  :: b", q, "expected one of [8, 11, 12, 15, 16] tokens, got 1");
    expectDegraded("? open - - - - - - - - - - - - - - - - :: From a newer build", q,
                   "expected one of [8, 11, 12, 15, 16] tokens, got 17");
    expectDegraded("? closed - - - - - - - :: Q", q,
                   "unknown status 'closed' — probably written by a newer build");
    // The status is compared raw, so an escaped word is unknown too.
    expectDegraded("? %6Fpen - - - - - - - :: Q", q,
                   "unknown status '%6Fpen' — probably written by a newer build");
    expectDegraded("? open - - - - - - - paused - - :: Q", q,
                   "unknown transcription state 'paused'");
    expectDegraded("? open - - - - - - - - 4%200 - :: Q", q,
                   "non-integer transcription progress '4 0'");
    expectDegraded("? open - - - - - - - - %2D - :: Q", q,
                   "non-integer transcription progress '-'");
}

TEST(MarkdownCodecQuestion, LossyEscapesDegrade) {
    const auto q = BlockKind::question;
    const std::string_view lossy = "does not re-serialize identically — a token escape is lossy";
    // The 11-token form with nothing in it: the writer would have used 8 tokens.
    expectDegraded("? open - - - - - - - - - - :: Q", q, lossy);
    expectDegraded("? open %41 - - - - - - :: Q", q, lossy);
    expectDegraded("? open  - - - - - - :: Q", q, lossy);
    expectDegraded("? open - - - - - - - - +40 - :: Q", q, lossy);
    expectDegraded("? open - - - - - - - - 040 - :: Q", q, lossy);
    expectDegraded("? open q\r1 - - - - - - :: Q", q, lossy);
}

TEST(MarkdownCodecCloseStatus, ReadsTheWorkedExample) {
    const std::string line = "§ 2026-03 Studio%20Oy collecting - 2026-03-01 2026-03-04 needsAnswer "
                             "Two%20questions 2 :: Studio Oy · 2026-03 · collecting";
    const Block block = parseLine(line);
    EXPECT_EQ(block.contentKey(), (Block::ContentKey{.kind = BlockKind::closeStatus,
                                                     .text = "Studio Oy · 2026-03 · collecting",
                                                     .period = "2026-03",
                                                     .business = "Studio Oy",
                                                     .closePhase = ClosePhase::collecting,
                                                     .startedAt = "2026-03-01",
                                                     .movedAt = "2026-03-04",
                                                     .blockedKind = CloseBlockedKind::needsAnswer,
                                                     .blockedReason = "Two questions",
                                                     .answerableCount = 2}));
    EXPECT_EQ(codec::serializeLine(block), line);
}

TEST(MarkdownCodecCloseStatus, AbsentPhaseAndNegativeCountAreValid) {
    const Block block = parseLine("§ 2026-03 - - - - - - - -7 :: Close");
    EXPECT_EQ(block.kind, BlockKind::closeStatus);
    EXPECT_EQ(block.closePhase, std::nullopt);
    EXPECT_EQ(block.blockedKind, std::nullopt);
    EXPECT_EQ(block.answerableCount, -7);
}

TEST(MarkdownCodecCloseStatus, Degradations) {
    const auto c = BlockKind::closeStatus;
    expectDegraded("§ 2026-03 :: Close", c, "expected 9 tokens, got 1");
    expectDegraded("§ - - audit - - - - - - :: Close", c,
                   "unknown phase 'audit' — probably written by a newer build");
    expectDegraded("§ - - %2D - - - - - - :: Close", c,
                   "unknown phase '-' — probably written by a newer build");
    expectDegraded("§ - - draft - - - onHold - - :: Close", c, "unknown blocked kind 'onHold'");
    expectDegraded("§ - - draft - - - - - two :: Close", c, "non-integer answerable count 'two'");
    expectDegraded("§ - - draft - - - - - 99999999999999999999 :: Close", c,
                   "non-integer answerable count '99999999999999999999'");
    expectDegraded("§ - - - - - - - - - Close", c, "no ' :: ' separator");
    expectDegraded("§ - - Draft - - - - - - :: Close", c,
                   "unknown phase 'Draft' — probably written by a newer build");
    expectDegraded("§ - a%2Db - - - - - - - :: Close", c,
                   "does not re-serialize identically — a token escape is lossy");
}

TEST(MarkdownCodecDeliverable, ReadsTheWorkedExample) {
    const std::string line = "▸ Bank%20statement - partial 3 5 :: Bank statement 3 of 5";
    const Block block = parseLine(line);
    EXPECT_EQ(block.contentKey(),
              (Block::ContentKey{.kind = BlockKind::deliverable,
                                 .text = "Bank statement 3 of 5",
                                 .deliverableLabel = "Bank statement",
                                 .deliverableStatus = DeliverableStatus::partial,
                                 .countDone = 3,
                                 .countTotal = 5}));
    EXPECT_EQ(codec::serializeLine(block), line);
}

TEST(MarkdownCodecDeliverable, Degradations) {
    const auto d = BlockKind::deliverable;
    expectDegraded("▸ a b c d e f :: x", d, "expected 5 tokens, got 6");
    expectDegraded("▸ a - late 1 2 :: x", d, "unknown deliverable status 'late'");
    expectDegraded("▸ a - done 3.5 5 :: x", d, "non-integer countDone '3.5'");
    expectDegraded("▸ a - done 3  :: x", d, "non-integer countTotal ''");
    expectDegraded("▸ a - done 3 + :: x", d, "non-integer countTotal '+'");
}

TEST(MarkdownCodecLedgerRow, ReadsTheWorkedExample) {
    const std::string line = "◈ 2026-03-04 your%20bank 120.00 found :: Harbour Coffee";
    const Block block = parseLine(line);
    EXPECT_EQ(block.contentKey(), (Block::ContentKey{.kind = BlockKind::ledgerRow,
                                                     .text = "Harbour Coffee",
                                                     .ledgerDate = "2026-03-04",
                                                     .ledgerOrigin = "your bank",
                                                     .ledgerAmount = "120.00",
                                                     .ledgerState = SyncedLedgerState::found}));
    EXPECT_EQ(codec::serializeLine(block), line);
}

TEST(MarkdownCodecLedgerRow, Degradations) {
    const auto l = BlockKind::ledgerRow;
    expectDegraded("◈ 2026-03-04 - 1.00 :: x", l, "expected 4 tokens, got 3");
    expectDegraded("◈ 2026-03-04 - 1.00 lost :: x", l,
                   "unknown ledger state 'lost' — probably written by a newer build");
    expectDegraded("◈ 2026-03-04 - 1.00 found%20 :: x", l,
                   "unknown ledger state 'found ' — probably written by a newer build");
}

TEST(MarkdownCodecPreview, CutsAfter80UserPerceivedCharacters) {
    EXPECT_EQ(codec::linePreview(std::string(80, 'a')), std::string(80, 'a'));
    EXPECT_EQ(codec::linePreview(std::string(81, 'a')), std::string(80, 'a') + "…");

    // 81 characters of two code points each: the cut must not split a cluster.
    std::string accented;
    for (int i = 0; i < 81; ++i) {
        accented += "e\u0301";
    }
    EXPECT_EQ(codec::linePreview(accented), accented.substr(0, 80 * 3) + "…");
    EXPECT_EQ(codec::linePreview(accented.substr(0, 80 * 3)), accented.substr(0, 80 * 3));

    // A family emoji joined with zero-width joiners is one character of 25 bytes.
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466";
    std::string emoji = std::string(79, 'x') + family + family;
    EXPECT_EQ(codec::linePreview(emoji), std::string(79, 'x') + family + "…");

    // Bytes that are no UTF-8 count one each and are kept.
    const std::string invalid = std::string(40, '\xFF') + std::string(41, 'b');
    EXPECT_EQ(codec::linePreview(invalid), invalid.substr(0, 80) + "…");
}

TEST(MarkdownCodecRoundTrip, ListedCases) {
    const std::string longLine(100'000, 'L');
    const std::vector<std::string> texts = {
        "",
        "\n",
        "\n\n\n",
        "# Title\n\n- [ ] one\n- [x] two\n",
        "# Title\r\n\r\n- [ ] one\r\n? open - - - - - - - :: Q\r\n",
        "\r",
        longLine,
        "# " + longLine + "\n" + longLine,
        "? open %41 - - - - - - :: lossy\n§ - - - - - - - - %2B1 :: lossy\n▸ -  - - - :: lossy\n"
        "◈ %2d - - - :: lossy",
        "? open - - - - - - - - - - :: eleven empty\n? open q\r1 - - - - - - :: raw CR",
        "▸ a - done 1 2 :: ok\n▸ a - done +1 2 :: plus\n◈ - - - - :: ok\n◈ - - - :: short",
    };
    for (const std::string& text : texts) {
        EXPECT_EQ(codec::serialize(codec::parse(text)), text);
    }
}

} // namespace
} // namespace mnemora::core

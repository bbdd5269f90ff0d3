#include "core/Block.h"

#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_set>

namespace mnemora::core {
namespace {

TEST(BlockIDTest, FreshIdentifiersAreUpperCaseRandomUuids) {
    const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::unordered_set<BlockID> seen;
    for (int i = 0; i < 100; ++i) {
        const BlockID id;
        ASSERT_TRUE(std::regex_match(id.rawValue, uuid)) << id;
        ASSERT_TRUE(seen.insert(id).second) << "duplicate " << id;
    }
}

TEST(BlockIDTest, ForkedChildMintsOtherIdentifiersThanItsParent) {
    const BlockID before; // fills this thread's pool of random bytes
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const BlockID minted;
        const ssize_t written = write(channel[1], minted.rawValue.data(), minted.rawValue.size());
        _exit(written == 36 ? 0 : 1);
    }
    close(channel[1]);
    const BlockID parent;
    char buffer[36];
    ASSERT_EQ(read(channel[0], buffer, sizeof buffer), 36);
    close(channel[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_NE(std::string(buffer, 36), parent.rawValue);
    EXPECT_NE(before, parent);
}

TEST(WireWordTest, EnumerationsUseTheirCaseNames) {
    EXPECT_EQ(wireWord(BlockKind::closeStatus), "closeStatus");
    EXPECT_EQ(wireWord(BlockKind::ledgerRow), "ledgerRow");
    EXPECT_EQ(wireWord(QuestionCardStatus::dismissed), "dismissed");
    EXPECT_EQ(wireWord(VoiceTranscriptionState::transcribing), "transcribing");
    EXPECT_EQ(wireWord(ClosePhase::assembling), "assembling");
    EXPECT_EQ(wireWord(CloseBlockedKind::waitingExternal), "waitingExternal");
    EXPECT_EQ(wireWord(DeliverableStatus::partial), "partial");
    EXPECT_EQ(wireWord(SyncedLedgerState::asking), "asking");

    EXPECT_EQ(fromWireWord<ClosePhase>("closed"), ClosePhase::closed);
    EXPECT_EQ(fromWireWord<CloseBlockedKind>("needsMac"), CloseBlockedKind::needsMac);
    EXPECT_EQ(fromWireWord<ClosePhase>("Closed"), std::nullopt);
    EXPECT_EQ(fromWireWord<ClosePhase>(""), std::nullopt);
    EXPECT_EQ(fromWireWord<BlockKind>("table"), std::nullopt);
}

TEST(WireWordTest, PhasesAreInRunOrder) {
    std::vector<std::string_view> words;
    for (int i = 0; i <= static_cast<int>(ClosePhase::closed); ++i) {
        words.push_back(wireWord(static_cast<ClosePhase>(i)));
    }
    EXPECT_EQ(words, (std::vector<std::string_view>{"setup", "collecting", "matching", "assembling",
                                                    "draft", "sent", "closed"}));
}

Block questionBlock() {
    return Block{.id = BlockID("A"),
                 .kind = BlockKind::question,
                 .text = "Was the March invoice private?",
                 .position = FractionalIndex("i"),
                 .questionID = "q-17",
                 .questionStatus = QuestionCardStatus::open,
                 .askedBy = "dreamer"};
}

TEST(BlockContentTest, AbsentDiffersFromEmpty) {
    Block absent = questionBlock();
    Block empty = questionBlock();
    empty.answer = "";
    EXPECT_FALSE(absent.hasSameContent(empty));
    EXPECT_NE(absent.contentKey(), empty.contentKey());
    EXPECT_NE(absent.contentHash(), empty.contentHash());
}

TEST(BlockContentTest, IdentityAndPositionAreNotContent) {
    const Block a = questionBlock();
    Block b = a;
    b.id = BlockID("B");
    b.position = FractionalIndex("ii");
    EXPECT_TRUE(a.hasSameContent(b));
    EXPECT_EQ(a.contentKey(), b.contentKey());
    EXPECT_EQ(a.contentHash(), b.contentHash());
    EXPECT_NE(a, b);
    b.id = a.id;
    EXPECT_NE(a, b);
    b.position = a.position;
    EXPECT_EQ(a, b);
}

TEST(BlockContentTest, EveryContentFieldTakesPart) {
    // One change per content field, in field order; a field left out of the key would slip by.
    const std::vector<std::function<void(Block&)>> changes = {
        [](Block& b) { b.kind = BlockKind::text; },
        [](Block& b) { b.level = 2; },
        [](Block& b) { b.text = "other"; },
        [](Block& b) { b.checked = false; },
        [](Block& b) { b.questionID = "q-18"; },
        [](Block& b) { b.questionStatus = QuestionCardStatus::answered; },
        [](Block& b) { b.booksID = ""; },
        [](Block& b) { b.questionKind = "expense"; },
        [](Block& b) { b.suggestedActions = "[]"; },
        [](Block& b) { b.askedBy = "agent"; },
        [](Block& b) { b.askedAt = "2026-03-01T09:00:00Z"; },
        [](Block& b) { b.answeredBy = "phone"; },
        [](Block& b) { b.answeredAt = "2026-03-02T08:15:00Z"; },
        [](Block& b) { b.appliedAt = "2026-03-02T08:16:00Z"; },
        [](Block& b) { b.answer = "Yes"; },
        [](Block& b) { b.audioAssetRef = "clip-4.caf"; },
        [](Block& b) { b.transcriptionState = VoiceTranscriptionState::queued; },
        [](Block& b) { b.transcriptionProgress = 0; },
        [](Block& b) { b.transcriptionPartial = "Ye"; },
        [](Block& b) { b.period = "2026-03"; },
        [](Block& b) { b.business = "Studio Oy"; },
        [](Block& b) { b.closePhase = ClosePhase::setup; },
        [](Block& b) { b.activity = "matching"; },
        [](Block& b) { b.startedAt = "2026-03-01"; },
        [](Block& b) { b.movedAt = "2026-03-04"; },
        [](Block& b) { b.blockedKind = CloseBlockedKind::needsAnswer; },
        [](Block& b) { b.blockedReason = "Two questions"; },
        [](Block& b) { b.answerableCount = 2; },
        [](Block& b) { b.deliverableLabel = "Bank statement"; },
        [](Block& b) { b.deliverableDetail = "March"; },
        [](Block& b) { b.deliverableStatus = DeliverableStatus::pending; },
        [](Block& b) { b.countDone = 3; },
        [](Block& b) { b.countTotal = 5; },
        [](Block& b) { b.ledgerDate = "2026-03-04"; },
        [](Block& b) { b.ledgerOrigin = "your bank"; },
        [](Block& b) { b.ledgerAmount = "120.00"; },
        [](Block& b) { b.ledgerState = SyncedLedgerState::found; },
    };
    ASSERT_EQ(changes.size(), 37u);
    const Block original = questionBlock();
    for (std::size_t i = 0; i < changes.size(); ++i) {
        Block changed = original;
        changes[i](changed);
        EXPECT_FALSE(original.hasSameContent(changed)) << "field " << i;
        EXPECT_NE(original.contentKey(), changed.contentKey()) << "field " << i;
        EXPECT_NE(original.contentHash(), changed.contentHash()) << "field " << i;
        EXPECT_NE(original, changed) << "field " << i;
    }
}

TEST(BlockContentTest, OmittedFieldsAreAbsentAndOmittedIdentityIsFresh) {
    const Block a{.kind = BlockKind::heading, .level = 1, .text = "March"};
    const Block b{.kind = BlockKind::heading, .level = 1, .text = "March"};
    EXPECT_NE(a.id, b.id);
    EXPECT_EQ(a.contentKey(),
              (Block::ContentKey{.kind = BlockKind::heading, .level = 1, .text = "March"}));
}

} // namespace
} // namespace mnemora::core

#include "core/Block.h"

#include "BlockFieldValues.h"

#include <gtest/gtest.h>

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

// A field left out of the content key, the comparison or the hash would slip by: each field is
// changed in turn, from absent to empty on a bare block and from one value to another on a full
// one.
TEST(BlockContentTest, EveryContentFieldTakesPart) {
    for (const Block& original : {Block{.id = BlockID("A")}, blockWithEveryField()}) {
        for (std::size_t index = 0; index < kBlockContentFieldCount; ++index) {
            Block changed = original;
            std::string name;
            changeContentField(changed, index, [&name](std::string_view fieldName, auto& field) {
                name = fieldName;
                changeField(field);
            });
            EXPECT_FALSE(original.hasSameContent(changed)) << name;
            EXPECT_NE(original.contentKey(), changed.contentKey()) << name;
            EXPECT_NE(original.contentHash(), changed.contentHash()) << name;
            EXPECT_NE(original, changed) << name;
            EXPECT_NE(std::hash<Block>{}(original), std::hash<Block>{}(changed)) << name;
        }
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

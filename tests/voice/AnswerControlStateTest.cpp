#include <gtest/gtest.h>

#include "support/QtPrinters.h"
#include "voice/AnswerControlState.h"

namespace mnemora {
namespace {

using Kind = AnswerPhase::Kind;

TEST(AnswerControlState, TheFirstFittingRowDecides) {
    const std::optional<QString> none;
    const struct {
        AnswerControlState::Input input;
        AnswerControlState expected;
    } cases[] = {
        {{true, 7, true, 3.0, AnswerNotice::tooQuick},
         {{Kind::listening, 7, false, std::nullopt},
          AnswerFieldTone::listening,
          false,
          true,
          none,
          false}},
        {{false, 0, true, 1.0, AnswerNotice::tooQuick},
         {{Kind::transcribing, 0, true, std::nullopt},
          AnswerFieldTone::neutral,
          true,
          false,
          QStringLiteral("writing that down…"),
          true}},
        {{false, 0, true, 0.99, std::nullopt},
         {{Kind::transcribing, 0, false, std::nullopt},
          AnswerFieldTone::neutral,
          true,
          false,
          none,
          true}},
        {{false, 3, false, 0.0, AnswerNotice::micOff},
         {{Kind::notice, 0, false, AnswerNotice::micOff},
          AnswerFieldTone::problem,
          true,
          false,
          none,
          true}},
        {{false, 0, false, 0.0, std::nullopt},
         {{Kind::resting, 0, false, std::nullopt},
          AnswerFieldTone::neutral,
          true,
          false,
          QStringLiteral("Answer — or hold to speak"),
          true}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AnswerControlState::derive(c.input), c.expected);
    }
}

TEST(AnswerControlState, NoticeWordsAndTheTranscriptRules) {
    const std::pair<AnswerNotice, const char*> words[] = {
        {AnswerNotice::nothingHeard, "I didn't catch anything — is the mic muted?"},
        {AnswerNotice::tooQuick, "Too quick — hold the mic down while you speak"},
        {AnswerNotice::transcriptionFailed, "That didn't transcribe — Retry, or hold again"},
        {AnswerNotice::micOff, "The mic is off — use Open Settings"},
        {AnswerNotice::micPromptPending, "Answer the microphone prompt first"},
    };
    for (const auto& [notice, text] : words) {
        EXPECT_EQ(AnswerText::notice(notice), QString::fromUtf8(text));
    }
    EXPECT_EQ(AnswerText::transcriptNotice(QStringLiteral(" \n\t ")), AnswerNotice::nothingHeard);
    EXPECT_EQ(AnswerText::transcriptNotice(QStringLiteral("")), AnswerNotice::nothingHeard);
    EXPECT_EQ(AnswerText::transcriptNotice(QStringLiteral(" yes ")), std::nullopt);

    const std::tuple<const char*, const char*, const char*> appends[] = {
        {"no", "yes", "no yes"},
        {"no ", "yes", "no yes"},
        {"", "yes", "yes"},
        {"no\n", "yes", "no\nyes"}};
    for (const auto& [field, transcript, expected] : appends) {
        EXPECT_EQ(AnswerText::appended(QString::fromUtf8(field), QString::fromUtf8(transcript)),
                  QString::fromUtf8(expected));
    }
    EXPECT_EQ(AnswerText::clock(0), QStringLiteral("0:00"));
    EXPECT_EQ(AnswerText::clock(65), QStringLiteral("1:05"));
}

} // namespace
} // namespace mnemora

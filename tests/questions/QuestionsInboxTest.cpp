#include <gtest/gtest.h>

#include "questions/QuestionsInbox.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

namespace mnemora {
namespace {

using test::runTask;
using test::TestEnvironment;

// An inbox over real question files in a temporary vault.
class QuestionsInboxTest : public ::testing::Test {
protected:
    Question write(const QString& slug, const QString& kind, const QString& askedBy,
                   const QString& actions = {}) {
        Question question;
        question.slug = slug;
        question.text = QStringLiteral("Question ") + slug + QLatin1Char('?');
        question.filePath = vault + QStringLiteral("/questions/") + slug + QStringLiteral(".md");
        question.kind = kind;
        question.askedBy = askedBy;
        if (!actions.isEmpty()) {
            question.suggestedActionsRaw = actions;
        }
        TestEnvironment::writeFile(
            question.filePath, ("---\nstatus: open\nkind: " + kind + "\nquestion: " +
                                question.text + "\n---\n\n## Question\n\n" + question.text + "\n")
                                   .toUtf8());
        return question;
    }
    QByteArray fileOf(const QString& slug) const {
        return TestEnvironment::readFile(vault + QStringLiteral("/questions/") + slug +
                                         QStringLiteral(".md"));
    }
    std::unique_ptr<QuestionsInbox> inbox(QuestionsInbox::Options options = {}) {
        auto made =
            std::make_unique<QuestionsInbox>(options, &service, nullptr, vault, Brand::tallo);
        made->setOnChanged([this]() -> QCoro::Task<> {
            ++changes;
            co_return;
        });
        return made;
    }

    TestEnvironment env;
    QString vault = env.root() + QStringLiteral("/vault");
    QuestionService service;
    int changes = 0;
};

TEST_F(QuestionsInboxTest, ListsTheFirstFewAndOffersTheRestOnlyWhenCutShort) {
    const QList<Question> three = {write("a", "setup", "x"), write("b", "setup", "x"),
                                   write("c", "setup", "x")};
    for (const auto& [max, shown, more] : std::initializer_list<std::tuple<int, int, const char*>>{
             {3, 3, ""}, {5, 3, ""}, {1, 1, "Show 2 more questions"}}) {
        auto list = inbox({QStringLiteral("Questions"), std::nullopt, max});
        list->setQuestions(three);
        EXPECT_EQ(list->cards().size(), shown);
        EXPECT_EQ(list->moreButtonText(), QString::fromUtf8(more));
        list->expand();
        EXPECT_EQ(list->cards().size(), 3);
    }
    EXPECT_FALSE(QuestionsInbox::canSend(QStringLiteral(" \n\t\n ")));
    EXPECT_TRUE(QuestionsInbox::canSend(QStringLiteral(" ok ")));
}

TEST_F(QuestionsInboxTest, AnAnswerIsWrittenEchoedAndOnlyADreamerHearsItGoesBackIn) {
    auto list = inbox();
    list->setQuestions(
        {write("dream", "setup", "dreamer:nightly"), write("other", "setup", "cli")});
    runTask(list->answer(QStringLiteral("dream"), QStringLiteral("  yes  \n")));
    runTask(list->answer(QStringLiteral("other"), QStringLiteral("no")));
    EXPECT_EQ(changes, 2);
    const QVariantList cards = list->cards();
    const QVariantMap dream = cards.at(0).toMap();
    const QVariantMap other = cards.at(1).toMap();
    EXPECT_EQ(dream.value("echo").toString(), QStringLiteral("yes"));
    EXPECT_EQ(dream.value("resolved").toString(), QStringLiteral("Answered"));
    EXPECT_EQ(dream.value("description").toString(), QStringLiteral("Answered: Question dream?"));
    EXPECT_EQ(dream.value("goingBackIn").toString(), QStringLiteral("Got it — going back in now."));
    EXPECT_EQ(other.value("goingBackIn").toString(), QString());
    EXPECT_TRUE(fileOf("dream").contains("status: answered"));
    EXPECT_TRUE(fileOf("dream").contains("yes"));

    // A question whose file is gone keeps its card open with the failure's words.
    Question gone = write("gone", "setup", "cli");
    QFile::remove(gone.filePath);
    list->setQuestions({gone});
    runTask(list->answer(QStringLiteral("gone"), QStringLiteral("x")));
    EXPECT_FALSE(list->actionErrorText().isEmpty());
    EXPECT_EQ(list->cards().at(0).toMap().value("resolved").toString(), QString());
}

TEST_F(QuestionsInboxTest, DraftsOutliveANewListAndOnlyASentAnswerClearsItsOwn) {
    auto list = inbox();
    const Question first = write("first", "setup", "cli");
    const Question second = write("second", "setup", "cli");
    list->setQuestions({first, second});
    list->setDraft(QStringLiteral("first"), QStringLiteral("half an answer"));
    list->setDraft(QStringLiteral("second"), QStringLiteral("the whole answer"));

    // The list changes under the cards (a new question came in): the drafts stay.
    list->setQuestions({write("third", "setup", "cli"), first, second});
    EXPECT_EQ(list->draft(QStringLiteral("first")), QStringLiteral("half an answer"));

    runTask(list->answer(QStringLiteral("second"), list->draft(QStringLiteral("second"))));
    EXPECT_EQ(list->draft(QStringLiteral("second")), QString());
    EXPECT_EQ(list->draft(QStringLiteral("first")), QStringLiteral("half an answer"));
    // A failed answer keeps its draft.
    QFile::remove(first.filePath);
    runTask(list->answer(QStringLiteral("first"), list->draft(QStringLiteral("first"))));
    EXPECT_EQ(list->draft(QStringLiteral("first")), QStringLiteral("half an answer"));
}

TEST_F(QuestionsInboxTest, ALoginCardAsksForConsentOnceAndAFailedRecordDoesNotStopTheSignIn) {
    auto list = inbox();
    list->setQuestions({write("bank", "login", "dreamer:x", "[Sign in => go ahead | Later]")});
    runTask(list->chooseAction(QStringLiteral("bank"), 0));
    ASSERT_TRUE(list->pendingHandover());
    EXPECT_EQ(list->handoverCopy().value("acceptLabel").toString(),
              QStringLiteral("I understand — go ahead"));
    EXPECT_FALSE(fileOf("bank").contains("status: answered"));

    // The record cannot be written: the user hears so, and the sign-in goes ahead.
    TestEnvironment::writeFile(vault + QStringLiteral("/.mnemora"), "not a folder");
    runTask(list->acceptHandover());
    EXPECT_EQ(list->actionErrorText(),
              QStringLiteral("Your acceptance could not be written to %1/.mnemora/"
                             "browser-handover.json. The sign-in is going ahead; this card will "
                             "appear again next time.")
                  .arg(vault));
    EXPECT_TRUE(fileOf("bank").contains("go ahead"));

    // With an acceptance on record the sheet never shows.
    QFile::remove(vault + QStringLiteral("/.mnemora"));
    ASSERT_TRUE(AgentAcceptance::save(vault, AgentAcceptance::accepted(
                                                 std::nullopt, AgentAcceptanceTrigger::setupCheck(),
                                                 QDateTime::currentDateTimeUtc(),
                                                 QStringLiteral("Tallo"), std::nullopt))
                    .ok());
    list->setQuestions({write("bank2", "login", "dreamer:x", "[Sign in => go ahead]")});
    runTask(list->chooseAction(QStringLiteral("bank2"), 0));
    EXPECT_FALSE(list->pendingHandover());
    EXPECT_TRUE(fileOf("bank2").contains("status: answered"));
}

TEST_F(QuestionsInboxTest, DecliningRecordsTheRefusalAndAnswersInTheUsersWords) {
    auto list = inbox();
    list->setQuestions({write("bank", "login", "dreamer:x", "[Sign in => go ahead]")});
    runTask(list->chooseAction(QStringLiteral("bank"), 0));
    runTask(list->declineHandover());
    EXPECT_EQ(AgentAcceptance::load(vault)->declined, QStringList{QStringLiteral("bank")});
    EXPECT_TRUE(fileOf("bank").contains("I will fetch this one myself"));
    EXPECT_TRUE(fileOf("bank").contains("period folder"));
    EXPECT_EQ(list->actionErrorText(), QString());
}

TEST_F(QuestionsInboxTest, ADismissalTakesItsReasonTrimmedAndABlankOneAsNone) {
    auto list = inbox();
    list->setQuestions({write("a", "setup", "x"), write("b", "setup", "x")});
    list->openDismissSheet(QStringLiteral("a"));
    EXPECT_EQ(list->sheet().value("mode").toString(), QStringLiteral("dismiss"));
    list->submitSheet(QStringLiteral("  not mine \n"));
    ASSERT_TRUE(test::waitUntil([&] { return fileOf("a").contains("status: dismissed"); }));
    EXPECT_TRUE(fileOf("a").contains("not mine"));
    EXPECT_TRUE(list->sheet().isEmpty());
    runTask(list->dismiss(QStringLiteral("b"), QStringLiteral("   ")));
    EXPECT_TRUE(fileOf("b").contains("status: dismissed"));
    EXPECT_FALSE(fileOf("b").contains("## Dismissed"));
    EXPECT_TRUE(fileOf("a").contains("## Dismissed"));
}

} // namespace
} // namespace mnemora

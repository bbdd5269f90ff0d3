#include <gtest/gtest.h>

#include "setup/AgentAcceptance.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

namespace mnemora {
namespace {

using test::TestEnvironment;
using Trigger = AgentAcceptanceTrigger;

TEST(AgentAcceptance, StateDependsOnAcceptanceFirstThenTheCardsRefused) {
    const Trigger bankA = Trigger::loginCard(QStringLiteral("bank-a"));
    const Trigger bankB = Trigger::loginCard(QStringLiteral("bank-b"));
    EXPECT_EQ(AgentAcceptance::state(std::nullopt, bankA), 1);

    AgentAcceptanceRecord record = AgentAcceptance::addDeclined(std::nullopt, bankA);
    record = AgentAcceptance::addDeclined(record, bankA);
    EXPECT_EQ(record.declined, QStringList{QStringLiteral("bank-a")});
    EXPECT_EQ(AgentAcceptance::state(record, bankA), 2);
    EXPECT_EQ(AgentAcceptance::state(record, bankB), 1);
    record = AgentAcceptance::addDeclined(record, Trigger::setupCheck());
    EXPECT_EQ(record.declined.last(), QStringLiteral("setup:browser-check"));

    const QDateTime now =
        QDateTime::fromString(QStringLiteral("2026-03-01T09:30:00Z"), Qt::ISODate);
    record = AgentAcceptance::accepted(record, bankB, now, QStringLiteral("Tallo"), std::nullopt);
    EXPECT_EQ(record.declined,
              (QStringList{QStringLiteral("bank-a"), QStringLiteral("setup:browser-check")}));
    EXPECT_EQ(AgentAcceptance::state(record, bankA), 0);

    record = AgentAcceptance::clearDeclined(record, Trigger::setupCheck());
    EXPECT_EQ(record.declined, QStringList{QStringLiteral("bank-a")});
}

TEST(AgentAcceptance, TheRecordIsWrittenSortedAndPrettyAndReadBack) {
    TestEnvironment env;
    const QString vault = env.root() + QStringLiteral("/vault");
    Question question;
    question.slug = QStringLiteral("bank-b");
    question.text = QStringLiteral("Sign in to the bank?");
    question.filePath = vault + QStringLiteral("/questions/bank-b.md");
    const QDateTime now =
        QDateTime::fromString(QStringLiteral("2026-03-01T09:30:00Z"), Qt::ISODate);
    AgentAcceptanceRecord record = AgentAcceptance::accepted(
        AgentAcceptance::addDeclined(std::nullopt, Trigger::loginCard(QStringLiteral("bank-a"))),
        Trigger::loginCard(QStringLiteral("bank-b")), now, QStringLiteral("Tallo"), question);
    ASSERT_TRUE(AgentAcceptance::save(vault, record).ok());
    EXPECT_EQ(TestEnvironment::readFile(AgentAcceptance::recordPath(vault)),
              "{\n"
              "    \"acceptedAt\": \"2026-03-01T09:30:00Z\",\n"
              "    \"atQuestion\": \"bank-b.md\",\n"
              "    \"atQuestionText\": \"Sign in to the bank?\",\n"
              "    \"atTrigger\": \"bank-b\",\n"
              "    \"declined\": [\n"
              "        \"bank-a\"\n"
              "    ],\n"
              "    \"product\": \"Tallo\",\n"
              "    \"wording\": 1\n"
              "}\n");
    EXPECT_EQ(AgentAcceptance::load(vault), record);

    // A corrupt file counts as no record, so the sheet shows again.
    TestEnvironment::writeFile(AgentAcceptance::recordPath(vault), "{\"declined\": 3");
    EXPECT_EQ(AgentAcceptance::load(vault), std::nullopt);
    // A vault whose `.mnemora` is a file cannot hold the record.
    const QString blocked = env.root() + QStringLiteral("/blocked");
    TestEnvironment::writeFile(blocked + QStringLiteral("/.mnemora"), "x");
    EXPECT_FALSE(AgentAcceptance::save(blocked, record).ok());
}

TEST(AgentAcceptance, TheCopyFollowsTheBrandAndTheTrigger) {
    const AgentAcceptanceCopy setup = AgentAcceptance::copy(Brand::tallo, Trigger::setupCheck());
    const AgentAcceptanceCopy card =
        AgentAcceptance::copy(Brand::voxlet, Trigger::loginCard(QStringLiteral("bank-a")));
    EXPECT_EQ(setup.declineAnswer, QString());
    EXPECT_EQ(card.permissionNote, QString());
    EXPECT_EQ(setup.declineLabel, QStringLiteral("No — quit Tallo"));
    EXPECT_EQ(card.declineLabel, QStringLiteral("I will fetch this one myself"));
    EXPECT_EQ(card.declineAnswer,
              QStringLiteral("I will fetch this one myself — don’t sign into the portal for it. "
                             "I’ll put the file in the data folder. Carry on with everything "
                             "else."));
    EXPECT_TRUE(AgentAcceptance::copy(Brand::tallo, Trigger::loginCard(QStringLiteral("x")))
                    .points.at(2)
                    .contains(QStringLiteral("the hunting, the matching, the letter")));
    EXPECT_EQ(
        card.termsTailText,
        QStringLiteral(" — accepted when you press “I understand — go ahead”, and not before."));
    EXPECT_EQ(setup.responsibility,
              QStringLiteral("Tallo comes with no warranty, and what it does under your account is "
                             "your responsibility — including the bookkeeping it produces. It is "
                             "not accounting, tax or legal advice."));
    EXPECT_TRUE(card.termsUrl.endsWith(QStringLiteral("/legal/terms")));

    Question login;
    login.slug = QStringLiteral("bank-a");
    for (const auto& [kind, triggers] :
         std::initializer_list<std::pair<std::optional<QString>, bool>>{
             {QStringLiteral("login"), true},
             {QStringLiteral("setup"), false},
             {QStringLiteral(" "), false},
             {std::nullopt, false}}) {
        login.kind = kind;
        EXPECT_EQ(AgentAcceptance::triggerFor(login).has_value(), triggers);
    }
}

} // namespace
} // namespace mnemora

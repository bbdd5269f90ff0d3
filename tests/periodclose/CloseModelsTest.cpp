#include <gtest/gtest.h>

#include <QTimeZone>

#include "periodclose/CorrespondenceLog.h"
#include "periodclose/PeriodStepper.h"
#include "periodclose/PeriodWord.h"
#include "periodclose/RunFacts.h"
#include "support/QtPrinters.h"

using namespace mnemora;

namespace {

QDateTime utc(int day, int hour) {
    return QDateTime(QDate(2026, 10, day), QTime(hour, 0), QTimeZone::utc());
}

} // namespace

TEST(CorrespondenceLogTest, ReadsTheSectionsOfTheLog) {
    using CorrespondenceLog::Entry;
    const struct {
        const char* name;
        QString text;
        QList<Entry> expected;
    } cases[] = {
        {"empty", "", {}},
        {"a kind without a time",
         "## note\nCall her on Monday.",
         {{"note", std::nullopt, "Call her on Monday."}}},
        {"a whole log",
         "# Correspondence\nNothing yet.\n## sent · 2026-10-03T09:00:00Z\n\nDear Anna,\n# not "
         "a section\n### kept\n\n##   reply received · 2026-10-04 10:30:00  \nAll fine.\n## "
         "\n\n## call · yesterday\n",
         {{"sent", utc(3, 9), "Dear Anna,\n### kept"},
          {"reply received", QDateTime(QDate(2026, 10, 4), QTime(10, 30), QTimeZone::utc()),
           "All fine."},
          {"call", std::nullopt, ""}}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(CorrespondenceLog::parse(row.text), row.expected);
    }
}

TEST(CorrespondenceLogTest, NamesWhoWroteAnEntryAndPreviewsIt) {
    const struct {
        const char* kind;
        bool fromAccountant;
        QString display;
    } cases[] = {
        {"Note", false, "your note"},
        {"Reply", true, "their reply"},
        {"from accountant", true, "their reply"},
        {"received", true, "their reply"},
        {"pasted reply", true, "you pasted their reply in"},
        {"sent", false, "the letter went out"},
        {"what you said", false, "what you told me"},
        {"Your answer", false, "what you told me"},
        {"presented", false, "presented"},
    };
    for (const auto& row : cases) {
        const CorrespondenceLog::Entry entry{row.kind, std::nullopt, {}};
        EXPECT_EQ(CorrespondenceLog::isFromAccountant(entry), row.fromAccountant) << row.kind;
        EXPECT_EQ(CorrespondenceLog::displayKind(entry), row.display) << row.kind;
    }
    EXPECT_EQ(CorrespondenceLog::plainPreview("- a list\n* another\n# Title\n\n  **Thanks**, "
                                              "the `VAT` is _fine_ *now*  \nmore"),
              "Thanks, the VAT is fine now");
    EXPECT_EQ(CorrespondenceLog::plainPreview("- only a list"), "");
}

TEST(RunFactsTest, CountsDaysAndWritesTheSentences) {
    EXPECT_EQ(RunFacts::days(utc(3, 9), utc(3, 18)), 1);
    EXPECT_EQ(RunFacts::days(utc(3, 9), utc(5, 8)), 2);
    EXPECT_EQ(RunFacts::days(utc(3, 9), utc(5, 9)), 3);
    EXPECT_EQ(RunFacts::days(utc(3, 9), utc(3, 8)), std::nullopt);
    EXPECT_EQ(RunFacts::days(std::nullopt, utc(3, 8)), std::nullopt);

    const struct {
        int missing;
        QStringList unbacked;
        int dropped;
        QString done;
        QStringList details;
    } cases[] = {
        {0, {}, 0, "October 2026's done. Everything has a document behind it.", {}},
        {1,
         {"Shell"},
         1,
         "October 2026's done. Everything has a document behind it, except Shell — flagged as "
         "missing rather than guessed at.",
         {"1 transaction went over with no document, flagged as missing rather than guessed at",
          "1 thing I put forward was dropped"}},
        {2,
         {"Shell", "Rent"},
         0,
         "October 2026's done. Everything has a document behind it, except Shell and Rent — "
         "flagged as missing rather than guessed at.",
         {"2 transactions went over with no document, flagged as missing rather than guessed "
          "at"}},
        {1,
         {},
         3,
         "October 2026's done. Everything has a document behind it except 1 transaction — "
         "flagged as missing rather than guessed at.",
         {"1 transaction went over with no document, flagged as missing rather than guessed at",
          "3 things I put forward were dropped"}},
        {3,
         {"A", "B", "C"},
         0,
         "October 2026's done. Everything has a document behind it except 3 transactions — "
         "flagged as missing rather than guessed at.",
         {"3 transactions went over with no document, flagged as missing rather than guessed "
          "at"}},
    };
    for (const auto& row : cases) {
        RunFacts::Facts facts;
        facts.missingEvidence = row.missing;
        facts.unbacked = row.unbacked;
        facts.droppedCandidates = row.dropped;
        EXPECT_EQ(RunFacts::doneSentence(facts, "October 2026"), row.done);
        EXPECT_EQ(RunFacts::detailSentences(facts), row.details);
        QStringList summary = row.details;
        summary.removeIf([](const QString& line) { return line.contains("no document"); });
        EXPECT_EQ(RunFacts::summarySentences(facts), summary);
    }
}

TEST(PeriodStepperTest, StepsThroughPeriodsOfTheSameForm) {
    using PeriodStepper::Arrow;
    const QLocale british(QLocale::English, QLocale::UnitedKingdom);
    const struct {
        const char* current;
        QStringList periods;
        Arrow back;
        Arrow forward;
        QString label;
    } cases[] = {
        {"2026-10", {"2026-10"}, Arrow::unavailable(), Arrow::unavailable(), "October 2026"},
        {" 2026-10 ",
         {"2026-12", "2026", "2026-Q3", " 2026-08", "", "2026-09 ", "2026-11", "2025"},
         Arrow::available("2026-09"),
         Arrow::available("2026-11"),
         "October 2026"},
        {"2026-Q3",
         {"2026-10", "2026-Q1", "2026-Q2", "2027-Q1"},
         Arrow::available("2026-Q2"),
         Arrow::available("2027-Q1"),
         "Q3 2026"},
        {"2026",
         {"2026-10", "2024", "2025"},
         Arrow::available("2025"),
         Arrow::unavailable(),
         "2026"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.current);
        const PeriodStepper::State state = PeriodStepper::state(row.current, row.periods, british);
        EXPECT_EQ(state.back, row.back);
        EXPECT_EQ(state.forward, row.forward);
        EXPECT_EQ(state.label, row.label);
    }
    const PeriodStepper::State alone = PeriodStepper::state("2026-10", {}, british);
    EXPECT_EQ(PeriodStepper::backHelp(alone.back), "Nothing before this");
    EXPECT_EQ(PeriodStepper::forwardHelp(alone.forward), "Nothing after this yet");
    EXPECT_EQ(PeriodStepper::backHelp(Arrow::available("2026-09")), "Go back a period");
    EXPECT_EQ(PeriodStepper::forwardHelp(Arrow::available("2026-11")), "Go forward a period");
    EXPECT_EQ(PeriodStepper::accessibleLabel(alone), "Period: October 2026");
}

TEST(PeriodWordTest, KnowsThePeriodFormsAndShowsThemInTheUsersLocale) {
    using PeriodWord::Form;
    const QLocale german(QLocale::German, QLocale::Germany);
    const struct {
        const char* word;
        Form form;
        QString label;
    } cases[] = {
        {"2026", Form::year, "2026"},
        {"2026-10", Form::month, "Oktober 2026"},
        {"2026--03", Form::month, "März 2026"},
        {"2026-Q3", Form::quarter, "Q3 2026"},
        {"2026-13", Form::month, "2026-13"},
        {"2026-q3", Form::none, "2026-q3"},
        {"2026-10-01", Form::none, "2026-10-01"},
        {"26-10", Form::none, "26-10"},
        {"2026-1", Form::none, "2026-1"},
        {"books", Form::none, "books"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(PeriodWord::form(row.word), row.form) << row.word;
        EXPECT_EQ(PeriodWord::label(row.word, german), row.label) << row.word;
    }
}

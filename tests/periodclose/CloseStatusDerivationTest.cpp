#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "periodclose/CloseStatusDerivation.h"
#include "registry/Question.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace mnemora::CloseStatusDerivation;
using core::CloseBlockedKind;
using core::ClosePhase;
using core::DeliverableStatus;
using core::SyncedLedgerState;
using test::TestEnvironment;

namespace {

const QLocale english(QLocale::English, QLocale::UnitedStates);

class CloseStatusDerivationTest : public ::testing::Test {
protected:
    QString root() const { return dir.path() + QStringLiteral("/bookkeeping"); }

    void write(const QString& relative, const QByteArray& text) const {
        TestEnvironment::writeFile(root() + QLatin1Char('/') + relative, text);
    }
    void run(const QString& folder, const QByteArray& keys) const {
        write(folder + QStringLiteral("/run.md"), "---\n" + keys + "\n---\n# Run\n");
    }
    void item(const QString& folder, const QString& name, const QByteArray& keys) const {
        write(folder + QStringLiteral("/items/") + name, "---\n" + keys + "\n---\n");
    }
    BooksRun only(const QString& slug = {}) const {
        for (const BooksRun& booksRun : booksRuns(root())) {
            if (booksRun.books.value_or(QString()) == slug) {
                return booksRun;
            }
        }
        ADD_FAILURE() << "no run for books " << slug.toStdString();
        return {};
    }

    QTemporaryDir dir;
};

} // namespace

TEST(CloseStatusDerivationRules, TellsPeriodNames) {
    const struct {
        QString name;
        bool period;
    } cases[] = {
        {"2026", true},    {"2026-10", true},     {"2026-Q3", true},  {"-2026--10-", true},
        {"٢٠٢٦-١٠", true}, {"2026-1", false},     {"2026-q3", false}, {"2026-QQ", false},
        {"202", false},    {"2026-10-01", false}, {"books", false},   {"", false},
        {"20x6", false},   {"2026-Q", false},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(isPeriodName(row.name), row.period) << row.name.toStdString();
    }
}

TEST(CloseStatusDerivationRules, ReadsPlainFrontmatterKeys) {
    using Map = QHash<QString, QString>;
    const struct {
        const char* name;
        QString text;
        Map fields;
    } cases[] = {
        {"no opening line", "period: 2026\n---\n", {}},
        {"empty", "", {}},
        {"a whole block",
         " ---\t\nperiod: \"2026-10\"\nbusiness: 'Acme: the shop'\nphase:   draft  \n---\nafter: "
         "no",
         {{"period", "2026-10"}, {"business", "Acme: the shop"}, {"phase", "draft"}}},
        {"nested and list lines are left out",
         "---\nbooks:\n  name: inner\n- item\n\tdeep: x\n\nname: outer\n---",
         {{"name", "outer"}}},
        {"no colon, no key or no value is skipped",
         "---\njunk\n: value\nkey:\nkey2: \"\"\n---",
         {}},
        {"a later key wins, with no closing line",
         "---\nstatus: draft\nstatus: sent",
         {{"status", "sent"}}},
        {"one pair of quotes only, and only a matching pair",
         "---\na: \"\"quoted\"\"\nb: \"open\nc: 'x\"\n---",
         {{"a", "\"quoted\""}, {"b", "\"open"}, {"c", "'x\""}}},
        {"Windows line ends", "---\r\nperiod: 2026\r\n---\r\n", {{"period", "2026"}}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(parseFrontmatter(row.text), row.fields);
    }
}

TEST(CloseStatusDerivationRules, RedactsAccountNumbersAndLongNumbers) {
    const struct {
        std::optional<QString> text;
        std::optional<QString> redacted;
    } cases[] = {
        {"IBAN NL91ABNA0417164300 and DE89 3704 0044 0532 0130 00", "IBAN ··· and ··· 00"},
        {"Bakkerij 1234567 BV", "Bakkerij ··· BV"},
        {"Invoice 123456 of 2026-10-03", "Invoice 123456 of 2026-10-03"},
        {"NL91 ABNA 0417 1643 00", "··· 00"},
        {"  ", "  "},
        {std::nullopt, std::nullopt},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(redact(row.text), row.redacted) << row.text.value_or("(none)").toStdString();
    }
}

TEST_F(CloseStatusDerivationTest, ReadsTheRunsPhase) {
    const struct {
        QByteArray keys;
        std::optional<ClosePhase> phase;
    } cases[] = {
        {"period: 2026-10\nstatus: sent\nphase: draft", ClosePhase::sent},
        {"period: 2026-10\nstatus: done\nphase: draft", ClosePhase::closed},
        {"period: 2026-10\nstatus: closed", ClosePhase::closed},
        {"period: 2026-10\nstatus: running\nphase: assembling", ClosePhase::assembling},
        {"period: 2026-10\nphase: Draft", ClosePhase::collecting},
        {"period: 2026-10", ClosePhase::collecting},
        {"status: sent", std::nullopt},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.keys.toStdString());
        run(QStringLiteral("2026-10"), row.keys);
        const auto state = runState(root() + QStringLiteral("/2026-10"));
        EXPECT_EQ(state ? std::optional(state->phase) : std::nullopt, row.phase);
    }
    EXPECT_EQ(runState(root() + QStringLiteral("/2026-11")), std::nullopt);
}

TEST_F(CloseStatusDerivationTest, TakesTheNewestRunOfEachSetOfBooks) {
    run("2026-09", "period: 2026-09\nbusiness: Nameless\ncurrent_activity: reading\n"
                   "started_at: 2026-09-01T08:00:00Z\nupdated_at: 2026-09-02T08:00:00Z");
    run("2026-10", "status: running"); // no period: not a run
    item("2026-11", "a.md", "kind: deliverable\nlabel: Orphan");
    run("acme/2026-Q3", "period: 2026-Q3\nphase: matching");
    run("acme/2026-Q4", "period: 2026-Q4\nphase: setup");
    run("acme/notes", "period: 2027");
    write("books/acme.md", "---\nname:  Acme Trading  \n---\n");
    run("bakery/2026", "period: 2026");
    QDir(root()).mkpath(QStringLiteral("empty/2026-10"));

    const QList<BooksRun> runs = booksRuns(root());
    const QList<BooksRun> expected{
        {std::nullopt,
         root() + "/2026-09",
         {"2026-09", "Nameless", ClosePhase::collecting, "reading", "2026-09-01T08:00:00Z",
          "2026-09-02T08:00:00Z"},
         std::nullopt},
        {"acme",
         root() + "/acme/2026-Q4",
         {"2026-Q4", std::nullopt, ClosePhase::setup, std::nullopt, std::nullopt, std::nullopt},
         "Acme Trading"},
        {"bakery",
         root() + "/bakery/2026",
         {"2026", std::nullopt, ClosePhase::collecting, std::nullopt, std::nullopt, std::nullopt},
         std::nullopt},
    };
    EXPECT_EQ(runs, expected);

    run("2026-10", "period: 2026-10");
    EXPECT_EQ(only().periodDir, root() + "/2026-10");
    EXPECT_TRUE(booksRuns(root() + QStringLiteral("/missing")).isEmpty());
}

TEST_F(CloseStatusDerivationTest, BlocksOnTheQuestionsOfItsPeriod) {
    const OpenQuestion login{"Log in to the bank", std::nullopt, true};
    const OpenQuestion lunch{"Was the lunch on 3 October business?", "2026-10", false};
    const OpenQuestion anyPeriod{"Which card is yours?", std::nullopt, false};
    const OpenQuestion older{"What was the 1234567 payment?", "2026-09", false};
    const struct {
        const char* name;
        QByteArray keys;
        QList<OpenQuestion> questions;
        std::optional<CloseBlockedKind> kind;
        std::optional<std::string> reason;
        std::int64_t answerable;
    } cases[] = {
        {"nothing open", "phase: matching", {older}, std::nullopt, std::nullopt, 0},
        {"a login beats answers",
         "phase: matching",
         {lunch, login, anyPeriod},
         CloseBlockedKind::needsMac,
         "Log in to the bank",
         2},
        {"a question without a period counts",
         "phase: draft",
         {older, anyPeriod},
         CloseBlockedKind::needsAnswer,
         "Which card is yours?",
         1},
        {"sent and waiting",
         "status: sent\ncurrent_activity: Waiting for 0612345678",
         {older},
         CloseBlockedKind::waitingExternal,
         "Waiting for ···",
         0},
        {"sent with a question open",
         "status: sent",
         {lunch},
         CloseBlockedKind::needsAnswer,
         "Was the lunch on 3 October business?",
         1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        run("2026-10", "period: 2026-10\n" + row.keys);
        const core::CloseStatusDoc doc = closeStatus(only(), row.questions, std::nullopt);
        EXPECT_EQ(doc.blockedKind, row.kind);
        EXPECT_EQ(doc.blockedReason, row.reason);
        EXPECT_EQ(doc.answerableCount, row.answerable);
    }
}

TEST_F(CloseStatusDerivationTest, NamesTheBusinessFromTheFirstThatIsThere) {
    write("books/acme.md", "---\nname: Acme 7654321\n---\n");
    const struct {
        const char* name;
        QByteArray keys;
        std::optional<QString> fallback;
        std::optional<std::string> business;
    } cases[] = {
        {"the run's own", "business: Run Name", "Vault", "Run Name"},
        {"the books' name, redacted", "business: \"  \"", "Vault", "Acme ···"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        run("acme/2026-10", "period: 2026-10\n" + row.keys);
        EXPECT_EQ(closeStatus(only("acme"), {}, row.fallback).business, row.business);
    }
    run("2026-10", "period: 2026-10");
    EXPECT_EQ(closeStatus(only(), {}, QStringLiteral("Vault 1234567")).business, "Vault ···");
    EXPECT_EQ(closeStatus(only(), {}, QStringLiteral(" ")).business, std::nullopt);
}

TEST_F(CloseStatusDerivationTest, BuildsTheWholeDocument) {
    run("2026-10", "period: 2026-10\nphase: assembling\ncurrent_activity: Paying NL91ABNA0417164300"
                   "\nstarted_at: 2026-10-01T08:00:00Z\nupdated_at: 2026-10-05T10:00:00Z");
    item("2026-10", "b.md",
         "kind: deliverable\nlabel: Bank statements\nstatus: done\nsort_order: 2");
    item("2026-10", "a.md",
         "kind: deliverable\nlabel: Receipts\nstatus: in_progress\nsort_order: 2\n"
         "detail: from 1234567\ncount_done: 3\ncount_total: 5");
    item("2026-10", "c.md", "kind: deliverable\nlabel: VAT\nstatus: partial\nsort_order: x");
    item("2026-10", "d.md", "kind: deliverable\nlabel: Annual\nstatus: later\ncount_done: many");
    item("2026-10", "e.md", "kind: deliverable\nlabel: First\nsort_order: -1");
    item("2026-10", "f.md", "kind: deliverable\nstatus: done");
    item("2026-10", "g.md", "kind: transaction\nlabel: Not a deliverable\ndate: 2026-10-01");
    item("2026-10", "h.txt", "kind: deliverable\nlabel: Not Markdown");

    core::CloseStatusDoc expected;
    expected.period = "2026-10";
    expected.business = "Vault";
    expected.phase = ClosePhase::assembling;
    expected.activity = "Paying ···";
    expected.startedAt = "2026-10-01T08:00:00Z";
    expected.movedAt = "2026-10-05T10:00:00Z";
    expected.deliverables = {
        {"First", std::nullopt, DeliverableStatus::pending, std::nullopt, std::nullopt},
        {"Bank statements", std::nullopt, DeliverableStatus::done, std::nullopt, std::nullopt},
        {"Receipts", "from ···", DeliverableStatus::partial, 3, 5},
        {"Annual", std::nullopt, DeliverableStatus::pending, std::nullopt, std::nullopt},
        {"VAT", std::nullopt, DeliverableStatus::partial, std::nullopt, std::nullopt},
    };
    EXPECT_EQ(closeStatus(only(), {}, QStringLiteral("Vault")), expected);
}

TEST_F(CloseStatusDerivationTest, ListsTheTransactionsStillInPlay) {
    const QString period = QStringLiteral("2026-10");
    item(period, "1.md",
         "kind: transaction\ndate: 2026-10-03\nvendor: Bakery\nstatus: matched"
         "\nsource: photo 1234567\namount: 12.50\ncurrency: EUR");
    item(period, "2.md", "kind: transaction\ndate: 2026-10-01\nvendor: Zed\nstatus: ask");
    item(period, "3.md", "kind: transaction\ndate: 2026-10-01\nvendor: Alpha\namount: 3");
    item(period, "4.md", "kind: transaction\ndate: 2026-10-02\nvendor: Ignored\nstatus: candidate");
    item(period, "5.md", "kind: transaction\ndate: 2026-10-02\nvendor: Gone\nstatus: excluded");
    item(period, "6.md", "kind: transaction\ndate: 2026-10-02\nstatus: done");
    item(period, "7.md",
         "kind: transaction\ndate: 2026-10-09\nvendor: First\nstatus: done\nsort_order: 1"
         "\namount: 40\ncurrency: sheep");
    item(period, "8.md", "kind: deliverable\ndate: 2026-10-02\nvendor: Not a row");

    const core::LedgerDoc doc = ledger(root() + "/" + period, disk(), english);
    const std::vector<core::LedgerDoc::Row> rows{
        {"2026-10-09", "First", std::nullopt, "40 sheep", SyncedLedgerState::found},
        {"2026-10-01", "Alpha", std::nullopt, "3", SyncedLedgerState::working},
        {"2026-10-01", "Zed", std::nullopt, std::nullopt, SyncedLedgerState::asking},
        {"2026-10-03", "Bakery", "photo ···", "€12.50", SyncedLedgerState::found},
    };
    EXPECT_EQ(doc.rows, rows);
    EXPECT_EQ(doc.counts(), (core::LedgerDoc::Counts{2, 1, 1}));
    EXPECT_TRUE(ledger(root() + "/2026-01").rows.empty());
}

TEST(OpenQuestionTest, ALoginQuestionNeedsTheDesk) {
    Question question;
    question.text = QStringLiteral("Log in");
    question.period = QStringLiteral("2026-10");
    for (const auto& [kind, requiresMac] :
         {std::pair<std::optional<QString>, bool>{" login ", true},
          {"Login", false},
          {"choice", false},
          {std::nullopt, false}}) {
        question.kind = kind;
        EXPECT_EQ(OpenQuestion::from(question),
                  (OpenQuestion{"Log in", QStringLiteral("2026-10"), requiresMac}));
    }
}

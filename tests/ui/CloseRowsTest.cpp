#include <gtest/gtest.h>

#include "support/QtPrinters.h"
#include "ui/CloseRows.h"

using namespace mnemora;
using core::ClosePhase;

namespace {

PeriodCloseMaterial line(const char* key, std::optional<double> amount, const char* currency,
                         const char* status = "matched") {
    PeriodCloseMaterial row;
    row.lineKey = key;
    row.kind = PeriodCloseMaterial::transactionKind;
    row.amount = amount;
    if (currency) {
        row.currency = currency;
    }
    row.status = status;
    return row;
}

} // namespace

TEST(CloseRows, APhaseComesFromTheRunsStatusBeforeItsPhaseWord) {
    struct Case {
        const char* status;
        const char* phase;
        ClosePhase expected;
    };
    for (const Case& c :
         {Case{"sent", "matching", ClosePhase::sent}, Case{"done", "draft", ClosePhase::closed},
          Case{"closed", nullptr, ClosePhase::closed},
          Case{"running", "assembling", ClosePhase::assembling},
          Case{"running", "Assembling", ClosePhase::collecting},
          Case{nullptr, nullptr, ClosePhase::collecting}}) {
        PeriodCloseRun run;
        if (c.status) {
            run.status = c.status;
        }
        if (c.phase) {
            run.phase = c.phase;
        }
        EXPECT_EQ(CloseRows::phase(run), c.expected) << c.status << " " << c.phase;
    }
    EXPECT_EQ(CloseRows::phase(std::nullopt), std::nullopt);
}

TEST(CloseRows, TotalsAreKeptApartByCurrencyInTheUsersLocale) {
    const QLocale german(QLocale::German, QLocale::Germany);
    const QList<PeriodCloseMaterial> lines{line("a", -10.5, "eur"), line("b", 1000.0, "EUR"),
                                           line("c", 20.0, "USD"), line("d", std::nullopt, "EUR"),
                                           line("e", 3.25, nullptr)};
    EXPECT_EQ(CloseRows::totals(lines, german),
              (QStringList{"989,50\u00a0€", "20,00\u00a0$", "3,25"}));
    EXPECT_EQ(CloseRows::totals({}, german), QStringList());
    // A word that is no currency code stays beside the amount as the run wrote it.
    EXPECT_EQ(CloseRows::amountText(line("f", 12.0, "Euro"), german), "12.00 Euro");
}

TEST(CloseRows, DeliverablesCountWhatIsInHandAgainstWhatIsExpected) {
    const auto deliverable = [](const char* status) {
        PeriodCloseMaterial row;
        row.kind = PeriodCloseMaterial::deliverableKind;
        if (status) {
            row.status = status;
        }
        return row;
    };
    EXPECT_EQ(CloseRows::deliverableCount({}), "");
    EXPECT_EQ(CloseRows::deliverableCount(
                  {deliverable("done"), deliverable(nullptr), deliverable("downloaded")}),
              "2 of 3 in hand");
    EXPECT_EQ(CloseRows::deliverableCount({deliverable("included"), deliverable("n/a")}),
              "1 of 1 in hand · 1 with nothing this period");
}

TEST(CloseRows, ADeliverableInHandIsNeverStillLookingNorBehindALogin) {
    const auto deliverable = [](const char* status, const char* source) {
        PeriodCloseMaterial row;
        row.kind = PeriodCloseMaterial::deliverableKind;
        row.status = status;
        if (source) {
            row.source = source;
        }
        return row;
    };
    QStringList sources;
    for (const QVariant& row : CloseRows::deliverableRows({
             deliverable("done", nullptr),               // in hand, nobody said from where
             deliverable("done", "Bank statement"),      // in hand, from the bank
             deliverable("downloaded", "portal login"),  // fetched from behind the login
             deliverable("pending", nullptr),            // still to gather
             deliverable("pending", "sign in to Metro"), // still to gather, behind a login
             deliverable("n/a", "Metro"),                // nothing to gather this period
         })) {
        sources << row.toMap().value(QStringLiteral("source")).toString();
    }
    EXPECT_EQ(sources, (QStringList{"", "from your bank", "", "still looking", "still looking",
                                    ""}));
}

TEST(CloseRows, StepStatesReadInWordsAndUnknownWordsStayTheRuns) {
    const std::pair<const char*, const char*> cases[] = {
        {"done", "Done"},
        {"in_progress", "Working on it"},
        {"Running", "Working on it"},
        {"ask", "Waiting on you"},
        {"", "Not started"},
        {"pending", "Not started"},
        {"skipped", "Skipped"},
        {" on hold ", "on hold"},
    };
    for (const auto& [state, text] : cases) {
        EXPECT_EQ(CloseRows::stepStateText(state), text) << state;
    }
}

#include <gtest/gtest.h>

#include <QTimeZone>

#include "app/ConfigService.h"
#include "app/VaultPaths.h"
#include "periodclose/PeriodCloseStore.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/RegistryIndex.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::RegistryIndex;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;

namespace {

QStringList keysOf(const QList<PeriodCloseMaterial>& rows) {
    QStringList keys;
    for (const PeriodCloseMaterial& row : rows) {
        keys.append(row.lineKey);
    }
    return keys;
}

QStringList periodsOf(const QList<PeriodSummary>& runs) {
    QStringList periods;
    for (const PeriodSummary& run : runs) {
        periods.append(run.books + QLatin1Char('/') + run.period + QLatin1Char('=') +
                       QString::number(run.itemCount));
    }
    return periods;
}

struct StoreFixture : ::testing::Test {
    TestEnvironment env;
    test::BundleOverride bundle{"tallo.ai", "Tallo", "Tallo"};
    QString vault = env.root() + "/Books";
    PeriodCloseStore store{vault};

    RegistryIndex index() { return RegistryIndex(store.indexPath()); }

    void load(const QString& books, const QString& period) {
        store.setBooks(books);
        runTask(store.load(period));
    }
};

} // namespace

TEST_F(StoreFixture, ReadsTheIndexOfItsVaultOrOfTheConfiguredOneAndWaitsForIt) {
    EXPECT_EQ(store.indexPath(), VaultPaths::vaultCacheFolder(vault) + "/registry_index.sqlite");
    PeriodCloseStore primary;
    EXPECT_EQ(primary.indexPath(), env.cacheHome() + "/tallo.ai/registry_index.sqlite");
    TestEnvironment::writeFile(ConfigService::primaryFilePath(), R"({"mnemora_path": "~/Shop"})");
    EXPECT_EQ(primary.indexPath(),
              VaultPaths::vaultCacheFolder(env.home() + "/Shop") + "/registry_index.sqlite");

    // No index yet: nothing to show and nothing wrong.
    load("acme", "2026-10");
    EXPECT_FALSE(store.available());
    EXPECT_TRUE(runTask(store.allBookSlugs()).isEmpty());
    EXPECT_TRUE(store.lastError().isEmpty());

    RegistryIndex daemon = index();
    daemon.run({{"books", "acme"}, {"period", "2026-10"}});
    daemon.run({{"books", "acme"}, {"period", "2026-09"}});
    daemon.run({{"books", "bakery"}, {"period", "2026-10"}});
    runTask(store.load("2026-10"));
    EXPECT_TRUE(store.available());
    ASSERT_TRUE(store.run());
    EXPECT_EQ(store.run()->period, "2026-10");
    QStringList slugs = runTask(store.allBookSlugs());
    slugs.sort();
    EXPECT_EQ(slugs, QStringList({"acme", "bakery"}));
}

TEST_F(StoreFixture, BrokenStepsShowNoStepsAndKeepTheRestOfTheRun) {
    RegistryIndex daemon = index();
    const struct {
        const char* period;
        QVariant steps;
        QList<RunStep> expected;
    } cases[] = {
        {"2026-01", QVariant(), {}},
        {"2026-02", QByteArray("[{\"key\":\"a\",\"label\":\"Gather\",\"state\":\"\xff\"}]"), {}},
        {"2026-03", "[{\"key\":\"a\",\"label\":\"Gather\"", {}},
        {"2026-04", "[{\"key\":\"a\",\"label\":\"Gather\"}]", {}},
        {"2026-05", "[{\"key\":\"a\",\"label\":\"Gather\",\"state\":\"done\",\"detail\":5}]", {}},
        {"2026-06", "{\"key\":\"a\",\"label\":\"Gather\",\"state\":\"done\"}", {}},
        {"2026-07",
         "[{\"key\":\"a\",\"label\":\"Gather\",\"state\":\"done\",\"detail\":\"12 files\"},"
         "{\"key\":\"b\",\"label\":\"Match\",\"state\":\"running\",\"detail\":null}]",
         {{"a", "Gather", "done", "12 files"}, {"b", "Match", "running", std::nullopt}}},
    };
    for (const auto& row : cases) {
        daemon.run({{"books", "acme"},
                    {"period", row.period},
                    {"phase", "matching"},
                    {"steps", row.steps},
                    {"current_activity", "Matching receipts"},
                    {"started_at", "2026-11-02T09:00:00Z"},
                    {"updated_at", 1'793'000'000LL}});
    }
    for (const auto& row : cases) {
        SCOPED_TRACE(row.period);
        load("acme", row.period);
        ASSERT_TRUE(store.run());
        const PeriodCloseRun& run = *store.run();
        EXPECT_EQ(run.steps, row.expected);
        EXPECT_EQ(run.phase, "matching");
        EXPECT_EQ(run.currentActivity, "Matching receipts");
        EXPECT_EQ(run.startedAt, QDateTime(QDate(2026, 11, 2), QTime(9, 0), QTimeZone::utc()));
        EXPECT_EQ(run.updatedAt, QDateTime::fromSecsSinceEpoch(1'793'000'000, QTimeZone::utc()));
        EXPECT_EQ(run.status, std::nullopt);
    }
    load("acme", "2025-12");
    EXPECT_EQ(store.run(), std::nullopt);
}

TEST_F(StoreFixture, APeriodWithoutDeliverablesTakesThoseOfEarlierPeriodsKeyedByItsOwn) {
    RegistryIndex daemon = index();
    auto deliverable = [&](const char* books, const char* period, const char* label, int order,
                           const char* source) {
        daemon.material({{"books", books},
                         {"period", period},
                         {"line_key", QString(period) + ":" + label},
                         {"kind", "deliverable"},
                         {"sort_order", order},
                         {"label", label},
                         {"source", source},
                         {"status", "done"}});
    };
    deliverable("acme", "2026-08", "Payroll", 1, "Payroll portal");
    deliverable("acme", "2026-08", "VAT return", 2, "Tax office");
    deliverable("acme", "2026-09", "VAT return", 2, "Tax office");
    deliverable("acme", "2026-09", "Bank statement", 1, "Bank");
    daemon.material({{"books", "acme"},
                     {"period", "2026-09"},
                     {"line_key", "t"},
                     {"kind", "deliverable"},
                     {"sort_order", 4}});
    daemon.material({{"books", "bakery"},
                     {"period", "2026-10"},
                     {"line_key", "coffee"},
                     {"kind", "transaction"},
                     {"amount", 4.5}});

    load("acme", "2026-10");
    EXPECT_EQ(keysOf(store.materials()),
              QStringList({"2026-10:template:Bank statement", "2026-10:template:VAT return",
                           "2026-10:template:Payroll"}));
    const PeriodCloseMaterial& bank = store.materials()[0];
    EXPECT_EQ(bank.period, "2026-10");
    EXPECT_EQ(bank.kind, "deliverable");
    EXPECT_EQ(bank.status, "pending");
    EXPECT_EQ(bank.label, "Bank statement");
    EXPECT_EQ(bank.source, "Bank");
    EXPECT_EQ(bank.sortOrder, 1);
    EXPECT_EQ(bank.date, std::nullopt);
    EXPECT_EQ(keysOf(store.deliverables()),
              QStringList({"2026-10:template:Bank statement", "2026-10:template:Payroll",
                           "2026-10:template:VAT return"}));

    load("acme", "2026-11");
    EXPECT_TRUE(keysOf(store.materials()).contains("2026-11:template:VAT return"));

    // A period with deliverables of its own shows only those.
    load("acme", "2026-09");
    EXPECT_EQ(keysOf(store.deliverables()),
              QStringList({"2026-09:Bank statement", "2026-09:VAT return", "t"}));

    // A first month with nothing before has no deliverables at all.
    load("bakery", "2026-10");
    EXPECT_EQ(keysOf(store.materials()), QStringList({"coffee"}));
    EXPECT_TRUE(store.deliverables().isEmpty());
}

TEST_F(StoreFixture, EvidenceShowsOnceAndCandidatesCountNowhere) {
    RegistryIndex daemon = index();
    daemon.run({{"books", "acme"}, {"period", "2026-10"}});
    const struct {
        const char* key;
        const char* kind;
        QVariant status;
        QVariant date;
        QVariant amount;
        QVariant receipt;
        QVariant photo;
    } rows[] = {
        {"fuel", "transaction", "matched", "2026-10-02", -60.0, "receipts/fuel.pdf", QVariant()},
        {"fuel-receipt", "document", "done", "2026-10-02", 60.0, " receipts/fuel.pdf\n",
         QVariant()},
        {"lunch", "transaction", "matched", "2026-10-05", -20.5, "  ", "PHOTO-1"},
        {"lunch-photo", "photo", QVariant(), "2026-10-05", QVariant(), QVariant(), "PHOTO-1 "},
        {"rent", "transaction", QVariant(), "2026-10-01", -900.0, "", QVariant()},
        {"invoice", "document", "done", "2026-10-07", 120.0, "docs/invoice.pdf", QVariant()},
        {"maybe-b", "transaction", "candidate", "2026-10-09", -999.0, QVariant(), QVariant()},
        {"maybe-a", "transaction", "candidate", "2026-10-09", -1.0, QVariant(), QVariant()},
        {"maybe-c", "transaction", "candidate", QVariant(), -2.0, QVariant(), QVariant()},
        {"dropped", "transaction", "excluded", "2026-10-03", -50.0, QVariant(), QVariant()},
        {"vat", "deliverable", "pending", QVariant(), 300.0, QVariant(), QVariant()},
    };
    int order = 0;
    for (const auto& row : rows) {
        daemon.material({{"books", "acme"},
                         {"period", "2026-10"},
                         {"line_key", row.key},
                         {"kind", row.kind},
                         {"sort_order", order++},
                         {"status", row.status},
                         {"date", row.date},
                         {"amount", row.amount},
                         {"receipt_path", row.receipt},
                         {"photo_uuid", row.photo}});
    }
    load("acme", "2026-10");
    EXPECT_EQ(store.materials().size(), 11);
    EXPECT_EQ(keysOf(store.visibleMaterials()), QStringList({"fuel", "lunch", "rent", "invoice"}));
    EXPECT_EQ(keysOf(store.candidates()), QStringList({"maybe-c", "maybe-a", "maybe-b"}));
    EXPECT_EQ(keysOf(store.unbackedRows()), QStringList({"rent"}));
    EXPECT_DOUBLE_EQ(store.visibleTotal(), -60.0 - 20.5 - 900.0 + 120.0);
}

TEST_F(StoreFixture, ListsRunsWithTheirCountedLines) {
    RegistryIndex daemon = index();
    daemon.run({{"books", "acme"}, {"period", "2026-09"}, {"status", "closed"}});
    daemon.run({{"books", "acme"},
                {"period", "2026-10"},
                {"phase", "collecting"},
                {"updated_at", "2026-10-20 08:00:00"}});
    daemon.run({{"books", "bakery"}, {"period", "2026-Q3"}});
    const char* counted[][2] = {{"2026-09", "matched"},
                                {"2026-09", nullptr},
                                {"2026-09", "candidate"},
                                {"2026-09", "excluded"}};
    for (const auto& [period, status] : counted) {
        daemon.material({{"books", "acme"},
                         {"period", period},
                         {"kind", "transaction"},
                         {"status", status ? QVariant(status) : QVariant()}});
    }
    daemon.material({{"books", "acme"}, {"period", "2026-09"}, {"kind", "deliverable"}});
    daemon.material({{"books", "bakery"}, {"period", "2026-Q3"}, {"kind", "receipt"}});

    store.setBooks("acme");
    runTask(store.loadAllRuns());
    runTask(store.loadAllRunsEverywhere());
    EXPECT_EQ(periodsOf(store.allRuns()), QStringList({"acme/2026-10=0", "acme/2026-09=2"}));
    EXPECT_EQ(periodsOf(store.allRunsEverywhere()),
              QStringList({"bakery/2026-Q3=1", "acme/2026-10=0", "acme/2026-09=2"}));
    const PeriodSummary& october = store.allRuns()[0];
    EXPECT_EQ(october.phase, "collecting");
    EXPECT_EQ(october.status, std::nullopt);
    EXPECT_EQ(october.updatedAt, QDateTime(QDate(2026, 10, 20), QTime(8, 0), QTimeZone::utc()));

    // Other books start from nothing; the list of every set of books stays.
    runTask(store.load("2026-10"));
    ASSERT_TRUE(store.run());
    store.setBooks("bakery");
    EXPECT_EQ(store.run(), std::nullopt);
    EXPECT_TRUE(store.allRuns().isEmpty());
    EXPECT_EQ(store.allRunsEverywhere().size(), 3);

    // Another vault starts from nothing at all, until its own index is read.
    store.setVaultRoot(env.root() + "/Other");
    EXPECT_FALSE(store.available());
    EXPECT_TRUE(store.allRunsEverywhere().isEmpty());
    runTask(store.loadAllRunsEverywhere());
    EXPECT_TRUE(store.allRunsEverywhere().isEmpty());
}

TEST_F(StoreFixture, AnAnswerForOtherBooksOrAFailedQueryChangesNothingShown) {
    RegistryIndex daemon = index();
    daemon.run({{"books", "acme"}, {"period", "2026-10"}, {"phase", "draft"}});
    daemon.material({{"books", "acme"}, {"period", "2026-10"}, {"line_key", "fuel"}});

    // The read started for acme ends after the user moved to other books.
    store.setBooks("acme");
    QCoro::Task<> stale = store.load("2026-10");
    store.setBooks("bakery");
    runTask(std::move(stale));
    EXPECT_EQ(store.run(), std::nullopt);
    EXPECT_TRUE(store.materials().isEmpty());

    load("acme", "2026-10");
    ASSERT_TRUE(store.run());
    // An index of another schema fails the query; what was shown stays.
    daemon.db().exec("ALTER TABLE period_close_runs DROP COLUMN closed_via");
    runTask(store.load("2026-10"));
    EXPECT_EQ(store.lastError(), "Period-close query failed: no such column: closed_via");
    ASSERT_TRUE(store.run());
    EXPECT_EQ(store.run()->phase, "draft");
    EXPECT_EQ(keysOf(store.materials()), QStringList({"fuel"}));
}

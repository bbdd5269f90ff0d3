#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "runtime/DemoVault.h"
#include "support/BundleOverride.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::TestEnvironment;

namespace {

struct DemoFixture : ::testing::Test {
    TestEnvironment env;
    test::BundleOverride bundle{"tallo.ai", "Tallo", "Tallo"};
    QString vault = env.home() + "/Tallo Demo";
    QString fixture =
        DemoVault::datasetFolder(DemoVault::kTalloSlug) + "/fixtures/tallo/period-close";
};

} // namespace

TEST_F(DemoFixture, WithoutADownloadedDatasetTheMonthThatShipsIsLaidOutForTheUserToChange) {
    ASSERT_FALSE(QFileInfo::exists(fixture));
    const DemoVault::Result result =
        DemoVault::make(DemoVault::kTalloSlug, DemoVault::kTalloDisplayName);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();

    const QString month = vault + "/Notes/bookkeeping/2026-10";
    EXPECT_TRUE(QString::fromUtf8(TestEnvironment::readFile(month + "/run.md"))
                    .contains("\nstatus: running\n"));
    EXPECT_GE(QDir(month + "/items").entryList({"*.md"}, QDir::Files).size(), 8);
    EXPECT_TRUE(TestEnvironment::readFile(month + "/attachments-to-send/01-adobe.pdf")
                    .startsWith("%PDF-"));
    const QString question = vault + "/Registry/alex-carter/questions/q-art-supplies-split.md";
    EXPECT_TRUE(QString::fromUtf8(TestEnvironment::readFile(question)).contains("status: open"));
    // Copies out of the application's resources come out read-only; these must not.
    for (const QString& file : {month + "/run.md", question}) {
        EXPECT_TRUE(QFileInfo(file).isWritable()) << file.toStdString();
    }
}

TEST_F(DemoFixture, TalloFixturesReplaceTheirNamesakesAndQuestionsAreCopiedAnew) {
    TestEnvironment::writeFile(fixture + "/Notes/bookkeeping/2026-03/close.md", "fixture close");
    TestEnvironment::writeFile(fixture + "/Notes/bookkeeping/shop/2026-02/ledger.md",
                               "fixture ledger");
    TestEnvironment::writeFile(fixture + "/Notes/bookkeeping/shop/notes.md", "not a period");
    TestEnvironment::writeFile(fixture + "/Registry/alex-carter/questions/q-1.md", "fresh q1");
    TestEnvironment::writeFile(fixture + "/Registry/alex-carter/questions/other.md", "skip");
    // What an earlier demo left behind.
    TestEnvironment::writeFile(vault + "/Notes/bookkeeping/2026-03/stale.md", "old");
    TestEnvironment::writeFile(vault + "/Notes/bookkeeping/2025/keep.md", "untouched");
    TestEnvironment::writeFile(vault + "/Registry/alex-carter/questions/q-old.md", "old q");
    TestEnvironment::writeFile(vault + "/Registry/alex-carter/questions/answer.md", "kept");

    const DemoVault::Result result =
        DemoVault::make(DemoVault::kTalloSlug, DemoVault::kTalloDisplayName);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    EXPECT_EQ(result.vaultPath, vault);
    for (const char* folder : {"Registry", "Notes", "Media", ".mnemora"}) {
        EXPECT_TRUE(QFileInfo(vault + "/" + folder).isDir()) << folder;
    }
    const QString books = vault + "/Notes/bookkeeping";
    EXPECT_EQ(TestEnvironment::readFile(books + "/2026-03/close.md"), "fixture close");
    EXPECT_FALSE(QFileInfo::exists(books + "/2026-03/stale.md"));
    EXPECT_EQ(TestEnvironment::readFile(books + "/2025/keep.md"), "untouched");
    EXPECT_EQ(TestEnvironment::readFile(books + "/shop/2026-02/ledger.md"), "fixture ledger");
    EXPECT_FALSE(QFileInfo::exists(books + "/shop/notes.md"));
    const QString questions = vault + "/Registry/alex-carter/questions";
    EXPECT_EQ(QDir(questions).entryList(QDir::Files, QDir::Name),
              (QStringList{"answer.md", "q-1.md"}));

    const QJsonObject config =
        QJsonDocument::fromJson(TestEnvironment::readFile(vault + "/.mnemora/config.json"))
            .object();
    EXPECT_EQ(config["mnemora_path"], vault);
    EXPECT_EQ(config["onboarding_complete"], true);
    EXPECT_EQ(config["photos_permission_granted"], false);
    EXPECT_EQ(config["active_identity_id"], "alex-carter");
    const QJsonObject identity = config["identities"].toArray().first().toObject();
    EXPECT_EQ(identity["display_name"], "Alex Carter (Demo)");
    EXPECT_EQ(identity["is_default"], true);
    EXPECT_EQ(config["cloud_sources"].toArray().first().toObject()["label"], "iCloud (demo)");
    EXPECT_EQ(config["features"].toObject().size(), 10);
}

TEST_F(DemoFixture, AnExistingConfigurationIsKeptAndFailuresAreWorded) {
    TestEnvironment::writeFile(vault + "/.mnemora/config.json", R"({"mine": true})");
    ASSERT_TRUE(DemoVault::make("alex-carter", "Alex").ok());
    EXPECT_EQ(TestEnvironment::readFile(vault + "/.mnemora/config.json"), R"({"mine": true})");

    QDir(vault).removeRecursively();
    TestEnvironment::writeFile(vault, "a file where the vault should be");
    const DemoVault::Result failed = DemoVault::make("alex-carter", "Alex");
    EXPECT_FALSE(failed.ok());
    EXPECT_EQ(DemoVault::failureText("disk full", DemoVault::Origin::ownPeriod),
              "Couldn't set the demo up: disk full\nYour own period is unaffected.");
    EXPECT_EQ(DemoVault::failureText("x", DemoVault::Origin::firstRun),
              "Couldn't set the demo up: x\nYou can still start on your own books.");
}

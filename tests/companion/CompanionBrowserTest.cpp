#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include <memory>

#include "app/ConfigService.h"
#include "cloud/CompanionPublisher.h"
#include "cloud/CouchRecordStore.h"
#include "core/SqliteSidecarStore.h"
#include "core/SyncedDocEngine.h"
#include "daemon/DaemonService.h"
#include "periodclose/CloseStatusMirrorService.h"
#include "questions/QuestionService.h"
#include "questions/QuestionsDocMirrorService.h"
#include "registry/DatabaseService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/PouchServer.h"
#include "support/RegistryIndex.h"
#include "support/TestEnvironment.h"
#include "sync/SyncedDocsBridgeService.h"

using namespace mnemora;
using namespace std::chrono_literals;
using test::runTask;
using test::TestEnvironment;
using test::waitUntil;

namespace {

const QString kBundledApp = QStringLiteral(MNEMORA_BUNDLES_DIR "/Tallo/Resources/companion");

QByteArray fetch(const QUrl& url) {
    QProcess curl;
    curl.start(QStringLiteral("curl"), {QStringLiteral("-fsS"), url.toString()});
    curl.waitForFinished(10000);
    return curl.readAllStandardOutput();
}

} // namespace

// Publishing puts the app's files into the database once, again only when a file changed, and
// refuses an app without its page or PouchDB.
TEST(CompanionPublisher, PublishesTheAppWhenItsFilesChangeAndServesItFromTheDatabase) {
    TestEnvironment env;
    test::PouchServer server;
    ASSERT_TRUE(server.isRunning()) << server.error().toStdString();
    const QString app = env.root() + "/companion";
    QDir().mkpath(app);
    for (const QString& name : QDir(kBundledApp).entryList(QDir::Files)) {
        ASSERT_TRUE(QFile::copy(kBundledApp + "/" + name, app + "/" + name)) << name.toStdString();
    }
    const QUrl database = server.freshDatabaseUrl();
    CouchRecordStore store(RecordStoreAccount{database, {}, {}});
    using Outcome = CompanionPublisher::Outcome;
    EXPECT_EQ(runTask(CompanionPublisher::publish(store, app)).value(), Outcome::published);
    EXPECT_EQ(runTask(CompanionPublisher::publish(store, app)).value(), Outcome::unchanged);

    const QUrl page = CompanionPublisher::appUrl(database);
    EXPECT_EQ(page.toString(), database.toString() + "/_design/companion/index.html");
    EXPECT_EQ(fetch(page), TestEnvironment::readFile(app + "/index.html"));

    TestEnvironment::writeFile(app + "/style.css", "body { color: red; }\n");
    EXPECT_EQ(runTask(CompanionPublisher::publish(store, app)).value(), Outcome::published);
    EXPECT_EQ(fetch(database.toString() + "/_design/companion/style.css"),
              "body { color: red; }\n");

    QFile::remove(app + "/pouchdb.min.js");
    EXPECT_EQ(runTask(CompanionPublisher::publish(store, app)).error(),
              "The phone app is incomplete: pouchdb.min.js is missing from " + app + ".");
}

// A desktop as far as the phone needs it: an index of questions, question files, the questions
// and close status mirrors, the bridge over a real PouchDB Server, and a fake daemon that writes
// documents and holds transcriptions open. The phone is Chromium driven by a Node.js script.
class CompanionBrowserTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.isRunning()) << server.error().toStdString();
        database.setConfig(&config);
        index = std::make_unique<test::RegistryIndex>(database.indexPath());
        runTask(database.open());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("FAKE_DAEMON_PORT_FILE", daemon.portFilePath());
        environment.insert("FAKE_DAEMON_VAULT", vault);
        environment.insert("FAKE_DAEMON_TRANSCRIBE_FILE", env.root() + "/transcribe.json");
        TestEnvironment::writeFile(env.root() + "/transcribe.json",
                                   R"({"events": [{"type": "progress", "progress": 0.4,
                                       "text": "Yes it was"}], "hold_while": ")" +
                                       env.root().toUtf8() + R"(/transcribe.json"})");
        fakeDaemon.setProcessEnvironment(environment);
        fakeDaemon.start(QStringLiteral(MNEMORA_FAKE_DAEMON), {});
        ASSERT_TRUE(waitUntil([this] { return daemon.baseUrl().has_value(); }));
    }

    void TearDown() override {
        fakeDaemon.kill();
        fakeDaemon.waitForFinished();
    }

    QString question(const QString& slug, const QString& text, const char* askedAt,
                     const QByteArray& more = {}) {
        const QString file = vault + "/Registry/me/questions/" + slug + ".md";
        TestEnvironment::writeFile(file, "---\nstatus: open\nasked_at: " + QByteArray(askedAt) +
                                             "\n" + more + "---\n\n## Question\n\n" +
                                             text.toUtf8() + "\n");
        index->entity({{"entity_type", "question"},
                       {"slug", slug},
                       {"name", text},
                       {"status", "open"},
                       {"file_path", file},
                       {"date_start", askedAt}});
        files.insert(slug, file);
        return file;
    }

    // What the daemon's watcher does: the index follows each question file's status.
    void indexQuestionFiles() {
        static const QRegularExpression status(QStringLiteral("^status: (\\w+)$"),
                                               QRegularExpression::MultilineOption);
        for (auto it = files.begin(); it != files.end(); ++it) {
            const auto match = status.match(TestEnvironment::readFile(it.value()));
            if (match.hasMatch() && match.captured(1) != QLatin1String("open")) {
                SQLite::Statement update(index->db(),
                                         "UPDATE entities SET status = ? WHERE slug = ?");
                update.bind(1, match.captured(1).toStdString());
                update.bind(2, it.key().toStdString());
                update.exec();
            }
        }
    }

    void writeBooks() {
        const QString period = notes + "/bookkeeping/2026-03";
        TestEnvironment::writeFile(period + "/run.md",
                                   "---\nperiod: 2026-03\nbusiness: Demo Bakery\nstatus: running\n"
                                   "phase: matching\ncurrent_activity: Matching receipts to the "
                                   "bank statement\n---\n");
        TestEnvironment::writeFile(period + "/items/bank.md",
                                   "---\nkind: deliverable\nlabel: Bank statement\nstatus: done\n"
                                   "sort_order: 1\n---\n");
        TestEnvironment::writeFile(
            period + "/items/sales.md",
            "---\nkind: deliverable\nlabel: Sales invoices\nstatus: "
            "partial\ncount_done: 14\ncount_total: 20\nsort_order: 2\n---\n");
        const char* rows[][4] = {{"2026-03-02", "Harbour Print", "-86.40", "ask"},
                                 {"2026-03-05", "Flour Mill Co", "-412.00", "matched"},
                                 {"2026-03-09", "City Parking", "-12.50", "pending"}};
        int order = 0;
        for (const auto& row : rows) {
            ++order;
            TestEnvironment::writeFile(
                period + "/items/row" + QByteArray::number(order) + ".md",
                "---\nkind: transaction\ndate: " + QByteArray(row[0]) + "\nvendor: " + row[1] +
                    "\namount: " + row[2] + "\ncurrency: EUR\nstatus: " + row[3] +
                    "\nsource: your bank\nsort_order: " + QByteArray::number(order) + "\n---\n");
        }
    }

    TestEnvironment env;
    test::BundleOverride bundle{"tallo.ai", "Tallo", "Tallo"};
    test::PouchServer server;
    QString vault = env.root() + "/vault";
    QString notes = vault + "/Notes";
    QMap<QString, QString> files;
    ConfigService config;
    DatabaseService database;
    std::unique_ptr<test::RegistryIndex> index;
    QuestionService questions;
    DaemonService daemon;
    QProcess fakeDaemon;
};

TEST_F(CompanionBrowserTest, APhoneAnswersTicksAndRecordsThroughTheDesktopAlsoAfterBeingOffline) {
    const QString vat = question(
        "march-invoice-vat", "Which VAT rate applies to the March invoice?", "2026-03-28T09:00:00Z",
        "suggested_actions: [Standard rate | Reduced rate | Ask me "
        "later => later]\nperiod: 2026-03\nasked_by: accountant\n");
    question("lunch-expense", "Was the lunch on the 12th a business expense?",
             "2026-03-27T09:00:00Z");
    const QString laptop = question("laptop-account", "Which account should the new laptop go to?",
                                    "2026-03-26T09:00:00Z");
    const QString list = notes + "/lists/active/groceries.md";
    writeBooks();

    const QUrl databaseUrl = server.freshDatabaseUrl();
    auto store = std::make_shared<CouchRecordStore>(RecordStoreAccount{databaseUrl, {}, {}});
    ASSERT_EQ(runTask(CompanionPublisher::publish(*store, kBundledApp)).error(), QString());
    core::SqliteSidecarStore sidecar((env.root() + "/sidecar.sqlite").toStdString());
    core::SyncedDocEngine engine(sidecar);
    SyncedDocsBridgeService bridge(engine, &daemon, store,
                                   core::SyncedDocCollectionConfig::launchDefaults(), {},
                                   SyncLog({}, env.root() + "/bridge.log"));
    SyncedDocsBridgeService::Timing timing;
    timing.watcherLatency = 100ms;
    timing.sendDelay = 50ms;
    bridge.setTiming(timing);
    bridge.start(notes);
    // A list written on the desktop while it syncs.
    TestEnvironment::writeFile(list, "# Groceries\n\n- [ ] Milk\n- [ ] Bread\n");
    QuestionsDocMirrorService mirror(&database, &questions, &daemon,
                                     SyncLog({}, env.root() + "/mirror.log"));
    mirror.start(notes, vault + "/Registry", 300ms);
    CloseStatusMirrorService closes(&database, &daemon, SyncLog({}, env.root() + "/close.log"),
                                    QStringLiteral("vault"));
    closes.start(notes, 1s);

    QProcess browser;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("COMPANION_URL", CompanionPublisher::appUrl(databaseUrl).toString());
    environment.insert("TOOLS_DIR", QStringLiteral(MNEMORA_TOOLS_DIR));
    environment.insert("WORK_DIR", env.root() + "/browser");
    environment.insert("QUESTION_FILE", vat);
    environment.insert("OFFLINE_QUESTION_FILE", laptop);
    environment.insert("LIST_FILE", list);
    environment.insert("VOICE_FOLDER", QuestionsDocMirrorService::voiceAnswersFolder());
    environment.insert("HOME", env.root() + "/browser-home");
    QDir().mkpath(env.root() + "/browser");
    browser.setProcessEnvironment(environment);
    browser.setProcessChannelMode(QProcess::MergedChannels);
    browser.start(QStringLiteral("node"), {QStringLiteral(MNEMORA_COMPANION_DRIVER)});
    ASSERT_TRUE(browser.waitForStarted());
    const bool finished = waitUntil(
        [&] {
            indexQuestionFiles();
            return browser.state() == QProcess::NotRunning;
        },
        110s);
    if (!finished) {
        browser.kill();
        browser.waitForFinished();
    }
    const QString output = QString::fromUtf8(browser.readAll());
    ASSERT_TRUE(finished) << output.toStdString();
    EXPECT_EQ(browser.exitCode(), 0) << output.toStdString();
    EXPECT_TRUE(output.contains("companion: every step held")) << output.toStdString();
    // The typed answers went in as the phone's, in the question files.
    EXPECT_TRUE(TestEnvironment::readFile(vat).contains("Reduced rate"));
    EXPECT_TRUE(TestEnvironment::readFile(laptop).contains("Office equipment"));
    EXPECT_EQ(TestEnvironment::readFile(list), "# Groceries\n\n- [x] Milk\n- [x] Bread\n");
}

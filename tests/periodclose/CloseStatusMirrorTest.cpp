#include <gtest/gtest.h>

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include "core/MarkdownCodec.h"
#include "daemon/DaemonService.h"
#include "periodclose/CloseStatusMirrorService.h"
#include "registry/DatabaseService.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/QtPrinters.h"
#include "support/RegistryIndex.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace std::chrono_literals;
using core::ClosePhase;
using test::HttpServer;
using test::runTask;
using test::TestEnvironment;
using test::waitUntil;

namespace {

// A vault whose daemon writes documents the way the real one does: paths relative to the vault.
class CloseStatusMirrorTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::writeFile(daemon.portFilePath(), QByteArray::number(server.port()));
        index = std::make_unique<test::RegistryIndex>(database.indexPath());
        runTask(database.open());
        // The nameless books: a run with one deliverable and one transaction.
        book("2026-10/run.md", "period: 2026-10\nbusiness: Bakery\nphase: matching");
        book("2026-10/items/vat.md", "kind: deliverable\nlabel: VAT return\nstatus: done");
        book("2026-10/items/t1.md",
             "kind: transaction\ndate: 2026-10-02\nvendor: Mill\nstatus: ask");
        // The books "acme", named in their own file.
        book("acme/2026-Q4/run.md", "period: 2026-Q4\nstatus: sent\ncurrent_activity: Waiting");
        book("books/acme.md", "name: Acme Trading");
    }

    QString notes() const { return env.root() + "/vault/Notes"; }
    void book(const QString& path, const QByteArray& keys) const {
        TestEnvironment::writeFile(notes() + "/bookkeeping/" + path, "---\n" + keys + "\n---\n");
    }
    QByteArray document(const QString& path) const {
        return TestEnvironment::readFile(notes() + "/" + path);
    }
    int writes() const { return server.requestCount("/docs/write"); }
    QStringList logLines() const {
        SyncLog::flush();
        QStringList lines;
        for (const QString& line : QString::fromUtf8(TestEnvironment::readFile(logPath))
                                       .split('\n', Qt::SkipEmptyParts)) {
            lines << line.section(' ', 1); // without the time stamp
        }
        return lines;
    }
    void question(const QString& slug, const QString& text, const QByteArray& frontmatter) {
        const QString file = env.root() + "/vault/Registry/me/questions/" + slug + ".md";
        TestEnvironment::writeFile(file, "---\n" + frontmatter + "\n---\n");
        index->entity({{"entity_type", "question"},
                       {"slug", slug},
                       {"name", text},
                       {"file_path", file},
                       {"date_start", "2026-11-15T06:00:00Z"}});
    }

    HttpServer::Response answer(const HttpServer::Request& request) const {
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QString path = body.value("path").toString();
        if (request.path != "/docs/write" || path == refused) {
            return HttpServer::json(R"({"error":"disk full"})", 500);
        }
        TestEnvironment::writeFile(env.root() + "/vault/Notes/" + path,
                                   body.value("content").toString().toUtf8());
        return HttpServer::json(R"({"ok":true})");
    }

    TestEnvironment env;
    QString refused;
    HttpServer server{[this](const HttpServer::Request& request) { return answer(request); }};
    DaemonService daemon;
    DatabaseService database;
    std::unique_ptr<test::RegistryIndex> index;
    QString logPath = env.root() + "/synced-docs.log";
    CloseStatusMirrorService mirror{&database, &daemon, SyncLog("Vault", logPath),
                                    QStringLiteral("My Vault")};
};

std::string text(const core::CloseStatusDoc& doc) {
    return core::MarkdownCodec::serialize(doc.blocks());
}

} // namespace

TEST_F(CloseStatusMirrorTest, WritesEachDocumentOnlyWhenItsTextChanged) {
    question("bank", "Log in to the bank", "kind: login\nperiod: 2026-10");
    question("lunch", "Was lunch business?", "kind: choice\nperiod: 2026-10");
    question("old", "What about September?", "period: 2026-09");
    mirror.start(notes(), 1h);
    ASSERT_TRUE(waitUntil([&] { return writes() == 5; }));
    mirror.stop();

    EXPECT_EQ(document("status/vault.md"), "My Vault");
    core::CloseStatusDoc nameless;
    nameless.period = "2026-10";
    nameless.business = "Bakery";
    nameless.phase = ClosePhase::matching;
    nameless.blockedKind = core::CloseBlockedKind::needsMac;
    nameless.blockedReason = "Log in to the bank";
    nameless.answerableCount = 1;
    nameless.deliverables = {{"VAT return", std::nullopt, core::DeliverableStatus::done, {}, {}}};
    EXPECT_EQ(core::CloseStatusDoc::from(
                  core::MarkdownCodec::parse(document("status/close.md").toStdString())),
              nameless);
    EXPECT_EQ(document("status/close.md").toStdString(), text(nameless));
    core::CloseStatusDoc acme;
    acme.period = "2026-Q4";
    acme.business = "Acme Trading";
    acme.phase = ClosePhase::sent;
    acme.activity = "Waiting";
    acme.blockedKind = core::CloseBlockedKind::waitingExternal;
    acme.blockedReason = "Waiting";
    EXPECT_EQ(document("status/close-acme.md").toStdString(), text(acme));
    EXPECT_EQ(core::LedgerDoc::from(
                  core::MarkdownCodec::parse(document("status/ledger.md").toStdString())),
              (core::LedgerDoc{{{"2026-10-02", "Mill", std::nullopt, std::nullopt,
                                 core::SyncedLedgerState::asking}}}));
    EXPECT_EQ(document("status/ledger-acme.md"), "");
    EXPECT_TRUE(QFile::exists(notes() + "/status/ledger-acme.md"));
    EXPECT_EQ(logLines(),
              (QStringList{
                  "[Vault] [CloseStatusMirror] started",
                  "[Vault] [CloseStatusMirror] regenerating status/vault.md: vault name",
                  "[Vault] [CloseStatusMirror] regenerating status/close.md: books=default "
                  "period=2026-10 phase=matching blocked=needsMac deliverables=1 answerable=1",
                  "[Vault] [CloseStatusMirror] regenerating status/ledger.md: 1 line(s) — 0 with a "
                  "document, 0 still looking, 1 asking",
                  "[Vault] [CloseStatusMirror] regenerating status/close-acme.md: books=acme "
                  "period=2026-Q4 phase=sent blocked=waitingExternal deliverables=0 answerable=0",
                  "[Vault] [CloseStatusMirror] regenerating status/ledger-acme.md: 0 line(s) — 0 "
                  "with a document, 0 still looking, 0 asking",
              }));

    // A settled close costs no write; a moved one rewrites its own document only.
    runTask(mirror.tick());
    EXPECT_EQ(writes(), 5);
    book("acme/2026-Q4/run.md", "period: 2026-Q4\nstatus: closed");
    runTask(mirror.tick());
    EXPECT_EQ(writes(), 6);
    EXPECT_EQ(server.requests().last().body,
              QJsonDocument(QJsonObject{{"content", QString::fromStdString(text([] {
                                             core::CloseStatusDoc doc;
                                             doc.period = "2026-Q4";
                                             doc.business = "Acme Trading";
                                             doc.phase = ClosePhase::closed;
                                             return doc;
                                         }()))},
                                        {"path", "status/close-acme.md"}})
                  .toJson(QJsonDocument::Compact));
}

TEST_F(CloseStatusMirrorTest, RetiresTheDocumentsOfBooksThatAreGone) {
    TestEnvironment::writeFile(notes() + "/status/closing-notes.txt", "mine");
    TestEnvironment::writeFile(notes() + "/status/close-old.md", "- left from before");
    mirror.start(notes(), 1h);
    ASSERT_TRUE(waitUntil([&] { return writes() == 6; }));
    mirror.stop();
    EXPECT_EQ(document("status/close-old.md"), "");

    ASSERT_TRUE(QDir(notes() + "/bookkeeping/acme").removeRecursively());
    runTask(mirror.tick());
    EXPECT_EQ(writes(), 7); // the acme ledger was empty already
    EXPECT_TRUE(QFile::exists(notes() + "/status/close-acme.md"));
    EXPECT_EQ(document("status/close-acme.md"), "");
    EXPECT_EQ(document("status/closing-notes.txt"), "mine");
    EXPECT_EQ(document("status/vault.md"), "My Vault");
    const QStringList lines = logLines();
    EXPECT_EQ(lines.filter("retired"),
              (QStringList{"[Vault] [CloseStatusMirror] retired status/close-old.md — its books "
                           "are gone",
                           "[Vault] [CloseStatusMirror] retired status/close-acme.md — its books "
                           "are gone"}));
    runTask(mirror.tick());
    EXPECT_EQ(writes(), 7);
}

TEST_F(CloseStatusMirrorTest, AFailedWriteIsSaidAndTheOthersGoOn) {
    refused = "status/close.md";
    runTask(mirror.tick()); // not started: no Notes folder yet
    EXPECT_EQ(writes(), 0);
    mirror.start(notes(), 1h);
    ASSERT_TRUE(waitUntil([&] { return writes() == 5; }));
    mirror.stop();
    EXPECT_EQ(mirror.lastError(), "write status/close.md failed: disk full");
    EXPECT_TRUE(logLines().contains(
        "[Vault] [CloseStatusMirror] write FAILED for status/close.md: disk full"));
    EXPECT_FALSE(QFile::exists(notes() + "/status/close.md"));
    EXPECT_FALSE(document("status/ledger.md").isEmpty());

    // The next tick tries again.
    refused.clear();
    runTask(mirror.tick());
    EXPECT_EQ(writes(), 6);
    EXPECT_TRUE(QFile::exists(notes() + "/status/close.md"));
}

// The road of an answer given on the phone, end to end: a question file in a real vault and
// index, the questions mirror and the synced documents bridge as a vault wires them, a real
// PouchDB Server as the account's database, the stand-in daemon process writing documents and
// transcribing clips, and the phone's side as plain HTTP on the database.

#include "sync/BridgeFixture.h"

#include <QProcess>
#include <QProcessEnvironment>

#include "app/ConfigService.h"
#include "core/MarkdownCodec.h"
#include "questions/QuestionService.h"
#include "questions/QuestionsDocMirrorService.h"
#include "registry/DatabaseService.h"
#include "runtime/SyncedDocsStack.h"
#include "support/QtPrinters.h"
#include "support/RegistryIndex.h"

namespace mnemora::test {
namespace {

const QString kQuestionsZone = QStringLiteral("SyncedDocs-questions");

class QuestionRoadTest : public BridgeFixture {
protected:
    void SetUp() override {
        BridgeFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        // The stand-in daemon process takes over the port file from the fixture's own server.
        const QString portFile = VaultPaths::sharedCacheFolder() + QStringLiteral("/daemon.port");
        const QByteArray fixturePort = QByteArray::number(daemon.port());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("FAKE_DAEMON_PORT_FILE"), portFile);
        environment.insert(QStringLiteral("FAKE_DAEMON_VAULT"), vault);
        environment.insert(QStringLiteral("FAKE_DAEMON_TRANSCRIBE_FILE"), transcript);
        fakeDaemon.setProcessEnvironment(environment);
        fakeDaemon.start(QStringLiteral(MNEMORA_FAKE_DAEMON), {});
        ASSERT_TRUE(waitUntil([&] {
            const QByteArray port = TestEnvironment::readFile(portFile).trimmed();
            return !port.isEmpty() && port != fixturePort;
        }));

        database.setConfig(&config);
        index = std::make_unique<RegistryIndex>(database.indexPath());
        runTask(database.open());

        const SyncLog log({}, logPath);
        stack = SyncedDocsStack::open(
            QString(), &daemonClient,
            std::make_shared<CouchRecordStore>(RecordStoreAccount{databaseUrl, {}, {}}), log);
        ASSERT_TRUE(stack);
        stack->bridge().setTiming(fastTiming());
        stack->bridge().start(vault + QStringLiteral("/Notes"));
        mirror =
            std::make_unique<QuestionsDocMirrorService>(&database, &questions, &daemonClient, log);
        mirror->start(vault + QStringLiteral("/Notes"), vault + QStringLiteral("/Registry"), 100ms);
    }

    void TearDown() override {
        mirror.reset();
        stack.reset();
        fakeDaemon.kill();
        fakeDaemon.waitForFinished();
        BridgeFixture::TearDown();
    }

    // A background session asks: the question file appears, and the daemon indexes it.
    QString ask(const QString& slug) {
        const QString file =
            vault + QStringLiteral("/Registry/me/questions/") + slug + QStringLiteral(".md");
        TestEnvironment::writeFile(file, "---\nstatus: open\nasked_at: 2026-11-20T09:00:00Z\n---\n"
                                         "\n## Question\n\n" +
                                             slug.toUtf8() + "?\n");
        index->entity({{"entity_type", "question"},
                       {"slug", slug},
                       {"name", slug + QLatin1Char('?')},
                       {"status", "open"},
                       {"file_path", file},
                       {"date_start", "2026-11-20T09:00:00Z"}});
        return file;
    }

    // The daemon's watcher once a question file changed: the index follows the file.
    void indexFollows(const QString& slug, const QString& file) {
        const std::optional<QString> status =
            QuestionService::frontmatterValue(file, QStringLiteral("status"));
        SQLite::Statement update(index->db(), "UPDATE entities SET status = ? WHERE slug = ?");
        update.bind(1, status.value_or(QString()).toStdString());
        update.bind(2, slug.toStdString());
        update.exec();
    }

    // The block record of a question's card with `status` on the server, as the phone reads it.
    // While the index lags behind an answered file the inbox holds an open card beside the
    // answered one.
    QJsonObject card(const QString& slug, const QString& status) {
        for (const QJsonObject& doc : records(kQuestionsZone)) {
            if (field(doc, "questionID") == slug && field(doc, "questionStatus") == status) {
                return doc;
            }
        }
        return {};
    }
    static QJsonObject fields(const QJsonObject& doc) {
        return doc.value(QStringLiteral("fields")).toObject();
    }
    static QString field(const QJsonObject& doc, const char* name) {
        return fields(doc).value(QLatin1String(name)).toString();
    }

    // The phone marks the card answered with `more` fields, and an attachment when given.
    void phoneAnswers(QJsonObject doc, const QJsonObject& more, const QJsonObject& attachments) {
        QJsonObject changed = fields(doc);
        changed.insert(QStringLiteral("questionStatus"), QStringLiteral("answered"));
        changed.insert(QStringLiteral("answeredBy"), QStringLiteral("phone"));
        changed.insert(QStringLiteral("answeredAt"), QStringLiteral("2026-11-20T09:05:00Z"));
        for (auto it = more.begin(); it != more.end(); ++it) {
            changed.insert(it.key(), it.value());
        }
        doc.insert(QStringLiteral("fields"), changed);
        if (!attachments.isEmpty()) {
            doc.insert(QStringLiteral("_attachments"), attachments);
        }
        phoneSave(doc);
    }

    // Waits for the answer in the question file, lets the index follow it, and waits for the
    // very record the phone answered to say that the answer reached the file.
    QJsonObject answerArrives(const QString& slug, const QString& file, const QJsonObject& phone) {
        EXPECT_TRUE(waitUntil(
            [&] {
                return QuestionService::frontmatterValue(file, QStringLiteral("status")) ==
                       QStringLiteral("answered");
            },
            15s))
            << TestEnvironment::readFile(file).toStdString() << syncLog().toStdString();
        indexFollows(slug, file);
        const QString name = phone.value(QStringLiteral("recordName")).toString();
        QJsonObject applied;
        EXPECT_TRUE(waitUntil(
            [&] {
                applied = records(kQuestionsZone).value(name);
                return !field(applied, "appliedAt").isEmpty();
            },
            15s))
            << syncLog().toStdString();
        EXPECT_EQ(field(applied, "questionStatus"), QStringLiteral("answered"));
        // The phone is never shown its answered question as open again.
        EXPECT_TRUE(card(slug, QStringLiteral("open")).isEmpty());
        return applied;
    }

    QString syncLog() const {
        SyncLog::flush();
        return QString::fromUtf8(TestEnvironment::readFile(logPath));
    }

    // The cards of the inbox document on this computer for one question.
    int cardsInInbox(const QString& slug) const {
        int count = 0;
        const std::string text =
            TestEnvironment::readFile(vault + QStringLiteral("/Notes/questions/inbox.md"))
                .toStdString();
        for (const core::Block& block : core::MarkdownCodec::parse(text)) {
            count += block.questionID == slug.toStdString() ? 1 : 0;
        }
        return count;
    }

    QString vault = env.root() + QStringLiteral("/vault");
    QString logPath = env.root() + QStringLiteral("/synced-docs.log");
    QString transcript = env.root() + QStringLiteral("/transcript.json");
    QProcess fakeDaemon;
    ConfigService config;
    DatabaseService database;
    std::unique_ptr<RegistryIndex> index;
    QuestionService questions;
    std::unique_ptr<SyncedDocsStack> stack;
    std::unique_ptr<QuestionsDocMirrorService> mirror;
};

TEST_F(QuestionRoadTest, ATypedAnswerFromThePhoneReachesTheQuestionFileOnce) {
    const QString file = ask(QStringLiteral("q-ship"));
    QJsonObject open;
    ASSERT_TRUE(waitUntil(
        [&] { return !(open = card(QStringLiteral("q-ship"), QStringLiteral("open"))).isEmpty(); },
        15s))
        << syncLog().toStdString();
    EXPECT_EQ(field(open, "text"), QStringLiteral("q-ship?"));
    EXPECT_EQ(field(open, "documentRef"), QStringLiteral("doc-questions/inbox.md"));

    phoneAnswers(open, {{QStringLiteral("answer"), QStringLiteral("Ship it on Monday.")}}, {});

    const QJsonObject applied = answerArrives(QStringLiteral("q-ship"), file, open);
    EXPECT_EQ(field(applied, "answer"), QStringLiteral("Ship it on Monday."));
    const QString written = QString::fromUtf8(TestEnvironment::readFile(file));
    EXPECT_EQ(written.count(QStringLiteral("## Answer (")), 1) << written.toStdString();
    EXPECT_TRUE(written.contains(QStringLiteral(")\n\nShip it on Monday.\n")))
        << written.toStdString();
    // Once the index follows the file, the inbox keeps the answered card and no open one.
    EXPECT_TRUE(waitUntil([&] { return cardsInInbox(QStringLiteral("q-ship")) == 1; }));
    EXPECT_TRUE(syncLog().contains(QStringLiteral("[QuestionsDocMirror] applied text answer to "
                                                  "q-ship")));
    EXPECT_TRUE(mirror->lastError().isEmpty()) << mirror->lastError().toStdString();
}

TEST_F(QuestionRoadTest, ASpokenAnswerFromThePhoneIsTranscribedIntoTheQuestionFile) {
    TestEnvironment::writeFile(transcript, R"({
        "events": [{"type": "queued"}, {"type": "progress", "progress": 0.5, "text": "Pay"}],
        "final": {"type": "done", "text": " Pay the invoice from the savings account. "}})");
    const QString file = ask(QStringLiteral("q-pay"));
    QJsonObject open;
    ASSERT_TRUE(waitUntil(
        [&] { return !(open = card(QStringLiteral("q-pay"), QStringLiteral("open"))).isEmpty(); },
        15s))
        << syncLog().toStdString();

    const QByteArray clip = "a spoken answer, as the phone recorded it";
    phoneAnswers(open, {{QStringLiteral("audioAssetRef"), QStringLiteral("answer-7.m4a")}},
                 {{QStringLiteral("audioAsset"),
                   QJsonObject{{QStringLiteral("content_type"), QStringLiteral("audio/mp4")},
                               {QStringLiteral("data"), QString::fromLatin1(clip.toBase64())}}}});

    const QJsonObject applied = answerArrives(QStringLiteral("q-pay"), file, open);
    EXPECT_EQ(field(applied, "answer"),
              QStringLiteral("Pay the invoice from the savings account."));
    EXPECT_EQ(field(applied, "transcriptionState"), QStringLiteral("done"));
    EXPECT_FALSE(fields(applied).contains(QStringLiteral("transcriptionProgress")));
    // The phone keeps its recording: the desktop's saves of the card carry the clip along.
    EXPECT_TRUE(applied.value(QStringLiteral("_attachments"))
                    .toObject()
                    .contains(QStringLiteral("audioAsset")))
        << QJsonDocument(applied).toJson().toStdString();
    EXPECT_EQ(TestEnvironment::readFile(QuestionsDocMirrorService::voiceAnswersFolder() +
                                        QStringLiteral("/answer-7.m4a")),
              clip);
    const QString written = QString::fromUtf8(TestEnvironment::readFile(file));
    EXPECT_EQ(written.count(QStringLiteral("## Answer (")), 1) << written.toStdString();
    EXPECT_TRUE(
        written.contains(QStringLiteral(")\n\nPay the invoice from the savings account.\n")))
        << written.toStdString();
    const QString log = syncLog();
    EXPECT_TRUE(log.contains(QStringLiteral("[QuestionsDocMirror] transcription queued for "
                                            "answer-7.m4a")));
    EXPECT_TRUE(log.contains(QStringLiteral("[QuestionsDocMirror] applied voice answer to q-pay")));
}

} // namespace
} // namespace mnemora::test

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>

#include <atomic>
#include <memory>
#include <thread>

#include "app/ConfigService.h"
#include "core/MarkdownCodec.h"
#include "daemon/DaemonService.h"
#include "questions/QuestionService.h"
#include "questions/QuestionsDocMirrorService.h"
#include "questions/QuestionsDocRegeneration.h"
#include "registry/DatabaseService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/RegistryIndex.h"
#include "support/StdoutCapture.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using core::Block;
using core::BlockKind;
using core::QuestionCardStatus;
using core::VoiceTranscriptionState;
using test::runTask;
using test::TestEnvironment;
using test::waitUntil;

namespace {

using namespace std::chrono_literals;

const QString kLog = QStringLiteral("[Vault] [QuestionsDocMirror] ");

// A card as the phone or an earlier tick left it in the document.
Block card(const char* id, QuestionCardStatus status, const char* text = "Asked?") {
    Block block{.kind = BlockKind::question, .text = text};
    block.questionID = id;
    block.questionStatus = status;
    return block;
}

std::string document(const std::vector<Block>& blocks) {
    std::string text;
    for (const Block& block : blocks) {
        text += (text.empty() ? "" : "\n") + core::MarkdownCodec::serializeLine(block);
    }
    return text;
}

// A vault with an index and question files, a fake daemon process that writes documents and
// transcribes clips as the test chooses, and a mirror over them whose clock the test sets.
class QuestionsDocMirrorTest : public ::testing::Test {
protected:
    void SetUp() override {
        QDir().mkpath(notes);
        database.setConfig(&config);
        index = std::make_unique<test::RegistryIndex>(database.indexPath());
        runTask(database.open());
        questions.setClock([this] { return now; });
        mirror.setClock([this] { return now; });

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("FAKE_DAEMON_PORT_FILE", daemon.portFilePath());
        environment.insert("FAKE_DAEMON_VAULT", vault);
        environment.insert("FAKE_DAEMON_TRANSCRIBE_FILE", env.root() + "/transcribe.json");
        environment.insert("FAKE_DAEMON_REQUEST_LOG", requestLog);
        fakeDaemon.setProcessEnvironment(environment);
        fakeDaemon.start(QStringLiteral(MNEMORA_FAKE_DAEMON), {});
        ASSERT_TRUE(waitUntil([this] { return daemon.baseUrl().has_value(); }));
    }

    void TearDown() override {
        fakeDaemon.kill();
        fakeDaemon.waitForFinished();
    }

    // A question file in the vault and its index row.
    QString question(const QString& slug, const char* status, const char* askedAt,
                     const QByteArray& more = {}) {
        const QString file = vault + "/Registry/me/questions/" + slug + ".md";
        TestEnvironment::writeFile(file, "---\nstatus: " + QByteArray(status) +
                                             "\nasked_at: " + askedAt + "\n" + more +
                                             "---\n\n## Question\n\n" + slug.toUtf8() + "?\n");
        index->entity({{"entity_type", "question"},
                       {"slug", slug},
                       {"name", slug + "?"},
                       {"status", status},
                       {"file_path", file},
                       {"date_start", askedAt}});
        return file;
    }

    // What the daemon's watcher does once a question file changed.
    void indexSays(const QString& slug, const char* status) {
        SQLite::Statement update(index->db(), "UPDATE entities SET status = ? WHERE slug = ?");
        update.bind(1, status);
        update.bind(2, slug.toStdString());
        update.exec();
    }

    void writeDocument(const std::vector<Block>& blocks) {
        TestEnvironment::writeFile(inbox, QByteArray::fromStdString(document(blocks)));
    }

    std::vector<Block> readDocument() const {
        return core::MarkdownCodec::parse(TestEnvironment::readFile(inbox).toStdString());
    }

    // The card of a question in the document; while the index still lists the question as open
    // the document holds an open card for it too, which this passes over.
    Block cardOf(const char* id, QuestionCardStatus status = QuestionCardStatus::answered) const {
        for (const Block& block : readDocument()) {
            if (block.questionID == id && block.questionStatus == status) {
                return block;
            }
        }
        ADD_FAILURE() << "no card for " << id;
        return {};
    }

    int requests(const QByteArray& route) const {
        return int(TestEnvironment::readFile(requestLog).count("POST " + route + " "));
    }

    // Starts the loop and waits for its first tick; later ticks are the test's own.
    void startMirror() {
        int ticks = 0;
        QObject::connect(&mirror, &QuestionsDocMirrorService::tickFinished, [&ticks] { ++ticks; });
        mirror.start(notes, vault + "/Registry", 1h);
        ASSERT_TRUE(waitUntil([&ticks] { return ticks == 1; }));
        QObject::disconnect(&mirror, &QuestionsDocMirrorService::tickFinished, nullptr, nullptr);
    }

    QStringList logged() const { return output.linesStartingWith(kLog); }

    TestEnvironment env;
    test::BundleOverride bundle{"ai.mnemora", "Mnemora", "Mnemora"};
    test::StdoutCapture output;
    QString vault = env.root() + "/vault";
    QString notes = vault + "/Notes";
    QString inbox = notes + "/questions/inbox.md";
    QString requestLog = env.root() + "/requests.log";
    QDateTime now = QDateTime::fromString("2026-11-20T10:00:00Z", Qt::ISODate);
    ConfigService config;
    DatabaseService database;
    std::unique_ptr<test::RegistryIndex> index;
    QuestionService questions;
    DaemonService daemon;
    QProcess fakeDaemon;
    QuestionsDocMirrorService mirror{&database, &questions, &daemon,
                                     SyncLog(QStringLiteral("Vault"), env.root() + "/sync.log")};
};

TEST_F(QuestionsDocMirrorTest, WritesTheOpenQuestionsNewestFirstAndLeavesAnUnchangedDocument) {
    question("older", "open", "2026-11-10T08:00:00Z");
    question("q-books", "open", "2026-11-15T06:00:00Z",
             "kind: allocation\nasked_by: dreamer:ledger\nperiod: 2026-10\nbooks: acme\n"
             "suggested_actions: [Yes => do it | No]\n");
    question("done", "answered", "2026-11-16T06:00:00Z");

    startMirror();

    const std::vector<Block> blocks = readDocument();
    ASSERT_EQ(blocks.size(), 2u);
    Block expected = card("q-books", QuestionCardStatus::open, "q-books?");
    expected.askedBy = "dreamer:ledger";
    expected.askedAt = "2026-11-15T06:00:00Z";
    expected.booksID = "acme";
    expected.questionKind = "allocation";
    expected.suggestedActions = "[Yes => do it | No]";
    expected.period = "2026-10";
    EXPECT_TRUE(blocks[0].hasSameContent(expected))
        << core::MarkdownCodec::serializeLine(blocks[0]);
    Block older = card("older", QuestionCardStatus::open, "older?");
    older.askedAt = "2026-11-10T08:00:00Z";
    EXPECT_TRUE(blocks[1].hasSameContent(older)) << core::MarkdownCodec::serializeLine(blocks[1]);
    EXPECT_FALSE(TestEnvironment::readFile(inbox).endsWith('\n'));
    EXPECT_EQ(logged(),
              (QStringList{kLog + "started (scope=active)",
                           kLog + "regenerating questions/inbox.md: 2 open questions, 0 prior "
                                  "blocks, scope=active"}));

    runTask(mirror.tick());
    EXPECT_EQ(requests("/docs/write"), 1);
    EXPECT_EQ(logged().size(), 2);
    EXPECT_TRUE(mirror.lastError().isEmpty());
}

TEST_F(QuestionsDocMirrorTest, AnEmptyVaultWritesNothingAndAFailedWriteIsSaidAndTriedNextTick) {
    startMirror();
    EXPECT_EQ(requests("/docs/write"), 0);
    EXPECT_FALSE(QFile::exists(inbox));

    question("q1", "open", "2026-11-10T08:00:00Z");
    fakeDaemon.kill();
    fakeDaemon.waitForFinished();
    runTask(mirror.tick());
    EXPECT_EQ(mirror.lastError(), "write questions/inbox.md failed: Connection refused");
    EXPECT_EQ(logged().last(), kLog + "write FAILED for questions/inbox.md: Connection refused");
}

TEST_F(QuestionsDocMirrorTest, CardsOfAnotherVaultGoOnlyWhenNoIdentityFolderHoldsTheirFile) {
    question("mine", "open", "2026-11-10T08:00:00Z");
    // Answered on the phone, for a question the index does not list but whose file is here.
    TestEnvironment::writeFile(vault + "/Registry/other/questions/missed.md",
                               "---\nstatus: open\n---\n");
    Block missed = card("missed", QuestionCardStatus::answered);
    missed.answer = "Later";
    Block elsewhere = card("elsewhere", QuestionCardStatus::answered);
    elsewhere.answer = "Not here";
    // A line the phone cut short stays as the text it is, and is said.
    Block note{.kind = BlockKind::text, .text = "? open half-a-card"};
    writeDocument({card("mine", QuestionCardStatus::open, "mine?"), missed, elsewhere,
                   card("far-away", QuestionCardStatus::open), note});

    startMirror();

    QStringList ids;
    for (const Block& block : readDocument()) {
        ids << QString::fromStdString(block.questionID.value_or(block.text));
    }
    EXPECT_EQ(ids, (QStringList{"mine", "missed", "? open half-a-card"}));
    EXPECT_EQ(cardOf("missed").appliedAt, std::nullopt);
    EXPECT_EQ(
        logged().mid(1),
        (QStringList{kLog + "DEGRADED question line → .text: no ' :: ' separator | ? open "
                            "half-a-card",
                     kLog + "answered block missed has no matching desktop question — skipped",
                     kLog + "dropping 2 card(s) this vault does not have: elsewhere, far-away",
                     kLog + "regenerating questions/inbox.md: 1 open questions, 5 prior blocks, "
                            "scope=active"}));

    runTask(mirror.tick());
    EXPECT_EQ(logged().last(),
              kLog + "answered block missed has no matching desktop question — skipped");
}

TEST_F(QuestionsDocMirrorTest, ClosedQuestionsKeepAnsweredCardsAndLoseDismissedOnes) {
    question("by-agent", "answered", "2026-11-10T08:00:00Z");
    question("dropped", "dismissed", "2026-11-11T08:00:00Z");
    question("dup", "answered", "2026-11-12T08:00:00Z");
    Block spoken = card("dup", QuestionCardStatus::answered);
    spoken.answer = "Yes";
    spoken.answeredAt = "2026-11-12T09:00:00Z";
    spoken.appliedAt = "2026-11-12T09:00:05Z";
    Block later = card("dup", QuestionCardStatus::answered);
    later.answeredAt = "2026-11-12T10:00:00Z";
    writeDocument({card("by-agent", QuestionCardStatus::open),
                   card("dropped", QuestionCardStatus::open), later, spoken});

    startMirror();

    const std::vector<Block> blocks = readDocument();
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0].questionID, "by-agent");
    EXPECT_EQ(blocks[0].questionStatus, QuestionCardStatus::answered);
    EXPECT_EQ(blocks[0].answeredBy, "mac");
    EXPECT_EQ(blocks[0].answer, std::nullopt);
    EXPECT_TRUE(blocks[1].hasSameContent(spoken));
}

TEST_F(QuestionsDocMirrorTest, ATypedAnswerReachesTheQuestionFileOnce) {
    const QString file = question("q1", "open", "2026-11-10T08:00:00Z");
    Block answered = card("q1", QuestionCardStatus::answered, "q1?");
    answered.answer = "  Ship it on Monday\n";
    answered.answeredBy = "phone";
    answered.audioAssetRef = "also-spoken.m4a"; // the typed words win; the clip is never sent
    writeDocument({answered});

    startMirror();

    const QByteArray written = TestEnvironment::readFile(file);
    EXPECT_TRUE(written.contains("status: answered\n")) << written.toStdString();
    EXPECT_EQ(written.count("## Answer (2026-11-20T10:00:00Z)\n\nShip it on Monday\n"), 1);
    EXPECT_EQ(cardOf("q1").appliedAt, "2026-11-20T10:00:00Z");
    EXPECT_TRUE(logged().contains(kLog + "applied text answer to q1"));

    now = now.addSecs(5);
    indexSays("q1", "answered");
    runTask(mirror.tick());
    runTask(mirror.tick());
    EXPECT_EQ(TestEnvironment::readFile(file), written);
    EXPECT_EQ(cardOf("q1").appliedAt, "2026-11-20T10:00:00Z");
    EXPECT_EQ(logged().count(kLog + "applied text answer to q1"), 1);
    EXPECT_EQ(requests("/transcribe-file/stream"), 0);
}

TEST_F(QuestionsDocMirrorTest, AnAnswerTheBridgeWritesWhileATickWaitsIsNotOverwritten) {
    const QString file = question("q1", "open", "2026-11-10T08:00:00Z");
    startMirror();
    question("q2", "open", "2026-11-12T08:00:00Z");

    // The tick has read the document and waits for the index; meanwhile the phone's answer
    // arrives in the file. Every reader of the index is kept busy until then: a read that is
    // over before the tick awaits it would let the tick run on to its write at once.
    std::atomic<int> busy = 0;
    std::atomic<bool> release = false;
    std::vector<QCoro::Task<int>> blockers;
    for (int k = 0; k < 4; ++k) {
        blockers.push_back(database.query<int>("hold", [&](SQLite::Database&) {
            ++busy;
            while (!release) {
                std::this_thread::yield();
            }
            return 0;
        }));
    }
    const auto releaseOnExit = std::unique_ptr<std::atomic<bool>, void (*)(std::atomic<bool>*)>(
        &release, [](std::atomic<bool>* flag) { *flag = true; });
    ASSERT_TRUE(waitUntil([&busy] { return busy == 4; }));
    QCoro::Task<> ticking = mirror.tick();
    Block answered = cardOf("q1", QuestionCardStatus::open);
    answered.questionStatus = QuestionCardStatus::answered;
    answered.answer = "Yes";
    writeDocument({answered});
    const QByteArray phone = TestEnvironment::readFile(inbox);
    release = true;
    for (QCoro::Task<int>& blocker : blockers) {
        runTask(std::move(blocker));
    }
    runTask(std::move(ticking));
    EXPECT_EQ(TestEnvironment::readFile(inbox), phone);
    EXPECT_EQ(requests("/docs/write"), 1);
    EXPECT_EQ(logged().last(),
              kLog + "questions/inbox.md changed while the tick ran — it is read again next tick");

    runTask(mirror.tick());
    EXPECT_EQ(cardOf("q1").answer, "Yes");
    EXPECT_EQ(cardOf("q1").appliedAt, "2026-11-20T10:00:00Z");
    EXPECT_TRUE(TestEnvironment::readFile(file).contains("status: answered\n"));
    ASSERT_FALSE(readDocument().empty());
    EXPECT_EQ(readDocument().front().questionID, "q2");
}

TEST_F(QuestionsDocMirrorTest, AnAnswerToAClosedFileRepairsTheCardAndLeavesTheFile) {
    const struct {
        const char* slug;
        QByteArray file;
        const char* answer; // on the card
        const char* clip;   // on the card
        std::optional<std::string> repairedAnswer;
        std::optional<VoiceTranscriptionState> state;
        const char* appliedAt;
        bool saysRepaired;
    } cases[] = {
        {"dismissed", "---\nstatus: dismissed\n---\n\n## Question\n\nWhy?\n", "Too late", "",
         "Too late", std::nullopt, "2026-11-20T10:00:00Z", false},
        {"answered",
         "---\nstatus: answered\nanswered_at: 2026-11-19T08:00:00Z\n---\n\n## Answer "
         "(2026-11-19T08:00:00Z)\n\nFrom the desk\n\n## Notes\n\nx\n",
         "", "a.m4a", "From the desk", VoiceTranscriptionState::done, "2026-11-19T08:00:00Z", true},
    };
    std::vector<Block> blocks;
    for (const auto& c : cases) {
        const QString file = question(c.slug, "open", "2026-11-10T08:00:00Z");
        TestEnvironment::writeFile(file, c.file);
        Block block = card(c.slug, QuestionCardStatus::answered);
        block.answer = c.answer;
        block.audioAssetRef = c.clip;
        block.transcriptionState = VoiceTranscriptionState::transcribing;
        block.transcriptionProgress = 40;
        blocks.push_back(block);
    }
    writeDocument(blocks);

    startMirror();

    for (const auto& c : cases) {
        SCOPED_TRACE(c.slug);
        EXPECT_EQ(TestEnvironment::readFile(vault + "/Registry/me/questions/" + c.slug + ".md"),
                  c.file);
        const Block repaired = cardOf(c.slug);
        EXPECT_EQ(repaired.answer, c.repairedAnswer);
        EXPECT_EQ(repaired.transcriptionState, c.state);
        EXPECT_EQ(repaired.transcriptionProgress, std::nullopt);
        EXPECT_EQ(repaired.appliedAt, c.appliedAt);
        EXPECT_EQ(logged().contains(kLog + "repaired stale block for " + c.slug +
                                    " from the question file"),
                  c.saysRepaired);
    }
    EXPECT_EQ(requests("/transcribe-file/stream"), 0);
}

TEST_F(QuestionsDocMirrorTest, AVoiceAnswerIsTranscribedWithProgressThenApplied) {
    const QString file = question("q1", "open", "2026-11-10T08:00:00Z");
    const QString gate = env.root() + "/hold";
    TestEnvironment::writeFile(gate, "");
    TestEnvironment::writeFile(env.root() + "/transcribe.json", R"({
        "events": [{"type": "queued"}, {"type": "progress", "progress": 0.416, "text": " Ship it "}],
        "hold_while": ")" + gate.toUtf8() + R"(",
        "final": {"type": "done", "text": "\n Ship it on Monday, and tell the accountant the figures are final now. \n"}})");
    TestEnvironment::writeFile(QuestionsDocMirrorService::voiceAnswersFolder() + "/clip.m4a",
                               "audio");
    Block spoken = card("q1", QuestionCardStatus::answered, "q1?");
    spoken.audioAssetRef = "clip.m4a";
    writeDocument({spoken});

    startMirror();
    EXPECT_EQ(cardOf("q1").transcriptionState, VoiceTranscriptionState::queued);
    EXPECT_TRUE(mirror.isInFlight("clip.m4a"));

    ASSERT_TRUE(waitUntil([this] {
        return mirror.transcription("clip.m4a")->state == VoiceTranscriptionState::transcribing;
    }));
    runTask(mirror.tick());
    Block block = cardOf("q1");
    EXPECT_EQ(block.transcriptionState, VoiceTranscriptionState::transcribing);
    EXPECT_EQ(block.transcriptionProgress, 42);
    EXPECT_EQ(block.transcriptionPartial, "Ship it");
    EXPECT_EQ(block.appliedAt, std::nullopt);
    EXPECT_TRUE(TestEnvironment::readFile(file).contains("status: open\n"));

    QFile::remove(gate);
    ASSERT_TRUE(waitUntil([this] { return mirror.transcription("clip.m4a")->text.has_value(); }));
    runTask(mirror.tick());
    const QString words =
        QStringLiteral("Ship it on Monday, and tell the accountant the figures are final now.");
    block = cardOf("q1");
    EXPECT_EQ(block.answer, words.toStdString());
    EXPECT_EQ(block.transcriptionState, VoiceTranscriptionState::done);
    EXPECT_EQ(block.transcriptionProgress, std::nullopt);
    EXPECT_EQ(block.transcriptionPartial, std::nullopt);
    EXPECT_EQ(block.appliedAt, "2026-11-20T10:00:00Z");
    EXPECT_TRUE(TestEnvironment::readFile(file).contains("\n\n" + words.toUtf8() + "\n"));
    EXPECT_EQ(requests("/transcribe-file/stream"), 1);
    EXPECT_EQ(logged().mid(1, 2),
              (QStringList{kLog + "transcription queued for clip.m4a",
                           kLog + "regenerating questions/inbox.md: 1 open questions, 1 prior "
                                  "blocks, scope=active"}));
    EXPECT_TRUE(logged().contains(kLog + "transcribed clip.m4a: " + words.left(60) + "…"));
    EXPECT_TRUE(logged().contains(kLog + "applied voice answer to q1"));
}

TEST_F(QuestionsDocMirrorTest, AFailedClipIsTriedAgainNoSoonerThanThirtySecondsLater) {
    question("q1", "open", "2026-11-10T08:00:00Z");
    question("q2", "open", "2026-11-10T09:00:00Z");
    TestEnvironment::writeFile(env.root() + "/transcribe.json",
                               R"({"final": {"type": "error", "error": "No speech model"}})");
    TestEnvironment::writeFile(QuestionsDocMirrorService::voiceAnswersFolder() + "/bad.m4a", "x");
    Block failing = card("q1", QuestionCardStatus::answered);
    failing.audioAssetRef = "bad.m4a";
    Block waiting = card("q2", QuestionCardStatus::answered);
    waiting.audioAssetRef = "not-yet.m4a";
    writeDocument({failing, waiting});

    startMirror();
    ASSERT_TRUE(waitUntil([this] { return !mirror.isInFlight("bad.m4a"); }));
    EXPECT_EQ(mirror.lastError(), "transcribe failed for bad.m4a: No speech model");
    EXPECT_EQ(mirror.transcription("bad.m4a"),
              (VoiceTranscription{.state = VoiceTranscriptionState::failed, .failedAt = now}));

    for (const auto& [seconds, attempts] : {std::pair{29, 1}, std::pair{30, 2}}) {
        SCOPED_TRACE(seconds);
        mirror.setClock([this, seconds] { return now.addSecs(seconds); });
        runTask(mirror.tick());
        EXPECT_EQ(requests("/transcribe-file/stream"), attempts);
    }
    EXPECT_EQ(cardOf("q2").transcriptionState, VoiceTranscriptionState::queued);
    EXPECT_EQ(logged().count(kLog + "voice clip not-yet.m4a not on disk yet — queued"), 3);
}

TEST_F(QuestionsDocMirrorTest, AClipNameFromThePhoneNeverLeadsOutOfTheVoiceAnswersFolder) {
    question("q1", "open", "2026-11-10T08:00:00Z");
    question("q2", "open", "2026-11-10T09:00:00Z");
    const QString clips = QuestionsDocMirrorService::voiceAnswersFolder();
    // A recording of the user's own that a hostile record names, and the clip the bridge kept
    // for a record that named it by a path: under its last part.
    TestEnvironment::writeFile(clips + "/clip.m4a", "clip");
    TestEnvironment::writeFile(clips + "/../private.m4a", "not for the phone");
    Block outside = card("q1", QuestionCardStatus::answered);
    outside.audioAssetRef = "../private.m4a";
    Block nested = card("q2", QuestionCardStatus::answered);
    nested.audioAssetRef = "phone/recordings/clip.m4a";
    writeDocument({outside, nested});

    startMirror();
    ASSERT_TRUE(waitUntil([this] { return requests("/transcribe-file/stream") == 1; }));
    QByteArrayList transcribed;
    for (const QByteArray& line : TestEnvironment::readFile(requestLog).split('\n')) {
        if (line.startsWith("POST /transcribe-file")) {
            transcribed << line;
        }
    }
    ASSERT_EQ(transcribed.size(), 1);
    EXPECT_TRUE(transcribed[0].contains((clips + "/clip.m4a").toUtf8()))
        << transcribed[0].toStdString();
    EXPECT_EQ(logged().count(kLog + "voice clip ../private.m4a not on disk yet — queued"), 1);
}

TEST(QuestionsDocRegeneration, OpenCardsFollowTheQueryAndKeepTheirPlaceClosedOnesTheirPosition) {
    Block b = card("b", QuestionCardStatus::open, "B?");
    b.position = core::FractionalIndex("i");
    Block a = card("a", QuestionCardStatus::open, "A?");
    a.position = core::FractionalIndex("ii");
    Block closed = card("c", QuestionCardStatus::answered, "C?");
    closed.position = core::FractionalIndex("h");
    Block heading{.kind = BlockKind::heading,
                  .level = 2,
                  .text = "Asked",
                  .position = core::FractionalIndex("g")};
    // Answered on the phone, by words or by a clip, and still open in the index.
    Block typed = card("t", QuestionCardStatus::answered, "T?");
    typed.answer = "Yes";
    typed.position = core::FractionalIndex("j");
    Block spoken = card("s", QuestionCardStatus::answered, "S?");
    spoken.audioAssetRef = "s.m4a";
    spoken.position = core::FractionalIndex("k");
    const QList<Question> open{{.slug = "a", .text = "A?"},
                               {.slug = "t", .text = "T?"},
                               {.slug = "new", .text = "New?"},
                               {.slug = "s", .text = "S?"},
                               {.slug = "b", .text = "B?"}};
    const std::string text =
        QuestionsDocRegeneration::regenerate({b, a, closed, heading, typed, spoken}, open, {}, {});
    const std::vector<Block> blocks = core::MarkdownCodec::parse(text);
    std::vector<std::string> order;
    for (const Block& block : blocks) {
        order.push_back(block.questionID.value_or(block.text));
    }
    EXPECT_EQ(order, (std::vector<std::string>{"a", "new", "b", "Asked", "c", "t", "s"}));
    EXPECT_EQ(blocks[5].questionStatus, QuestionCardStatus::answered);

    const Block fresh = QuestionsDocRegeneration::newCard(open[1], a.position);
    EXPECT_GT(fresh.position, a.position);
    EXPECT_NE(fresh.id, a.id);
    EXPECT_EQ(QuestionsDocRegeneration::newCard(open[1], std::nullopt).position,
              core::FractionalIndex::between(std::nullopt, std::nullopt));
}

TEST(QuestionsDocRegeneration, OfTwoClosedCardsTheOneWithTheAnswerOrTheLaterAnswerStays) {
    const auto closedCard = [](std::optional<std::string> answer, std::optional<std::string> at) {
        Block block = card("q", QuestionCardStatus::answered);
        block.answer = std::move(answer);
        block.answeredAt = std::move(at);
        return block;
    };
    const struct {
        Block entry;
        Block newcomer;
        bool preferred;
    } cases[] = {
        {closedCard("yes", "2026-01-01"), closedCard(std::nullopt, "2026-02-01"), true},
        {closedCard("", "2026-02-01"), closedCard("no", "2026-01-01"), false},
        {closedCard("yes", "2026-02-01"), closedCard("no", "2026-01-01"), true},
        {closedCard("yes", "2026-01-01"), closedCard("no", "2026-01-01"), true},
        {closedCard(std::nullopt, std::nullopt), closedCard(std::nullopt, "2026-01-01"), false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(QuestionsDocRegeneration::isPreferred(c.entry, c.newcomer), c.preferred)
            << core::MarkdownCodec::serializeLine(c.entry);
    }
}

} // namespace

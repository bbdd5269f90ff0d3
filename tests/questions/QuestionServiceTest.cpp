#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QTimeZone>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "questions/QuestionService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::TerminalLauncher;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;
using QuestionError = QuestionService::QuestionError;

namespace {

const QByteArray kSetupQuestion =
    "---\n"
    "kind: setup\n"
    "status: open\n"
    "question: So \xe2\x80\x94 tell me about your business, and what you send your accountant.\n"
    "asked_at: 2026-11-15T06:00:00Z\n"
    "---\n"
    "\n"
    "## Question\n"
    "\n"
    "So \xe2\x80\x94 tell me about your business, and what you send your accountant.\n";

// Records the lines it is asked to run instead of opening a terminal.
class FakeLauncher : public TerminalLauncher {
public:
    QStringList lines;
    Result result;

    QCoro::Task<Result> runCommand(QString line) override {
        lines << line;
        Result copy = result; // QCoro's co_return moves from an lvalue
        co_return copy;
    }
};

// Root may write any file, so what a read-only file means shows only to an ordinary user: as root,
// become one for the object's lifetime (keeping root as the saved id to come back), with `folder`
// made theirs and `root` passable.
class OrdinaryUser {
public:
    OrdinaryUser(const QString& root, const QString& folder) {
        if (geteuid() != 0) {
            return;
        }
        constexpr uid_t kNobody = 65534;
        active_ = chmod(QFile::encodeName(root).constData(), 0711) == 0 &&
                  chown(QFile::encodeName(folder).constData(), kNobody, kNobody) == 0 &&
                  setresgid(kNobody, kNobody, 0) == 0 && setresuid(kNobody, kNobody, 0) == 0;
        EXPECT_TRUE(active_) << std::strerror(errno);
    }
    ~OrdinaryUser() {
        if (active_) {
            EXPECT_EQ(setresuid(0, 0, 0), 0);
            EXPECT_EQ(setresgid(0, 0, 0), 0);
        }
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    bool active_ = false;
};

struct QuestionFiles : ::testing::Test {
    TestEnvironment env;
    QuestionService service;
    QDateTime now{QDate(2026, 11, 15), QTime(6, 12, 9, 750), QTimeZone::utc()};

    QuestionFiles() {
        service.setClock([this] { return now; });
    }

    Question questionAt(const QString& name, const QByteArray& contents) {
        Question question;
        question.slug = name;
        question.filePath = env.root() + "/vault/Registry/me/questions/" + name + ".md";
        TestEnvironment::writeFile(question.filePath, contents);
        return question;
    }

    QByteArray bytes(const Question& question) const {
        return TestEnvironment::readFile(question.filePath);
    }
};

} // namespace

TEST_F(QuestionFiles, AnAnswerSetsTheKeysAndAppendsItsSectionRightAfterTheClosingMarker) {
    const Question question = questionAt("setup", kSetupQuestion);
    EXPECT_EQ(service.answerQuestion(question, "  We sell \"tiles\" from C:\\shop\n\n"),
              std::nullopt);
    const QByteArray answered =
        "---\n"
        "kind: setup\n"
        "status: answered\n"
        "question: So \xe2\x80\x94 tell me about your business, and what you send your "
        "accountant.\n"
        "asked_at: 2026-11-15T06:00:00Z\n"
        "answered_by: user\n"
        "answered_at: 2026-11-15T06:12:09Z\n"
        "answer: \"We sell \\\"tiles\\\" from C:\\\\shop\"\n"
        "---\n"
        "## Question\n"
        "\n"
        "So \xe2\x80\x94 tell me about your business, and what you send your accountant.\n"
        "\n"
        "## Answer (2026-11-15T06:12:09Z)\n"
        "\n"
        "We sell \"tiles\" from C:\\shop\n";
    EXPECT_EQ(bytes(question), answered);
    // The value reads back with its quotes dropped and its escapes as written.
    EXPECT_EQ(QuestionService::frontmatterValue(question.filePath, "answer"),
              R"(We sell \"tiles\" from C:\\shop)");

    // A second answer replaces the lines where they stand and adds a second section.
    now = now.addSecs(60);
    EXPECT_EQ(service.answerQuestion(question, "Tiles."), std::nullopt);
    EXPECT_EQ(
        bytes(question),
        QByteArray(answered)
                .replace("answered_at: 2026-11-15T06:12:09Z", "answered_at: 2026-11-15T06:13:09Z")
                .replace(R"(answer: "We sell \"tiles\" from C:\\shop")", R"(answer: "Tiles.")") +
            "\n## Answer (2026-11-15T06:13:09Z)\n\nTiles.\n");
    EXPECT_TRUE(service.lastError().isEmpty());
}

TEST_F(QuestionFiles, RewritesKeepLineOrderDropLeadingTextAndCarryValuesCutByAMarker) {
    // An existing answer line keeps its place; what stands before the first marker goes.
    const Question answered = questionAt("kept", "stray preamble\n"
                                                 "---\n\n\n"
                                                 "answer: \"old\"\n"
                                                 "\tstatus: open\n"
                                                 "answered_byline: x\n"
                                                 "\n\n"
                                                 "---\n"
                                                 "Body");
    EXPECT_EQ(service.answerQuestion(answered, "new"), std::nullopt);
    EXPECT_EQ(bytes(answered), "---\n"
                               "answer: \"new\"\n"
                               "status: answered\n"
                               "answered_byline: x\n"
                               "answered_by: user\n"
                               "answered_at: 2026-11-15T06:12:09Z\n"
                               "---\n"
                               "Body\n"
                               "\n"
                               "## Answer (2026-11-15T06:12:09Z)\n"
                               "\n"
                               "new\n");

    // A "---" inside a value ends the frontmatter there; the rest of the value is body.
    const Question cut = questionAt("cut", "---\n"
                                           "question: Is A --- B?\n"
                                           "status: open\n"
                                           "---\n"
                                           "## Question\n");
    EXPECT_EQ(QuestionService::frontmatterValue(cut.filePath, "status"), std::nullopt);
    EXPECT_EQ(service.answerQuestion(cut, "B"), std::nullopt);
    EXPECT_EQ(bytes(cut), "---\n"
                          "question: Is A \n"
                          "status: answered\n"
                          "answered_by: user\n"
                          "answered_at: 2026-11-15T06:12:09Z\n"
                          "answer: \"B\"\n"
                          "---\n"
                          " B?\n"
                          "status: open\n"
                          "---\n"
                          "## Question\n"
                          "\n"
                          "## Answer (2026-11-15T06:12:09Z)\n"
                          "\n"
                          "B\n");

    // An answer over two lines writes a value over two lines, which reads back as its first.
    const Question multi = questionAt("multi", "---\nstatus: open\n---\n");
    EXPECT_EQ(service.answerQuestion(multi, "one\ntwo"), std::nullopt);
    EXPECT_EQ(bytes(multi), "---\n"
                            "status: answered\n"
                            "answered_by: user\n"
                            "answered_at: 2026-11-15T06:12:09Z\n"
                            "answer: \"one\n"
                            "two\"\n"
                            "---\n"
                            "\n"
                            "## Answer (2026-11-15T06:12:09Z)\n"
                            "\n"
                            "one\n"
                            "two\n");
    EXPECT_EQ(QuestionService::frontmatterValue(multi.filePath, "answer"), "\"one");
}

TEST_F(QuestionFiles, ADismissalWithoutReasonOnlySetsTheStatusAndLeavesTheBodyAsItIs) {
    const Question question = questionAt("setup", kSetupQuestion);
    const QByteArray frontmatter = "---\n"
                                   "kind: setup\n"
                                   "status: dismissed\n"
                                   "question: So \xe2\x80\x94 tell me about your business, and "
                                   "what you send your accountant.\n"
                                   "asked_at: 2026-11-15T06:00:00Z\n"
                                   "---\n";
    const QByteArray body =
        "## Question\n\nSo \xe2\x80\x94 tell me about your business, and what you send your "
        "accountant.\n";

    EXPECT_EQ(service.dismissQuestion(question, std::nullopt), std::nullopt);
    EXPECT_EQ(bytes(question), frontmatter + "\n\n" + body);
    // The body began with a newline, so each rewrite without a section adds a blank line.
    EXPECT_EQ(service.dismissQuestion(question, QString(" \n\t")), std::nullopt);
    EXPECT_EQ(bytes(question), frontmatter + "\n\n\n" + body);

    EXPECT_EQ(service.dismissQuestion(question, QString("\n Not mine to answer. \n")),
              std::nullopt);
    EXPECT_EQ(bytes(question), frontmatter + body +
                                   "\n"
                                   "## Dismissed (2026-11-15T06:12:09Z)\n"
                                   "\n"
                                   "Not mine to answer.\n");
    EXPECT_EQ(QuestionService::frontmatterValue(question.filePath, "answered_at"), std::nullopt);
}

TEST_F(QuestionFiles, BadFilesGiveTheirErrorAndAreNeverTouched) {
    Question missing;
    missing.filePath = env.root() + "/nowhere.md";
    const QuestionService::Outcome notFound = service.answerQuestion(missing, "yes");
    EXPECT_EQ(notFound, (QuestionError{QuestionError::Kind::fileNotFound, missing.filePath}));
    EXPECT_EQ(service.lastError(), "Question file not found: " + missing.filePath);
    EXPECT_FALSE(QFileInfo::exists(missing.filePath));

    const Question plain = questionAt("plain", "Just a note --- with one marker.\n");
    const QuestionService::Outcome noFrontmatter = service.dismissQuestion(plain, "no");
    ASSERT_TRUE(noFrontmatter);
    EXPECT_EQ(noFrontmatter->text(), "Question file has no frontmatter: " + plain.filePath);
    EXPECT_EQ(bytes(plain), "Just a note --- with one marker.\n");

    const QByteArray latin1 = "---\nstatus: open\nquestion: Caf\xe9?\n---\n";
    const Question notText = questionAt("latin1", latin1);
    const QuestionService::Outcome unreadable = service.answerQuestion(notText, "yes");
    ASSERT_TRUE(unreadable);
    EXPECT_EQ(unreadable->kind, QuestionError::Kind::readFailed);
    EXPECT_EQ(unreadable->text(),
              "Could not read " + notText.filePath + ": the file is not UTF-8 text.");
    EXPECT_EQ(bytes(notText), latin1);
    EXPECT_EQ(QuestionService::frontmatterValue(notText.filePath, "status"), std::nullopt);

    Question folder;
    folder.filePath = env.root() + "/vault";
    const QuestionService::Outcome isFolder = service.answerQuestion(folder, "yes");
    ASSERT_TRUE(isFolder);
    EXPECT_EQ(isFolder->kind, QuestionError::Kind::readFailed);
    EXPECT_TRUE(isFolder->text().startsWith("Could not read " + folder.filePath + ": "));

    // An empty answer is dropped: no write, no error.
    const Question open = questionAt("open", kSetupQuestion);
    EXPECT_EQ(service.answerQuestion(open, " \n\t "), std::nullopt);
    EXPECT_EQ(bytes(open), kSetupQuestion);
    EXPECT_EQ(service.lastError(), isFolder->text()); // left as it was

    // A failed write leaves the old file whole and no temporary file behind.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit tight = saved;
    tight.rlim_cur = 64;
    setrlimit(RLIMIT_FSIZE, &tight);
    const QuestionService::Outcome full = service.answerQuestion(open, "yes");
    setrlimit(RLIMIT_FSIZE, &saved);
    ASSERT_TRUE(full);
    EXPECT_EQ(full->kind, QuestionError::Kind::writeFailed);
    EXPECT_EQ(full->text(), "Write failed: " + full->detail);
    EXPECT_FALSE(full->detail.isEmpty());
    EXPECT_EQ(service.lastError(), full->text());
    EXPECT_EQ(bytes(open), kSetupQuestion);
    EXPECT_EQ(QDir(QFileInfo(open.filePath).absolutePath()).entryList(QDir::Files),
              (QStringList{"latin1.md", "open.md", "plain.md"}));

    // Success clears the error.
    EXPECT_EQ(service.answerQuestion(open, "yes"), std::nullopt);
    EXPECT_TRUE(service.lastError().isEmpty());
}

TEST_F(QuestionFiles, CrLfAndCrFilesAreReadLikeLfFilesAndRewrittenInTheirOwnLineEnds) {
    const QByteArray lf =
        QByteArray(kSetupQuestion)
            .replace("kind: setup\n", "kind: setup\nasked_by: 'dreamer:ledger'\n");
    for (const QByteArray lineEnd : {"\r\n", "\r"}) {
        SCOPED_TRACE(lineEnd.toPercentEncoding().toStdString());
        auto withOwnEnds = [&lineEnd](QByteArray text) { return text.replace("\n", lineEnd); };
        const Question plain = questionAt("lf", lf);
        const Question own = questionAt("own", withOwnEnds(lf));
        EXPECT_EQ(QuestionService::frontmatterValue(own.filePath, "status"), "open");
        EXPECT_EQ(QuestionService::frontmatterValue(own.filePath, "asked_by"), "dreamer:ledger");

        // Only the lines an answer sets change, and every line keeps the file's own end.
        for (const Question& question : {plain, own}) {
            EXPECT_EQ(service.answerQuestion(question, "Tiles and \"grout\"."), std::nullopt);
        }
        EXPECT_EQ(bytes(own), withOwnEnds(bytes(plain)));
        EXPECT_EQ(QuestionService::frontmatterValue(own.filePath, "status"), "answered");
        EXPECT_EQ(QuestionService::frontmatterValue(own.filePath, "answer"),
                  R"(Tiles and \"grout\".)");

        for (const Question& question : {plain, own}) {
            EXPECT_EQ(service.dismissQuestion(question, QString("Not mine.\nAsk Ann.")),
                      std::nullopt);
        }
        EXPECT_EQ(bytes(own), withOwnEnds(bytes(plain)));
        EXPECT_EQ(bytes(own).count("status:"), 1);
    }
}

TEST_F(QuestionFiles, AReadOnlyFileIsAnsweredAndStaysReadOnly) {
    const Question question = questionAt("locked", "---\nstatus: open\n---\nBody\n");
    const QString folder = QFileInfo(question.filePath).absolutePath();
    ASSERT_EQ(chmod(QFile::encodeName(question.filePath).constData(), 0444), 0);
    {
        const OrdinaryUser user(env.root(), folder);
        EXPECT_EQ(service.answerQuestion(question, "yes"), std::nullopt)
            << service.lastError().toStdString();
    }
    EXPECT_EQ(bytes(question), "---\n"
                               "status: answered\n"
                               "answered_by: user\n"
                               "answered_at: 2026-11-15T06:12:09Z\n"
                               "answer: \"yes\"\n"
                               "---\n"
                               "Body\n"
                               "\n"
                               "## Answer (2026-11-15T06:12:09Z)\n"
                               "\n"
                               "yes\n");
    struct stat status {};
    ASSERT_EQ(stat(QFile::encodeName(question.filePath).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0444u);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"locked.md"});
}

TEST_F(QuestionFiles, FrontmatterValuesAreTrimmedUnquotedAndFoundOnlyByTheirWholeKey) {
    const QString path = questionAt("values", "---\n"
                                              "\t  kind:\tsetup  \n"
                                              "answered_by: user\n"
                                              "double: \"quoted \\\"inside\\\"\"\n"
                                              "single: 'one'\n"
                                              "mixed: \"open'\n"
                                              "lone: \"\n"
                                              "empty:   \n"
                                              "empty_quotes: \"\"\n"
                                              "kind: second\n"
                                              "---\n"
                                              "body: not frontmatter\n")
                             .filePath;
    EXPECT_EQ(QuestionService::frontmatterValue(path, "kind"), "setup");
    EXPECT_EQ(QuestionService::frontmatterValue(path, "double"), R"(quoted \"inside\")");
    EXPECT_EQ(QuestionService::frontmatterValue(path, "single"), "one");
    EXPECT_EQ(QuestionService::frontmatterValue(path, "mixed"), "\"open'");
    EXPECT_EQ(QuestionService::frontmatterValue(path, "lone"), "\"");
    EXPECT_EQ(QuestionService::frontmatterValue(path, "empty"), std::nullopt);
    EXPECT_EQ(QuestionService::frontmatterValue(path, "empty_quotes"), std::nullopt);
    EXPECT_EQ(QuestionService::frontmatterValue(path, "answered_at"), std::nullopt);
    EXPECT_EQ(QuestionService::frontmatterValue(path, "answer"), std::nullopt);
    EXPECT_EQ(QuestionService::frontmatterValue(path, "body"), std::nullopt);
    EXPECT_EQ(QuestionService::frontmatterValue(env.root() + "/none.md", "kind"), std::nullopt);
}

TEST(QuestionCards, KindLabels) {
    auto label = [](std::optional<QString> kind, std::optional<QString> askedBy = std::nullopt) {
        return QuestionService::kindLabel(kind, askedBy);
    };
    EXPECT_EQ(label("login"), "needs your Mac");
    EXPECT_EQ(label(" judgment\n"), "a judgement call");
    EXPECT_EQ(label("setup"), "a few details");
    EXPECT_EQ(label("missing-doc"), "something to find");
    EXPECT_EQ(label("allocation"), "a judgement call");
    EXPECT_EQ(label("judgement"), std::nullopt); // the kind word is "judgment"
    EXPECT_EQ(label("Login"), std::nullopt);
    EXPECT_EQ(label(""), std::nullopt);
    EXPECT_EQ(label(std::nullopt), std::nullopt);
    EXPECT_EQ(label("login", " Accountant\n"), "from your accountant");
    EXPECT_EQ(label(std::nullopt, "ACCOUNTANT"), "from your accountant");
    EXPECT_EQ(label("setup", "dreamer:accountant"), "a few details");
}

TEST(QuestionCards, AnswerEstimatesRoundHalvesUp) {
    auto estimate = [](QList<std::optional<QString>> kinds) {
        return QuestionService::answerEstimate(kinds);
    };
    EXPECT_EQ(estimate({"login", "judgment"}), "2 min"); // 90 s
    EXPECT_EQ(estimate({"allocation"}), "1 min");        // 30 s
    EXPECT_EQ(estimate({}), std::nullopt);
    EXPECT_EQ(estimate({std::nullopt, "", "unknown", " "}), std::nullopt);
    EXPECT_EQ(estimate({" setup ", std::nullopt, "missing-doc"}), "3 min");
    QList<std::optional<QString>> many(29, QString("missing-doc"));
    many << QString("judgment"); // 3510 s, 58.5 min
    EXPECT_EQ(estimate(many), "59 min");
    many << QString("judgment"); // 59 min
    EXPECT_EQ(estimate(many), "59 min");
    many << QString("judgment"); // 59.5 min
    EXPECT_EQ(estimate(many), "over an hour");
}

TEST(QuestionCards, SuggestedActions) {
    using Actions = QList<SuggestedAction>;
    auto parse = [](std::optional<QString> raw) {
        return QuestionService::parseSuggestedActions(raw);
    };
    EXPECT_EQ(parse("[Yes => do it | No | No | => x]"), (Actions{{"Yes", "do it"}, {"No", "No"}}));
    EXPECT_EQ(parse(std::nullopt), Actions{});
    EXPECT_EQ(parse(" \n"), Actions{});
    EXPECT_EQ(parse("[]"), Actions{});
    EXPECT_EQ(parse("[ | |]"), Actions{});
    EXPECT_EQ(parse("\n A=>B => C || [x] | Ok =>  \n"), (Actions{{"A", "B => C"}, {"[x]", "[x]"}}));
    EXPECT_EQ(parse("one|two|three|four"),
              (Actions{{"one", "one"}, {"two", "two"}, {"three", "three"}}));
    EXPECT_EQ(parse("yes|Yes"), (Actions{{"yes", "yes"}, {"Yes", "Yes"}}));
}

struct JoinSession : QuestionFiles {
    FakeLauncher launcher;
    Question question;

    JoinSession() {
        service.setLauncher(&launcher);
        question.slug = "vat-rate";
        question.text = "What's the VAT rate on tiles?";
        question.filePath = "/vault/Registry/me/questions/vat-rate.md";
        question.askedBy = "dreamer:ledger";
    }

    const QString primedLine =
        "claude 'I want to work through answering this open question from my Mnemora daemon.\n"
        "\n"
        "Question: What'\\''s the VAT rate on tiles?\n"
        "Slug: vat-rate\n"
        "File: /vault/Registry/me/questions/vat-rate.md\n"
        "\n"
        "Please read the question file for context, help me think through the answer, and when "
        "I'\\''m ready, use the MCP tool `answer_question` (on the `mnemora` server) to record "
        "it.'";
};

TEST_F(JoinSession, AttachesToTheGreatestLiveSessionOfTheAskingDreamer) {
    test::BundleOverride mnemora("ai.mnemora", "Mnemora", "Mnemora");
    EXPECT_EQ(runTask(service.joinSession(
                  question, {"mn-dreamer-ledger-2026-11-01", "mn-dreamer-ledger-2026-11-15",
                             "mn-dreamer-ledgers-2027", "tallo-dreamer-ledger-2030", "ledger"})),
              std::nullopt);
    EXPECT_EQ(launcher.lines, QStringList{"tmux attach -t 'mn-dreamer-ledger-2026-11-15'"});
}

TEST_F(JoinSession, OtherBrandsAlsoFindSessionsUnderTheOlderPrefix) {
    test::BundleOverride tallo("tallo.ai", "Tallo", "Tallo");
    question.askedBy = "dreamer:it's";
    runTask(service.joinSession(question, {"mn-dreamer-it's-9", "vx-dreamer-it's-99"}));
    runTask(service.joinSession(question, {"mn-dreamer-it's-9", "tallo-dreamer-it's-1"}));
    EXPECT_EQ(launcher.lines, (QStringList{R"(tmux attach -t 'mn-dreamer-it'\''s-9')",
                                           R"(tmux attach -t 'tallo-dreamer-it'\''s-1')"}));
}

TEST_F(JoinSession, WithoutALiveSessionAFreshPrimedSessionStarts) {
    test::BundleOverride voxlet("vox.let", "Voxlet", "Voxlet");
    EXPECT_EQ(runTask(service.joinSession(question, {"mn-dreamer-other-1", "vx-dreamer-ledger"})),
              std::nullopt);
    // A question from anyone but a dreamer has no session to join.
    question.askedBy = "accountant";
    runTask(service.joinSession(question, {"mn-dreamer-ledger-1"}));
    question.askedBy.reset();
    runTask(service.joinSession(question, {"mn-dreamer-ledger-1"}));
    EXPECT_EQ(launcher.lines, (QStringList{primedLine, primedLine, primedLine}));

    // The shell hands claude the primer unchanged.
    QProcess shell;
    shell.start("sh", {"-c", QString(primedLine).replace(0, 6, "printf %s")});
    ASSERT_TRUE(shell.waitForFinished(5000));
    EXPECT_EQ(QString::fromUtf8(shell.readAllStandardOutput()), QuestionService::primer(question));
}

TEST_F(JoinSession, ALaunchFailureIsReturnedAndShownInLastError) {
    launcher.result = TerminalLauncher::LaunchError::nonZeroExit(1, "no display");
    EXPECT_EQ(runTask(service.joinSession(question, {})), launcher.result);
    EXPECT_EQ(service.lastError(), "The terminal exited with status 1: no display");
    launcher.result.reset();
    EXPECT_EQ(runTask(service.joinSession(question, {})), std::nullopt);
    EXPECT_TRUE(service.lastError().isEmpty());
}

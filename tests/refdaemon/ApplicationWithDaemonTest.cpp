#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>

#include "app/ConfigService.h"
#include "app/PortFile.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "platform/Processes.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "setup/VerifyService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using namespace std::chrono_literals;
using mnemora::test::TestEnvironment;

namespace {

// The Tallo bundle started as a user would, in a scratch home whose configuration names a vault.
class ApplicationWithDaemon : public ::testing::Test {
protected:
    void SetUp() override {
        vault_ = env_.root() + "/Tallo";
        for (const char* folder : VaultPaths::kFolders) {
            QDir().mkpath(vault_ + "/" + folder);
        }
        TestEnvironment::writeFile(env_.dataHome() + "/Tallo/config.json",
                                   "{\"mnemora_path\": \"" + vault_.toUtf8() + "\"}");
        // Digits only: the recogniser is then exact on a synthetic voice.
        TestEnvironment::writeFile(env_.root() + "/digits.jsgf",
                                   "#JSGF V1.0;\ngrammar digits;\npublic <digits> = ( zero | one | "
                                   "two | three | four | five | six | seven | eight | nine )+ ;\n");
        env_.setEnv("MNEMORA_SPEECH_GRAMMAR", env_.root() + "/digits.jsgf");
        config_.load();
        database_.setConfig(&config_);
        daemon_.setConfig(&config_);
        app_.setProcessChannelMode(QProcess::MergedChannels);
        app_.start(QStringLiteral(MNEMORA_BUNDLES_DIR "/Tallo/tallo"), {});
        ASSERT_TRUE(app_.waitForStarted(5000));
    }

    void TearDown() override {
        ::kill(static_cast<pid_t>(app_.processId()), SIGTERM);
        EXPECT_TRUE(app_.waitForFinished(15'000));
        for (const qint32 pid : daemonPids_) {
            EXPECT_FALSE(Processes::isAlive(pid)) << "daemon outlived the application";
            if (Processes::isAlive(pid)) {
                Processes::forceKill(pid);
            }
        }
    }

    // The pid of the `n`th daemon the application has spawned, 0 when it has not in time.
    qint32 spawnedDaemon(int n) {
        static const QRegularExpression spawned(QStringLiteral("spawnedChild \\(pid (\\d+)\\)"));
        test::waitUntil(
            [&] {
                output_ += app_.readAll();
                return spawned.globalMatch(QString::fromUtf8(output_)).hasNext() &&
                       daemonPidsIn(spawned).size() >= n;
            },
            20s);
        daemonPids_ = daemonPidsIn(spawned);
        return daemonPids_.size() >= n ? daemonPids_.at(n - 1) : 0;
    }

    QList<qint32> daemonPidsIn(const QRegularExpression& spawned) const {
        QList<qint32> pids;
        for (auto it = spawned.globalMatch(QString::fromUtf8(output_)); it.hasNext();) {
            pids << it.next().captured(1).toInt();
        }
        return pids;
    }

    std::optional<Question> listed(const QString& slug) {
        if (!database_.isOpen()) {
            test::runTask(database_.open());
        }
        test::runTask(database_.loadOpenQuestions());
        for (const Question& question : database_.openQuestions()) {
            if (question.slug == slug) {
                return question;
            }
        }
        return std::nullopt;
    }

    TestEnvironment env_;
    test::BundleOverride bundle_{"tallo.ai", "Tallo", "Tallo"};
    QString vault_;
    ConfigService config_;
    DatabaseService database_;
    DaemonService daemon_;
    QProcess app_;
    QByteArray output_;
    QList<qint32> daemonPids_;
};

TEST_F(ApplicationWithDaemon, ADroppedQuestionIsListedAndAnAnswerTakesItOffTheOpenList) {
    ASSERT_GT(spawnedDaemon(1), 0) << output_.toStdString();
    const QString portFile = PortFile::pathIn(VaultPaths::vaultCacheFolder(vault_));
    ASSERT_TRUE(test::waitUntil([&] { return PortFile::read(portFile).has_value(); }, 10s));
    // The daemon made the index; the application opens it.
    ASSERT_TRUE(test::waitUntil([&] { return !listed("none-yet") && database_.isOpen(); }));

    const QString file = vault_ + "/Registry/me/questions/vat-rate.md";
    TestEnvironment::writeFile(file, "---\nkind: judgment\nstatus: open\nquestion: Which VAT rate "
                                     "applies to the March invoice?\nasked_at: "
                                     "2026-03-02T09:00:00Z\nperiod: 2026-03\n---\n\n## Question\n");
    ASSERT_TRUE(test::waitUntil([&] { return listed("vat-rate").has_value(); }, 2s));
    const Question question = *listed("vat-rate");
    EXPECT_EQ(question.text, "Which VAT rate applies to the March invoice?");
    EXPECT_EQ(question.status, Question::Status::open);
    EXPECT_EQ(question.filePath, file);
    EXPECT_EQ(question.period, "2026-03");

    QuestionService questions;
    ASSERT_EQ(questions.answerQuestion(question, "The reduced rate"), std::nullopt);
    EXPECT_TRUE(TestEnvironment::readFile(file).contains("answer: \"The reduced rate\""));
    EXPECT_TRUE(test::waitUntil(
        [&] { return listed("vat-rate")->status == Question::Status::answered; }, 2s));
}

TEST_F(ApplicationWithDaemon, TheSupervisorReplacesAKilledDaemonAndASpokenClipIsTranscribed) {
    const qint32 first = spawnedDaemon(1);
    ASSERT_GT(first, 0) << output_.toStdString();
    Processes::forceKill(first);
    const qint32 second = spawnedDaemon(2);
    ASSERT_GT(second, 0) << output_.toStdString();
    EXPECT_NE(second, first);
    ASSERT_TRUE(test::waitUntil([&] { return daemon_.baseUrl().has_value(); }, 10s));

    const QString clip = env_.root() + "/clip.wav";
    ASSERT_EQ(QProcess::execute("espeak-ng", {"-v", "en-us", "-s", "140", "-g", "10", "-w", clip,
                                              "one two three"}),
              0);
    QStringList seen;
    const auto result = test::runTask(
        DaemonEndpoints::transcribeFileStreaming(&daemon_, clip, [&seen](const QJsonObject& event) {
            seen << event.value("type").toString() + ":" + event.value("status").toString();
        }));
    ASSERT_TRUE(result.ok()) << result.error().toStdString();
    EXPECT_EQ(result.value(), "one two three");
    EXPECT_EQ(seen, (QStringList{"queued:", "progress:converting_audio",
                                 "progress:transcription_started"}));
}

TEST_F(ApplicationWithDaemon, TheVoiceProofHearsItsPhraseAndNoMissingPermissionIsClaimed) {
    ASSERT_GT(spawnedDaemon(1), 0) << output_.toStdString();
    ASSERT_TRUE(test::waitUntil([&] { return daemon_.baseUrl().has_value(); }, 10s));
    VerifyService verify;
    verify.setDaemon(&daemon_);
    test::runTask(verify.run(VerifyService::Proof::transcribe));
    const std::optional<VerifyResult> voice = verify.result(VerifyService::Proof::transcribe);
    ASSERT_TRUE(voice.has_value());
    EXPECT_TRUE(voice->ok) << voice->message.toStdString();
    EXPECT_EQ(voice->text, QStringLiteral("one two three"));
    EXPECT_EQ(voice->message, QStringLiteral("Said \"one two three\" and heard it back."));
    // What this daemon cannot prove, it says in words.
    test::runTask(verify.run(VerifyService::Proof::engine));
    const std::optional<VerifyResult> engine = verify.result(VerifyService::Proof::engine);
    ASSERT_TRUE(engine.has_value());
    EXPECT_FALSE(engine->ok);
    EXPECT_EQ(engine->message,
              QStringLiteral("This daemon has no AI engine, so it cannot check that."));
    // The transcribe screen would otherwise ask for a disk permission this system does not have.
    EXPECT_EQ(test::runTask(DaemonEndpoints::voiceMemosAccessible(&daemon_, 3s)),
              std::optional<bool>(true));
}

} // namespace

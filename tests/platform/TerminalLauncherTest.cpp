#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include "platform/TerminalLauncher.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/TestEnvironment.h"

using namespace std::chrono_literals;
using mnemora::TerminalLauncher;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;
using LaunchError = TerminalLauncher::LaunchError;

namespace {

// Stands in for the terminal: records its arguments, then behaves as FAKE_TERMINAL_MODE says.
const QByteArray kFakeTerminal = R"(#!/bin/sh
printf '%s\0' "$@" > "$FAKE_TERMINAL_DIR/args"
case "$FAKE_TERMINAL_MODE" in
fail) printf 'cannot open display\n' >&2; exit 3 ;;
stay) while [ ! -e "$FAKE_TERMINAL_DIR/release" ]; do sleep 0.02; done ;;
esac
touch "$FAKE_TERMINAL_DIR/done"
)";

struct TerminalLauncherTest : ::testing::Test {
    TestEnvironment env;
    TerminalLauncher launcher;
    QString dir;

    TerminalLauncherTest() {
        dir = env.root() + "/terminal";
        installFake(dir + "/fake-terminal");
        env.setEnv("FAKE_TERMINAL_DIR", dir);
        env.setEnv("FAKE_TERMINAL_MODE", "");
        env.setEnv("TERMINAL", dir + "/fake-terminal");
        launcher.setWaitWindow(5s); // a fast terminal ends well within it
    }

    static void installFake(const QString& path) {
        TestEnvironment::writeFile(path, kFakeTerminal);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    QStringList recordedArguments() const {
        const QByteArray bytes = TestEnvironment::readFile(dir + "/args");
        QStringList arguments;
        for (const QByteArray& part : bytes.split('\0')) {
            arguments << QString::fromUtf8(part);
        }
        arguments.removeLast(); // after the last terminator
        return arguments;
    }
};

} // namespace

TEST_F(TerminalLauncherTest, RunsTheLineThroughShInTheTerminalFromTheEnvironment) {
    const QString line = "echo \"two words\" 'and quotes' \\ back\nsecond line";
    EXPECT_EQ(runTask(launcher.runCommand(line)), std::nullopt);
    EXPECT_EQ(recordedArguments(), (QStringList{"-e", "sh", "-c", line}));

    // $TERMINAL may carry its own arguments.
    env.setEnv("TERMINAL", dir + "/fake-terminal --class mnemora");
    EXPECT_EQ(runTask(launcher.openTmuxSession("mn-dreamer-ledger-1")), std::nullopt);
    EXPECT_EQ(recordedArguments(), (QStringList{"--class", "mnemora", "-e", "sh", "-c",
                                                "tmux attach -t 'mn-dreamer-ledger-1'"}));
}

TEST_F(TerminalLauncherTest, WithoutTerminalSetTheSystemsTerminalEmulatorIsUsed) {
    const QString bin = env.root() + "/bin";
    installFake(bin + "/x-terminal-emulator");
    env.setEnv("PATH", bin + ":" + qEnvironmentVariable("PATH"));
    env.setEnv("TERMINAL", "  ");
    EXPECT_EQ(runTask(launcher.runCommand("htop")), std::nullopt);
    EXPECT_EQ(recordedArguments(), (QStringList{"-e", "sh", "-c", "htop"}));
}

TEST_F(TerminalLauncherTest, FailuresCarryTheirCauseAndReadableWords) {
    env.setEnv("FAKE_TERMINAL_MODE", "fail");
    const TerminalLauncher::Result failed = runTask(launcher.runCommand("true"));
    ASSERT_TRUE(failed);
    EXPECT_EQ(*failed, LaunchError::nonZeroExit(3, "cannot open display\n"));
    EXPECT_EQ(failed->text(), "The terminal exited with status 3: cannot open display");
    EXPECT_EQ(LaunchError::nonZeroExit(1, "").text(), "The terminal exited with status 1.");

    env.setEnv("TERMINAL", env.root() + "/no-such-terminal");
    const TerminalLauncher::Result missing = runTask(launcher.runCommand("true"));
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->kind, LaunchError::Kind::spawnFailed);
    EXPECT_FALSE(missing->message.isEmpty());
    EXPECT_EQ(missing->text(), "Could not open a terminal: " + missing->message);

    QFile::remove(dir + "/args");
    env.setEnv("TERMINAL", dir + "/fake-terminal");
    EXPECT_EQ(runTask(launcher.runCommand(" \n ")), LaunchError::scriptBuildFailed());
    EXPECT_EQ(runTask(launcher.runCommand(QString("ls") + QChar(u'\0'))),
              LaunchError::scriptBuildFailed());
    EXPECT_EQ(LaunchError::scriptBuildFailed().text(),
              "Could not build the command for the terminal.");
    EXPECT_FALSE(QFileInfo::exists(dir + "/args")); // nothing was started for those
}

TEST_F(TerminalLauncherTest, ATerminalStillRunningAfterTheWaitCountsAsOpenAndIsLeftRunning) {
    env.setEnv("FAKE_TERMINAL_MODE", "stay");
    launcher.setWaitWindow(50ms);
    EXPECT_EQ(runTask(launcher.runCommand("tmux")), std::nullopt);
    EXPECT_FALSE(QFileInfo::exists(dir + "/done")); // still running when the launch returned

    TestEnvironment::writeFile(dir + "/release", "");
    EXPECT_TRUE(mnemora::test::waitUntil([&] { return QFileInfo::exists(dir + "/done"); }));
}

TEST(TerminalLauncherLines, ASessionNameCannotLeaveItsQuotes) {
    EXPECT_EQ(TerminalLauncher::tmuxAttachLine("it's"), R"(tmux attach -t 'it'\''s')");
    // The shell reads the quoted word back as the very same name.
    for (const QString name : {"it's", "a'b'c", "''", "$(rm -rf x) `y` \"z\" \\"}) {
        QProcess shell;
        shell.start("sh", {"-c", "printf %s " + TerminalLauncher::shellQuoted(name)});
        ASSERT_TRUE(shell.waitForFinished(5000));
        EXPECT_EQ(QString::fromUtf8(shell.readAllStandardOutput()), name);
    }
}

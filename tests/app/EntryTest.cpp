#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>

#include "app/Entry.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::TestEnvironment;

namespace {

void writeExecutable(const QString& path, const QByteArray& contents) {
    TestEnvironment::writeFile(path, contents);
    QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner);
}

// A bundle folder holding a copy of the real application and a stand-in daemon beside it.
struct BundleFixture : ::testing::Test {
    TestEnvironment env;
    QString folder = env.root() + "/Tallo";
    QString app = folder + "/tallo";

    void SetUp() override {
        QDir().mkpath(folder);
        ASSERT_TRUE(QFile::copy(QStringLiteral(MNEMORA_EXECUTABLE), app));
    }

    QProcess& launch(const QStringList& arguments) {
        process.start(app, arguments);
        process.waitForFinished(10'000);
        return process;
    }

    QProcess process;
};

} // namespace

TEST(Entry, OnlyTheThirteenWordsAreDaemonSubcommands) {
    for (const char* word :
         {"transcribe", "export-progress", "parse-time-logs", "stats", "caption", "mcp-server",
          "daemon", "fetch-cloud-ids", "help", "-h", "--help", "-V", "--version"}) {
        EXPECT_TRUE(Entry::isDaemonSubcommand(word)) << word;
    }
    for (const char* word : {"--foo", "--debug", "Stats", "version", "", "-v", "mcp"}) {
        EXPECT_FALSE(Entry::isDaemonSubcommand(word)) << word;
    }
}

TEST(Entry, TheDaemonIsTheFirstExecutableNamedDashDaemonInNameOrder) {
    TestEnvironment env;
    EXPECT_EQ(Entry::findDaemonExecutable(env.root().toStdString()), std::nullopt);
    EXPECT_EQ(Entry::findDaemonExecutable((env.root() + "/missing").toStdString()), std::nullopt);

    TestEnvironment::writeFile(env.root() + "/a-daemon", "not executable");
    QDir().mkpath(env.root() + "/b-daemon"); // a folder, not a file
    writeExecutable(env.root() + "/z-daemon", "#!/bin/sh\n");
    writeExecutable(env.root() + "/m-daemon", "#!/bin/sh\n");
    writeExecutable(env.root() + "/daemon-helper", "#!/bin/sh\n");
    EXPECT_EQ(Entry::findDaemonExecutable(env.root().toStdString()),
              (env.root() + "/m-daemon").toStdString());
}

TEST(Entry, WordsOnlyCountAsTheFirstArgumentAndNeedADaemonBeside) {
    TestEnvironment env;
    writeExecutable(env.root() + "/tallo-daemon", "#!/bin/sh\n");
    const std::string folder = env.root().toStdString();
    char program[] = "tallo";
    char debug[] = "--debug";
    char stats[] = "stats";
    char* late[] = {program, debug, stats};
    EXPECT_EQ(Entry::dispatch(3, late, folder), std::nullopt);
    char* alone[] = {program};
    EXPECT_EQ(Entry::dispatch(1, alone, folder), std::nullopt);
    char* word[] = {program, stats};
    EXPECT_EQ(Entry::dispatch(2, word, (env.root() + "/empty").toStdString()), std::nullopt);
}

TEST_F(BundleFixture, ADaemonWordReplacesTheProcessWithArgumentsUnchanged) {
    const QString out = env.root() + "/argv.txt";
    writeExecutable(folder + "/tallo-daemon",
                    "#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\" > '" + out.toUtf8() + "'\nexit 3\n");
    QProcess& p = launch({"--version", "a b", "--flag"});
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 3); // the daemon's own status: the process was replaced
    EXPECT_EQ(TestEnvironment::readFile(out),
              (folder + "/tallo-daemon\n--version\na b\n--flag\n").toUtf8());
}

TEST_F(BundleFixture, AFailedExecSaysWhyAndExitsWith127) {
    writeExecutable(folder + "/tallo-daemon", "\x7f"
                                              "ELF garbage");
    QProcess& p = launch({"mcp-server"});
    EXPECT_EQ(p.exitCode(), 127);
    EXPECT_EQ(p.readAllStandardError(),
              ("Failed to exec " + folder + "/tallo-daemon: Exec format error\n").toUtf8());
}

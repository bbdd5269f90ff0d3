#include "sync/SyncLog.h"

#include "support/StdoutCapture.h"
#include "support/TestEnvironment.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace mnemora;

TEST(SyncLog, SharedFileUnderTheLogsRootWithStampedPrefixedLinesEchoedToOutput) {
    test::TestEnvironment env;
    test::StdoutCapture output;
    const SyncLog vault(QStringLiteral("Books 2026"));
    const SyncLog plain;
    EXPECT_EQ(vault.filePath(), env.stateHome() + QStringLiteral("/ai.mnemora/synced-docs.log"));
    EXPECT_EQ(plain.filePath(), vault.filePath());

    vault.write(QStringLiteral("[SyncedDocsBridgeService] start — 1/5 ✓"));
    plain.write(QStringLiteral("[MnemoraApp] no container"));
    SyncLog::flush();

    EXPECT_EQ(output.linesStartingWith(QStringLiteral("[Books 2026]")),
              QStringList{QStringLiteral("[Books 2026] [SyncedDocsBridgeService] start — 1/5 ✓")});
    const QStringList lines = QString::fromUtf8(test::TestEnvironment::readFile(vault.filePath()))
                                  .split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 3); // two lines and the empty rest after the last newline
    const QRegularExpression stamped(QStringLiteral(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ (.*)$)"));
    const auto first = stamped.match(lines[0]);
    const auto second = stamped.match(lines[1]);
    ASSERT_TRUE(first.hasMatch()) << lines[0].toStdString();
    ASSERT_TRUE(second.hasMatch()) << lines[1].toStdString();
    EXPECT_EQ(first.captured(1),
              QStringLiteral("[Books 2026] [SyncedDocsBridgeService] start — 1/5 ✓"));
    EXPECT_EQ(second.captured(1), QStringLiteral("[MnemoraApp] no container"));
    EXPECT_TRUE(lines[2].isEmpty());
}

TEST(SyncLog, LinesFromManyThreadsAreNeitherLostNorInterleaved) {
    test::TestEnvironment env;
    const QString path = env.root() + QStringLiteral("/logs/sync.log");
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([t, path] {
            const SyncLog log(QStringLiteral("v%1").arg(t), path);
            for (int i = 0; i < 200; ++i) {
                log.write(QStringLiteral("line %1").arg(i));
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    SyncLog::flush();
    const QStringList lines = QString::fromUtf8(test::TestEnvironment::readFile(path))
                                  .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 800);
    const QRegularExpression whole(QStringLiteral(R"(^\S+ \[v[0-3]\] line \d+$)"));
    for (const QString& line : lines) {
        EXPECT_TRUE(whole.match(line).hasMatch()) << line.toStdString();
    }
}

TEST(SyncLog, AnUnwritableFileIsIgnored) {
    test::TestEnvironment env;
    test::TestEnvironment::writeFile(env.root() + QStringLiteral("/blocker"),
                                     "a file, not a folder");
    const SyncLog log(QString(), env.root() + QStringLiteral("/blocker/synced-docs.log"));
    log.write(QStringLiteral("still fine"));
    SyncLog::flush();
    EXPECT_EQ(test::TestEnvironment::readFile(env.root() + QStringLiteral("/blocker")),
              "a file, not a folder");
}

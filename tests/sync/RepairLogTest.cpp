#include "sync/RepairLog.h"

#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

using namespace mnemora;

TEST(RepairLog, EachRepairIsOneLineNamingFieldBlockAndDocument) {
    test::TestEnvironment env;
    const QString path = env.root() + QStringLiteral("/logs/sync.log");
    const SyncLog log(QStringLiteral("Books"), path);
    RepairLog::write(log, QStringLiteral("lists/active/groceries.md"),
                     {{.blockID = core::BlockID("B1"),
                       .field = "position",
                       .detail = "\"i0\" ends in \"0\"; now \"ii\""},
                      {.blockID = core::BlockID("B2"),
                       .field = "kind",
                       .detail = "\"ta\r\nble\" is no block kind; record skipped"}});
    SyncLog::flush();
    QStringList lines = QString::fromUtf8(test::TestEnvironment::readFile(path))
                            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (QString& line : lines) {
        line = line.section(QLatin1Char(' '), 1); // past the time stamp
    }
    EXPECT_EQ(lines,
              (QStringList{QStringLiteral("[Books] [SyncedDocsBridgeService] REPAIRED position of "
                                          "B1 in lists/active/groceries.md: \"i0\" ends in \"0\"; "
                                          "now \"ii\""),
                           QStringLiteral("[Books] [SyncedDocsBridgeService] REPAIRED kind of B2 "
                                          "in lists/active/groceries.md: \"ta\\r\\nble\" is no "
                                          "block kind; record skipped")}));
}

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include "app/PortFile.h"
#include "app/VaultPaths.h"
#include "daemon/SupervisionRules.h"
#include "platform/Processes.h"
#include "support/TestEnvironment.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using namespace SupervisionRules;
using test::TestEnvironment;
using Kind = DaemonMode::Kind;

TEST(PortFileRule, AcceptsASignedDecimalAndNothingElse) {
    EXPECT_EQ(PortFile::parse("+8123\n"), 8123);
    EXPECT_EQ(PortFile::parse("  8123 \r\n"), 8123);
    EXPECT_EQ(PortFile::parse("-5"), -5);
    EXPECT_EQ(PortFile::parse("8123x"), std::nullopt);
    EXPECT_EQ(PortFile::parse("81 23"), std::nullopt);
    EXPECT_EQ(PortFile::parse(""), std::nullopt);
    EXPECT_EQ(PortFile::parse("+"), std::nullopt);
    EXPECT_EQ(PortFile::parse("99999999999"), std::nullopt);
}

TEST(VaultPaths, CacheKeyDropsTrailingSlashesAndReplacesTheRest) {
    EXPECT_EQ(VaultPaths::cacheKey(QStringLiteral("/Users/x/Foo Bar/")),
              QStringLiteral("_Users_x_Foo Bar"));
    EXPECT_EQ(VaultPaths::cacheKey(QStringLiteral("/a/b//")), QStringLiteral("_a_b"));
    EXPECT_EQ(VaultPaths::cacheKey(QStringLiteral("/a/b")), QStringLiteral("_a_b"));
}

TEST(VaultPaths, DaemonFilesFollowTheVaultAndTheOverride) {
    TestEnvironment env;
    const QString root = env.cacheHome() + QStringLiteral("/ai.mnemora");
    EXPECT_EQ(VaultPaths::daemonCacheFolder({}, nullptr), root);
    EXPECT_EQ(VaultPaths::daemonCacheFolder(QStringLiteral("/over/ride"), nullptr),
              QStringLiteral("/over/ride"));
    EXPECT_EQ(VaultPaths::vaultCacheFolder(QStringLiteral("/v/w/")),
              root + QStringLiteral("/vaults/_v_w"));
    EXPECT_EQ(VaultPaths::configuredVault(QJsonObject{{"mnemora_path", "~/Vault"}}),
              env.home() + QStringLiteral("/Vault"));
    EXPECT_EQ(VaultPaths::configuredVault(QJsonObject{{"mnemora_path", ""}}), std::nullopt);
    EXPECT_EQ(VaultPaths::configuredVault(QJsonObject{{"mnemora_path", 3}}), std::nullopt);
    EXPECT_EQ(VaultPaths::daemonLogFile({}),
              env.stateHome() + QStringLiteral("/ai.mnemora/daemon.log"));
    EXPECT_EQ(VaultPaths::daemonLogFile(QStringLiteral("_v_w")),
              env.stateHome() + QStringLiteral("/ai.mnemora/daemon-_v_w.log"));
}

TEST(StatusDecoding, IsStrictAboutTypesOfPresentKeys) {
    const auto full = decodeStatus(R"({"pid": 42, "version": "1.2", "binary_path": "/b/d",
        "binary_mtime": 1700000000, "vault_path": "/v", "other": [1]})");
    ASSERT_TRUE(full);
    EXPECT_EQ(*full, (DaemonStatusResponse{42, QStringLiteral("1.2"), QStringLiteral("/b/d"),
                                           1700000000, QStringLiteral("/v")}));

    const auto minimal = decodeStatus(R"({"pid": 7, "version": null})");
    ASSERT_TRUE(minimal);
    EXPECT_EQ(*minimal, (DaemonStatusResponse{7, {}, {}, {}, {}}));

    EXPECT_FALSE(decodeStatus(R"({"version": "1"})"));
    EXPECT_FALSE(decodeStatus(R"({"pid": "42"})"));
    EXPECT_FALSE(decodeStatus(R"({"pid": 4.5})"));
    EXPECT_FALSE(decodeStatus(R"({"pid": 42, "binary_path": 3})"));
    EXPECT_FALSE(decodeStatus(R"({"pid": 42, "binary_mtime": 1.5})"));
    EXPECT_FALSE(decodeStatus(R"([42])"));
    EXPECT_FALSE(decodeStatus("not json"));
}

TEST(BinaryComparison, UsesPathThenModificationTimeWithOneSecondMargin) {
    const QString inApp = QStringLiteral("/Apps/Mnemora/mnemora-daemon");
    const QDateTime whole = QDateTime::fromSecsSinceEpoch(1000, Qt::UTC);
    const QDateTime half = QDateTime::fromMSecsSinceEpoch(1000500, Qt::UTC);
    const auto reporting = [](std::optional<QString> path, std::optional<qint64> mtime) {
        return DaemonStatusResponse{1234, {}, std::move(path), mtime, {}};
    };

    EXPECT_EQ(compareBinary(std::nullopt, whole, reporting(inApp, 1000)), BinaryVerdict::unknown);
    // Another executable is replaced whatever its age.
    EXPECT_EQ(
        compareBinary(inApp, whole, reporting(QStringLiteral("/elsewhere/mnemora-daemon"), 5000)),
        BinaryVerdict::stale);
    EXPECT_EQ(compareBinary(inApp, whole,
                            reporting(QStringLiteral("/Apps/./Mnemora//mnemora-daemon"), 1000)),
              BinaryVerdict::current);
    EXPECT_EQ(compareBinary(inApp, whole, reporting(inApp, std::nullopt)), BinaryVerdict::unknown);
    EXPECT_EQ(compareBinary(inApp, std::nullopt, reporting(inApp, 1000)), BinaryVerdict::unknown);
    // Without a path the time decides.
    EXPECT_EQ(compareBinary(inApp, whole, reporting(std::nullopt, 999)), BinaryVerdict::current);
    EXPECT_EQ(compareBinary(inApp, whole, reporting(inApp, 999)), BinaryVerdict::current);
    EXPECT_EQ(compareBinary(inApp, whole, reporting(inApp, 998)), BinaryVerdict::stale);
    EXPECT_EQ(compareBinary(inApp, half, reporting(inApp, 1000)), BinaryVerdict::current);
    EXPECT_EQ(compareBinary(inApp, half, reporting(inApp, 999)), BinaryVerdict::stale);
}

TEST(VaultCheck, ComparesStandardisedPathsAndPassesWithoutEitherSide) {
    DaemonStatusResponse response{1, {}, {}, {}, QStringLiteral("/home/u/Vault/")};
    EXPECT_TRUE(servesExpectedVault(response, QStringLiteral("/home/u/x/../Vault")));
    EXPECT_FALSE(servesExpectedVault(response, QStringLiteral("/home/u/Other")));
    EXPECT_TRUE(servesExpectedVault(response, std::nullopt));
    response.vaultPath.reset();
    EXPECT_TRUE(servesExpectedVault(response, QStringLiteral("/home/u/Other")));
}

TEST(LogTail, KeepsTheLastThirtyNonEmptyLines) {
    QByteArray log;
    for (int i = 1; i <= 40; ++i) {
        log += "line " + QByteArray::number(i) + "\n\n   \n";
    }
    QStringList expected;
    for (int i = 11; i <= 40; ++i) {
        expected << QStringLiteral("line %1").arg(i);
    }
    EXPECT_EQ(logTail(log), expected.join(QLatin1Char('\n')));
    EXPECT_EQ(logTail("only\n"), QStringLiteral("only"));
    EXPECT_EQ(logTail(""), QStringLiteral("(log empty)"));
    EXPECT_EQ(logTail("\n \n\n"), QStringLiteral("(log empty)"));
    EXPECT_EQ(logTail("line\n\xff\xfe broken\n"), QStringLiteral("(log empty)"));
}

class BinaryResolution : public ::testing::Test {
protected:
    // An executable (or plain) file at `path`, folders created.
    static void place(const QString& path, bool executable = true) {
        TestEnvironment::writeFile(path, "#!/bin/sh\n");
        QFile::setPermissions(path, executable
                                        ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                        : QFile::ReadOwner | QFile::WriteOwner);
    }
    QString at(const QString& relative) const { return env.root() + QLatin1Char('/') + relative; }

    TestEnvironment env;
    const QStringList names{QStringLiteral("tallo-daemon"), QStringLiteral("mnemora-daemon")};
};

TEST_F(BinaryResolution, PrefersTheBundleThenTheNamesInOrder) {
    place(at(QStringLiteral("App/mnemora-daemon")));
    EXPECT_EQ(resolveBinary(at("App"), names, {}), at("App/mnemora-daemon"));
    place(at(QStringLiteral("App/tallo-daemon")));
    EXPECT_EQ(resolveBinary(at("App"), names, {}), at("App/tallo-daemon"));
    EXPECT_EQ(findExecutable(at("App"), names), at("App/tallo-daemon"));
}

TEST_F(BinaryResolution, SkipsFilesThatAreNotExecutable) {
    place(at(QStringLiteral("App/tallo-daemon")), false);
    place(at(QStringLiteral("bin/tallo-daemon")));
    EXPECT_EQ(resolveBinary(at("App"), names, at("bin")), at("bin/tallo-daemon"));
    QDir().mkpath(at("App/mnemora-daemon")); // a folder is no executable either
    EXPECT_EQ(resolveBinary(at("App"), names, at("bin")), at("bin/tallo-daemon"));
}

TEST_F(BinaryResolution, FindsTheDevelopmentCheckoutsBuildsReleaseFirst) {
    QDir().mkpath(at("checkout/.git"));
    const QString bundleFolder = at("checkout/build/bundles/Tallo");
    QDir().mkpath(bundleFolder);
    place(at("checkout/daemon/target/debug/tallo-daemon"));
    place(at("bin/tallo-daemon"));
    EXPECT_EQ(resolveBinary(bundleFolder, names, at("bin")),
              at("checkout/daemon/target/debug/tallo-daemon"));
    place(at("checkout/daemon/target/release/tallo-daemon"));
    EXPECT_EQ(resolveBinary(bundleFolder, names, at("bin")),
              at("checkout/daemon/target/release/tallo-daemon"));
    // A name earlier in the list wins over a better build of a later one.
    place(at("checkout/daemon/target/release/mnemora-daemon"));
    EXPECT_EQ(resolveBinary(bundleFolder, names, at("bin")),
              at("checkout/daemon/target/release/tallo-daemon"));
}

TEST_F(BinaryResolution, LooksAtMostEightLevelsAboveTheBundlesParent) {
    QDir().mkpath(at("top/.git"));
    place(at("top/daemon/target/release/tallo-daemon"));
    // The bundle's parent is 8 levels below `top`: the walk stops one short of it.
    const QString deep = at("top/1/2/3/4/5/6/7/8/Bundle");
    QDir().mkpath(deep);
    EXPECT_EQ(resolveBinary(deep, names, {}), std::nullopt);
    const QString shallower = at("top/1/2/3/4/5/6/7/Bundle");
    EXPECT_EQ(resolveBinary(shallower, names, {}), at("top/daemon/target/release/tallo-daemon"));
}

TEST_F(BinaryResolution, SearchesPathFoldersInOrderSkippingEmptyParts) {
    place(at("b/mnemora-daemon"));
    place(at("c/tallo-daemon"));
    const QString path =
        QStringLiteral("::") + at("a") + QLatin1Char(':') + at("b") + QLatin1Char(':') + at("c");
    EXPECT_EQ(resolveBinary(at("App"), names, path), at("b/mnemora-daemon"));
    EXPECT_EQ(resolveBinary(at("App"), names, {}), std::nullopt);
}

// ---- Watchdog ----

class WatchdogRule : public ::testing::Test {
protected:
    static DaemonStatus connected(int pending, std::optional<int> heartbeat,
                                  bool transcribing = false) {
        DaemonStatus status;
        status.connection = DaemonStatus::Connection::connected();
        status.pendingItems = pending;
        status.heartbeatAgeSecs = heartbeat;
        status.transcriptionActive = transcribing;
        return status;
    }
    static DaemonStatus disconnected() {
        DaemonStatus status;
        status.connection = DaemonStatus::Connection::disconnected(QStringLiteral("refused"));
        return status;
    }
    std::optional<QString> pass(const DaemonStatus& status) {
        return evaluate(facts, status, counters, now).reason;
    }

    const TimePoint now = TimePoint{} + std::chrono::hours(500000);
    WatchdogFacts facts{DaemonMode::spawnedChild(4321), {}, false, false, true, false};
    WatchdogCounters counters;
};

TEST_F(WatchdogRule, EndsACrashLoopPauseAfterTwentyMinutesWhateverTheState) {
    facts.mode = DaemonMode::failed(QStringLiteral("Daemon keeps crashing"));
    facts.crashLoopPausedAt = now - 1199s;
    counters = {3, 1};
    // While it lasts the pause is silent.
    EXPECT_EQ(evaluate(facts, disconnected(), counters, now), WatchdogVerdict{});
    EXPECT_EQ(counters, WatchdogCounters{});

    facts.crashLoopPausedAt = now - 1200s;
    counters = {3, 1};
    EXPECT_EQ(evaluate(facts, connected(0, 1), counters, now),
              (WatchdogVerdict{QStringLiteral("auto-restart was paused for crash-looping 20 min "
                                              "ago — trying once more"),
                               true}));
    EXPECT_EQ(counters, WatchdogCounters{});

    // Even when the user has brought the daemon back by hand meanwhile.
    facts.mode = DaemonMode::spawnedChild(99);
    EXPECT_TRUE(evaluate(facts, connected(0, 1), counters, now).endsCrashLoopPause);
}

TEST_F(WatchdogRule, StandsDownWhileNothingIsToBeWatchedOrSomeoneActs) {
    const auto standsDown = [&](const WatchdogFacts& situation) {
        WatchdogCounters c{5, 1};
        const WatchdogVerdict verdict = evaluate(situation, disconnected(), c, now);
        return verdict == WatchdogVerdict{} && c == WatchdogCounters{};
    };
    for (const DaemonMode& mode : {DaemonMode::failed(QStringLiteral("x")),
                                   DaemonMode::notStarted(), DaemonMode::attachedExternal()}) {
        WatchdogFacts situation = facts;
        situation.mode = mode;
        EXPECT_TRUE(standsDown(situation)) << mode.word().toStdString();
    }
    for (bool WatchdogFacts::*flag :
         {&WatchdogFacts::respawnInFlight, &WatchdogFacts::intentionalStop}) {
        WatchdogFacts situation = facts;
        situation.*flag = true;
        situation.childRunning = false; // would otherwise be a reason
        EXPECT_TRUE(standsDown(situation));
    }
}

TEST_F(WatchdogRule, NoticesADeadChildOrAGoneAdoptedDaemon) {
    facts.childRunning = false;
    EXPECT_EQ(pass(connected(0, 1)),
              QStringLiteral("daemon process not running (watchdog backstop)"));
    facts.childRunning = std::nullopt; // no child held: left to the status
    EXPECT_EQ(pass(connected(0, 1)), std::nullopt);

    facts.mode = DaemonMode::adopted(777);
    facts.pidAlive = false;
    EXPECT_EQ(pass(connected(0, 1)), QStringLiteral("adopted daemon (pid 777) is gone"));
    facts.pidAlive = true;
    EXPECT_EQ(pass(connected(0, 1)), std::nullopt);
}

TEST_F(WatchdogRule, ReplacesAListenerUnreachableForTwelvePasses) {
    counters.stale = 1;
    for (int i = 1; i < 12; ++i) {
        EXPECT_EQ(pass(disconnected()), std::nullopt) << i;
        EXPECT_EQ(counters, (WatchdogCounters{i, 0}));
    }
    EXPECT_EQ(pass(disconnected()), QStringLiteral("daemon /status unreachable for ~60s while "
                                                   "process alive (wedged HTTP listener)"));
    EXPECT_EQ(pass(disconnected()), QStringLiteral("daemon /status unreachable for ~65s while "
                                                   "process alive (wedged HTTP listener)"));
    // One answer starts the count again.
    EXPECT_EQ(pass(connected(0, 1)), std::nullopt);
    EXPECT_EQ(counters.unreachable, 0);
}

TEST_F(WatchdogRule, ReplacesAStaleHeartbeatOnlyWithWorkWaitingAndNoTranscription) {
    const QString reason = QStringLiteral(
        "daemon wedged — heartbeat stale (3600s) with 2 pending and no active transcription");
    EXPECT_EQ(pass(connected(2, 3600)), std::nullopt);
    EXPECT_EQ(pass(connected(2, 3600)), reason);

    const auto twoPasses = [&](const DaemonStatus& status) {
        counters = {};
        const auto first = pass(status);
        const auto second = pass(status);
        return first.has_value() || second.has_value();
    };
    EXPECT_FALSE(twoPasses(connected(0, 3600)));       // idle: nothing to be late with
    EXPECT_FALSE(twoPasses(connected(2, 3600, true))); // transcribing stops the heartbeat
    EXPECT_FALSE(twoPasses(connected(2, 600)));        // 600 s is not yet stale
    EXPECT_FALSE(twoPasses(connected(2, std::nullopt)));
    EXPECT_TRUE(twoPasses(connected(1, 601)));

    // A healthy pass between two stale ones starts the count again.
    counters = {};
    EXPECT_EQ(pass(connected(2, 3600)), std::nullopt);
    EXPECT_EQ(pass(connected(2, 5)), std::nullopt);
    EXPECT_EQ(pass(connected(2, 3600)), std::nullopt);
}

TEST_F(WatchdogRule, UnknownConnectionCountsAsNeitherUnreachableNorStale) {
    DaemonStatus unknown = connected(2, 3600);
    unknown.connection = DaemonStatus::Connection::unknown();
    counters = {11, 1};
    EXPECT_EQ(pass(unknown), std::nullopt);
    EXPECT_EQ(counters, WatchdogCounters{});
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(pass(unknown), std::nullopt);
    }
}

// ---- Respawn budget ----

TEST(RespawnBudget, BacksOffOneTwoFourEightEightThenPauses) {
    const TimePoint start = TimePoint{} + std::chrono::hours(500000);
    QList<TimePoint> history;
    const int expectedBackoffs[] = {1, 2, 4, 8, 8};
    for (int i = 0; i < 5; ++i) {
        const RespawnPlan plan = planRespawn(history, start + i * 10s);
        EXPECT_FALSE(plan.budgetSpent);
        EXPECT_EQ(plan.attempt, i + 1);
        EXPECT_EQ(plan.backoffSeconds, expectedBackoffs[i]);
        history = plan.history;
    }
    EXPECT_EQ(history.size(), 5);
    const RespawnPlan sixth = planRespawn(history, start + 50s);
    EXPECT_TRUE(sixth.budgetSpent);
    EXPECT_EQ(sixth.history, history);

    // Respawns older than 120 s leave the window and give budget back.
    const RespawnPlan later = planRespawn(history, start + 120s);
    EXPECT_FALSE(later.budgetSpent);
    EXPECT_EQ(later.attempt, 5);
    EXPECT_EQ(later.backoffSeconds, 8);
    EXPECT_EQ(later.history.size(), 5);
    EXPECT_EQ(planRespawn(history, start + 300s).attempt, 1);
}

TEST(ProcessList, ReadsOneIdALineAndSkipsTheRest) {
    EXPECT_EQ(Processes::parsePidList(" 12\n345 \n\nabc\n99999999999\n-3\n"),
              (QList<qint32>{12, 345, -3}));
}

} // namespace
} // namespace mnemora

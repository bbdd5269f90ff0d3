#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <csignal>

#include "SupervisionFixture.h"
#include "app/ConfigService.h"
#include "app/VaultPaths.h"
#include "platform/Processes.h"
#include "support/EventLoop.h"
#include "support/StdoutCapture.h"

namespace mnemora::test {
namespace {

using namespace std::chrono_literals;
using Kind = DaemonMode::Kind;

qint32 pidOf(const QProcess* process) {
    return static_cast<qint32>(process->processId());
}

int portIn(const QString& file) {
    return QString::fromUtf8(TestEnvironment::readFile(file)).trimmed().toInt();
}

using DaemonSpawn = SupervisionTest;

TEST_F(DaemonSpawn, SpawnsOurDaemonWithItsEnvironmentAndAppendsItsOutputToTheLog) {
    const QString log = VaultPaths::daemonLogFile({});
    TestEnvironment::writeFile(log, "earlier run\n");
    TestEnvironment::writeFile(portFile, "1\n"); // left behind by a daemon long gone
    const QString configDir = env->root() + QStringLiteral("/Vault/.mnemora");

    DaemonProcess daemon;
    configure(daemon);
    daemon.setConfigDirOverride(configDir);
    runTask(daemon.start());

    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild)) << daemon.mode().description().toStdString();
    const qint32 pid = daemon.mode().pid;
    EXPECT_TRUE(daemon.childRunning());
    EXPECT_TRUE(daemon.isRunning());
    EXPECT_TRUE(daemon.hasProcess());
    EXPECT_EQ(daemon.binaryPath(), inAppBinary);
    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_NE(daemon.port(), 1);
    EXPECT_FALSE(daemon.slowToStart());

    ASSERT_TRUE(
        waitUntil([&] { return logText().contains(QLatin1String("fake daemon error stream")); }));
    const QString text = logText();
    EXPECT_TRUE(text.startsWith(QLatin1String("earlier run\n")));
    EXPECT_TRUE(text.contains(
        QStringLiteral("fake daemon started (pid %1) with arguments: daemon\n").arg(pid)));
    EXPECT_TRUE(text.contains(QLatin1String("MNEMORA_BUNDLE_ID=ai.mnemora\n")));
    EXPECT_TRUE(text.contains(QLatin1String("MNEMORA_APP_NAME=Mnemora\n")));
    EXPECT_TRUE(text.contains(QStringLiteral("MN_CONFIG_DIR=%1\n").arg(configDir)));

    runTask(daemon.stop());
    EXPECT_EQ(daemon.mode(), DaemonMode::notStarted());
    EXPECT_EQ(daemon.port(), std::nullopt);
    EXPECT_FALSE(QFile::exists(portFile));
    EXPECT_FALSE(Processes::isAlive(pid));
    EXPECT_FALSE(daemon.isRunning());

    // A second run adds to the same log.
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    ASSERT_TRUE(
        waitUntil([&] { return logText().count(QLatin1String("fake daemon started")) == 2; }));
    EXPECT_TRUE(logText().startsWith(QLatin1String("earlier run\n")));
    EXPECT_TRUE(logText().contains(QLatin1String("MN_CONFIG_DIR=")));
}

TEST_F(DaemonSpawn, WithoutTheConfigOverrideNoConfigFolderIsPassed) {
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    ASSERT_TRUE(waitUntil([&] { return logText().contains(QLatin1String("MN_CONFIG_DIR=")); }));
    EXPECT_TRUE(logText().contains(QLatin1String("MN_CONFIG_DIR=(unset)\n")));
}

TEST_F(DaemonSpawn, ASlowDaemonIsWaitedForInTheBackground) {
    env->setEnv("FAKE_DAEMON_PORT_DELAY_MS", QStringLiteral("600"));
    DaemonProcess::Timings timings = fastTimings();
    timings.portWait = 150ms;
    DaemonProcess daemon;
    configure(daemon);
    daemon.setTimings(timings);
    StdoutCapture output;

    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    EXPECT_TRUE(daemon.slowToStart());
    EXPECT_EQ(daemon.port(), std::nullopt);
    EXPECT_EQ(output.linesStartingWith(QStringLiteral("[DaemonProcess]")),
              QStringList{QStringLiteral("[DaemonProcess] daemon has not written its port file "
                                         "after 6s — still alive (pid %1), still waiting")
                              .arg(daemon.mode().pid)});

    ASSERT_TRUE(waitUntil([&] { return daemon.port().has_value(); }));
    EXPECT_FALSE(daemon.slowToStart());
    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_TRUE(daemon.mode().is(Kind::spawnedChild));
}

TEST_F(DaemonSpawn, ADaemonDyingBeforeItsPortFailsWithTheLogTailThenComesBackByItself) {
    env->setEnv("FAKE_DAEMON_PORT_DELAY_MS", QStringLiteral("-1"));
    env->setEnv("FAKE_DAEMON_EXIT_AFTER_MS", QStringLiteral("100"));
    env->setEnv("FAKE_DAEMON_EXIT_STATUS", QStringLiteral("2"));
    env->setEnv("FAKE_DAEMON_LOG_LINES", QStringLiteral("40"));
    DaemonProcess::Timings timings = fastTimings();
    timings.portWait = 20s;
    timings.backoffUnit = 200ms;
    DaemonProcess daemon;
    configure(daemon);
    daemon.setTimings(timings);
    QList<DaemonMode> modes;
    QObject::connect(&daemon, &DaemonProcess::modeChanged, [&] { modes << daemon.mode(); });
    StdoutCapture output;

    runTask(daemon.start());
    QStringList tail;
    for (int i = 12; i <= 40; ++i) {
        tail << QStringLiteral("log line %1").arg(i);
    }
    tail << QStringLiteral("exiting with status 2");
    const DaemonMode failure = DaemonMode::failed(
        QStringLiteral("Daemon exited before writing port file. Last log lines:\n") +
        tail.join(QLatin1Char('\n')));
    EXPECT_TRUE(modes.contains(failure)) << daemon.mode().description().toStdString();
    EXPECT_FALSE(daemon.slowToStart());

    // Whatever stopped it goes away, and the daemon is back without anyone asking.
    env->setEnv("FAKE_DAEMON_PORT_DELAY_MS", QStringLiteral("0"));
    env->setEnv("FAKE_DAEMON_EXIT_AFTER_MS", QStringLiteral("-1"));
    ASSERT_TRUE(waitUntil([&] {
        return daemon.mode().is(Kind::spawnedChild) && daemon.port().has_value();
    })) << daemon.mode().description().toStdString();
    EXPECT_EQ(output.linesStartingWith(QStringLiteral("[DaemonProcess]")).value(0),
              QStringLiteral("[DaemonProcess] auto-respawn (attempt 1, backoff 1s): daemon exited "
                             "before writing its port file (status 2)"));
}

TEST_F(DaemonSpawn, FailsClearlyWithoutABinaryOrWhenItCannotBeLaunched) {
    QFile::remove(inAppBinary);
    DaemonProcess missing;
    configure(missing);
    runTask(missing.start());
    EXPECT_EQ(missing.mode(), DaemonMode::failed(QStringLiteral(
                                  "Daemon binary not found in bundle or fallback locations")));
    EXPECT_EQ(missing.binaryPath(), std::nullopt);
    EXPECT_FALSE(missing.isRunning());

    // An executable file the system cannot run.
    TestEnvironment::writeFile(inAppBinary, "#!/no/such/interpreter\n");
    QFile::setPermissions(inAppBinary, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    DaemonProcess broken;
    configure(broken);
    runTask(broken.start());
    EXPECT_EQ(broken.mode(), DaemonMode::failed(QStringLiteral(
                                 "Could not spawn daemon: execve: No such file or directory")));

    // A log that cannot be opened.
    QFile::remove(inAppBinary);
    installFake(bundle);
    QFile::remove(VaultPaths::daemonLogFile({}));
    QDir().mkpath(VaultPaths::daemonLogFile({})); // a folder where the file should be
    DaemonProcess unlogged;
    configure(unlogged);
    runTask(unlogged.start());
    EXPECT_EQ(unlogged.mode(),
              DaemonMode::failed(QStringLiteral("Could not spawn daemon: Is a directory")));
}

using DaemonAdoption = SupervisionTest;

TEST_F(DaemonAdoption, AdoptsAnIdenticalDaemonOfOurBundle) {
    QProcess* existing = launchExisting(inAppBinary);
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());

    EXPECT_EQ(daemon.mode(), DaemonMode::adopted(pidOf(existing)));
    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_FALSE(daemon.childRunning());
    EXPECT_TRUE(daemon.isRunning());
    EXPECT_TRUE(QFile::exists(portFile));
    EXPECT_EQ(existing->state(), QProcess::Running);

    // Quitting leaves an adopted daemon alone, and so does a blocking stop.
    daemon.stopBlocking();
    runFor(50ms);
    EXPECT_EQ(existing->state(), QProcess::Running);
    EXPECT_EQ(daemon.mode(), DaemonMode::adopted(pidOf(existing)));
}

TEST_F(DaemonAdoption, ReplacesAnOlderDaemonOfOurBundle) {
    setFakeStatus(QStringLiteral(R"({"binary_mtime": %1})")
                      .arg(QFileInfo(inAppBinary).lastModified().toSecsSinceEpoch() - 5)
                      .toUtf8());
    QProcess* existing = launchExisting(inAppBinary);
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());

    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild)) << daemon.mode().description().toStdString();
    EXPECT_NE(daemon.mode().pid, pidOf(existing));
    ASSERT_TRUE(waitUntil([&] { return existing->state() == QProcess::NotRunning; }));
    EXPECT_EQ(existing->exitStatus(), QProcess::CrashExit); // by SIGTERM
    EXPECT_EQ(existing->exitCode(), SIGTERM);
    EXPECT_EQ(daemon.port(), portIn(portFile));
}

TEST_F(DaemonAdoption, ReplacesADaemonRunningFromAnotherPath) {
    const QString elsewhere = installFake(env->root() + QStringLiteral("/OldInstall"));
    TestEnvironment::writeFile(env->root() + QStringLiteral("/OldInstall/Info.json"), "{}");
    QProcess* existing = launchExisting(elsewhere);
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());

    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    EXPECT_EQ(daemon.binaryPath(), inAppBinary);
    ASSERT_TRUE(waitUntil([&] { return existing->state() == QProcess::NotRunning; }));
}

TEST_F(DaemonAdoption, AStaleDaemonIgnoringSigtermIsKilled) {
    const QString elsewhere = installFake(env->root() + QStringLiteral("/OldInstall"));
    QProcess* existing = launchExisting(
        elsewhere, {{QStringLiteral("FAKE_DAEMON_IGNORE_SIGTERM"), QStringLiteral("1")}});
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());

    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    ASSERT_TRUE(waitUntil([&] { return existing->state() == QProcess::NotRunning; }));
    EXPECT_EQ(existing->exitCode(), SIGKILL);
}

TEST_F(DaemonAdoption, AStaleDaemonThatCannotBeSignalledIsUsedAllTheSame) {
    // It claims a pid no one may signal; better an old daemon than none.
    setFakeStatus(R"({"pid": 1, "binary_mtime": 0})");
    QProcess* existing = launchExisting(inAppBinary);
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());

    EXPECT_EQ(daemon.mode(), DaemonMode::adopted(1));
    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_EQ(existing->state(), QProcess::Running);
}

TEST_F(DaemonAdoption, WithoutAnInAppBinaryAttachesByTheDaemonsOrigin) {
    QFile::remove(inAppBinary);
    const QString otherBundle = installFake(env->root() + QStringLiteral("/OtherBundle"));
    TestEnvironment::writeFile(env->root() + QStringLiteral("/OtherBundle/Info.json"), "{}");
    QProcess* bundled = launchExisting(otherBundle);
    {
        DaemonProcess daemon;
        configure(daemon);
        runTask(daemon.start());
        EXPECT_EQ(daemon.mode(), DaemonMode::adopted(pidOf(bundled)));
    }
    bundled->kill();
    bundled->waitForFinished();

    // Launched with our own bundle's words, but not from a bundle: still not ours to stop.
    const QString devBuild = installFake(env->root() + QStringLiteral("/dev/target"));
    QProcess* external = launchExisting(
        devBuild, {{QStringLiteral("MNEMORA_BUNDLE_ID"), QStringLiteral("ai.mnemora")}});
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());
    EXPECT_EQ(daemon.mode(), DaemonMode::attachedExternal());
    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_TRUE(daemon.isRunning());
    EXPECT_FALSE(daemon.hasProcess());

    // Not ours to restart, however often the user asks.
    const DaemonMode refused = DaemonMode::failed(
        QStringLiteral("Cannot restart an externally-managed daemon (LaunchAgent / dev cargo run). "
                       "Stop it yourself and relaunch the app."));
    for (int attempt = 0; attempt < 2; ++attempt) {
        runTask(daemon.restart());
        EXPECT_EQ(daemon.mode(), refused);
        EXPECT_EQ(external->state(), QProcess::Running);
    }
    EXPECT_TRUE(QFile::exists(portFile));
}

TEST_F(DaemonAdoption, AStaleDaemonsPidIsSignalledOnlyWhileItIsThatDaemon) {
    // The pid it reports belongs to some other program by now.
    QProcess bystander;
    bystander.start(QStringLiteral("/bin/sleep"), {QStringLiteral("60")});
    ASSERT_TRUE(bystander.waitForStarted());
    setFakeStatus(
        QStringLiteral(R"({"pid": %1, "binary_mtime": 0})").arg(pidOf(&bystander)).toUtf8());
    QProcess* existing = launchExisting(inAppBinary);
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());

    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_EQ(bystander.state(), QProcess::Running);
    EXPECT_EQ(existing->state(), QProcess::Running);
    bystander.kill();
    bystander.waitForFinished();
}

TEST_F(DaemonAdoption, ADaemonAnsweringSlowlyIsWaitedForRatherThanDoubled) {
    QProcess* existing =
        launchExisting(inAppBinary, {{QStringLiteral("FAKE_DAEMON_STATUS_DELAY_MS"), "400"}});
    DaemonProcess::Timings timings = fastTimings();
    timings.probeTimeout = 150ms;
    DaemonProcess daemon;
    configure(daemon);
    daemon.setTimings(timings);
    runTask(daemon.start());

    EXPECT_EQ(daemon.mode(), DaemonMode::adopted(pidOf(existing)))
        << daemon.mode().description().toStdString();
    EXPECT_EQ(daemon.port(), portIn(portFile));
    EXPECT_FALSE(daemon.childRunning());
}

TEST_F(DaemonAdoption, ADaemonServingAnotherVaultLeadsToASpawn) {
    const QString vault = env->root() + QStringLiteral("/Vaults/Mine");
    TestEnvironment::writeFile(ConfigService::primaryFilePath(),
                               QStringLiteral(R"({"mnemora_path": "%1/"})").arg(vault).toUtf8());
    ConfigService config;
    config.load();
    DaemonProcess daemon;
    configure(daemon);
    daemon.setConfig(&config);
    const QString vaultPortFile = daemon.portFilePath();
    EXPECT_EQ(vaultPortFile, VaultPaths::vaultCacheFolder(vault) + QStringLiteral("/daemon.port"));
    env->setEnv("FAKE_DAEMON_PORT_FILE", vaultPortFile);

    const QString theirs = env->root() + QStringLiteral("/Vaults/Theirs");
    setFakeStatus(QStringLiteral(R"({"vault_path": "%1"})").arg(theirs).toUtf8());
    QProcess* existing = launchExisting(inAppBinary);
    const int theirPort = portIn(vaultPortFile);

    StdoutCapture output;
    runTask(daemon.start());
    EXPECT_EQ(output.linesStartingWith(QStringLiteral("[DaemonProcess]")),
              QStringList{QStringLiteral("[DaemonProcess] port %1 serves vault '%2' but this "
                                         "window expects '%3/' — ignoring and spawning our own")
                              .arg(theirPort)
                              .arg(theirs, vault)});
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    EXPECT_NE(daemon.mode().pid, pidOf(existing));
    EXPECT_NE(daemon.port(), theirPort);
    EXPECT_EQ(existing->state(), QProcess::Running); // another vault's daemon is not ours to stop
}

using DaemonStopping = SupervisionTest;

TEST_F(DaemonStopping, BlockingStopEndsOurChildAndClosesTheLog) {
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    const qint32 pid = daemon.mode().pid;

    StdoutCapture output;
    daemon.stopBlocking();
    EXPECT_FALSE(daemon.childRunning());
    EXPECT_FALSE(Processes::isAlive(pid));
    runFor(50ms);
    // Our own stop is no crash: nothing is respawned.
    EXPECT_TRUE(output.linesStartingWith(QStringLiteral("[DaemonProcess]")).isEmpty());
    EXPECT_FALSE(daemon.respawnInFlight());
}

TEST_F(DaemonStopping, AChildIgnoringSigtermIsKilledAfterThePolls) {
    env->setEnv("FAKE_DAEMON_IGNORE_SIGTERM", QStringLiteral("1"));
    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    const qint32 pid = daemon.mode().pid;

    StdoutCapture output;
    runTask(daemon.stop());
    EXPECT_EQ(output.linesStartingWith(QStringLiteral("[DaemonProcess]")),
              QStringList{QStringLiteral("[DaemonProcess] daemon did not exit on SIGTERM within "
                                         "3s — sending SIGKILL (pid %1)")
                              .arg(pid)});
    EXPECT_EQ(daemon.mode(), DaemonMode::notStarted());
    EXPECT_TRUE(waitUntil([&] { return !Processes::isAlive(pid); }));
}

TEST_F(DaemonStopping, ABlockingStopKillsAChildIgnoringSigtermAfterItsLimit) {
    env->setEnv("FAKE_DAEMON_IGNORE_SIGTERM", QStringLiteral("1"));
    DaemonProcess::Timings timings = fastTimings();
    timings.blockingStopLimit = 200ms;
    DaemonProcess daemon;
    configure(daemon);
    daemon.setTimings(timings);
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    const qint32 pid = daemon.mode().pid;

    StdoutCapture output;
    daemon.stopBlocking();
    EXPECT_EQ(
        output.linesStartingWith(QStringLiteral("[DaemonProcess]")),
        QStringList{QStringLiteral("[DaemonProcess] daemon did not stop within 10 s — killed")});
    EXPECT_FALSE(daemon.childRunning());
    EXPECT_FALSE(Processes::isAlive(pid));
}

TEST_F(DaemonStopping, RestartSweepsOnlyOrphansProvenToBeThisVaults) {
    const QMap<QString, QString> ours{{QStringLiteral("FAKE_DAEMON_PORT_FILE"), QString()},
                                      {QStringLiteral("MNEMORA_BUNDLE_ID"), "ai.mnemora"}};
    QMap<QString, QString> otherVault = ours;
    otherVault.insert(QStringLiteral("MN_CONFIG_DIR"), env->root() + "/Other/.mnemora");
    QMap<QString, QString> otherApp = ours;
    otherApp.insert(QStringLiteral("MNEMORA_BUNDLE_ID"), QStringLiteral("ai.voxlet"));

    const QString earlierInstall = env->root() + QStringLiteral("/EarlierInstall");
    TestEnvironment::writeFile(earlierInstall + QStringLiteral("/Info.json"), "{}");
    QProcess* orphan = launchExisting(inAppBinary, ours, false);
    QProcess* olderOrphan = launchExisting(installFake(earlierInstall), ours, false);
    const QList<QProcess*> left{
        launchExisting(inAppBinary, otherVault, false),
        launchExisting(inAppBinary, otherApp, false),
        // Not from a bundle: an externally managed daemon is never stopped.
        launchExisting(installFake(env->root() + QStringLiteral("/dev/target")), ours, false),
    };
    // The same executable without the word "daemon" is no daemon at all.
    QProcess* bystander = launchExisting(inAppBinary, ours, false);
    bystander->kill();
    bystander->waitForFinished();
    bystander->setArguments({QStringLiteral("transcribe")});
    bystander->start();
    ASSERT_TRUE(bystander->waitForStarted());

    DaemonProcess daemon;
    configure(daemon);
    runTask(daemon.restart());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    ASSERT_TRUE(waitUntil([&] {
        return orphan->state() == QProcess::NotRunning &&
               olderOrphan->state() == QProcess::NotRunning;
    }));
    EXPECT_EQ(orphan->exitCode(), SIGKILL);
    EXPECT_EQ(olderOrphan->exitCode(), SIGKILL);
    for (QProcess* process : left) {
        EXPECT_EQ(process->state(), QProcess::Running) << left.indexOf(process);
    }
    EXPECT_EQ(bystander->state(), QProcess::Running);
    EXPECT_TRUE(daemon.childRunning());
}

TEST_F(DaemonStopping, OneVaultsCrashLeavesAnotherVaultsDaemonUntouched) {
    // Each daemon finds its vault through its configuration and writes its port there.
    env->setEnv("FAKE_DAEMON_PORT_FILE", QString());
    DaemonProcess first;
    DaemonProcess second;
    for (auto [daemon, name] : {std::pair{&first, "First"}, std::pair{&second, "Second"}}) {
        const QString vault = env->root() + QStringLiteral("/Vaults/") + QLatin1String(name);
        TestEnvironment::writeFile(VaultPaths::vaultConfigFile(vault),
                                   "{\"mnemora_path\": \"" + vault.toUtf8() + "\"}");
        configure(*daemon);
        daemon->setConfigDirOverride(QFileInfo(VaultPaths::vaultConfigFile(vault)).absolutePath());
        daemon->setCacheDirOverride(VaultPaths::vaultCacheFolder(vault));
        daemon->setLogNameSuffix(QLatin1String(name));
        runTask(daemon->start());
        ASSERT_TRUE(daemon->mode().is(Kind::spawnedChild) && daemon->port().has_value())
            << daemon->mode().description().toStdString();
    }
    const DaemonMode untouched = second.mode();

    ::kill(first.mode().pid, SIGKILL);
    const qint32 crashed = first.mode().pid;
    ASSERT_TRUE(waitUntil([&] {
        return first.mode().is(Kind::spawnedChild) && first.mode().pid != crashed &&
               first.port().has_value() && !first.respawnInFlight();
    })) << first.mode().description().toStdString();
    EXPECT_EQ(second.mode(), untouched);
    EXPECT_TRUE(second.childRunning());
    EXPECT_TRUE(second.respawnTimestamps().isEmpty());
}

} // namespace
} // namespace mnemora::test

#include <QFile>

#include "SupervisionFixture.h"
#include "daemon/DaemonService.h"
#include "platform/Processes.h"
#include "support/EventLoop.h"
#include "support/StdoutCapture.h"

namespace mnemora::test {
namespace {

using namespace std::chrono_literals;
using Kind = DaemonMode::Kind;
using TimePoint = DaemonProcess::TimePoint;

// Watchdog and respawns against real children: every wait is short, and the clock that dates
// respawns is in the test's hands.
class DaemonWatchdog : public SupervisionTest {
protected:
    void SetUp() override {
        SupervisionTest::SetUp();
        configure(daemon);
        daemon.setClock([this] { return clock; });
        service.setTimings({.pollInterval = 20ms, .statusTimeout = 150ms});
    }

    QStringList supervisionLines() const {
        return output->linesStartingWith(QStringLiteral("[DaemonProcess]"));
    }
    bool logged(const QString& line) const { return supervisionLines().contains(line); }

    TimePoint clock = TimePoint{} + std::chrono::hours(480000);
    DaemonService service;
    DaemonProcess daemon;
    std::unique_ptr<StdoutCapture> output = std::make_unique<StdoutCapture>();
};

TEST_F(DaemonWatchdog, CrashesRespawnWithBackoffUntilTheBudgetIsSpentThenPauseTwentyMinutes) {
    env->setEnv("FAKE_DAEMON_EXIT_AFTER_MS", QStringLiteral("150"));
    env->setEnv("FAKE_DAEMON_EXIT_STATUS", QStringLiteral("3"));
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));

    const QString paused = QStringLiteral(
        "Daemon keeps crashing — auto-restart paused for 20 minutes. Restart to try now.");
    ASSERT_TRUE(waitUntil([&] { return daemon.mode() == DaemonMode::failed(paused); }, 20s))
        << daemon.mode().description().toStdString();

    const QString crash = QStringLiteral("daemon exited unexpectedly (status 3)");
    EXPECT_EQ(supervisionLines(),
              (QStringList{
                  QStringLiteral("[DaemonProcess] auto-respawn (attempt 1, backoff 1s): ") + crash,
                  QStringLiteral("[DaemonProcess] auto-respawn (attempt 2, backoff 2s): ") + crash,
                  QStringLiteral("[DaemonProcess] auto-respawn (attempt 3, backoff 4s): ") + crash,
                  QStringLiteral("[DaemonProcess] auto-respawn (attempt 4, backoff 8s): ") + crash,
                  QStringLiteral("[DaemonProcess] auto-respawn (attempt 5, backoff 8s): ") + crash,
                  QStringLiteral("[DaemonProcess] auto-restart paused: ") + crash +
                      QStringLiteral(" — crash-looping (5 in 120s); will try once more in 20 min"),
              }));
    EXPECT_EQ(daemon.crashLoopPausedAt(), clock);
    EXPECT_EQ(daemon.respawnTimestamps().size(), 5);
    EXPECT_FALSE(daemon.respawnInFlight());
    EXPECT_EQ(logText().count(QLatin1String("fake daemon started")), 6); // one log, appended

    // The pause is silent while it lasts...
    env->setEnv("FAKE_DAEMON_EXIT_AFTER_MS", QStringLiteral("-1"));
    daemon.startWatchdog(&service);
    clock += 1199s;
    runFor(200ms);
    EXPECT_EQ(daemon.mode(), DaemonMode::failed(paused));
    EXPECT_EQ(supervisionLines().size(), 6);

    // ...and twenty minutes after it began, one more try.
    clock += 1s;
    ASSERT_TRUE(waitUntil([&] { return daemon.mode().is(Kind::spawnedChild); }));
    EXPECT_EQ(supervisionLines().value(6),
              QStringLiteral("[DaemonProcess] auto-respawn (attempt 1, backoff 1s): auto-restart "
                             "was paused for crash-looping 20 min ago — trying once more"));
    EXPECT_EQ(daemon.crashLoopPausedAt(), std::nullopt);
    EXPECT_EQ(daemon.respawnTimestamps(), QList<TimePoint>{clock});
}

TEST_F(DaemonWatchdog, AWedgedListenerIsReplacedAfterTwelveUnreachablePolls) {
    runTask(daemon.start());
    ASSERT_TRUE(daemon.mode().is(Kind::spawnedChild));
    const qint32 wedged = daemon.mode().pid;
    service.start();
    daemon.startWatchdog(&service);
    ASSERT_TRUE(waitUntil(
        [&] { return service.status().connection.is(DaemonStatus::Connection::Kind::connected); }));

    TestEnvironment::writeFile(hangFile, "");
    const QString line =
        QStringLiteral("[DaemonProcess] auto-respawn (attempt 1, backoff 1s): daemon "
                       "/status unreachable for ~60s while process alive (wedged "
                       "HTTP listener)");
    ASSERT_TRUE(waitUntil([&] { return logged(line); }));
    QFile::remove(hangFile);
    ASSERT_TRUE(waitUntil([&] {
        return daemon.mode().is(Kind::spawnedChild) && daemon.mode().pid != wedged &&
               !daemon.respawnInFlight();
    }));
    EXPECT_FALSE(Processes::isAlive(wedged));
    EXPECT_EQ(supervisionLines(), QStringList{line});
}

TEST_F(DaemonWatchdog, AChildThatNeverWritesItsPortIsCountedAsAWedge) {
    env->setEnv("FAKE_DAEMON_PORT_DELAY_MS", QStringLiteral("-1"));
    DaemonProcess::Timings timings = fastTimings();
    timings.portWait = 50ms;
    daemon.setTimings(timings);
    runTask(daemon.start());
    ASSERT_TRUE(daemon.slowToStart());
    const qint32 silent = daemon.mode().pid;
    service.start();
    daemon.startWatchdog(&service);

    ASSERT_TRUE(waitUntil([&] {
        return logged(QStringLiteral(
            "[DaemonProcess] auto-respawn (attempt 1, backoff 1s): daemon /status unreachable for "
            "~60s while process alive (wedged HTTP listener)"));
    }));
    ASSERT_TRUE(waitUntil([&] { return daemon.mode().pid != silent; }));
    EXPECT_FALSE(Processes::isAlive(silent));
}

TEST_F(DaemonWatchdog, AStaleHeartbeatIsReplacedOnlyWithPendingWorkAndNoTranscription) {
    setFakeStatus(R"({"heartbeat_age_secs": 3600, "pending_items": 0})");
    runTask(daemon.start());
    const qint32 first = daemon.mode().pid;
    service.start();
    daemon.startWatchdog(&service);
    ASSERT_TRUE(waitUntil([&] { return service.status().heartbeatAgeSecs == 3600; }));
    runFor(200ms); // about ten passes
    setFakeStatus(
        R"({"heartbeat_age_secs": 3600, "pending_items": 2, "transcription_active": true})");
    ASSERT_TRUE(waitUntil([&] { return service.status().transcriptionActive; }));
    runFor(200ms);
    EXPECT_EQ(daemon.mode(), DaemonMode::spawnedChild(first));
    EXPECT_TRUE(supervisionLines().isEmpty());

    setFakeStatus(R"({"heartbeat_age_secs": 3600, "pending_items": 2})");
    const QString line = QStringLiteral(
        "[DaemonProcess] auto-respawn (attempt 1, backoff 1s): daemon wedged — heartbeat stale "
        "(3600s) with 2 pending and no active transcription");
    ASSERT_TRUE(waitUntil([&] { return logged(line); }));
    setFakeStatus(R"({"heartbeat_age_secs": 5, "pending_items": 2})");
    ASSERT_TRUE(waitUntil([&] {
        return daemon.mode().is(Kind::spawnedChild) && daemon.mode().pid != first &&
               !daemon.respawnInFlight();
    }));
}

TEST_F(DaemonWatchdog, AnAdoptedDaemonThatDisappearsIsReplacedByOurOwn) {
    QProcess* existing = launchExisting(inAppBinary);
    runTask(daemon.start());
    ASSERT_EQ(daemon.mode(), DaemonMode::adopted(static_cast<qint32>(existing->processId())));
    const qint32 adopted = daemon.mode().pid;
    service.start();
    daemon.startWatchdog(&service);

    existing->kill();
    existing->waitForFinished();
    ASSERT_TRUE(waitUntil([&] { return daemon.mode().is(Kind::spawnedChild); }));
    EXPECT_EQ(supervisionLines().value(0),
              QStringLiteral("[DaemonProcess] auto-respawn (attempt 1, backoff 1s): adopted daemon "
                             "(pid %1) is gone")
                  .arg(adopted));
}

} // namespace
} // namespace mnemora::test

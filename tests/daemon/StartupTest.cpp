#include <QFile>

#include "SupervisionFixture.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "platform/Processes.h"
#include "runtime/AppDelegate.h"
#include "runtime/MnemoraApp.h"
#include "support/EventLoop.h"
#include "support/StdoutCapture.h"

namespace mnemora::test {
namespace {

using namespace std::chrono_literals;
using Kind = DaemonMode::Kind;

// The daemon's place in the application's start-up and termination order.
using DaemonStartup = SupervisionTest;

TEST_F(DaemonStartup, WithNoDaemonAnywhereTheStepFailsAndStartUpCarriesOn) {
    QFile::remove(inAppBinary);
    MnemoraApp app;
    app.daemonProcess().setTimings(fastTimings()); // the brand's own daemon names
    StdoutCapture output;
    runTask(app.startUp());

    const QString reason =
        QStringLiteral("Daemon binary not found in bundle or fallback locations");
    EXPECT_EQ(app.daemonProcess().mode(), DaemonMode::failed(reason));
    EXPECT_TRUE(app.started());
    const QStringList steps = app.completedSteps();
    const auto daemonStep = steps.indexOf(QStringLiteral("daemon: failed: ") + reason);
    ASSERT_GE(daemonStep, 0) << steps.join(QLatin1String(" | ")).toStdString();
    EXPECT_EQ(
        steps.mid(daemonStep + 1, 6),
        (QStringList{QStringLiteral("daemon clients wired"), QStringLiteral("migration wired"),
                     QStringLiteral("index opened"), QStringLiteral("status polling"),
                     QStringLiteral("event stream"), QStringLiteral("daemon watchdog")}));
    EXPECT_TRUE(output.text().contains(QStringLiteral("[MnemoraApp] start-up: daemon: failed: ") +
                                       reason + QLatin1Char('\n')));

    EXPECT_TRUE(app.daemonService().isPolling());
    ASSERT_TRUE(waitUntil([&] {
        return !app.daemonService().status().connection.is(DaemonStatus::Connection::Kind::unknown);
    }));
    EXPECT_EQ(app.daemonService().status().connection,
              DaemonStatus::Connection::disconnected(QStringLiteral("No daemon port file")));
    EXPECT_EQ(app.appDelegate().daemon(), &app.daemonProcess());
    // The stream waits for a port in the background.
    EXPECT_TRUE(app.processingStore().isStreaming());
    EXPECT_EQ(app.processingStore().daemon(), &app.daemonService());
}

TEST_F(DaemonStartup, QuitStopsTheDaemonWeSpawned) {
    MnemoraApp app;
    configure(app.daemonProcess());
    runTask(app.startUp());
    ASSERT_TRUE(app.daemonProcess().mode().is(Kind::spawnedChild));
    const qint32 pid = app.daemonProcess().mode().pid;
    EXPECT_EQ(app.daemonService().baseUrl(), app.daemonProcess().port().has_value()
                                                 ? DaemonHttp::baseUrl(app.daemonProcess().port())
                                                 : std::nullopt);

    app.appDelegate().applicationWillTerminate();
    EXPECT_FALSE(Processes::isAlive(pid));
    EXPECT_FALSE(app.daemonProcess().childRunning());
}

TEST_F(DaemonStartup, QuitLeavesAnAdoptedDaemonRunning) {
    QProcess* existing = launchExisting(inAppBinary);
    MnemoraApp app;
    configure(app.daemonProcess());
    runTask(app.startUp());
    ASSERT_EQ(app.daemonProcess().mode(),
              DaemonMode::adopted(static_cast<qint32>(existing->processId())));

    app.appDelegate().applicationWillTerminate();
    SupervisionTest::runFor(50ms);
    EXPECT_EQ(existing->state(), QProcess::Running);
}

} // namespace
} // namespace mnemora::test

#pragma once

#include <QList>
#include <QMap>
#include <QProcess>
#include <QString>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "daemon/DaemonProcess.h"
#include "support/TestEnvironment.h"

namespace mnemora::test {

// Waits of supervision shortened so that every path runs in well under a second.
DaemonProcess::Timings fastTimings();

// A private home with an application bundle whose daemon is the fake daemon under a name no other
// test uses, so that the orphan sweep can only ever reach processes of this test. Processes the
// test starts itself are killed at the end; the supervisor's child dies with the supervisor.
class SupervisionTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A copy of the fake daemon in `folder` under this test's name.
    QString installFake(const QString& folder) const;
    // Runs a daemon the way an earlier run of the app would have left it (argument "daemon"),
    // with `environment` over ours, and waits for its port file.
    QProcess* launchExisting(const QString& binary, const QMap<QString, QString>& environment = {},
                             bool waitForPort = true);
    // Writes the JSON object the fake daemons lay over their status fields.
    void setFakeStatus(const QByteArray& json) const;
    // Turns the event loop for `duration` (short waits where nothing may happen).
    static void runFor(std::chrono::milliseconds duration);

    void configure(DaemonProcess& daemon) const;
    // The same, with timings of the test's own in place of the fast ones.
    void configure(DaemonProcess& daemon, const DaemonProcess::Timings& timings) const;

    // Configures and starts `daemon`; the pid of the child it spawned, or 0 when it spawned none.
    qint32 startChild(DaemonProcess& daemon) const;

    QString logText() const;

    std::unique_ptr<TestEnvironment> env;
    QString bundle;      // the bundle folder, with Info.json
    QString daemonName;  // unique executable name
    QString inAppBinary; // {bundle}/{daemonName}
    QString portFile;    // the shared cache folder's daemon.port
    QString statusFile;  // FAKE_DAEMON_STATUS_FILE
    QString hangFile;    // FAKE_DAEMON_HANG_FILE
    QList<QProcess*> started;
};

} // namespace mnemora::test

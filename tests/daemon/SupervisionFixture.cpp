#include "SupervisionFixture.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>

#include <unistd.h>

#include "app/VaultPaths.h"
#include "platform/BundleInfo.h"
#include "support/EventLoop.h"

namespace mnemora::test {

using namespace std::chrono_literals;

DaemonProcess::Timings fastTimings() {
    DaemonProcess::Timings timings;
    timings.portWait = 3s;
    timings.portPoll = 10ms;
    timings.probeTimeout = 1s;
    timings.staleProbeInterval = 20ms;
    timings.stopPoll = 20ms;
    timings.killSettle = 50ms;
    timings.respawnSettle = 10ms;
    timings.watchdogInterval = 20ms;
    timings.backoffUnit = 10ms;
    return timings;
}

void SupervisionTest::SetUp() {
    env = std::make_unique<TestEnvironment>();
    static int counter = 0;
    daemonName = QStringLiteral("mnt%1x%2-daemon").arg(::getpid()).arg(++counter);

    bundle = env->root() + QStringLiteral("/Mnemora");
    TestEnvironment::writeFile(
        bundle + QStringLiteral("/Info.json"),
        R"({"identifier": "ai.mnemora", "displayName": "Mnemora", "name": "Mnemora"})");
    BundleInfo::overrideMainForTesting(BundleInfo::read(bundle));
    inAppBinary = installFake(bundle);

    // Nothing outside this test's folders may be found as a daemon.
    QDir().mkpath(env->root() + QStringLiteral("/bin"));
    env->setEnv("PATH", env->root() + QStringLiteral("/bin"));

    portFile = VaultPaths::sharedCacheFolder() + QStringLiteral("/daemon.port");
    statusFile = env->root() + QStringLiteral("/fake-status.json");
    hangFile = env->root() + QStringLiteral("/fake-hang");
    env->setEnv("FAKE_DAEMON_PORT_FILE", portFile);
    env->setEnv("FAKE_DAEMON_STATUS_FILE", statusFile);
    env->setEnv("FAKE_DAEMON_HANG_FILE", hangFile);
}

void SupervisionTest::TearDown() {
    for (QProcess* process : std::as_const(started)) {
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(5000);
        }
        delete process;
    }
    started.clear();
    BundleInfo::overrideMainForTesting(std::nullopt);
    env.reset();
}

QString SupervisionTest::installFake(const QString& folder) const {
    QDir().mkpath(folder);
    const QString target = folder + QLatin1Char('/') + daemonName;
    QFile::remove(target);
    if (!QFile::copy(QStringLiteral(MNEMORA_FAKE_DAEMON), target)) {
        ADD_FAILURE() << "could not copy the fake daemon to " << target.toStdString();
    }
    return target;
}

QProcess* SupervisionTest::launchExisting(const QString& binary,
                                          const QMap<QString, QString>& environment,
                                          bool waitForPort) {
    const QString file = environment.value(QStringLiteral("FAKE_DAEMON_PORT_FILE"),
                                           qEnvironmentVariable("FAKE_DAEMON_PORT_FILE"));
    if (!file.isEmpty()) {
        QFile::remove(file);
    }
    auto* process = new QProcess();
    QProcessEnvironment processEnvironment = QProcessEnvironment::systemEnvironment();
    for (auto it = environment.begin(); it != environment.end(); ++it) {
        processEnvironment.insert(it.key(), it.value());
    }
    process->setProcessEnvironment(processEnvironment);
    process->setProgram(binary);
    process->setArguments({QStringLiteral("daemon")});
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->start();
    started << process;
    EXPECT_TRUE(process->waitForStarted(5000));
    if (waitForPort) {
        EXPECT_TRUE(waitUntil([&] { return QFile::exists(file); }))
            << "the daemon never wrote " << file.toStdString();
    }
    return process;
}

void SupervisionTest::setFakeStatus(const QByteArray& json) const {
    TestEnvironment::writeFile(statusFile, json);
}

void SupervisionTest::runFor(std::chrono::milliseconds duration) {
    waitUntil([] { return false; }, duration);
}

void SupervisionTest::configure(DaemonProcess& daemon) const {
    daemon.setBinaryNames({daemonName});
    daemon.setTimings(fastTimings());
}

QString SupervisionTest::logText() const {
    return QString::fromUtf8(TestEnvironment::readFile(VaultPaths::daemonLogFile({})));
}

} // namespace mnemora::test

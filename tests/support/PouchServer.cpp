#include "support/PouchServer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace mnemora::test {

namespace {

// In the child, before the server starts: a process group of its own, so that stop() reaches
// everything it spawns, and death with the test process.
void detachIntoOwnGroup() {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

} // namespace

QString PouchServer::executablePath() {
    const QString path = QStringLiteral(MNEMORA_TOOLS_DIR "/node_modules/.bin/pouchdb-server");
    return QFileInfo::exists(path) ? path : QString();
}

quint16 PouchServer::freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

PouchServer::PouchServer(quint16 port)
    : port_(port == 0 ? freePort() : port) {
    const QString executable = executablePath();
    if (executable.isEmpty()) {
        error_ = QStringLiteral("PouchDB Server is not installed: %1/node_modules is missing. Run "
                                "scripts/setup.sh (it runs npm ci in tools/).")
                     .arg(QStringLiteral(MNEMORA_TOOLS_DIR));
        return;
    }
    process_ = std::make_unique<QProcess>();
    process_->setWorkingDirectory(folder_.path());
    process_->setProcessChannelMode(QProcess::MergedChannels);
    process_->setStandardOutputFile(folder_.filePath(QStringLiteral("output.txt")));
    process_->setChildProcessModifier(detachIntoOwnGroup);
    process_->start(executable, {QStringLiteral("--in-memory"), QStringLiteral("--no-stdout-logs"),
                                 QStringLiteral("--host"), QStringLiteral("127.0.0.1"),
                                 QStringLiteral("--port"), QString::number(port_)});
    if (!process_->waitForStarted(10000)) {
        error_ = QStringLiteral("PouchDB Server did not start: %1").arg(process_->errorString());
        process_.reset();
        return;
    }
    if (!waitUntilListening()) {
        QFile output(folder_.filePath(QStringLiteral("output.txt")));
        output.open(QIODevice::ReadOnly);
        error_ = QStringLiteral("PouchDB Server did not come up on port %1: %2")
                     .arg(port_)
                     .arg(QString::fromUtf8(output.readAll()));
        stop();
    }
}

PouchServer::~PouchServer() {
    stop();
}

bool PouchServer::waitUntilListening() {
    QDeadlineTimer deadline(std::chrono::seconds(30));
    while (!deadline.hasExpired()) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, port_);
        if (socket.waitForConnected(500)) {
            return true;
        }
        // A refused connection answers at once; the server's exit, if any, ends the pause early.
        if (process_->waitForFinished(50) || process_->state() == QProcess::NotRunning) {
            return false;
        }
    }
    return false;
}

bool PouchServer::isRunning() const {
    return process_ && process_->state() == QProcess::Running;
}

QUrl PouchServer::baseUrl() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port_));
}

QUrl PouchServer::freshDatabaseUrl() {
    return QUrl(baseUrl().toString() + QStringLiteral("/db-%1").arg(++databases_));
}

void PouchServer::stop() {
    if (!process_) {
        return;
    }
    const qint64 pid = process_->processId();
    if (pid > 0 && process_->state() != QProcess::NotRunning) {
        ::kill(-static_cast<pid_t>(pid), SIGTERM);
        if (!process_->waitForFinished(5000)) {
            ::kill(-static_cast<pid_t>(pid), SIGKILL);
            process_->waitForFinished(5000);
        }
    }
    process_.reset();
}

} // namespace mnemora::test

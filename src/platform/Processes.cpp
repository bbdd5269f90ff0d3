#include "platform/Processes.h"

#include <QProcess>

#include <QCoroProcess>

#include <QFile>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/types.h>
#include <unistd.h>

namespace mnemora::Processes {

namespace {

// The awaiting coroutine resumes inside the process's `finished` emission, where deleting the
// QProcess would pull it from under Qt's own code: it goes when control is back in the event loop.
struct DeleteLater {
    void operator()(QObject* object) const {
        if (object != nullptr) {
            object->deleteLater();
        }
    }
};

QString procPath(qint32 pid, const char* entry) {
    return QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(entry));
}

// A /proc file reports no size, so it is read to its end; absent when it cannot be read.
std::optional<QByteArray> readProcFile(qint32 pid, const char* entry) {
    if (pid < 1) {
        return std::nullopt;
    }
    const int fd =
        ::open(QFile::encodeName(procPath(pid, entry)).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    QByteArray bytes;
    char buffer[4096];
    while (true) {
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        bytes.append(buffer, count);
    }
    ::close(fd);
    return bytes;
}

} // namespace

bool isAlive(qint32 pid) {
    return pid > 0 && ::kill(pid, 0) == 0;
}

bool terminate(qint32 pid) {
    return ::kill(pid, SIGTERM) == 0;
}

bool forceKill(qint32 pid) {
    return ::kill(pid, SIGKILL) == 0;
}

QList<qint32> parsePidList(const QByteArray& output) {
    QList<qint32> pids;
    for (const QByteArray& line : output.split('\n')) {
        bool ok = false;
        const qint32 pid = line.trimmed().toInt(&ok);
        if (ok) {
            pids << pid;
        }
    }
    return pids;
}

std::optional<QString> executableOf(qint32 pid) {
    if (pid < 1) {
        return std::nullopt;
    }
    QString target = QFile::symLinkTarget(procPath(pid, "exe"));
    if (target.isEmpty()) {
        return std::nullopt;
    }
    // The kernel marks an executable replaced or removed since the start.
    const QLatin1String deleted(" (deleted)");
    if (target.endsWith(deleted)) {
        target.chop(deleted.size());
    }
    return target;
}

std::optional<QHash<QString, QString>> environmentOf(qint32 pid) {
    const std::optional<QByteArray> bytes = readProcFile(pid, "environ");
    if (!bytes) {
        return std::nullopt;
    }
    QHash<QString, QString> environment;
    for (const QByteArray& entry : bytes->split('\0')) {
        const qsizetype equals = entry.indexOf('=');
        if (equals > 0) {
            environment.insert(QString::fromLocal8Bit(entry.left(equals)),
                               QString::fromLocal8Bit(entry.mid(equals + 1)));
        }
    }
    return environment;
}

QCoro::Task<std::optional<QList<qint32>>> matchingCommandLine(QString pattern) {
    std::unique_ptr<QProcess, DeleteLater> process(new QProcess());
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    const QStringList arguments{QLatin1String("-f"), pattern};
    const bool started = co_await qCoro(*process).start(QLatin1String("/usr/bin/pgrep"), arguments);
    if (!started) {
        co_return std::nullopt;
    }
    co_await qCoro(*process).waitForFinished(-1);
    co_return parsePidList(process->readAllStandardOutput());
}

} // namespace mnemora::Processes

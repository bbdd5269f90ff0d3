#include "platform/Processes.h"

#include <QProcess>

#include <QCoroProcess>

#include <csignal>
#include <memory>
#include <sys/types.h>

namespace mnemora::platform::Processes {

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

} // namespace mnemora::platform::Processes

#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <QCoroTask>

#include <optional>

namespace mnemora::Processes {

// Whether a process with this id exists and may be signalled by us (`kill(pid, 0)`).
bool isAlive(qint32 pid);

// SIGTERM; false when the signal could not be sent.
bool terminate(qint32 pid);

// SIGKILL; false when the signal could not be sent.
bool forceKill(qint32 pid);

// The ids of the processes whose whole command line matches `pattern`, from
// `/usr/bin/pgrep -f`. Absent when pgrep could not be launched.
QCoro::Task<std::optional<QList<qint32>>> matchingCommandLine(QString pattern);

// pgrep's output: one id a line, trimmed; lines that are no 32-bit integer are skipped.
QList<qint32> parsePidList(const QByteArray& output);

// The executable a process runs. An executable replaced on disk since the process started still
// reads as its path. Absent when the process is gone or not ours to look at.
std::optional<QString> executableOf(qint32 pid);

// The environment a process was started with. Absent when the process is gone or not ours to
// look at.
std::optional<QHash<QString, QString>> environmentOf(qint32 pid);

} // namespace mnemora::Processes

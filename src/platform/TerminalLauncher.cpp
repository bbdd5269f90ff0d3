#include "platform/TerminalLauncher.h"

#include <QFile>
#include <QProcess>
#include <QStringDecoder>
#include <QTemporaryFile>

#include <QCoroProcess>

namespace mnemora {

TerminalLauncher::LaunchError TerminalLauncher::LaunchError::spawnFailed(const QString& message) {
    return {Kind::spawnFailed, message, 0, {}};
}

TerminalLauncher::LaunchError
TerminalLauncher::LaunchError::nonZeroExit(int code, const QString& stderrText) {
    return {Kind::nonZeroExit, {}, code, stderrText};
}

TerminalLauncher::LaunchError TerminalLauncher::LaunchError::scriptBuildFailed() {
    return {Kind::scriptBuildFailed, {}, 0, {}};
}

QString TerminalLauncher::LaunchError::text() const {
    switch (kind) {
    case Kind::spawnFailed:
        return QStringLiteral("Could not open a terminal: ") + message;
    case Kind::nonZeroExit: {
        const QString said = stderrText.trimmed();
        QString text = QStringLiteral("The terminal exited with status %1").arg(code);
        return said.isEmpty() ? text + QLatin1Char('.') : text + QStringLiteral(": ") + said;
    }
    case Kind::scriptBuildFailed:
        break;
    }
    return QStringLiteral("Could not build the command for the terminal.");
}

TerminalLauncher::TerminalLauncher(QObject* parent)
    : QObject(parent) {}

QString TerminalLauncher::shellQuoted(const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString TerminalLauncher::tmuxAttachLine(const QString& name) {
    return QStringLiteral("tmux attach -t ") + shellQuoted(name);
}

QStringList TerminalLauncher::terminalCommand(const QString& line) {
    QStringList command = QProcess::splitCommand(qEnvironmentVariable("TERMINAL").trimmed());
    if (command.isEmpty()) {
        command << QStringLiteral("x-terminal-emulator");
    }
    command << QStringLiteral("-e") << QStringLiteral("sh") << QStringLiteral("-c") << line;
    return command;
}

QCoro::Task<TerminalLauncher::Result> TerminalLauncher::openTmuxSession(const QString& name) {
    return runCommand(tmuxAttachLine(name));
}

QCoro::Task<TerminalLauncher::Result> TerminalLauncher::runCommand(QString line) {
    if (line.trimmed().isEmpty() || line.contains(QChar(u'\0'))) {
        co_return LaunchError::scriptBuildFailed();
    }
    // Standard error goes to a file rather than a pipe: a terminal that outlives the application
    // must not die writing to a pipe nobody reads.
    QTemporaryFile errors;
    if (!errors.open()) {
        co_return LaunchError::spawnFailed(errors.errorString());
    }
    QStringList command = terminalCommand(line);
    // No parent: a terminal still running after the wait lives on, and the object with it.
    auto* process = new QProcess;
    process->setProgram(command.takeFirst());
    process->setArguments(command);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(errors.fileName());
    process->start();
    if (!process->waitForStarted()) {
        const QString message = process->errorString();
        delete process;
        co_return LaunchError::spawnFailed(message);
    }

    // Nothing below touches `this`, so the launcher may go away during the wait.
    const bool finished = co_await qCoro(process).waitForFinished(waitWindow_);
    if (!finished) {
        QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
        co_return std::nullopt;
    }
    const bool succeeded =
        process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
    const int code = process->exitCode();
    process->deleteLater();
    if (succeeded) {
        co_return std::nullopt;
    }
    QFile written(errors.fileName());
    QString said;
    if (written.open(QIODevice::ReadOnly)) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        said = decoder.decode(written.readAll());
        if (decoder.hasError()) {
            said.clear();
        }
    }
    co_return LaunchError::nonZeroExit(code, said);
}

} // namespace mnemora

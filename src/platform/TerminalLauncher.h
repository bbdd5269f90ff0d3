#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <optional>

namespace mnemora {

// Opens a terminal window for the steps only the user can take: joining an agent's tmux session,
// starting a primed Claude Code session, pasting an install command. The terminal is `$TERMINAL`,
// else `x-terminal-emulator`, running `sh -c LINE`; the window manager brings the new window to
// the front.
class TerminalLauncher : public QObject {
    Q_OBJECT

public:
    // Why a terminal could not be opened; `text()` is what the user sees.
    struct LaunchError {
        enum class Kind { spawnFailed, nonZeroExit, scriptBuildFailed };
        Kind kind = Kind::spawnFailed;
        QString message;    // spawnFailed: the system's description
        int code = 0;       // nonZeroExit
        QString stderrText; // nonZeroExit: the terminal's standard error, as UTF-8

        static LaunchError spawnFailed(const QString& message);
        static LaunchError nonZeroExit(int code, const QString& stderrText);
        static LaunchError scriptBuildFailed();

        QString text() const;
        bool operator==(const LaunchError&) const = default;
    };
    // None when the terminal is up.
    using Result = std::optional<LaunchError>;

    // How long a terminal may run before its launch counts as done: a terminal that is still
    // running then has shown its window or is waiting on the user, and we do not wait for it.
    static constexpr std::chrono::milliseconds defaultWaitWindow{1200};

    explicit TerminalLauncher(QObject* parent = nullptr);

    std::chrono::milliseconds waitWindow() const { return waitWindow_; }
    void setWaitWindow(std::chrono::milliseconds window) { waitWindow_ = window; }

    // Runs a shell line in a new terminal window. Fails with `spawnFailed` when the terminal cannot
    // be started, `nonZeroExit` when it ends with an error within the wait window, and
    // `scriptBuildFailed` for a line that cannot be handed to a shell (empty, or holding a NUL).
    virtual QCoro::Task<Result> runCommand(QString line);

    // Attaches to a tmux session in a new terminal window.
    QCoro::Task<Result> openTmuxSession(const QString& name);

    // `tmux attach -t '{name}'`, each ' of the name written as '\'' so it cannot leave its quotes.
    static QString tmuxAttachLine(const QString& name);

    // Quotes a text as one shell word: '{text}' with each ' written as '\''.
    static QString shellQuoted(const QString& text);

    // The program and arguments that open a terminal running `line`.
    static QStringList terminalCommand(const QString& line);

private:
    std::chrono::milliseconds waitWindow_ = defaultWaitWindow;
};

} // namespace mnemora

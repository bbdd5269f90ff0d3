#pragma once

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QStringList>

#include <QCoroTask>

#include "daemon/DaemonService.h"
#include "platform/Expected.h"
#include "platform/TerminalLauncher.h"

namespace mnemora {

// Starts, watches and stops the daemon's dreamer sessions, and opens a terminal on one.
class DreamerControl : public QObject {
    Q_OBJECT
    Q_PROPERTY(QStringList liveSessions READ liveSessions NOTIFY liveSessionsChanged)

public:
    explicit DreamerControl(QObject* parent = nullptr);

    void setDaemon(DaemonService* daemon) { daemon_ = daemon; }
    TerminalLauncher& terminal() const { return *terminal_; }
    void setTerminal(TerminalLauncher* terminal) { terminal_ = terminal; }

    const QStringList& liveSessions() const { return liveSessions_; }
    // Cadences whose trigger was pressed and not yet answered: their chips spin.
    bool isTriggering(const QString& cadence) const { return triggering_.contains(cadence); }

    // The live session names; a daemon that cannot be asked leaves the last list.
    QCoro::Task<> refresh();
    // Asks for a session of this cadence; the failure's words are the daemon's or "Dreamer
    // trigger failed". The live list follows on success.
    QCoro::Task<Expected<void>> trigger(QString cadence);
    // Ends a session by its full name.
    QCoro::Task<Expected<void>> stop(QString name);
    // Opens the session's tmux in a terminal.
    QCoro::Task<Expected<void>> attach(QString name);

signals:
    void liveSessionsChanged();
    void triggeringChanged();

private:
    QPointer<DaemonService> daemon_;
    QPointer<TerminalLauncher> terminal_;
    QStringList liveSessions_;
    QSet<QString> triggering_;
};

} // namespace mnemora

#include "integrations/DreamerControl.h"

#include "daemon/DaemonEndpoints.h"

namespace mnemora {

DreamerControl::DreamerControl(QObject* parent)
    : QObject(parent)
    , terminal_(new TerminalLauncher(this)) {}

QCoro::Task<> DreamerControl::refresh() {
    QPointer<DreamerControl> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetching =
        DaemonEndpoints::dreamerSessions(daemon_);
    const std::optional<DreamerSessions> live = co_await fetching;
    if (!self || !live || live->sessions == liveSessions_) {
        co_return;
    }
    liveSessions_ = live->sessions;
    emit liveSessionsChanged();
}

QCoro::Task<Expected<void>> DreamerControl::trigger(QString cadence) {
    QPointer<DreamerControl> self(this);
    triggering_.insert(cadence);
    emit triggeringChanged();
    DreamerTrigger request;
    request.cadence = cadence;
    QCoro::Task<Expected<void>> asking = DaemonEndpoints::triggerDreamer(daemon_, request);
    const Expected<void> result = co_await asking;
    if (!self) {
        co_return result;
    }
    triggering_.remove(cadence);
    emit triggeringChanged();
    if (result.ok()) {
        QCoro::Task<> refreshing = refresh();
        co_await refreshing;
    }
    co_return result;
}

QCoro::Task<Expected<void>> DreamerControl::stop(QString name) {
    QPointer<DreamerControl> self(this);
    QCoro::Task<Expected<void>> killing = DaemonEndpoints::killSession(daemon_, name);
    const Expected<void> result = co_await killing;
    if (self && result.ok()) {
        QCoro::Task<> refreshing = refresh();
        co_await refreshing;
    }
    co_return result;
}

QCoro::Task<Expected<void>> DreamerControl::attach(QString name) {
    QPointer<TerminalLauncher> terminal = terminal_;
    if (!terminal) {
        co_return fail(QStringLiteral("Could not open a terminal."));
    }
    QCoro::Task<TerminalLauncher::Result> opening = terminal->openTmuxSession(name);
    const TerminalLauncher::Result result = co_await opening;
    co_return result ? Expected<void>(fail(result->text())) : Expected<void>();
}

} // namespace mnemora

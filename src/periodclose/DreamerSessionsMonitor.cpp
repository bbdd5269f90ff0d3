#include "periodclose/DreamerSessionsMonitor.h"

#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"

namespace mnemora {

DreamerSessionsMonitor::DreamerSessionsMonitor(QObject* parent)
    : QObject(parent) {}

DreamerSessionsMonitor::~DreamerSessionsMonitor() = default;

void DreamerSessionsMonitor::start(DaemonService* daemon, std::chrono::milliseconds interval) {
    stop();
    daemon_ = daemon;
    QPointer<DreamerSessionsMonitor> self(this);
    CancellableLoop::start(pollTask_, interval, CancellableLoop::FirstPass::atOnce,
                           [self] { return tick(self); });
}

void DreamerSessionsMonitor::stop() {
    pollTask_.cancel();
}

QCoro::Task<> DreamerSessionsMonitor::tick(QPointer<DreamerSessionsMonitor> self) {
    if (!self) {
        co_return;
    }
    QCoro::Task<> refreshing = self->refresh();
    co_await refreshing;
}

QCoro::Task<> DreamerSessionsMonitor::refresh() {
    QPointer<DreamerSessionsMonitor> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetching =
        DaemonEndpoints::dreamerSessions(daemon_);
    const std::optional<DreamerSessions> answer = co_await fetching;
    if (!self || !answer) {
        co_return;
    }
    if (answer->sessions == sessions_ && answer->limits == limits_) {
        co_return;
    }
    sessions_ = answer->sessions;
    limits_ = answer->limits;
    emit changed();
}

} // namespace mnemora

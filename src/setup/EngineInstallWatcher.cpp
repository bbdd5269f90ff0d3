#include "setup/EngineInstallWatcher.h"

#include "daemon/DaemonService.h"

namespace mnemora {

EngineInstallWatcher::EngineInstallWatcher(QObject* parent)
    : QObject(parent) {}

QStringList EngineInstallWatcher::missingLabels() const {
    QStringList labels;
    for (const PrerequisiteChecker::Tool& tool : missingTools()) {
        labels << tool.label;
    }
    return labels;
}

void EngineInstallWatcher::start(DaemonService* daemon, std::chrono::milliseconds interval) {
    daemon_ = daemon;
    if (task_.isActive()) {
        return;
    }
    completedDuringThisWatch_ = false;
    isWatching_ = true;
    emit isWatchingChanged();
    QPointer<EngineInstallWatcher> self(this);
    CancellableLoop::start(task_, interval, CancellableLoop::FirstPass::atOnce,
                           [self] { return poll(self); });
}

void EngineInstallWatcher::stop() {
    task_.cancel();
    if (isWatching_) {
        isWatching_ = false;
        emit isWatchingChanged();
    }
}

QCoro::Task<> EngineInstallWatcher::poll(QPointer<EngineInstallWatcher> self) {
    if (!self) {
        co_return;
    }
    QCoro::Task<QList<PrerequisiteChecker::Tool>> fetching =
        PrerequisiteChecker::fetch(self->daemon_);
    QList<PrerequisiteChecker::Tool> fetched = co_await fetching;
    if (self) {
        self->take(std::move(fetched));
    }
}

void EngineInstallWatcher::take(QList<PrerequisiteChecker::Tool> fetched) {
    const bool wasComplete = PrerequisiteChecker::allInstalled(tools_);
    tools_ = std::move(fetched);
    if (!wasComplete && PrerequisiteChecker::allInstalled(tools_)) {
        completedDuringThisWatch_ = true;
    }
    emit toolsChanged();
}

} // namespace mnemora

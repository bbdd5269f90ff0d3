#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <QCoroTask>

#include <chrono>

#include "app/CancellableLoop.h"
#include "daemon/DaemonService.h"
#include "setup/PrerequisiteChecker.h"

namespace mnemora {

// Asks the daemon for the agent's tools over and over while a setup screen is open, and notices
// the moment the last missing one arrives: `completedDuringThisWatch` tells the screen that the
// install happened while it watched, as opposed to a machine that had everything before.
class EngineInstallWatcher : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isWatching READ isWatching NOTIFY isWatchingChanged)
    Q_PROPERTY(bool completedDuringThisWatch READ completedDuringThisWatch NOTIFY toolsChanged)
    Q_PROPERTY(bool allInstalled READ allInstalled NOTIFY toolsChanged)
    Q_PROPERTY(QStringList missingLabels READ missingLabels NOTIFY toolsChanged)

public:
    explicit EngineInstallWatcher(QObject* parent = nullptr);

    const QList<PrerequisiteChecker::Tool>& tools() const { return tools_; }
    bool isWatching() const { return isWatching_; }
    bool completedDuringThisWatch() const { return completedDuringThisWatch_; }
    bool allInstalled() const { return PrerequisiteChecker::allInstalled(tools_); }
    QList<PrerequisiteChecker::Tool> missingTools() const {
        return PrerequisiteChecker::missingTools(tools_);
    }
    QStringList missingLabels() const;

    // Starts polling every `interval`; a second start only takes the new daemon.
    void start(DaemonService* daemon, std::chrono::milliseconds interval);
    void stop();

signals:
    void isWatchingChanged();
    void toolsChanged();

private:
    static QCoro::Task<> poll(QPointer<EngineInstallWatcher> self);
    void take(QList<PrerequisiteChecker::Tool> fetched);

    QList<PrerequisiteChecker::Tool> tools_;
    bool isWatching_ = false;
    bool completedDuringThisWatch_ = false;
    QPointer<DaemonService> daemon_;
    CancellableTask task_;
};

} // namespace mnemora

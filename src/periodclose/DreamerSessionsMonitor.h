#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <QCoroTask>

#include <chrono>

#include "app/CancellableLoop.h"
#include "daemon/DreamerSessions.h"

namespace mnemora {

class DaemonService;

// The daemon's live agent sessions and their usage limits, kept fresh while a screen that shows
// them is up. Screens start it when they appear and stop it when they go.
class DreamerSessionsMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(QStringList sessions READ sessions NOTIFY changed)

public:
    static constexpr std::chrono::milliseconds defaultInterval{5'000};

    explicit DreamerSessionsMonitor(QObject* parent = nullptr);
    ~DreamerSessionsMonitor() override;

    const QStringList& sessions() const { return sessions_; }
    const QHash<QString, SessionLimit>& limits() const { return limits_; }
    bool anySessionAlive() const { return !sessions_.isEmpty(); }

    // Stops what ran before; the first look is at once.
    void start(DaemonService* daemon, std::chrono::milliseconds interval = defaultInterval);
    void stop();
    bool isRunning() const { return pollTask_.isActive(); }

    // One look. A failed fetch keeps what was known.
    QCoro::Task<> refresh();

signals:
    void changed();

private:
    static QCoro::Task<> tick(QPointer<DreamerSessionsMonitor> self);

    QPointer<DaemonService> daemon_;
    QStringList sessions_;
    QHash<QString, SessionLimit> limits_;
    CancellableTask pollTask_;
};

} // namespace mnemora

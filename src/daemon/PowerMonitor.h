#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <optional>

#include "app/CancellableLoop.h"
#include "daemon/DaemonEndpoints.h"
#include "platform/PowerProbe.h"

namespace mnemora {

class DaemonService;

// The daemon cannot see the laptop's power mode reliably, so the application works it out and
// pushes it whenever it changes: on mains, on battery, and whether the user asked for power
// saving or for performance. One monitor serves the primary vault's daemon.
class PowerMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString state READ stateWord NOTIFY stateChanged)
    Q_PROPERTY(QDateTime lastPushedAt READ lastPushedAtValue NOTIFY lastPushedAtChanged)

public:
    static constexpr std::chrono::milliseconds defaultPollInterval{5'000};

    explicit PowerMonitor(QObject* parent = nullptr);
    ~PowerMonitor() override;

    // Low power wins even on mains; otherwise mains, then performance, else the balanced mode.
    static DaemonPowerState decide(const PowerReading& reading);

    DaemonPowerState state() const { return state_; }
    QString stateWord() const { return DaemonEndpoints::powerStateWord(state_); }
    const std::optional<QDateTime>& lastPushedAt() const { return lastPushedAt_; }
    QDateTime lastPushedAtValue() const { return lastPushedAt_.value_or(QDateTime()); }

    // Where the machine's power is read from; tests point it at made-up trees and tools.
    PowerProbe& probe() const { return *probe_; }
    void setPollInterval(std::chrono::milliseconds interval) { pollInterval_ = interval; }

    // Stops what ran before, then reads the state at once and again on every poll and on every
    // profile change the system announces.
    void start(DaemonService* daemon);
    void stop();
    bool isRunning() const { return pollTask_.isActive(); }

    // Reads the state; when it differs from the last one, keeps it and pushes it. A failed push
    // is not repeated until the state next changes: the daemon keeps its last value meanwhile.
    QCoro::Task<> refresh(QString reason);

signals:
    void stateChanged();
    void lastPushedAtChanged();

private:
    static QCoro::Task<> tick(QPointer<PowerMonitor> self);
    QCoro::Task<> push();
    void onProfileChanged();

    DaemonPowerState state_ = DaemonPowerState::ac;
    std::optional<QDateTime> lastPushedAt_;
    QPointer<DaemonService> daemon_;
    PowerProbe* probe_ = nullptr;
    CancellableTask pollTask_;
    std::chrono::milliseconds pollInterval_ = defaultPollInterval;
    QMetaObject::Connection profileWatch_;
    bool firstPassDone_ = false;
};

} // namespace mnemora

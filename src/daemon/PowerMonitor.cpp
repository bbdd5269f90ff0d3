#include "daemon/PowerMonitor.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "app/Log.h"
#include "daemon/DaemonService.h"

namespace mnemora {

namespace {

void say(const QString& message) {
    Log::line(QStringLiteral("PowerMonitor"), message);
}

} // namespace

PowerMonitor::PowerMonitor(QObject* parent)
    : QObject(parent)
    , probe_(new PowerProbe(this)) {}

PowerMonitor::~PowerMonitor() = default;

DaemonPowerState PowerMonitor::decide(const PowerReading& reading) {
    if (reading.lowPower) {
        return DaemonPowerState::batteryLowPower;
    }
    if (reading.onAC) {
        return DaemonPowerState::ac;
    }
    return reading.highPower ? DaemonPowerState::batteryHighPower
                             : DaemonPowerState::batteryAutoPower;
}

void PowerMonitor::start(DaemonService* daemon) {
    stop();
    daemon_ = daemon;
    probe_->watchProfileChanges();
    profileWatch_ =
        connect(probe_, &PowerProbe::profileChanged, this, &PowerMonitor::onProfileChanged);
    firstPassDone_ = false;
    QPointer<PowerMonitor> self(this);
    CancellableLoop::start(pollTask_, pollInterval_, CancellableLoop::FirstPass::atOnce,
                           [self] { return tick(self); });
}

QCoro::Task<> PowerMonitor::tick(QPointer<PowerMonitor> self) {
    if (!self) {
        co_return;
    }
    // The first read happens at the start, under the name of what the system reports.
    const QString reason =
        self->firstPassDone_ ? QStringLiteral("tick") : QStringLiteral("Power Source State");
    self->firstPassDone_ = true;
    QCoro::Task<> refreshing = self->refresh(reason);
    co_await refreshing;
}

void PowerMonitor::stop() {
    pollTask_.cancel();
    disconnect(profileWatch_);
}

void PowerMonitor::onProfileChanged() {
    // Started and left: refresh guards this monitor across its waits.
    refresh(QStringLiteral("lpm-notification"));
}

QCoro::Task<> PowerMonitor::refresh(QString reason) {
    QPointer<PowerMonitor> self(this);
    QCoro::Task<PowerReading> reading = probe_->read();
    const PowerReading now = co_await reading;
    if (!self) {
        co_return;
    }
    const DaemonPowerState next = decide(now);
    if (next == state_) {
        co_return;
    }
    say(QStringLiteral("Power state changed %1 → %2 (%3)")
            .arg(stateWord(), DaemonEndpoints::powerStateWord(next), reason));
    state_ = next;
    emit stateChanged();
    QCoro::Task<> pushing = push();
    co_await pushing;
}

QCoro::Task<> PowerMonitor::push() {
    QPointer<PowerMonitor> self(this);
    const std::optional<QUrl> base = daemon_ ? daemon_->baseUrl() : std::nullopt;
    if (!base) {
        say(QStringLiteral("No daemon baseURL yet — skipping power-state push"));
        co_return;
    }
    const QJsonObject body{{QStringLiteral("state"), stateWord()}};
    QCoro::Task<HttpReply> sending = DaemonEndpoints::request(
        base, "POST", QStringLiteral("power-state"),
        QJsonDocument(body).toJson(QJsonDocument::Compact), "application/json");
    const HttpReply reply = co_await sending;
    if (!self) {
        co_return;
    }
    if (reply.transportError) {
        say(QStringLiteral("Failed to push power state: ") + *reply.transportError);
    } else if (reply.httpStatus != 200) {
        say(QStringLiteral("Daemon returned non-200 for /power-state push"));
    } else {
        lastPushedAt_ = QDateTime::currentDateTimeUtc();
        emit lastPushedAtChanged();
    }
}

} // namespace mnemora

#include "migration/MigrationGate.h"

namespace mnemora {

MigrationGate::MigrationGate(MigrationService& service, QObject* parent)
    : QObject(parent)
    , service_(&service) {
    connect(&service, &MigrationService::statusChanged, this, &MigrationGate::update);
    connect(&service, &MigrationService::phaseChanged, this, &MigrationGate::update);
}

bool MigrationGate::isClosed(bool ready, const std::optional<MigrationStatus>& status,
                             bool runStarted, MigrationService::Phase::Kind phase) {
    if (!ready || !status) {
        return false;
    }
    if (status->v3Needed.value_or(false)) {
        return true;
    }
    if (status->v4Preview && status->v4Preview->needsMigration) {
        return true;
    }
    using Kind = MigrationService::Phase::Kind;
    return runStarted &&
           (phase == Kind::running || phase == Kind::complete || phase == Kind::failed);
}

void MigrationGate::setReady(bool ready) {
    if (ready != ready_) {
        ready_ = ready;
        emit readyChanged();
        update();
    }
}

QString MigrationGate::bannerText() {
    return QStringLiteral("Migration required — complete to continue.");
}

void MigrationGate::update() {
    const bool closed = service_ && isClosed(ready_, service_->status(), service_->runStarted(),
                                             service_->phase().kind);
    if (closed != closed_) {
        closed_ = closed;
        emit closedChanged();
    }
}

} // namespace mnemora

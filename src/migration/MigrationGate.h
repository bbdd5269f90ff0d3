#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include "migration/MigrationService.h"

namespace mnemora {

// Holds the primary window while a vault migration is due: the content stays mounted but
// disabled, and the wizard stands over it. With no known status — a daemon that is down, say —
// the gate stays open, so a dead daemon never locks the user out.
class MigrationGate : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool ready READ ready WRITE setReady NOTIFY readyChanged)
    Q_PROPERTY(bool closed READ closed NOTIFY closedChanged)
    Q_PROPERTY(QString bannerText READ bannerText CONSTANT)
    Q_PROPERTY(mnemora::MigrationService* service READ service CONSTANT)

public:
    explicit MigrationGate(MigrationService& service, QObject* parent = nullptr);

    // True only once ready and with a known status; then when v3 is due, when the v4 preview
    // needs action, or while a started run is running or shows its outcome.
    static bool isClosed(bool ready, const std::optional<MigrationStatus>& status, bool runStarted,
                         MigrationService::Phase::Kind phase);

    bool ready() const { return ready_; }
    void setReady(bool ready);
    bool closed() const { return closed_; }
    MigrationService* service() const { return service_; }
    static QString bannerText();

signals:
    void readyChanged();
    void closedChanged();

private:
    void update();

    QPointer<MigrationService> service_;
    bool ready_ = false;
    bool closed_ = false;
};

} // namespace mnemora

#include "runtime/VaultRuntime.h"

#include <QFileInfo>
#include <QPointer>

#include <QCoroSignal>

#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/UserDefaults.h"
#include "daemon/DaemonProcess.h"
#include "runtime/VaultServices.h"
#include "sync/CompanionZoneMaintenance.h"
#include "sync/SyncLog.h"
#include "sync/SyncedDocsBridgeService.h"

namespace mnemora {

VaultRuntime::VaultRuntime(const QString& vaultRoot, QObject* parent)
    : QObject(parent)
    , vaultRoot_(vaultRoot)
    , services_(new VaultServices(vaultRoot, this)) {}

WindowContext VaultRuntime::windowContext() {
    WindowContext context = services_->windowContext();
    context.runtime = this;
    context.reviveIfNeeded = [runtime = QPointer<VaultRuntime>(this)]() -> QCoro::Task<> {
        return runtime ? runtime->reviveIfNeeded() : VaultRuntime::nothingToRevive();
    };
    return context;
}

QCoro::Task<> VaultRuntime::nothingToRevive() {
    co_return;
}

ConfigService& VaultRuntime::config() const {
    return services_->config();
}
DatabaseService& VaultRuntime::database() const {
    return services_->database();
}
DaemonService& VaultRuntime::daemon() const {
    return services_->daemon();
}
DaemonProcess& VaultRuntime::daemonProcess() const {
    return services_->daemonProcess();
}
AppStateStore& VaultRuntime::appState() const {
    return services_->appState();
}
ProcessingStore& VaultRuntime::processing() const {
    return services_->processing();
}
QuestionService& VaultRuntime::questions() const {
    return services_->questions();
}

VaultRuntime::~VaultRuntime() = default;

void VaultRuntime::setStarted(bool started) {
    if (started_ != started) {
        started_ = started;
        emit startedChanged();
    }
}

QCoro::Task<> VaultRuntime::start() {
    if (started_) {
        co_return;
    }
    if (starting_) {
        // Another window of this vault is bringing it up; it lives as long as the process.
        co_await qCoro(this, &VaultRuntime::startedChanged);
        co_return;
    }
    starting_ = true;
    QPointer<VaultRuntime> self(this);
    // A vault window runs the shared order alone: seeds, first-run defaults and the power and
    // quota watchers serve the primary vault only.
    QCoro::Task<> steps =
        VaultServices::run(services_->startupSteps({}), this, [](const QString&) {});
    co_await steps;
    if (!self) {
        co_return;
    }
    QCoro::Task<> bridge = self->startBridge();
    co_await bridge;
    if (!self) {
        co_return;
    }
    starting_ = false;
    setStarted(true);
}

// The documents for the phone, once the bridge that carries them is there: a vault syncs with
// the phone only when a record store is set up to hold them.
void VaultRuntime::startCompanionSync() {
    if (!services_->syncedDocsBridge() || !VaultServices::companionSyncAvailable()) {
        return;
    }
    const QString label = QFileInfo(vaultRoot_).fileName();
    services_->startQuestionsMirror(vaultRoot_, mirrorScope_, label);
    services_->startCloseStatusMirror(vaultRoot_, label);
}

QString VaultRuntime::zoneScope() const {
    // The primary vault's root, from the primary configuration as it is on disk now.
    ConfigService primary;
    primary.load();
    return CompanionZoneMaintenance::vaultScope(vaultRoot_, primary.vaultRoot());
}

SyncedDocsBridgeService* VaultRuntime::syncedDocsBridge() const {
    return services_->syncedDocsBridge();
}

QCoro::Task<> VaultRuntime::startBridge() {
    if (services_->syncedDocsBridge()) {
        co_return;
    }
    // The primary vault's folder gives no scope: the primary bridge and mirrors carry it. Any
    // other vault gets a scope of its own here, on its first launch too.
    const QString scope = zoneScope();
    if (scope.isEmpty()) {
        co_return;
    }
    QPointer<VaultRuntime> self(this);
    QCoro::Task<> starting =
        services_->startSyncedDocs(vaultRoot_, scope, SyncLog(QFileInfo(vaultRoot_).fileName()));
    co_await starting;
    if (self) {
        // After the bridge, so that the mirrors' first writes are seen by its file watcher.
        self->startCompanionSync();
    }
}

void VaultRuntime::restartBridge() {
    services_->stopSyncedDocs();
    services_->dropQuestionsMirror();
    services_->dropCloseStatusMirror();
    UserDefaults().remove(SyncedDocsBridgeService::engineStateKey(zoneScope()));
    startBridge(); // runs on by itself; VaultServices guards its own state
}

bool VaultRuntime::daemonIsRunning() const {
    return services_->daemonProcess().isRunning();
}

QCoro::Task<> VaultRuntime::reviveIfNeeded() {
    if (daemonIsRunning() || starting_) {
        co_return;
    }
    Log::line(QStringLiteral("VaultRuntime"), QFileInfo(vaultRoot_).fileName() +
                                                  QStringLiteral(": no daemon (mode: ") +
                                                  services_->daemonProcess().mode().description() +
                                                  QStringLiteral(") — restarting the vault"));
    setStarted(false);
    co_await start();
}

void VaultRuntime::shutdown() {
    services_->stopSyncedDocs();
    services_->dropQuestionsMirror();
    services_->dropCloseStatusMirror();
    services_->daemonProcess().stopBlocking();
}

} // namespace mnemora

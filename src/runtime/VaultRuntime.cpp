#include "runtime/VaultRuntime.h"

#include <QFileInfo>
#include <QPointer>

#include <QCoroSignal>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"

namespace mnemora {

VaultRuntime::VaultRuntime(const QString& vaultRoot, QObject* parent)
    : QObject(parent)
    , vaultRoot_(vaultRoot) {
    const QString cacheFolder = VaultPaths::vaultCacheFolder(vaultRoot);

    config_ = new ConfigService(this);
    config_->setConfigURLOverride(VaultPaths::vaultConfigFile(vaultRoot));

    database_ = new DatabaseService(this);
    database_->setCacheDirOverride(cacheFolder);

    daemon_ = new DaemonService(this);
    daemon_->setCacheDirOverride(cacheFolder);

    daemonProcess_ = new DaemonProcess(this);
    daemonProcess_->setCacheDirOverride(cacheFolder);
    daemonProcess_->setConfigDirOverride(QFileInfo(config_->fileURL()).absolutePath());
    daemonProcess_->setLogNameSuffix(QFileInfo(cacheFolder).fileName());

    appState_ = new AppStateStore(this);
    processing_ = new ProcessingStore(this);
    questions_ = new QuestionService(this);
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

    // 1. Configuration, and the index reads the vault named there.
    config_->load();
    database_->setConfig(config_);
    daemon_->setConfig(config_);
    daemonProcess_->setConfig(config_);

    // 2. The vault's own daemon.
    co_await daemonProcess_->start();
    if (!self) {
        co_return;
    }
    // 3. Its index.
    co_await database_->open();
    if (!self) {
        co_return;
    }
    // 4. Status polling.
    daemon_->start();
    // 5. The event stream, and the watchdog over the polled status.
    processing_->setDaemon(daemon_);
    processing_->start();
    daemonProcess_->startWatchdog(daemon_);

    // 6. The first load of its questions.
    co_await database_->loadOpenQuestions();
    if (!self) {
        co_return;
    }
    starting_ = false;
    setStarted(true);
}

bool VaultRuntime::daemonIsRunning() const {
    return daemonProcess_->isRunning();
}

QCoro::Task<> VaultRuntime::reviveIfNeeded() {
    if (daemonIsRunning() || starting_) {
        co_return;
    }
    Log::line(QStringLiteral("VaultRuntime"), QFileInfo(vaultRoot_).fileName() +
                                                  QStringLiteral(": no daemon (mode: ") +
                                                  daemonProcess_->mode().description() +
                                                  QStringLiteral(") — restarting the vault"));
    setStarted(false);
    co_await start();
}

void VaultRuntime::shutdown() {
    daemonProcess_->stopBlocking();
}

} // namespace mnemora

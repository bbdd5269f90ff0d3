#include "runtime/AppDelegate.h"

#include "app/Log.h"
#include "runtime/VaultManager.h"

namespace mnemora {

AppDelegate::AppDelegate(QObject* parent)
    : QObject(parent) {}

void AppDelegate::applicationDidFinishLaunching() {
    Log::line(QStringLiteral("AppDelegate"), QStringLiteral("application did finish launching"));
}

void AppDelegate::applicationWillTerminate() {
    // Quit can be reached twice (a signal during aboutToQuit); the order runs once.
    if (terminated_) {
        return;
    }
    terminated_ = true;
    Log::line(QStringLiteral("AppDelegate"), QStringLiteral("application will terminate"));
    if (syncedDocsBridge_) {
        syncedDocsBridge_->stop();
    }
    // A daemon we spawned goes with us; an adopted or external one outlives us by design.
    if (daemon_) {
        daemon_->stopBlocking();
    }
    // Then the vault windows' daemons, by the same rule.
    if (VaultManager* vaults = VaultManager::existing()) {
        vaults->shutdownAll();
    }
    emit willTerminate();
}

} // namespace mnemora

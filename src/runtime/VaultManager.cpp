#include "runtime/VaultManager.h"

#include "runtime/VaultRuntime.h"

namespace mnemora {

namespace {

VaultManager*& sharedInstance() {
    static VaultManager* instance = nullptr;
    return instance;
}

} // namespace

VaultManager::VaultManager(QObject* parent)
    : QObject(parent) {}

VaultManager::~VaultManager() {
    if (sharedInstance() == this) {
        sharedInstance() = nullptr;
    }
}

VaultManager& VaultManager::shared() {
    if (sharedInstance() == nullptr) {
        // Lives as long as the process: runtimes and their daemons outlast every window.
        sharedInstance() = new VaultManager();
    }
    return *sharedInstance();
}

VaultManager* VaultManager::existing() {
    return sharedInstance();
}

VaultRuntime& VaultManager::runtime(const QString& vaultPath) {
    if (VaultRuntime* existingRuntime = runtimes_.value(vaultPath)) {
        return *existingRuntime;
    }
    auto* created = new VaultRuntime(vaultPath, this);
    runtimes_.insert(vaultPath, created);
    openVaults_ = runtimes_.keys(); // QMap keys come sorted
    emit openVaultsChanged();
    return *created;
}

void VaultManager::shutdownAll() {
    for (VaultRuntime* runtime : std::as_const(runtimes_)) {
        runtime->shutdown();
    }
}

bool VaultManager::restartBridge(const QString& vaultPath) {
    VaultRuntime* runtime = runtimes_.value(vaultPath);
    if (runtime == nullptr) {
        return false;
    }
    runtime->restartBridge();
    return true;
}

DemoVault::Result VaultManager::makeDemoVault(const QString& slug, const QString& displayName) {
    return DemoVault::make(slug, displayName);
}

} // namespace mnemora

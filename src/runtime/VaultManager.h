#pragma once

#include <QMap>
#include <QObject>
#include <QStringList>

#include "runtime/DemoVault.h"

namespace mnemora {

class VaultRuntime;

// The process-wide registry of vault runtimes, one per vault path as given (no normalising, so
// "/a/b" and "/a/b/" are two runtimes sharing one cache folder). Runtimes are created on first
// request and live until the process ends.
class VaultManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QStringList openVaults READ openVaults NOTIFY openVaultsChanged)

public:
    explicit VaultManager(QObject* parent = nullptr);
    ~VaultManager() override;

    // The one registry of the process, created on first use on the main thread.
    static VaultManager& shared();
    // The registry if anything has created it; quitting must not create one.
    static VaultManager* existing();

    // The runtime of a vault path, created and registered if absent; creating does not start it.
    VaultRuntime& runtime(const QString& vaultPath);
    bool hasRuntime(const QString& vaultPath) const { return runtimes_.contains(vaultPath); }

    // Every registered vault path, sorted.
    const QStringList& openVaults() const { return openVaults_; }

    // At quit: stops every daemon the runtimes spawned and leaves adopted ones running.
    void shutdownAll();

    // Restarts a vault's sync from nothing; true when the vault has a runtime.
    bool restartBridge(const QString& vaultPath);

    // Creates the demo vault; see DemoVault.
    DemoVault::Result makeDemoVault(const QString& slug, const QString& displayName);

signals:
    void openVaultsChanged();

private:
    QMap<QString, VaultRuntime*> runtimes_;
    QStringList openVaults_;
};

} // namespace mnemora

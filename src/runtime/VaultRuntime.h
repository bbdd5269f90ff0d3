#pragma once

#include <QObject>
#include <QString>

#include <QCoroTask>

#include "runtime/VaultServices.h"

namespace mnemora {

// The private stack of one vault opened in its own window: its configuration, daemon, index
// reader, window state and question files. It shares nothing mutable with the primary vault or
// any other, and once created it lives for the rest of the process.
class VaultRuntime : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool started READ started NOTIFY startedChanged)

public:
    // Builds the services with their overrides set before anything reads: nothing touches the
    // disk here.
    explicit VaultRuntime(const QString& vaultRoot, QObject* parent = nullptr);
    ~VaultRuntime() override;

    const QString& vaultRoot() const { return vaultRoot_; }
    VaultServices& services() const { return *services_; }
    ConfigService& config() const;
    DatabaseService& database() const;
    DaemonService& daemon() const;
    DaemonProcess& daemonProcess() const;
    AppStateStore& appState() const;
    ProcessingStore& processing() const;
    QuestionService& questions() const;

    bool started() const { return started_; }

    // Whose questions this vault's inbox document shows; the vault's active identity unless set
    // before `start`.
    const IdentityScope& mirrorScope() const { return mirrorScope_; }
    void setMirrorScope(const IdentityScope& scope) { mirrorScope_ = scope; }

    // Brings the vault up in its shorter order. Does nothing once started; a second caller
    // while a start is under way waits for that start.
    QCoro::Task<> start();

    bool daemonIsRunning() const;

    // The vault window's context for automation: the services, this runtime and its revival.
    WindowContext windowContext();

    // Restarts the whole vault when its daemon is gone; asked before automation talks to it.
    QCoro::Task<> reviveIfNeeded();

    // At quit: drops the sync bridge and the mirrors, then stops a daemon this process spawned
    // and leaves an adopted one running.
    void shutdown();

    // The vault's synced documents bridge; none until started, for the primary vault's folder
    // (the primary bridge carries it), without a record store container, or when the sidecar
    // cannot be opened.
    SyncedDocsBridgeService* syncedDocsBridge() const;

    // Starts the vault's bridge with the vault's own zone scope, then, with a record store set
    // up, the questions and close status mirrors; nothing when a bridge is there.
    QCoro::Task<> startBridge();

    // Drops the bridge and both mirrors and forgets the sync engine's state, then starts
    // afresh: every block is sent again from the sidecar.
    void restartBridge();

signals:
    void startedChanged();

private:
    void setStarted(bool started);
    void startCompanionSync();
    static QCoro::Task<> nothingToRevive();
    QString zoneScope() const;

    QString vaultRoot_;
    VaultServices* services_ = nullptr;
    bool started_ = false;
    bool starting_ = false;
    IdentityScope mirrorScope_ = IdentityScope::active();
};

} // namespace mnemora

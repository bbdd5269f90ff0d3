#pragma once

#include <QObject>
#include <QPointer>

#include "daemon/DaemonProcess.h"
#include "sync/SyncedDocsBridgeService.h"

namespace mnemora {

// The platform's application callbacks: launch, termination and remote notifications.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    explicit AppDelegate(QObject* parent = nullptr);

    void applicationDidFinishLaunching();

    // Runs synchronously when the application quits, by the menu, a session manager's SIGTERM
    // or Ctrl-C: stops what this process started and leaves alone what it only adopted.
    void applicationWillTerminate();

    // Closing the last window leaves the process running with its daemon.
    static bool applicationShouldTerminateAfterLastWindowClosed() { return false; }

    bool hasTerminated() const { return terminated_; }

    // The primary vault's daemon, stopped at termination if we spawned it.
    DaemonProcess* daemon() const { return daemon_; }
    void setDaemon(DaemonProcess* daemon) { daemon_ = daemon; }

    // The primary vault's sync bridge, stopped at termination so its state is kept.
    SyncedDocsBridgeService* syncedDocsBridge() const { return syncedDocsBridge_; }
    void setSyncedDocsBridge(SyncedDocsBridgeService* bridge) { syncedDocsBridge_ = bridge; }

signals:
    void willTerminate();

private:
    bool terminated_ = false;
    QPointer<DaemonProcess> daemon_;
    QPointer<SyncedDocsBridgeService> syncedDocsBridge_;
};

} // namespace mnemora

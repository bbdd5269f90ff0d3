#pragma once

#include <QObject>
#include <QString>

#include <QCoroTask>

namespace mnemora {

class AppStateStore;
class ConfigService;
class DaemonProcess;
class DaemonService;
class DatabaseService;
class ProcessingStore;
class QuestionService;

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
    ConfigService& config() const { return *config_; }
    DatabaseService& database() const { return *database_; }
    DaemonService& daemon() const { return *daemon_; }
    DaemonProcess& daemonProcess() const { return *daemonProcess_; }
    AppStateStore& appState() const { return *appState_; }
    ProcessingStore& processing() const { return *processing_; }
    QuestionService& questions() const { return *questions_; }

    bool started() const { return started_; }

    // Brings the vault up in its shorter order. Does nothing once started; a second caller
    // while a start is under way waits for that start.
    QCoro::Task<> start();

    bool daemonIsRunning() const;

    // Restarts the whole vault when its daemon is gone; asked before automation talks to it.
    QCoro::Task<> reviveIfNeeded();

    // At quit: stops a daemon this process spawned, leaves an adopted one running.
    void shutdown();

signals:
    void startedChanged();

private:
    void setStarted(bool started);

    QString vaultRoot_;
    ConfigService* config_ = nullptr;
    DatabaseService* database_ = nullptr;
    DaemonService* daemon_ = nullptr;
    DaemonProcess* daemonProcess_ = nullptr;
    AppStateStore* appState_ = nullptr;
    ProcessingStore* processing_ = nullptr;
    QuestionService* questions_ = nullptr;
    bool started_ = false;
    bool starting_ = false;
};

} // namespace mnemora

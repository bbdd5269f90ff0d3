#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <QCoroTask>

#include <QJsonArray>

#include <memory>

#include "platform/Expected.h"
#include "runtime/VaultServices.h"

namespace mnemora {

class AppDelegate;
class CloseStatusMirrorService;
class DreamerControl;
class FreedesktopNotificationService;
class IntrospectionServer;
class MigrationGate;
class MigrationService;
class NotificationService;
class PowerMonitor;
class PromptSeedService;
class QuotaWatcher;
class SkillSeedService;
class SourceSeedService;
class SyncedDocsBridgeService;
class UserDefaults;

// The composition root of the primary vault. It owns that vault's services for the life of the
// process, wires them, and brings them up in one strict order on the main thread: no step starts
// while an earlier one is pending, and a failing step leaves its error in its own service's
// state and the next step runs.
class MnemoraApp : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool migrationReady READ migrationReady WRITE setMigrationReady NOTIFY
                   migrationReadyChanged)
    Q_PROPERTY(bool started READ started NOTIFY startedChanged)

public:
    explicit MnemoraApp(QObject* parent = nullptr);
    ~MnemoraApp() override;

    AppDelegate& appDelegate() const { return *appDelegate_; }
    VaultServices& services() const { return *services_; }
    DaemonService& daemonService() const;
    DaemonProcess& daemonProcess() const;
    ConfigService& config() const;
    AppStateStore& appState() const;
    UserDefaults& userDefaults() const { return *userDefaults_; }
    DatabaseService& database() const;
    QuestionService& questions() const;
    ProcessingStore& processingStore() const;
    SkillSeedService& skillSeeds() const { return *skillSeeds_; }
    PromptSeedService& promptSeeds() const { return *promptSeeds_; }
    SourceSeedService& sourceSeeds() const { return *sourceSeeds_; }
    DreamerControl& dreamer() const { return *dreamer_; }
    MigrationService& migration() const { return *migration_; }
    MigrationGate& migrationGate() const { return *migrationGate_; }
    PowerMonitor& powerMonitor() const { return *powerMonitor_; }
    NotificationService& notifications() const;
    QuotaWatcher& quotaWatcher() const { return *quotaWatcher_; }
    // None until start-up has brought companion sync up.
    CloseStatusMirrorService* closeStatusMirror() const;
    IntrospectionServer& introspection() const { return *introspection_; }
    // The primary vault's synced documents bridge, once start-up has built it.
    SyncedDocsBridgeService* syncedDocsBridge() const;

    // The record store's zones of synced documents with their vault scopes, as automation lists
    // them; and the removal of one vault's zones (never the primary vault's).
    static QCoro::Task<Expected<QJsonArray>> listSyncZones();
    static QCoro::Task<Expected<QStringList>> forgetSyncZones(QString scope);

    bool migrationReady() const { return migrationReady_; }
    void setMigrationReady(bool ready);

    // True once every start-up step has run.
    bool started() const { return started_; }

    // The names of the start-up steps that have run, in order.
    const QStringList& completedSteps() const { return completedSteps_; }

    // Starts the start-up task; it runs on the main thread as the event loop turns.
    void launch();

    // The start-up order itself, awaitable by tests.
    QCoro::Task<> startUp();

signals:
    void migrationReadyChanged();
    void startedChanged();
    void stepCompleted(const QString& step);

private:
    void markStep(const QString& step);
    QCoro::Task<> applyFirstRunDefaults();
    QCoro::Task<> refreshSeeds();
    void addPrimarySteps(VaultServices::ExtraSteps& steps);
    void startIntrospection();
    QString startCompanionSync();

    AppDelegate* appDelegate_ = nullptr;
    VaultServices* services_ = nullptr;
    IntrospectionServer* introspection_ = nullptr;
    std::unique_ptr<UserDefaults> userDefaults_;
    SkillSeedService* skillSeeds_ = nullptr;
    PromptSeedService* promptSeeds_ = nullptr;
    SourceSeedService* sourceSeeds_ = nullptr;
    DreamerControl* dreamer_ = nullptr;
    MigrationService* migration_ = nullptr;
    MigrationGate* migrationGate_ = nullptr;
    PowerMonitor* powerMonitor_ = nullptr;
    FreedesktopNotificationService* notifications_ = nullptr;
    QuotaWatcher* quotaWatcher_ = nullptr;

    bool migrationReady_ = false;
    bool started_ = false;
    bool launched_ = false;
    QStringList completedSteps_;
};

} // namespace mnemora

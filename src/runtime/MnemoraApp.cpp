#include "runtime/MnemoraApp.h"

#include "app/AppStateStore.h"
#include "app/Brand.h"
#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/UserDefaults.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/DefaultsBootstrap.h"
#include "daemon/PowerMonitor.h"
#include "daemon/ProcessingStore.h"
#include "integrations/DreamerControl.h"
#include "integrations/PromptSeedService.h"
#include "integrations/SkillSeedService.h"
#include "integrations/SourceSeedService.h"
#include "introspection/IntrospectionServer.h"
#include "migration/MigrationGate.h"
#include "migration/MigrationService.h"
#include "periodclose/CloseStatusMirrorService.h"
#include "periodclose/QuotaWatcher.h"
#include "platform/FreedesktopNotificationService.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "runtime/AppDelegate.h"
#include "runtime/SyncedDocsStack.h"
#include "runtime/VaultManager.h"
#include "runtime/VaultServices.h"
#include "runtime/VaultWindowModel.h"
#include "sync/CompanionZoneMaintenance.h"
#include "sync/SyncLog.h"
#include "sync/SyncedDocsBridgeService.h"

namespace mnemora {

MnemoraApp::MnemoraApp(QObject* parent)
    : QObject(parent)
    , appDelegate_(new AppDelegate(this))
    , services_(new VaultServices(std::nullopt, this))
    , introspection_(new IntrospectionServer(this))
    , userDefaults_(std::make_unique<UserDefaults>())
    , skillSeeds_(new SkillSeedService(this))
    , promptSeeds_(new PromptSeedService(this))
    , sourceSeeds_(new SourceSeedService(this))
    , dreamer_(new DreamerControl(this))
    , migration_(new MigrationService(this))
    , migrationGate_(new MigrationGate(*migration_, this))
    , powerMonitor_(new PowerMonitor(this))
    , notifications_(new FreedesktopNotificationService(appDisplayName(), bundleIdentifier(),
                                                        QDBusConnection::sessionBus(), this))
    , quotaWatcher_(new QuotaWatcher(notifications_, this)) {
    // The application's flag mirrors the gate, for whoever asks the application.
    connect(migrationGate_, &MigrationGate::readyChanged, this,
            [this] { setMigrationReady(migrationGate_->ready()); });
    // With no window here, the log stands in for the status display of the primary daemon.
    connect(&services_->daemonProcess(), &DaemonProcess::modeChanged, this, [this] {
        Log::line(QStringLiteral("MnemoraApp"),
                  QStringLiteral("daemon ") + services_->daemonProcess().mode().description());
    });
}

SyncedDocsBridgeService* MnemoraApp::syncedDocsBridge() const {
    return services_->syncedDocsBridge();
}

DaemonService& MnemoraApp::daemonService() const {
    return services_->daemon();
}
DaemonProcess& MnemoraApp::daemonProcess() const {
    return services_->daemonProcess();
}
ConfigService& MnemoraApp::config() const {
    return services_->config();
}
AppStateStore& MnemoraApp::appState() const {
    return services_->appState();
}
DatabaseService& MnemoraApp::database() const {
    return services_->database();
}
QuestionService& MnemoraApp::questions() const {
    return services_->questions();
}
ProcessingStore& MnemoraApp::processingStore() const {
    return services_->processing();
}

NotificationService& MnemoraApp::notifications() const {
    return *notifications_;
}
CloseStatusMirrorService* MnemoraApp::closeStatusMirror() const {
    return services_->closeStatusMirror();
}

MnemoraApp::~MnemoraApp() = default;

void MnemoraApp::setMigrationReady(bool ready) {
    if (migrationReady_ != ready) {
        migrationReady_ = ready;
        emit migrationReadyChanged();
    }
}

void MnemoraApp::markStep(const QString& step) {
    completedSteps_ << step;
    Log::line(QStringLiteral("MnemoraApp"), QStringLiteral("start-up: ") + step);
    emit stepCompleted(step);
}

void MnemoraApp::launch() {
    if (launched_) {
        return;
    }
    launched_ = true;
    // The primary window's start-up is this task: from now on no vault window needs to open it.
    VaultWindowModel::markMainAppeared();
    appDelegate_->applicationDidFinishLaunching();
    startUp();
}

void MnemoraApp::startIntrospection() {
    introspection_->setHooks(
        {[this](const QString& slug, const QString& displayName) -> Expected<QString> {
             const DemoVault::Result made = VaultManager::shared().makeDemoVault(slug, displayName);
             if (!made.ok()) {
                 return fail(made.error);
             }
             services_->appState().setPendingOpenWindow(
                 OpenWindowRequest{QStringLiteral("vault-window"), made.vaultPath});
             return made.vaultPath;
         },
         [](const QString& vaultPath) {
             VaultManager* vaults = VaultManager::existing();
             return vaults && vaults->hasRuntime(vaultPath) && vaults->restartBridge(vaultPath);
         },
         [] { return listSyncZones(); },
         [](const QString& scope) { return forgetSyncZones(scope); }});
    introspection_->attach(std::nullopt, services_->windowContext());
    introspection_->start();
}

QCoro::Task<> MnemoraApp::applyFirstRunDefaults() {
    // Its outcome is already in the log and the configuration; start-up goes on either way.
    QCoro::Task<DefaultsBootstrap::Outcome> bootstrap =
        DefaultsBootstrap::run(&services_->config());
    co_await bootstrap;
}

QCoro::Task<> MnemoraApp::refreshSeeds() {
    QPointer<MnemoraApp> self(this);
    QCoro::Task<> skills = skillSeeds_->refresh();
    co_await skills;
    if (!self) {
        co_return;
    }
    QCoro::Task<> prompts = promptSeeds_->refresh();
    co_await prompts;
    if (!self) {
        co_return;
    }
    QCoro::Task<> sources = sourceSeeds_->refresh();
    co_await sources;
}

// The services only the primary vault has: seeds, dreamer sessions, migrations, power and the
// watch on usage limits and cut-off closes.
void MnemoraApp::addPrimarySteps(VaultServices::ExtraSteps& steps) {
    using Slot = VaultServices::Slot;
    steps.emplace(Slot::afterWiring,
                  VaultServices::now(QStringLiteral("integrations wired"), [this] {
                      ConfigService* config = &services_->config();
                      skillSeeds_->setConfig(config);
                      skillSeeds_->setDaemon(&services_->daemon());
                      promptSeeds_->setConfig(config);
                      sourceSeeds_->setConfig(config);
                      dreamer_->setDaemon(&services_->daemon());
                  }));
    steps.emplace(Slot::afterWiring, VaultServices::now(QStringLiteral("delegate wired"), [this] {
                      appDelegate_->setDaemon(&services_->daemonProcess());
                  }));
    // Automation works while the daemon is still coming up.
    steps.emplace(Slot::afterWiring, VaultServices::now(QStringLiteral("introspection server"),
                                                        [this] { startIntrospection(); }));
    // The onboarding overlay for a user who has not finished it.
    steps.emplace(
        Slot::afterWiring, VaultServices::now(QStringLiteral("onboarding flag read"), [this] {
            if (!userDefaults_->boolValue(QString::fromLatin1(UserDefaults::onboardingComplete))) {
                services_->appState().setShowOnboarding(true);
            }
        }));
    // The gate may close from here on; the status comes in the background, and a daemon that
    // is not up yet leaves it open.
    steps.emplace(Slot::afterDaemon, VaultServices::now(QStringLiteral("migration wired"), [this] {
                      migration_->setDaemon(&services_->daemon());
                      migrationGate_->setReady(true);
                      migration_->retry();
                  }));
    steps.emplace(Slot::afterOpenQuestions,
                  VaultServices::now(QStringLiteral("power monitor"),
                                     [this] { powerMonitor_->start(&services_->daemon()); }));
    steps.emplace(Slot::afterOpenQuestions,
                  VaultServices::now(QStringLiteral("quota watcher"),
                                     [this] { quotaWatcher_->start(&services_->daemon()); }));
    // First-run defaults from the daemon, once.
    steps.emplace(Slot::afterOpenQuestions,
                  StartupStep{QStringLiteral("first-run defaults"),
                              [this] { return applyFirstRunDefaults(); }});
    steps.emplace(Slot::afterOpenQuestions,
                  StartupStep{QStringLiteral("seeds"), [this] { return refreshSeeds(); }});
    // Once the seeds are in: the synced documents bridge of the primary vault (scope ""). The
    // services that write synced documents start after it, so their first writes are seen.
    steps.emplace(Slot::afterOpenQuestions,
                  StartupStep{QStringLiteral("synced docs bridge"), [this] {
                                  return services_->startSyncedDocs(services_->config().vaultRoot(),
                                                                    QString(), SyncLog());
                              }});
    steps.emplace(Slot::afterOpenQuestions,
                  VaultServices::now(QStringLiteral("synced docs bridge wired"), [this] {
                      appDelegate_->setSyncedDocsBridge(services_->syncedDocsBridge());
                  }));
    // Last, the documents for the phone.
    auto outcome = std::make_shared<QString>();
    StartupStep companionSync = VaultServices::now(
        QStringLiteral("companion sync"), [this, outcome] { *outcome = startCompanionSync(); });
    companionSync.outcome = [outcome] { return *outcome; };
    steps.emplace(Slot::afterOpenQuestions, std::move(companionSync));
}

QCoro::Task<Expected<QJsonArray>> MnemoraApp::listSyncZones() {
    QCoro::Task<std::shared_ptr<RecordStore>> finding = SyncedDocsStack::configuredStore(SyncLog());
    const std::shared_ptr<RecordStore> store = co_await finding;
    QCoro::Task<Expected<QList<CompanionZoneMaintenance::Zone>>> listing =
        CompanionZoneMaintenance::listZones(store,
                                            core::SyncedDocCollectionConfig::launchDefaults());
    const Expected<QList<CompanionZoneMaintenance::Zone>> zones = co_await listing;
    if (!zones.ok()) {
        co_return fail(zones.error());
    }
    QJsonArray list;
    for (const CompanionZoneMaintenance::Zone& zone : zones.value()) {
        list.append(QJsonObject{{QStringLiteral("name"), zone.name},
                                {QStringLiteral("scope"), zone.scope}});
    }
    co_return list;
}

QCoro::Task<Expected<QStringList>> MnemoraApp::forgetSyncZones(QString scope) {
    if (scope.isEmpty()) {
        co_return fail(CompanionZoneMaintenance::refusedPrimaryScope);
    }
    QCoro::Task<std::shared_ptr<RecordStore>> finding = SyncedDocsStack::configuredStore(SyncLog());
    const std::shared_ptr<RecordStore> store = co_await finding;
    QCoro::Task<Expected<QStringList>> deleting = CompanionZoneMaintenance::deleteZones(
        store, scope, core::SyncedDocCollectionConfig::launchDefaults());
    co_return co_await deleting;
}

// The documents for the phone, once a cloud container is there to carry them.
QString MnemoraApp::startCompanionSync() {
    if (!VaultServices::companionSyncAvailable()) {
        return QStringLiteral("off, no record store is set up");
    }
    const QString vaultRoot = services_->config().vaultRoot();
    services_->startQuestionsMirror(vaultRoot, IdentityScope::active(), QString());
    services_->startCloseStatusMirror(vaultRoot, QString());
    return QStringLiteral("questions and close status mirrors started");
}

QCoro::Task<> MnemoraApp::startUp() {
    VaultServices::ExtraSteps primaryOnly;
    addPrimarySteps(primaryOnly);

    QPointer<MnemoraApp> self(this);
    QCoro::Task<> steps = VaultServices::run(services_->startupSteps(primaryOnly), this,
                                             [this](const QString& step) { markStep(step); });
    co_await steps;
    if (!self) {
        co_return;
    }
    started_ = true;
    emit startedChanged();
}

} // namespace mnemora

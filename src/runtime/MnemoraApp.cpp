#include "runtime/MnemoraApp.h"

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/DefaultsBootstrap.h"
#include "app/Log.h"
#include "app/UserDefaults.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "runtime/AppDelegate.h"
#include "runtime/VaultWindowModel.h"

namespace mnemora {

MnemoraApp::MnemoraApp(QObject* parent)
    : QObject(parent)
    , appDelegate_(new AppDelegate(this))
    , daemonService_(new DaemonService(this))
    , daemonProcess_(new DaemonProcess(this))
    , config_(new ConfigService(this))
    , appState_(new AppStateStore(this))
    , userDefaults_(std::make_unique<UserDefaults>())
    , database_(new DatabaseService(this))
    , questions_(new QuestionService(this))
    , processingStore_(new ProcessingStore(this)) {
    // With no window here, the log stands in for the status display of the primary daemon.
    connect(daemonProcess_, &DaemonProcess::modeChanged, this, [this] {
        Log::line(QStringLiteral("MnemoraApp"),
                  QStringLiteral("daemon ") + daemonProcess_->mode().description());
    });
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

QCoro::Task<> MnemoraApp::startUp() {
    QPointer<MnemoraApp> self(this);

    // 1. Configuration.
    config_->load();
    if (!config_->lastError().isEmpty()) {
        Log::line(QStringLiteral("MnemoraApp"), config_->lastError());
    }
    markStep(QStringLiteral("configuration loaded"));

    // 2. Wiring: services hold each other weakly, set here before any of them runs.
    database_->setConfig(config_);
    daemonService_->setConfig(config_);
    daemonProcess_->setConfig(config_);
    appDelegate_->setDaemon(daemonProcess_);
    markStep(QStringLiteral("services wired"));

    // 4. The onboarding overlay for a user who has not finished it.
    if (!userDefaults_->boolValue(QString::fromLatin1(UserDefaults::onboardingComplete))) {
        appState_->setShowOnboarding(true);
    }
    markStep(QStringLiteral("onboarding flag read"));

    // 5. The daemon: adopted or spawned. Returns after the port wait at most; a slow daemon is
    // waited for in the background.
    co_await daemonProcess_->start();
    if (!self) {
        co_return;
    }
    markStep(QStringLiteral("daemon: ") + daemonProcess_->mode().description());

    // 6. The clients that need a daemon to talk to.
    processingStore_->setDaemon(daemonService_);

    // 7. The daemon's index; a missing one is normal until the daemon has built it.
    co_await database_->open();
    if (!self) {
        co_return;
    }
    markStep(QStringLiteral("index opened"));

    // 8. Status polling, the first poll at once.
    daemonService_->start();
    markStep(QStringLiteral("status polling"));

    // 9. The event stream, then the watchdog over the polled status.
    processingStore_->start();
    markStep(QStringLiteral("event stream"));
    daemonProcess_->startWatchdog(daemonService_);
    markStep(QStringLiteral("daemon watchdog"));

    // 10. The first load of the questions the screens list.
    co_await database_->loadOpenQuestions();
    if (!self) {
        co_return;
    }
    markStep(QStringLiteral("open questions loaded"));

    // 12. First-run defaults from the daemon, once.
    co_await DefaultsBootstrap::run(config_);
    if (!self) {
        co_return;
    }
    markStep(QStringLiteral("first-run defaults"));

    started_ = true;
    emit startedChanged();
}

} // namespace mnemora

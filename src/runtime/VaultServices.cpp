#include "runtime/VaultServices.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include "app/AppStateStore.h"
#include "app/Brand.h"
#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/UserDefaults.h"
#include "app/VaultPaths.h"
#include "cloud/CompanionPublisher.h"
#include "cloud/CouchRecordStore.h"
#include "cloud/RecordStore.h"
#include "cloud/SyncedDocsContainer.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "periodclose/CloseStatusMirrorService.h"
#include "questions/QuestionService.h"
#include "questions/QuestionsDocMirrorService.h"
#include "registry/DatabaseService.h"
#include "runtime/SyncedDocsStack.h"
#include "sync/SyncLog.h"
#include "sync/SyncedDocsBridgeService.h"

namespace mnemora {

namespace {

QCoro::Task<> finished() {
    co_return;
}

// Brings the phone's app in the account database up to date with the bundle's copy. The store is
// shared, so the publishing outlives nothing it needs.
QCoro::Task<> publishCompanion(std::shared_ptr<RecordStore> store) {
    auto* couch = dynamic_cast<CouchRecordStore*>(store.get());
    if (couch == nullptr) {
        co_return;
    }
    const QString source = QStringLiteral("Companion");
    const QString url = CompanionPublisher::appUrl(couch->accountUrl()).toString();
    QCoro::Task<Expected<CompanionPublisher::Outcome>> publishing =
        CompanionPublisher::publish(*couch, CompanionPublisher::bundledFolder());
    const Expected<CompanionPublisher::Outcome> outcome = co_await publishing;
    if (!outcome.ok()) {
        Log::line(source, QStringLiteral("the phone app was not published: ") + outcome.error());
    } else if (outcome.value() == CompanionPublisher::Outcome::published) {
        Log::line(source, QStringLiteral("published the phone app at ") + url);
    } else {
        Log::line(source, QStringLiteral("the phone app is up to date at ") + url);
    }
}

} // namespace

VaultServices::VaultServices(const std::optional<QString>& vaultRoot, QObject* parent)
    : QObject(parent) {
    // Each override is set right after its service is built, before anything can read.
    config_ = new ConfigService(this);
    const QString cacheFolder = vaultRoot ? VaultPaths::vaultCacheFolder(*vaultRoot) : QString();
    if (vaultRoot) {
        config_->setConfigPathOverride(VaultPaths::vaultConfigFile(*vaultRoot));
    }
    database_ = new DatabaseService(this);
    daemon_ = new DaemonService(this);
    daemonProcess_ = new DaemonProcess(this);
    if (vaultRoot) {
        database_->setCacheDirOverride(cacheFolder);
        daemon_->setCacheDirOverride(cacheFolder);
        daemonProcess_->setCacheDirOverride(cacheFolder);
        daemonProcess_->setConfigDirOverride(QFileInfo(config_->filePath()).absolutePath());
        daemonProcess_->setLogNameSuffix(QFileInfo(cacheFolder).fileName());
    }
    appState_ = new AppStateStore(this);
    processing_ = new ProcessingStore(this);
    questions_ = new QuestionService(this);
}

VaultServices::~VaultServices() {
    stopSyncedDocs();
}

SyncedDocsBridgeService* VaultServices::syncedDocsBridge() const {
    return syncedDocs_ ? &syncedDocs_->bridge() : nullptr;
}

QCoro::Task<> VaultServices::startSyncedDocs(QString vaultRoot, QString zoneScope, SyncLog log) {
    if (syncedDocs_ || syncedDocsStarting_ ||
        !SyncedDocsContainer::identifier(bundleIdentifier())) {
        co_return;
    }
    QPointer<VaultServices> self(this);
    syncedDocsStarting_ = true;
    QCoro::Task<std::shared_ptr<RecordStore>> finding = SyncedDocsStack::configuredStore(log);
    std::shared_ptr<RecordStore> store = co_await finding;
    if (!self) {
        co_return;
    }
    self->syncedDocsStarting_ = false;
    if (store && zoneScope.isEmpty()) {
        // The primary vault's start publishes the phone's app; other vaults share its database.
        // Runs detached: it holds the store and nothing of this.
        publishCompanion(store);
    }
    self->syncedDocs_ = SyncedDocsStack::open(zoneScope, self->daemon_, std::move(store), log);
    if (self->syncedDocs_) {
        self->syncedDocs_->bridge().start(vaultRoot + QStringLiteral("/Notes"));
        emit self->syncedDocsBridgeChanged();
    }
}

void VaultServices::stopSyncedDocs() {
    if (syncedDocs_) {
        syncedDocs_->bridge().stop();
        syncedDocs_.reset();
        emit syncedDocsBridgeChanged();
    }
}

WindowContext VaultServices::windowContext() const {
    WindowContext context;
    context.appState = appState_;
    context.database = database_;
    context.daemon = daemon_;
    context.daemonProcess = daemonProcess_;
    context.questionService = questions_;
    context.config = config_;
    return context;
}

bool VaultServices::companionSyncAvailable() {
    const QSettings defaults(UserDefaults().filePath(), QSettings::IniFormat);
    return SyncedDocsContainer::current(RecordStoreSettings::read(defaults)).has_value();
}

void VaultServices::startCloseStatusMirror(const QString& vaultRoot, const QString& logLabel) {
    if (!closeStatusMirror_) {
        closeStatusMirror_ =
            new CloseStatusMirrorService(database_, daemon_, SyncLog(logLabel),
                                         QDir(QDir::cleanPath(vaultRoot)).dirName(), this);
    }
    closeStatusMirror_->setFallbackBusiness(config_->activeIdentityDisplayName());
    closeStatusMirror_->start(vaultRoot + QStringLiteral("/Notes"));
}

void VaultServices::dropCloseStatusMirror() {
    delete std::exchange(closeStatusMirror_, nullptr);
}

void VaultServices::startQuestionsMirror(const QString& vaultRoot, const IdentityScope& scope,
                                         const QString& logLabel) {
    dropQuestionsMirror();
    questionsMirror_ =
        new QuestionsDocMirrorService(database_, questions_, daemon_, SyncLog(logLabel), this);
    questionsMirror_->setMirrorScope(scope);
    questionsMirror_->start(vaultRoot + QStringLiteral("/Notes"),
                            vaultRoot + QStringLiteral("/Registry"));
}

void VaultServices::dropQuestionsMirror() {
    delete std::exchange(questionsMirror_, nullptr);
}

StartupStep VaultServices::now(QString name, std::function<void()> action) {
    return {std::move(name), [action = std::move(action)] {
                action();
                return finished();
            }};
}

std::vector<StartupStep> VaultServices::startupSteps(const ExtraSteps& extra) {
    std::vector<StartupStep> steps;
    const auto add = [&](Slot slot) {
        const auto [first, last] = extra.equal_range(slot);
        for (auto it = first; it != last; ++it) {
            steps.push_back(it->second);
        }
    };
    steps.push_back(now(QStringLiteral("configuration loaded"), [this] {
        config_->load();
        if (!config_->lastError().isEmpty()) {
            Log::line(QStringLiteral("Startup"), config_->lastError());
        }
    }));
    // Services hold each other weakly; the references are set before any of them runs.
    steps.push_back(now(QStringLiteral("services wired"), [this] {
        database_->setConfig(config_);
        daemon_->setConfig(config_);
        daemonProcess_->setConfig(config_);
    }));
    add(Slot::afterWiring);
    // Returns once the daemon is attached, or after the port wait; a slow daemon is waited for
    // in the background.
    steps.push_back({QStringLiteral("daemon"), [this] { return daemonProcess_->start(); },
                     [this] { return daemonProcess_->mode().description(); }});
    steps.push_back(
        now(QStringLiteral("daemon clients wired"), [this] { processing_->setDaemon(daemon_); }));
    add(Slot::afterDaemon);
    // A missing index is normal until the daemon has built it.
    steps.push_back({QStringLiteral("index opened"), [this] { return database_->open(); }});
    steps.push_back(now(QStringLiteral("status polling"), [this] { daemon_->start(); }));
    steps.push_back(now(QStringLiteral("event stream"), [this] { processing_->start(); }));
    steps.push_back(
        now(QStringLiteral("daemon watchdog"), [this] { daemonProcess_->startWatchdog(daemon_); }));
    steps.push_back({QStringLiteral("open questions loaded"),
                     [this] { return database_->loadOpenQuestions(); }});
    add(Slot::afterOpenQuestions);
    return steps;
}

QCoro::Task<> VaultServices::run(std::vector<StartupStep> steps, QPointer<QObject> owner,
                                 std::function<void(const QString&)> ran) {
    for (StartupStep& step : steps) {
        QCoro::Task<> task = step.run();
        co_await task;
        if (!owner) {
            co_return;
        }
        ran(step.outcome ? step.name + QStringLiteral(": ") + step.outcome() : step.name);
    }
}

} // namespace mnemora

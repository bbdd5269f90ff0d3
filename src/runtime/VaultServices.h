#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include "introspection/WindowContext.h"
#include "registry/IdentityScope.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace mnemora {

class AppStateStore;
class CloseStatusMirrorService;
class ConfigService;
class DaemonProcess;
class DaemonService;
class DatabaseService;
class ProcessingStore;
class QuestionService;
class QuestionsDocMirrorService;
class SyncLog;
class SyncedDocsBridgeService;
class SyncedDocsStack;

// One named step of a start-up. `run` returns the step's task; a step with nothing to await
// returns a finished one. When `outcome` is set, the name that is reported once the step has run
// is "{name}: {outcome}".
struct StartupStep {
    QString name;
    std::function<QCoro::Task<>()> run;
    std::function<QString()> outcome = {};
};

// The services every vault has, the primary one and each vault window's alike, and the one
// ordered list of steps that brings them up. A composition root adds its own steps at the named
// places of that list instead of keeping a copy of it.
class VaultServices : public QObject {
    Q_OBJECT

public:
    // The places in the shared order where a root puts steps of its own.
    enum class Slot {
        afterWiring,        // before the daemon: things that must work while it comes up
        afterDaemon,        // the daemon is attached or being waited for
        afterOpenQuestions, // everything shared is up
    };
    using ExtraSteps = std::multimap<Slot, StartupStep>;

    // With a vault root, the services are a vault window's: their configuration, cache and log
    // locations are that vault's, set before anything reads. Without one they serve the primary
    // vault at the user's locations. Nothing touches the disk here.
    explicit VaultServices(const std::optional<QString>& vaultRoot, QObject* parent = nullptr);
    ~VaultServices() override;

    ConfigService& config() const { return *config_; }
    DatabaseService& database() const { return *database_; }
    DaemonService& daemon() const { return *daemon_; }
    DaemonProcess& daemonProcess() const { return *daemonProcess_; }
    AppStateStore& appState() const { return *appState_; }
    ProcessingStore& processing() const { return *processing_; }
    QuestionService& questions() const { return *questions_; }

    // The bridge of this vault's synced documents; null until started, and for good when the
    // brand has no record store container or the sidecar cannot be opened.
    SyncedDocsBridgeService* syncedDocsBridge() const;

    // Builds and starts the bridge over `{vaultRoot}/Notes` with the vault's zone scope, the
    // record store the settings name and the scope's sidecar. Does nothing when a bridge is
    // there or being built.
    QCoro::Task<> startSyncedDocs(QString vaultRoot, QString zoneScope, SyncLog log);
    // Stops and drops the bridge, keeping the sync engine's state.
    void stopSyncedDocs();
    // True when the bundle has a cloud container to sync to, which needs a record store set up.
    static bool companionSyncAvailable();

    // The mirror of the close status for the phone; none until companion sync starts it.
    CloseStatusMirrorService* closeStatusMirror() const { return closeStatusMirror_; }
    // Builds the mirror when there is none, and starts it on `{vaultRoot}/Notes`, the vault's last
    // path component as its display name; `logLabel` marks its log lines (empty for the primary).
    void startCloseStatusMirror(const QString& vaultRoot, const QString& logLabel);
    // Stops the mirror and drops it.
    void dropCloseStatusMirror();

    // The mirror of the phone's questions inbox; none until companion sync starts it.
    QuestionsDocMirrorService* questionsMirror() const { return questionsMirror_; }
    // Builds the mirror over `{vaultRoot}/Notes` and `{vaultRoot}/Registry`, showing the questions
    // of `scope`, and starts it with its 5 s interval, replacing one started before; `logLabel`
    // marks its log lines (empty for the primary).
    void startQuestionsMirror(const QString& vaultRoot, const IdentityScope& scope,
                              const QString& logLabel);
    // Cancels the mirror's loop and drops it.
    void dropQuestionsMirror();

    // What automation reads and drives of a window showing these services.
    WindowContext windowContext() const;

    // The whole start-up order, the shared steps with `extra` at their places.
    std::vector<StartupStep> startupSteps(const ExtraSteps& extra);

    // Runs `steps` strictly in order: no step starts while an earlier one is pending. A step
    // that fails leaves its error in its own service, and the next step runs. `ran` hears the
    // name of each step once it has run. Ends early when `owner` goes away.
    static QCoro::Task<> run(std::vector<StartupStep> steps, QPointer<QObject> owner,
                             std::function<void(const QString&)> ran);

    // A step with nothing to await.
    static StartupStep now(QString name, std::function<void()> action);

signals:
    void syncedDocsBridgeChanged();

private:
    ConfigService* config_ = nullptr;
    DatabaseService* database_ = nullptr;
    DaemonService* daemon_ = nullptr;
    DaemonProcess* daemonProcess_ = nullptr;
    AppStateStore* appState_ = nullptr;
    ProcessingStore* processing_ = nullptr;
    QuestionService* questions_ = nullptr;
    std::unique_ptr<SyncedDocsStack> syncedDocs_;
    bool syncedDocsStarting_ = false;
    CloseStatusMirrorService* closeStatusMirror_ = nullptr;
    QuestionsDocMirrorService* questionsMirror_ = nullptr;
};

} // namespace mnemora

#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "registry/Question.h"
#include "runtime/VaultServices.h"

namespace mnemora {

class DreamerControl;
class MigrationGate;
class MnemoraApp;
class PromptSeedService;
class QuotaWatcher;
class SkillSeedService;
class SourceSeedService;
class VaultRuntime;

// The services one window shows: the primary vault's, owned by the application, or a further
// vault's, owned by its runtime. Both owners live for the whole process, so a window holds them
// plainly.
struct WindowServices {
    AppStateStore* appState = nullptr;
    ConfigService* config = nullptr;
    DatabaseService* database = nullptr;
    DaemonService* daemon = nullptr;
    DaemonProcess* daemonProcess = nullptr;
    ProcessingStore* processing = nullptr;
    QuestionService* questions = nullptr;
    QString name;                     // the app's name, or the vault folder's
    std::optional<QString> vaultRoot; // none for the primary window

    // What only the primary window has: seeds, dreamer sessions, the migration gate and the
    // application's watcher of usage pauses and cut-off runs.
    SkillSeedService* skillSeeds = nullptr;
    PromptSeedService* promptSeeds = nullptr;
    SourceSeedService* sourceSeeds = nullptr;
    DreamerControl* dreamer = nullptr;
    MigrationGate* migrationGate = nullptr;
    QuotaWatcher* quota = nullptr;

    bool isPrimary() const { return !vaultRoot.has_value(); }

    // The questions still open: open in the index, and not yet answered or dismissed in their
    // file, which the index can lag behind.
    QList<Question> openQuestions() const;

    static WindowServices primary(MnemoraApp& app);
    static WindowServices vault(VaultRuntime& runtime);
};

} // namespace mnemora

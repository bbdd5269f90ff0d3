#include "ui/WindowServices.h"

#include <QFileInfo>

#include "app/Brand.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "runtime/MnemoraApp.h"
#include "runtime/VaultRuntime.h"

namespace mnemora {

QList<Question> WindowServices::openQuestions() const {
    QList<Question> open;
    for (const Question& question : database->openQuestions()) {
        if (question.status != Question::Status::open) {
            continue;
        }
        const std::optional<QString> fileStatus =
            QuestionService::frontmatterValue(question.filePath, QStringLiteral("status"));
        if (fileStatus && Question::statusFromWord(*fileStatus) != Question::Status::open) {
            continue;
        }
        open << question;
    }
    return open;
}

namespace {

// A window's view of one vault's services, whichever root owns them.
WindowServices viewOf(VaultServices& stack, QString name, std::optional<QString> vaultRoot) {
    return {&stack.appState(),  &stack.config(),        &stack.database(),
            &stack.daemon(),    &stack.daemonProcess(), &stack.processing(),
            &stack.questions(), std::move(name),        std::move(vaultRoot)};
}

} // namespace

WindowServices WindowServices::primary(MnemoraApp& app) {
    WindowServices services = viewOf(app.services(), appDisplayName(), std::nullopt);
    services.skillSeeds = &app.skillSeeds();
    services.promptSeeds = &app.promptSeeds();
    services.sourceSeeds = &app.sourceSeeds();
    services.dreamer = &app.dreamer();
    services.migrationGate = &app.migrationGate();
    services.quota = &app.quotaWatcher();
    return services;
}

WindowServices WindowServices::vault(VaultRuntime& runtime) {
    return viewOf(runtime.services(), QFileInfo(runtime.vaultRoot()).fileName(),
                  runtime.vaultRoot());
}

} // namespace mnemora

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

WindowServices WindowServices::primary(MnemoraApp& app) {
    WindowServices services{&app.appState(),      &app.config(),        &app.database(),
                            &app.daemonService(), &app.daemonProcess(), &app.processingStore(),
                            &app.questions(),     appDisplayName(),     std::nullopt};
    services.skillSeeds = &app.skillSeeds();
    services.promptSeeds = &app.promptSeeds();
    services.sourceSeeds = &app.sourceSeeds();
    services.dreamer = &app.dreamer();
    services.migrationGate = &app.migrationGate();
    return services;
}

WindowServices WindowServices::vault(VaultRuntime& runtime) {
    return {&runtime.appState(),      &runtime.config(),
            &runtime.database(),      &runtime.daemon(),
            &runtime.daemonProcess(), &runtime.processing(),
            &runtime.questions(),     QFileInfo(runtime.vaultRoot()).fileName(),
            runtime.vaultRoot()};
}

} // namespace mnemora

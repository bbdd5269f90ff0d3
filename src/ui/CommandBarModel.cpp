#include "ui/CommandBarModel.h"

#include "app/AppStateStore.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "integrations/SkillSeedService.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "ui/CommandList.h"

namespace mnemora {

namespace {

QVariantMap commandRow(const Command& command, bool firstOfGroup) {
    QVariantMap row{{QStringLiteral("id"), command.id},
                    {QStringLiteral("title"), command.title},
                    {QStringLiteral("subtitle"), command.subtitle.value_or(QString())},
                    {QStringLiteral("icon"), command.systemImage}};
    if (firstOfGroup) {
        row.insert(QStringLiteral("header"), CommandList::groupHeader(command.group));
    }
    return row;
}

} // namespace

CommandBarModel::CommandBarModel(const WindowServices& services, QObject* parent)
    : QObject(parent)
    , services_(services) {
    connect(services.database, &DatabaseService::openQuestionsChanged, this,
            &CommandBarModel::rebuild);
    if (services.skillSeeds) {
        connect(services.skillSeeds, &SkillSeedService::seedsChanged, this,
                &CommandBarModel::rebuild);
    }
    rebuild();
}

void CommandBarModel::setQuery(const QString& query) {
    if (query_ != query) {
        query_ = query;
        emit queryChanged();
        rebuild();
    }
}

void CommandBarModel::rebuild() {
    commands_ =
        CommandList::filter(CommandList::build(brand(), services_.openQuestions(), liveSessions_,
                                               services_.skillSeeds ? services_.skillSeeds->seeds()
                                                                    : QList<SkillSeed>()),
                            query_);
    rows_.clear();
    for (qsizetype i = 0; i < commands_.size(); ++i) {
        rows_ << commandRow(commands_[i], i == 0 || commands_[i - 1].group != commands_[i].group);
    }
    emit rowsChanged();
}

QString CommandBarModel::footer() const {
    return CommandList::resultCountText(commands_.size());
}

QString CommandBarModel::prompt() const {
    return CommandList::prompt();
}

QString CommandBarModel::failureTitle() const {
    return failureText_.isEmpty() ? QString() : CommandList::failureTitle();
}

void CommandBarModel::setFailure(const QString& text) {
    if (failureText_ != text) {
        failureText_ = text;
        emit failureChanged();
    }
}

void CommandBarModel::prepare() {
    setQuery(QString());
    setFailure(QString());
    // Started and left: the list gains its join entries when the answer comes.
    refreshSessions();
}

void CommandBarModel::run(int index) {
    if (index < 0 || index >= commands_.size()) {
        return;
    }
    // Started and left: a navigation is done at once; a join reports back through `failure`.
    runCommand(commands_.at(index));
}

void CommandBarModel::runQuery(const QString& query) {
    setQuery(query);
    run(0);
}

QCoro::Task<> CommandBarModel::runCommand(Command command) {
    QPointer<CommandBarModel> self(this);
    setFailure(QString());
    if (const auto* navigate = std::get_if<Command::Navigate>(&command.action)) {
        services_.appState->setSelection(navigate->item);
        services_.appState->setShowCommandBar(false);
        co_return;
    }
    if (const auto* join = std::get_if<Command::JoinSession>(&command.action)) {
        QCoro::Task<TerminalLauncher::Result> joining =
            services_.questions->joinSession(join->question, liveSessions_);
        const TerminalLauncher::Result result = co_await joining;
        if (!self) {
            co_return;
        }
        if (result) {
            setFailure(result->text());
        } else {
            services_.appState->setShowCommandBar(false);
        }
        co_return;
    }
    if (const auto* install = std::get_if<Command::InstallSkill>(&command.action)) {
        QPointer<SkillSeedService> skills = services_.skillSeeds;
        if (!skills) {
            co_return;
        }
        QCoro::Task<Expected<void>> launching = skills->launch(install->seedId);
        const Expected<void> result = co_await launching;
        if (!self) {
            co_return;
        }
        if (result.ok()) {
            services_.appState->setShowCommandBar(false);
        } else {
            setFailure(result.error());
        }
        co_return;
    }
    QCoro::Task<> loading = services_.database->loadOpenQuestions();
    co_await loading;
}

QCoro::Task<> CommandBarModel::refreshSessions() {
    QPointer<CommandBarModel> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetching =
        DaemonEndpoints::dreamerSessions(services_.daemon);
    const std::optional<DreamerSessions> live = co_await fetching;
    if (!self || !live) {
        co_return;
    }
    liveSessions_ = live->sessions;
    rebuild();
}

} // namespace mnemora

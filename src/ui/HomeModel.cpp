#include "ui/HomeModel.h"

#include "app/AppStateStore.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "runtime/DemoVault.h"
#include "runtime/VaultManager.h"

namespace mnemora {

namespace {

QVariantList suggestedActions(const Question& question) {
    QVariantList actions;
    for (const SuggestedAction& action :
         QuestionService::parseSuggestedActions(question.suggestedActionsRaw)) {
        actions << QVariantMap{{QStringLiteral("label"), action.label},
                               {QStringLiteral("answer"), action.answer}};
    }
    return actions;
}

QVariantMap questionRow(const Question& question) {
    return {{QStringLiteral("slug"), question.slug},
            {QStringLiteral("text"), question.text},
            {QStringLiteral("label"),
             QuestionService::kindLabel(question.kind, question.askedBy).value_or(QString())},
            {QStringLiteral("context"), question.context.value_or(QString())},
            {QStringLiteral("suggested"), suggestedActions(question)}};
}

QString countLine(qsizetype count) {
    return QString::number(count) +
           (count == 1 ? QStringLiteral(" open question") : QStringLiteral(" open questions"));
}

} // namespace

HomeModel::HomeModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::home, services, parent) {
    connect(services.database, &DatabaseService::openQuestionsChanged, this, &HomeModel::rebuild);
    rebuild();
}

bool HomeModel::canOpenDemo() const {
    return brand() == Brand::tallo && services().isPrimary();
}

void HomeModel::rebuild() {
    const QList<Question> open = services().openQuestions();
    QVariantList rows;
    QList<std::optional<QString>> kinds;
    for (const Question& question : open) {
        rows << questionRow(question);
        kinds << question.kind;
    }
    QStringList summary;
    if (!open.isEmpty()) {
        QString line = countLine(open.size());
        if (const auto estimate = QuestionService::answerEstimate(kinds)) {
            line += QStringLiteral(" · about ") + *estimate;
        }
        summary << line;
    }
    setRows(rows, summary);
}

std::optional<Question> HomeModel::find(const QString& slug) const {
    for (const Question& question : services().openQuestions()) {
        if (question.slug == slug) {
            return question;
        }
    }
    return std::nullopt;
}

bool HomeModel::answer(const QString& slug, const QString& text) {
    const std::optional<Question> question = find(slug);
    if (!question) {
        return false;
    }
    const QuestionService::Outcome outcome = services().questions->answerQuestion(*question, text);
    setErrorText(outcome ? outcome->text() : QString());
    rebuild();
    return !outcome;
}

bool HomeModel::dismiss(const QString& slug, const QString& reason) {
    const std::optional<Question> question = find(slug);
    if (!question) {
        return false;
    }
    const QuestionService::Outcome outcome =
        services().questions->dismissQuestion(*question, reason);
    setErrorText(outcome ? outcome->text() : QString());
    rebuild();
    return !outcome;
}

void HomeModel::join(const QString& slug) {
    // Started and left: the terminal opens on its own; the coroutine guards this model.
    joinSession(slug);
}

QCoro::Task<> HomeModel::joinSession(QString slug) {
    QPointer<HomeModel> self(this);
    const std::optional<Question> question = find(slug);
    if (!question) {
        co_return;
    }
    QCoro::Task<std::optional<DreamerSessions>> listing =
        DaemonEndpoints::dreamerSessions(services().daemon);
    const std::optional<DreamerSessions> live = co_await listing;
    if (!self) {
        co_return;
    }
    QCoro::Task<TerminalLauncher::Result> joining =
        services().questions->joinSession(*question, live ? live->sessions : QStringList());
    const TerminalLauncher::Result result = co_await joining;
    if (!self) {
        co_return;
    }
    setErrorText(result ? result->text() : QString());
}

void HomeModel::openDemo() {
    const DemoVault::Result made =
        VaultManager::shared().makeDemoVault(QString::fromLatin1(DemoVault::kTalloSlug),
                                             QString::fromLatin1(DemoVault::kTalloDisplayName));
    if (!made.ok()) {
        setErrorText(DemoVault::failureText(made.error, DemoVault::Origin::ownPeriod));
        return;
    }
    setErrorText(QString());
    services().appState->setPendingOpenWindow(
        OpenWindowRequest{QStringLiteral("vault-window"), made.vaultPath});
}

QCoro::Task<> HomeModel::load() {
    QPointer<HomeModel> self(this);
    QCoro::Task<> loading = services().database->loadOpenQuestions();
    co_await loading;
    if (!self) {
        co_return;
    }
    rebuild();
}

} // namespace mnemora

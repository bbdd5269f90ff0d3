#include "ui/HomeModel.h"

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"
#include "runtime/DemoVault.h"
#include "runtime/VaultManager.h"

namespace mnemora {

namespace {

QString countLine(qsizetype count) {
    return QString::number(count) +
           (count == 1 ? QStringLiteral(" open question") : QStringLiteral(" open questions"));
}

QString vaultOf(const WindowServices& services) {
    if (services.vaultRoot) {
        return *services.vaultRoot;
    }
    return services.config ? services.config->vaultRoot() : QString();
}

} // namespace

HomeModel::HomeModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::home, services, parent)
    , inbox_(new QuestionsInbox({QStringLiteral("Open questions"), QuestionsInbox::kHomeEmptyText,
                                 std::nullopt, true, true, true},
                                services.questions, services.daemon, vaultOf(services), brand(),
                                this)) {
    QPointer<HomeModel> self(this);
    inbox_->setOnChanged([self]() -> QCoro::Task<> {
        if (self) {
            self->reload();
        }
        co_return;
    });
    connect(services.database, &DatabaseService::openQuestionsChanged, this, &HomeModel::rebuild);
    rebuild();
}

bool HomeModel::canOpenDemo() const {
    return brand() == Brand::tallo && services().isPrimary();
}

void HomeModel::rebuild() {
    const QList<Question> open = services().openQuestions();
    inbox_->setQuestions(open);
    QVariantList rows;
    QList<std::optional<QString>> kinds;
    for (const Question& question : open) {
        rows << QVariantMap{{QStringLiteral("slug"), question.slug}};
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

void HomeModel::join(const QString& slug) {
    inbox_->join(slug);
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
    QCoro::Task<> naming = loadBooksNames();
    co_await naming;
}

QCoro::Task<> HomeModel::loadBooksNames() {
    QPointer<HomeModel> self(this);
    QCoro::Task<std::optional<QList<BooksRef>>> listing =
        DaemonEndpoints::closeBooks(services().daemon);
    const std::optional<QList<BooksRef>> books = co_await listing;
    if (!self || !books) {
        co_return;
    }
    QStringList names;
    for (const BooksRef& set : *books) {
        names << (set.name.isEmpty() ? set.slug : set.name);
    }
    inbox_->setBooksNames(names);
}

} // namespace mnemora

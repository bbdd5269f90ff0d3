#include "ui/TalloShellModel.h"

#include <QDate>
#include <QLocale>
#include <QSettings>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "cloud/RecordStoreSettings.h"
#include "daemon/DaemonEndpoints.h"
#include "integrations/DreamerControl.h"
#include "periodclose/PeriodCloseStore.h"
#include "periodclose/PeriodStepper.h"
#include "periodclose/PeriodWord.h"
#include "periodclose/QuotaWatcher.h"
#include "ui/CloseRunModel.h"
#include "ui/CloseSessionsModel.h"
#include "ui/DemoMonthOffer.h"
#include "ui/IntegrationsModel.h"
#include "ui/LetterModel.h"
#include "ui/ScreenTexts.h"

namespace mnemora {

namespace {

const QString kRunSurface = QStringLiteral("run");
const QString kQuestionsSurface = QStringLiteral("questions");
const QString kSessionsSurface = QStringLiteral("sessions");
const QString kPhoneSurface = QStringLiteral("phone");

RecordStoreSettings recordStore() {
    const QSettings defaults(UserDefaults().filePath(), QSettings::IniFormat);
    return RecordStoreSettings::read(defaults);
}

QString thisMonth() {
    return QDate::currentDate().toString(QStringLiteral("yyyy-MM"));
}

QString booksName(const QString& slug, const QList<BooksRef>& refs) {
    for (const BooksRef& ref : refs) {
        if (ref.slug == slug && !ref.name.trimmed().isEmpty()) {
            return ref.name.trimmed();
        }
    }
    return slug.isEmpty() ? QStringLiteral("Your books") : slug;
}

QString counted(const QString& label, qsizetype count) {
    return count > 0 ? label + QStringLiteral(" (%1)").arg(count) : label;
}

} // namespace

TalloShellModel::TalloShellModel(const WindowServices& services, QObject* parent)
    : HomeModel(services, parent)
    , store_(new PeriodCloseStore(services.vaultRoot, this))
    , close_(new CloseRunModel(store_, services.daemon, this))
    , letter_(new LetterModel(store_, services.daemon, this))
    , sessions_(new CloseSessionsModel(services.daemon, this))
    , demoOffer_(services.isPrimary() ? new DemoMonthOffer(services.appState, this) : nullptr)
    , watcher_(services.quota)
    , surface_(kRunSurface) {
    if (services.dreamer) {
        sessions_->setTerminal(&services.dreamer->terminal());
    }
    if (watcher_) {
        connect(watcher_, &QuotaWatcher::attentionChanged, this,
                &TalloShellModel::attentionChanged);
    }
    connect(close_, &CloseRunModel::reloadRequested, this, &TalloShellModel::reload);
    connect(close_, &CloseRunModel::changed, this, &TalloShellModel::announce);
    connect(sessions_, &CloseSessionsModel::changed, this, [this] {
        close_->setSessionAlive(sessions_->known() ? std::optional(sessions_->closeRunning())
                                                   : std::nullopt);
    });
    connect(this, &ScreenModel::rowsChanged, this, &TalloShellModel::announce);
    AppStateStore* state = services.appState;
    connect(state, &AppStateStore::pendingTalloDestinationChanged, this,
            &TalloShellModel::consumeDestination);
    connect(state, &AppStateStore::pendingPeriodStepChanged, this,
            &TalloShellModel::consumePeriodStep);
    connect(state, &AppStateStore::pendingBooksSelectionChanged, this,
            &TalloShellModel::consumeBooksSelection);
    consumeDestination();
    consumeBooksSelection();
    updateEmptyState();
}

TalloShellModel::~TalloShellModel() = default;

bool TalloShellModel::indexed() const {
    return store_->available();
}

bool TalloShellModel::hasRuns() const {
    return !store_->allRunsEverywhere().isEmpty();
}

QString TalloShellModel::startText() const {
    return sessions_->startText();
}

QVariantList TalloShellModel::books() const {
    QStringList slugs;
    for (const BooksRef& ref : booksRefs_) {
        slugs << ref.slug;
    }
    for (const PeriodSummary& run : store_->allRunsEverywhere()) {
        if (!slugs.contains(run.books)) {
            slugs << run.books;
        }
    }
    QVariantList list;
    for (const QString& slug : slugs) {
        list << QVariantMap{{QStringLiteral("slug"), slug},
                            {QStringLiteral("name"), booksName(slug, booksRefs_)}};
    }
    return list;
}

int TalloShellModel::booksIndex() const {
    const QVariantList list = books();
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (list[i].toMap().value(QStringLiteral("slug")).toString() == books_) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

QStringList TalloShellModel::periods() const {
    QStringList list;
    for (const PeriodSummary& run : store_->allRuns()) {
        list << run.period;
    }
    return list;
}

QVariantMap TalloShellModel::stepper() const {
    const PeriodStepper::State state = PeriodStepper::state(period_, periods(), QLocale());
    return {{QStringLiteral("label"), state.label},
            {QStringLiteral("accessibleName"), PeriodStepper::accessibleLabel(state)},
            {QStringLiteral("back"), state.back.period.value_or(QString())},
            {QStringLiteral("forward"), state.forward.period.value_or(QString())},
            {QStringLiteral("backHelp"), PeriodStepper::backHelp(state.back)},
            {QStringLiteral("forwardHelp"), PeriodStepper::forwardHelp(state.forward)}};
}

QVariantList TalloShellModel::surfaces() const {
    const auto surface = [](const QString& word, const QString& label) {
        return QVariantMap{{QStringLiteral("word"), word}, {QStringLiteral("label"), label}};
    };
    QVariantList list{
        surface(kRunSurface, QStringLiteral("Close")),
        surface(talloDestinationWord(TalloDestination::ledger), QStringLiteral("Ledger")),
        surface(talloDestinationWord(TalloDestination::photoReview),
                counted(QStringLiteral("Review"), store_->candidates().size())),
        surface(talloDestinationWord(TalloDestination::letter), QStringLiteral("Letter")),
        surface(kQuestionsSurface, counted(QStringLiteral("Questions"), rows().size())),
        surface(kSessionsSurface, QStringLiteral("Sessions"))};
    // Last, so that the places before it keep their index whether or not it is there.
    if (recordStore().isConfigured()) {
        list << surface(kPhoneSurface, QStringLiteral("Phone"));
    }
    return list;
}

QVariantMap TalloShellModel::companion() const {
    return IntegrationsModel::companionFor(recordStore());
}

void TalloShellModel::setSurface(const QString& word) {
    if (word == surface_) {
        return;
    }
    for (const QVariant& each : surfaces()) {
        if (each.toMap().value(QStringLiteral("word")).toString() == word) {
            surface_ = word;
            emit surfaceChanged();
            return;
        }
    }
}

int TalloShellModel::surfaceIndex() const {
    const QVariantList list = surfaces();
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (list[i].toMap().value(QStringLiteral("word")).toString() == surface_) {
            return static_cast<int>(i);
        }
    }
    return 0;
}

QString TalloShellModel::questionsEmptyTitle() const {
    return ScreenTexts::emptyState(SidebarItem::home, Brand::tallo, services().name).title;
}

QString TalloShellModel::questionsEmptyText() const {
    return ScreenTexts::emptyState(SidebarItem::home, Brand::tallo, services().name).text;
}

std::optional<TalloOneLevelDown> TalloShellModel::oneLevelDown() const {
    const std::optional<TalloDestination> destination = talloDestinationFromWord(surface_);
    if (!destination) {
        return std::nullopt;
    }
    return TalloOneLevelDown{period_, books_, *destination};
}

QObject* TalloShellModel::closeObject() const {
    return close_;
}
QObject* TalloShellModel::demoOfferObject() const {
    return demoOffer_;
}

QObject* TalloShellModel::letterObject() const {
    return letter_;
}
QObject* TalloShellModel::sessionsObject() const {
    return sessions_;
}

void TalloShellModel::selectBooks(const QString& slug) {
    if (slug == books_) {
        return;
    }
    books_ = slug;
    period_.clear(); // the newest period of those books
    reload();
}

void TalloShellModel::goToPeriod(const QString& period) {
    if (period.isEmpty() || period == period_) {
        return;
    }
    period_ = period;
    reload();
}

void TalloShellModel::startClose() {
    sessions_->start();
}

QVariantMap TalloShellModel::attention() const {
    const std::optional<QuotaWatcher::Attention> item =
        watcher_ ? watcher_->attention() : std::nullopt;
    if (!item) {
        return {};
    }
    // The status area draws a mark of its own for each icon the watcher names, in letters every
    // font has: a pause, or a stop that needs the user.
    const QString symbol = item->icon == QLatin1String("hourglass")    ? QStringLiteral("‖")
                           : item->icon == QLatin1String("bolt.slash") ? QStringLiteral("!")
                                                                       : QString();
    const bool cutOff = item->needsYou && watcher_->interrupted();
    return {{QStringLiteral("title"), item->title},
            {QStringLiteral("detail"), item->detail},
            {QStringLiteral("icon"), symbol},
            {QStringLiteral("needsYou"), item->needsYou},
            {QStringLiteral("period"), cutOff ? watcher_->interrupted()->period : QString()}};
}

void TalloShellModel::resumeInterrupted() {
    if (!watcher_) {
        return;
    }
    if (const auto& interrupted = watcher_->interrupted()) {
        close_->resumePeriod(interrupted->period);
    }
}

QCoro::Task<> TalloShellModel::load() {
    QPointer<TalloShellModel> self(this);
    QCoro::Task<> questions = HomeModel::load();
    co_await questions;
    if (!self) {
        co_return;
    }
    QCoro::Task<> listing = loadBooks();
    co_await listing;
    if (!self) {
        co_return;
    }
    QCoro::Task<> reading = loadPeriod();
    co_await reading;
    if (!self) {
        co_return;
    }
    QCoro::Task<> live = sessions_->load();
    co_await live;
    if (!self) {
        co_return;
    }
    if (self->watcher_) {
        // A fresh look now rather than at the application's next poll.
        QCoro::Task<> watching = self->watcher_->tick();
        co_await watching;
    }
}

QCoro::Task<> TalloShellModel::loadBooks() {
    QPointer<TalloShellModel> self(this);
    QCoro::Task<std::optional<QList<BooksRef>>> asking =
        DaemonEndpoints::closeBooks(services().daemon);
    const std::optional<QList<BooksRef>> refs = co_await asking;
    if (!self) {
        co_return;
    }
    if (refs) {
        booksRefs_ = *refs;
    }
    QCoro::Task<> everywhere = store_->loadAllRunsEverywhere();
    co_await everywhere;
    if (self) {
        chooseBooks();
    }
}

void TalloShellModel::chooseBooks() {
    const QVariantList list = books();
    if (booksIndex() >= 0 || list.isEmpty()) {
        return;
    }
    // Unknown or none yet: the books that moved last, else the first the daemon named.
    const QList<PeriodSummary>& runs = store_->allRunsEverywhere();
    books_ = runs.isEmpty() ? list.first().toMap().value(QStringLiteral("slug")).toString()
                            : runs.first().books;
    period_.clear();
}

QCoro::Task<> TalloShellModel::loadPeriod() {
    QPointer<TalloShellModel> self(this);
    store_->setBooks(books_);
    QCoro::Task<> runs = store_->loadAllRuns();
    co_await runs;
    if (!self) {
        co_return;
    }
    if (period_.isEmpty()) {
        period_ = store_->allRuns().isEmpty() ? thisMonth() : store_->allRuns().first().period;
    }
    QCoro::Task<> reading = store_->load(period_);
    co_await reading;
    if (!self) {
        co_return;
    }
    loaded_ = true;
    publishScope();
    consumePeriodStep();
}

void TalloShellModel::publishScope() {
    QString recipient;
    for (const BooksRef& ref : booksRefs_) {
        recipient = ref.slug == books_ ? ref.recipient : recipient;
    }
    close_->setScope(books_, period_);
    letter_->setScope(books_, period_, periodFolder(), recipient);
    sessions_->setScope(books_, period_);
    services().appState->setShownPeriod(period_);
    updateEmptyState();
}

void TalloShellModel::announce() {
    // The selection and the tabs are rebuilt on screen at each signal: only for news.
    const QVariantList now{indexed(), hasRuns(), books(),    booksIndex(),
                           period_,   stepper(), surfaces(), surfaceIndex()};
    if (now != announced_) {
        announced_ = now;
        emit shellChanged();
        emit surfaceChanged();
    }
}

void TalloShellModel::updateEmptyState() {
    if (!indexed()) {
        setEmpty({QStringLiteral("Nothing indexed yet"),
                  QStringLiteral("Each month's close shows here: where it stands, the lines it "
                                 "found with what backs them, and the letter to your accountant. "
                                 "The daemon has not indexed anything in this vault yet; the "
                                 "first close appears as soon as it has.")});
    } else if (!hasRuns()) {
        setEmpty({QStringLiteral("No close started yet"),
                  QStringLiteral("When a bookkeeping run starts for a month, its steps, lines and "
                                 "letter show here. Start one now, or let the daily schedule "
                                 "start it.")});
    }
    emit rowsChanged();
}

QString TalloShellModel::periodFolder() const {
    const QString vault = services().vaultRoot.value_or(
        services().config ? services().config->vaultRoot() : QString());
    if (vault.isEmpty() || period_.isEmpty()) {
        return {};
    }
    QString folder = vault + QStringLiteral("/Notes/bookkeeping/");
    if (!books_.isEmpty()) {
        folder += books_ + QLatin1Char('/');
    }
    return folder + period_;
}

void TalloShellModel::consumeDestination() {
    AppStateStore* state = services().appState;
    const std::optional<QString> word = state->pendingTalloDestination();
    if (!word) {
        return;
    }
    state->setPendingTalloDestination(std::nullopt);
    if (talloDestinationFromWord(*word)) {
        setSurface(*word);
    }
}

void TalloShellModel::consumePeriodStep() {
    AppStateStore* state = services().appState;
    const std::optional<QString> step = state->pendingPeriodStep();
    // A step needs the periods of the books in view: it waits for the first load.
    if (!step || !loaded_) {
        return;
    }
    state->setPendingPeriodStep(std::nullopt);
    const QVariantMap arrows = stepper();
    const QString target = *step == QLatin1String("back")      ? arrows.value("back").toString()
                           : *step == QLatin1String("forward") ? arrows.value("forward").toString()
                                                               : QString();
    goToPeriod(target);
}

void TalloShellModel::consumeBooksSelection() {
    AppStateStore* state = services().appState;
    const std::optional<QString> slug = state->pendingBooksSelection();
    if (!slug) {
        return;
    }
    state->setPendingBooksSelection(std::nullopt);
    if (loaded_) {
        // Books nobody knows of would show an empty close: the books in view stay.
        for (const QVariant& known : books()) {
            if (known.toMap().value(QStringLiteral("slug")).toString() == slug->trimmed()) {
                selectBooks(slug->trimmed());
            }
        }
    } else {
        books_ = slug->trimmed();
        period_.clear();
    }
}

} // namespace mnemora

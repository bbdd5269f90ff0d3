#include "ui/CloseRunModel.h"

#include <QLocale>

#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "periodclose/PeriodCloseStore.h"
#include "periodclose/PeriodWord.h"
#include "periodclose/RunFacts.h"
#include "ui/CloseRows.h"

namespace mnemora {

namespace {

const QString kCloseCadence = QStringLiteral("period-close");

std::optional<QString> booksOrNone(const QString& books) {
    return books.isEmpty() ? std::nullopt : std::optional<QString>(books);
}

} // namespace

CloseRunModel::CloseRunModel(PeriodCloseStore* store, DaemonService* daemon, QObject* parent)
    : QObject(parent)
    , store_(store)
    , daemon_(daemon) {
    connect(store, &PeriodCloseStore::runChanged, this, &CloseRunModel::changed);
    connect(store, &PeriodCloseStore::materialsChanged, this, &CloseRunModel::changed);
}

void CloseRunModel::setScope(const QString& books, const QString& period) {
    if (books == books_ && period == period_) {
        return;
    }
    books_ = books;
    period_ = period;
    message_.clear();
    errorText_.clear();
    emit messageChanged();
    emit changed();
}

bool CloseRunModel::hasRun() const {
    return store_ && store_->run().has_value();
}

QString CloseRunModel::periodLabel() const {
    return PeriodWord::label(period_, QLocale());
}

QString CloseRunModel::phaseLabel() const {
    const auto phase = store_ ? CloseRows::phase(store_->run()) : std::nullopt;
    return phase ? CloseRows::phaseLabel(*phase) : QString();
}

QVariantList CloseRunModel::phases() const {
    return CloseRows::phaseRows(store_ ? CloseRows::phase(store_->run()) : std::nullopt);
}

QVariantList CloseRunModel::steps() const {
    return hasRun() ? CloseRows::stepRows(store_->run()->steps) : QVariantList();
}

QString CloseRunModel::activity() const {
    return hasRun() ? store_->run()->currentActivity.value_or(QString()).trimmed() : QString();
}

std::optional<RunLiveness::State> CloseRunModel::liveness() const {
    // A finished close is worked on by no session, whatever else runs; its end says the rest.
    if (!hasRun() || !sessionAlive_ || finished()) {
        return std::nullopt;
    }
    const PeriodCloseRun& run = *store_->run();
    const std::optional<QString> status =
        run.status ? std::optional(run.status->trimmed()) : std::nullopt;
    return RunLiveness::state(status, run.currentActivity, *sessionAlive_);
}

QString CloseRunModel::livenessText() const {
    const std::optional<RunLiveness::State> state = liveness();
    return state ? RunLiveness::text(*state) : QString();
}

bool CloseRunModel::working() const {
    const std::optional<RunLiveness::State> state = liveness();
    return state && state->kind == RunLiveness::State::Kind::working;
}

bool CloseRunModel::stopped() const {
    const std::optional<RunLiveness::State> state = liveness();
    return state && state->kind == RunLiveness::State::Kind::stopped;
}

QVariantList CloseRunModel::deliverables() const {
    return store_ ? CloseRows::deliverableRows(store_->deliverables()) : QVariantList();
}

QString CloseRunModel::deliverableCount() const {
    return store_ ? CloseRows::deliverableCount(store_->deliverables()) : QString();
}

QVariantList CloseRunModel::ledger() const {
    return store_ ? CloseRows::ledgerRows(store_->visibleMaterials(), QLocale()) : QVariantList();
}

QStringList CloseRunModel::totals() const {
    return store_ ? CloseRows::totals(store_->visibleMaterials(), QLocale()) : QStringList();
}

QVariantList CloseRunModel::unbacked() const {
    return store_ ? CloseRows::ledgerRows(store_->unbackedRows(), QLocale()) : QVariantList();
}

QString CloseRunModel::ledgerSummary() const {
    const qsizetype lines = store_ ? store_->visibleMaterials().size() : 0;
    if (lines == 0) {
        return QStringLiteral("No lines yet for this period.");
    }
    QStringList parts{QStringLiteral("%1 %2").arg(lines).arg(lines == 1 ? QStringLiteral("line")
                                                                        : QStringLiteral("lines"))};
    const QStringList sums = totals();
    if (!sums.isEmpty()) {
        parts << QStringLiteral("total ") + sums.join(QStringLiteral(" + "));
    }
    const qsizetype missing = store_->unbackedRows().size();
    if (missing > 0) {
        parts << QStringLiteral("%1 with no document yet").arg(missing);
    }
    return parts.join(QStringLiteral(" · "));
}

QVariantList CloseRunModel::candidates() const {
    return store_ ? CloseRows::candidateRows(store_->candidates(), QLocale()) : QVariantList();
}

bool CloseRunModel::finished() const {
    return store_ && CloseRows::isFinished(CloseRows::phase(store_->run()));
}

QString CloseRunModel::doneSentence() const {
    if (!finished()) {
        return {};
    }
    return RunFacts::doneSentence(CloseRows::facts(store_->run(), store_->materials()),
                                  periodLabel());
}

QStringList CloseRunModel::detailSentences() const {
    if (!finished()) {
        return {};
    }
    return RunFacts::detailSentences(CloseRows::facts(store_->run(), store_->materials()));
}

QString CloseRunModel::factsLine() const {
    if (!finished()) {
        return {};
    }
    return CloseRows::factsLine(CloseRows::facts(store_->run(), store_->materials()));
}

void CloseRunModel::setSessionAlive(std::optional<bool> alive) {
    if (sessionAlive_ != alive) {
        sessionAlive_ = alive;
        emit changed();
    }
}

void CloseRunModel::accept(const QString& lineKey) {
    // Started and left: the coroutine guards this model.
    setStatus(lineKey, QStringLiteral("included"));
}

void CloseRunModel::exclude(const QString& lineKey) {
    // Started and left: the coroutine guards this model.
    setStatus(lineKey, QStringLiteral("excluded"));
}

void CloseRunModel::resume() {
    // Started and left: the coroutine guards this model.
    startRun(period_);
}

void CloseRunModel::resumePeriod(const QString& period) {
    // Started and left: the coroutine guards this model.
    startRun(period);
}

QCoro::Task<> CloseRunModel::setStatus(QString lineKey, QString status) {
    QPointer<CloseRunModel> self(this);
    setBusy(true);
    QCoro::Task<Expected<void>> posting =
        DaemonEndpoints::setMaterialStatus(daemon_, period_, lineKey, status, booksOrNone(books_));
    const Expected<void> result = co_await posting;
    if (!self) {
        co_return;
    }
    setBusy(false);
    report(result, status == QLatin1String("excluded") ? QStringLiteral("Dropped from the month.")
                                                       : QStringLiteral("Added to the month."));
    if (result.ok()) {
        emit reloadRequested();
    }
}

QCoro::Task<> CloseRunModel::startRun(QString period) {
    QPointer<CloseRunModel> self(this);
    setBusy(true);
    DreamerTrigger trigger;
    trigger.cadence = kCloseCadence;
    trigger.period = period;
    trigger.books = booksOrNone(books_);
    QCoro::Task<Expected<void>> asking = DaemonEndpoints::triggerDreamer(daemon_, trigger);
    const Expected<void> result = co_await asking;
    if (!self) {
        co_return;
    }
    setBusy(false);
    report(result, QStringLiteral("Got it — going back in now."));
    if (result.ok()) {
        emit reloadRequested();
    }
}

void CloseRunModel::report(const Expected<void>& result, const QString& success) {
    message_ = result.ok() ? success : QString();
    errorText_ = result.error();
    emit messageChanged();
}

void CloseRunModel::setBusy(bool busy) {
    if (busy_ != busy) {
        busy_ = busy;
        emit busyChanged();
    }
}

} // namespace mnemora

#include "questions/QuestionsInbox.h"

#include <QLocale>
#include <QUuid>

#include "daemon/DaemonEndpoints.h"

namespace mnemora {

const QString QuestionsInbox::kHomeEmptyText =
    QStringLiteral("No open questions. Scheduled dreamer sessions will add questions here when "
                   "they need your input.");
const QString QuestionsInbox::kGoingBackIn = QStringLiteral("Got it — going back in now.");

namespace {

QString askedWhen(const Question& question) {
    if (!question.askedAt) {
        return {};
    }
    const QLocale locale;
    return QStringLiteral("Asked ") +
           locale.toString(question.askedAt->toLocalTime(), QLocale::ShortFormat);
}

QVariantList actionRows(const QList<SuggestedAction>& actions) {
    QVariantList rows;
    for (const SuggestedAction& action : actions) {
        rows << QVariantMap{{QStringLiteral("label"), action.label},
                            {QStringLiteral("answer"), action.answer}};
    }
    return rows;
}

} // namespace

QuestionsInbox::QuestionsInbox(Options options, QuestionService* questions, DaemonService* daemon,
                               QString vault, Brand brand, QObject* parent)
    : QObject(parent)
    , options_(std::move(options))
    , service_(questions)
    , daemon_(daemon)
    , vault_(std::move(vault))
    , brand_(brand)
    , clock_([] { return QDateTime::currentDateTimeUtc(); }) {}

void QuestionsInbox::setQuestions(QList<Question> questions) {
    if (questions != questions_) {
        questions_ = std::move(questions);
        emit cardsChanged();
    }
}

void QuestionsInbox::setBooksNames(QStringList names) {
    if (names != booksNames_) {
        booksNames_ = std::move(names);
        emit cardsChanged();
    }
}

std::optional<Question> QuestionsInbox::find(const QString& slug) const {
    for (const Question& question : questions_) {
        if (question.slug == slug) {
            return question;
        }
    }
    return std::nullopt;
}

QList<SuggestedAction> QuestionsInbox::actionsOf(const Question& question) const {
    return QuestionService::parseSuggestedActions(question.suggestedActionsRaw);
}

QVariantMap QuestionsInbox::card(const Question& question) const {
    const auto echo = answered_.constFind(question.slug);
    const bool answeredHere = echo != answered_.constEnd();
    QString resolved;
    if (answeredHere || question.status == Question::Status::answered) {
        resolved = QStringLiteral("Answered");
    } else if (question.status == Question::Status::dismissed) {
        resolved = QStringLiteral("Dismissed");
    }
    const bool allocation = question.kind && *question.kind == QLatin1String("allocation");
    return {
        {QStringLiteral("slug"), question.slug},
        {QStringLiteral("text"), question.text},
        {QStringLiteral("label"),
         QuestionService::kindLabel(question.kind, question.askedBy).value_or(QString())},
        {QStringLiteral("asked"), askedWhen(question)},
        {QStringLiteral("context"), question.context.value_or(QString())},
        {QStringLiteral("description"),
         (resolved.isEmpty() ? QStringLiteral("Open question: ") : QStringLiteral("Answered: ")) +
             question.text},
        {QStringLiteral("resolved"), resolved},
        {QStringLiteral("echo"), answeredHere ? *echo : QString()},
        {QStringLiteral("goingBackIn"),
         goingBackIn_.contains(question.slug) ? kGoingBackIn : QString()},
        {QStringLiteral("suggested"), actionRows(actionsOf(question))},
        {QStringLiteral("allocationChoices"), allocation ? booksNames_ : QStringList()},
    };
}

QVariantList QuestionsInbox::cards() const {
    qsizetype shown = questions_.size();
    if (options_.maxVisible && !peekExpanded_) {
        shown = qMin<qsizetype>(shown, qMax(0, *options_.maxVisible));
    }
    QVariantList rows;
    for (qsizetype i = 0; i < shown; ++i) {
        rows << card(questions_.at(i));
    }
    return rows;
}

QString QuestionsInbox::moreButtonText() const {
    if (!options_.maxVisible || peekExpanded_ || *options_.maxVisible >= questions_.size()) {
        return {};
    }
    return QStringLiteral("Show %1 more questions").arg(questions_.size() - *options_.maxVisible);
}

QString QuestionsInbox::pileText() const {
    if (!options_.maxVisible || peekExpanded_ || *options_.maxVisible >= questions_.size()) {
        return {};
    }
    return QStringLiteral("%1 more").arg(questions_.size() - *options_.maxVisible);
}

QVariantMap QuestionsInbox::handoverCopy() const {
    if (!pendingHandover_) {
        return {};
    }
    return AgentAcceptance::copy(brand_, pendingHandover_->trigger).toVariant();
}

QVariantMap QuestionsInbox::sheet() const {
    const bool answering = pendingAnswer_.has_value();
    const std::optional<QString> slug = answering ? pendingAnswer_ : pendingDismiss_;
    const std::optional<Question> question = slug ? find(*slug) : std::nullopt;
    if (!question) {
        return {};
    }
    return {
        {QStringLiteral("mode"), answering ? QStringLiteral("answer") : QStringLiteral("dismiss")},
        {QStringLiteral("slug"), question->slug},
        {QStringLiteral("question"), question->text}};
}

bool QuestionsInbox::canSend(const QString& draft) {
    return !draft.trimmed().isEmpty();
}

void QuestionsInbox::expand() {
    peekExpanded_ = true;
    emit cardsChanged();
}

void QuestionsInbox::clearActionError() {
    setActionError(std::nullopt);
}

void QuestionsInbox::setActionError(std::optional<QString> error) {
    actionError_ = std::move(error);
    emit changed();
}

QCoro::Task<> QuestionsInbox::notifyChanged() {
    emit cardsChanged();
    if (onChanged_) {
        QCoro::Task<> calling = onChanged_();
        co_await calling;
    }
}

QCoro::Task<> QuestionsInbox::answer(QString slug, QString text) {
    QPointer<QuestionsInbox> self(this);
    const std::optional<Question> question = find(slug);
    const QString trimmed = text.trimmed();
    if (!question || trimmed.isEmpty() || !service_) {
        co_return;
    }
    if (const QuestionService::Outcome failure = service_->answerQuestion(*question, trimmed)) {
        setActionError(failure->text());
        co_return;
    }
    answered_.insert(slug, trimmed);
    drafts_.remove(slug);
    QCoro::Task<> notifying = notifyChanged();
    co_await notifying;
    if (!self) {
        co_return;
    }
    if (question->askedBy && question->askedBy->startsWith(QLatin1String("dreamer:"))) {
        goingBackIn_ << slug;
        emit cardsChanged();
    }
}

QCoro::Task<> QuestionsInbox::chooseAction(QString slug, int index) {
    QPointer<QuestionsInbox> self(this);
    const std::optional<Question> question = find(slug);
    if (!question) {
        co_return;
    }
    const QList<SuggestedAction> actions = actionsOf(*question);
    if (index < 0 || index >= actions.size()) {
        co_return;
    }
    const SuggestedAction action = actions.at(index);
    if (const auto trigger = AgentAcceptance::triggerFor(*question)) {
        const auto record = AgentAcceptance::load(vault_);
        if (AgentAcceptance::state(record, *trigger) == 1) {
            pendingHandover_ = PendingHandover{QUuid::createUuid().toString(QUuid::WithoutBraces),
                                               *question, action, *trigger};
            emit changed();
            co_return;
        }
    }
    QCoro::Task<> answering = answer(slug, action.answer);
    co_await answering;
}

QCoro::Task<> QuestionsInbox::acceptHandover() {
    if (!pendingHandover_) {
        co_return;
    }
    const PendingHandover handover = *pendingHandover_;
    pendingHandover_.reset();
    const AgentAcceptanceRecord record =
        AgentAcceptance::accepted(AgentAcceptance::load(vault_), handover.trigger, clock_(),
                                  appDisplayName(), handover.question);
    // The consent was given: a record that cannot be written only means asking again next time.
    if (!AgentAcceptance::save(vault_, record).ok()) {
        setActionError(QStringLiteral("Your acceptance could not be written to %1. The sign-in is "
                                      "going ahead; this card will appear again next time.")
                           .arg(AgentAcceptance::recordPath(vault_)));
    }
    emit changed();
    QCoro::Task<> answering = answer(handover.question.slug, handover.action.answer);
    co_await answering;
}

QCoro::Task<> QuestionsInbox::declineHandover() {
    if (!pendingHandover_) {
        co_return;
    }
    const PendingHandover handover = *pendingHandover_;
    pendingHandover_.reset();
    const AgentAcceptanceRecord record =
        AgentAcceptance::addDeclined(AgentAcceptance::load(vault_), handover.trigger);
    // A refusal that cannot be written is asked about again; the answer still goes out.
    (void)AgentAcceptance::save(vault_, record);
    emit changed();
    const QString words = AgentAcceptance::copy(brand_, handover.trigger).declineAnswer;
    QCoro::Task<> answering = answer(handover.question.slug, words);
    co_await answering;
}

QCoro::Task<> QuestionsInbox::dismiss(QString slug, QString reason) {
    const std::optional<Question> question = find(slug);
    if (!question || !service_) {
        co_return;
    }
    const QString trimmed = reason.trimmed();
    const QuestionService::Outcome failure = service_->dismissQuestion(
        *question, trimmed.isEmpty() ? std::nullopt : std::optional<QString>(trimmed));
    if (failure) {
        setActionError(failure->text());
        co_return;
    }
    QCoro::Task<> notifying = notifyChanged();
    co_await notifying;
}

QCoro::Task<> QuestionsInbox::joinSession(QString slug) {
    QPointer<QuestionsInbox> self(this);
    const std::optional<Question> question = find(slug);
    if (!question || !service_) {
        co_return;
    }
    QCoro::Task<std::optional<DreamerSessions>> listing = DaemonEndpoints::dreamerSessions(daemon_);
    const std::optional<DreamerSessions> live = co_await listing;
    if (!self || !service_) {
        co_return;
    }
    QCoro::Task<TerminalLauncher::Result> joining =
        service_->joinSession(*question, live ? live->sessions : QStringList());
    const TerminalLauncher::Result result = co_await joining;
    if (!self) {
        co_return;
    }
    if (result) {
        setActionError(result->text());
    }
}

void QuestionsInbox::setDraft(const QString& slug, const QString& text) {
    if (text.isEmpty()) {
        drafts_.remove(slug);
    } else {
        drafts_.insert(slug, text);
    }
}

void QuestionsInbox::send(const QString& slug, const QString& text) {
    answer(slug, text);
}

void QuestionsInbox::choose(const QString& slug, int index) {
    chooseAction(slug, index);
}

void QuestionsInbox::chooseAllocation(const QString& slug, const QString& name) {
    answer(slug, name);
}

void QuestionsInbox::accept() {
    acceptHandover();
}

void QuestionsInbox::decline() {
    declineHandover();
}

void QuestionsInbox::join(const QString& slug) {
    joinSession(slug);
}

void QuestionsInbox::openAnswerSheet(const QString& slug) {
    pendingDismiss_.reset();
    pendingAnswer_ = slug;
    emit changed();
}

void QuestionsInbox::openDismissSheet(const QString& slug) {
    pendingAnswer_.reset();
    pendingDismiss_ = slug;
    emit changed();
}

void QuestionsInbox::submitSheet(const QString& text) {
    const std::optional<QString> answering = pendingAnswer_;
    const std::optional<QString> dismissing = pendingDismiss_;
    closeSheet();
    if (answering) {
        answer(*answering, text);
    } else if (dismissing) {
        dismiss(*dismissing, text);
    }
}

void QuestionsInbox::closeSheet() {
    pendingAnswer_.reset();
    pendingDismiss_.reset();
    emit changed();
}

} // namespace mnemora

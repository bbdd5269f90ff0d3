#include "setup/FirstRunView.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <QCoroTimer>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "platform/AtomicFile.h"
#include "platform/TerminalLauncher.h"
#include "setup/AgentAcceptance.h"
#include "voice/AnswerControlModel.h"

namespace mnemora {

using FirstRun::Gate;
using FirstRun::Phase;
using FirstRun::Proof;

namespace {

// What the inspection states show in place of a real answer.
const QString kSampleAnswer = QStringLiteral(
    "I run a small design studio in Helsinki, it's an Oy. Every month I send my accountant the "
    "bank statement, the card statement and all the receipts.");
const QByteArray kUnreadableClip = "not audio — the unreadable path, on purpose";
const QString kSampleReadBack = QStringLiteral(
    "## Business\n- Billing entity: **Northwind Design** Oy\n- Default filing cadence: monthly\n"
    "## Accountant\n- Name: Tiklex Fischer (Fischer & Co)\n## Conventions\n"
    "- Anything the accountant always asks for: bank statement, card statement, receipts\n");

QString isoNow(const QDateTime& now) {
    return now.toUTC().toString(Qt::ISODate);
}

QString readText(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Written atomically with its folders; a failure is swallowed, the answer stays in memory.
void writeText(const QString& path, const QString& text) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    (void)writeFileAtomically(path, text.toUtf8());
}

QString proofTitle(Proof proof) {
    switch (proof) {
    case Proof::photos:
        return FirstRun::Text::checkPhotos;
    case Proof::voice:
        return FirstRun::Text::checkVoice;
    case Proof::caption:
        return FirstRun::Text::checkCaption;
    case Proof::engine:
        return FirstRun::Text::checkEngine;
    case Proof::browser:
        break;
    }
    return FirstRun::Text::checkBrowser;
}

VerifyService::Proof serviceProof(Proof proof) {
    switch (proof) {
    case Proof::photos:
        return VerifyService::Proof::photos;
    case Proof::voice:
        return VerifyService::Proof::transcribe;
    case Proof::caption:
        return VerifyService::Proof::caption;
    case Proof::engine:
        return VerifyService::Proof::engine;
    case Proof::browser:
        break;
    }
    return VerifyService::Proof::browser;
}

} // namespace

FirstRunView::FirstRunView(Brand brand, Services services, QObject* parent)
    : QObject(parent)
    , brand_(brand)
    , services_(std::move(services))
    , engine_(new EngineInstallWatcher(this))
    , verify_(new VerifyService(this)) {
    verify_->setDaemon(services_.daemon);
    verify_->setVault(services_.vault);
    if (services_.daemon) {
        // The screens open while the daemon is still starting; a check that found none is run
        // again once it answers, rather than standing failed until the user presses "Try again".
        connect(services_.daemon, &DaemonService::statusChanged, this, [this] {
            using Kind = DaemonStatus::Connection::Kind;
            if (phase_ == Phase::setup && checksStarted_ && verify_->foundNoDaemon() &&
                services_.daemon->status().connection.is(Kind::connected)) {
                retryChecks();
            }
        });
    }
    if (!conversation()) {
        naming_ = new IdentityNamingStep(services_.vault, this);
        if (services_.config) {
            naming_->takeFrom(*services_.config);
        }
    }
    if (FirstRun::proofs(brand_).contains(Proof::photos)) {
        photos_ = new PhotoAccess(services_.photoFolders.isEmpty() ? PhotoAccess::defaultFolders()
                                                                   : services_.photoFolders,
                                  this);
        connect(photos_, &PhotoAccess::changed, this, &FirstRunView::photosChanged);
    }
    connect(engine_, &EngineInstallWatcher::toolsChanged, this, &FirstRunView::evaluateGates);
    connect(verify_, &VerifyService::changed, this, &FirstRunView::evaluateGates);
    connect(verify_, &VerifyService::downloadChanged, this, &FirstRunView::changed);
    if (services_.config) {
        connect(services_.config, &ConfigService::configChanged, this,
                &FirstRunView::evaluateGates);
    }
    if (AppStateStore* state = services_.appState) {
        connect(state, &AppStateStore::pendingOnboardingCommandChanged, this,
                &FirstRunView::consumeCommand);
        connect(state, &AppStateStore::pendingFirstRunClipChanged, this,
                &FirstRunView::consumeClip);
    }
}

FirstRunView::~FirstRunView() = default;

QDateTime FirstRunView::now() const {
    return clock_ ? clock_() : QDateTime::currentDateTimeUtc();
}

void FirstRunView::present() {
    if (isPresented_) {
        return;
    }
    open(true);
}

void FirstRunView::open(bool resumeAnswer) {
    setPresented(true);
    // An inspection state asked for before the screen opened replaces the real entry.
    if (services_.appState && services_.appState->pendingOnboardingCommand()) {
        consumeCommand();
        return;
    }
    if (!conversation()) {
        enterSetup();
    } else if (!resumeAnswer || !resumeAnsweredQuestion()) {
        enterQuestion();
    }
    consumeClip();
}

void FirstRunView::setPresented(bool presented) {
    if (isPresented_ != presented) {
        isPresented_ = presented;
        emit presentedChanged();
    }
}

QObject* FirstRunView::daemonObject() const {
    return services_.daemon;
}

QString FirstRunView::brandWord() const {
    return BrandProfile::name(brand_);
}

void FirstRunView::setPhoneOffer(bool offer) {
    phoneOffer_ = offer;
    emit changed();
}

void FirstRunView::setDraft(const QString& draft) {
    if (draft_ != draft) {
        draft_ = draft;
        emit changed();
    }
}

void FirstRunView::setCorrection(const QString& correction) {
    if (correction_ != correction) {
        correction_ = correction;
        emit changed();
    }
}

void FirstRunView::setMicGranted(bool granted) {
    if (micGranted_ != granted) {
        micGranted_ = granted;
        evaluateGates();
    }
}

bool FirstRunView::canSend() const {
    return FirstRun::sendAllowed(draft_, heldClipPath_.has_value(), unreadableSeconds_);
}

void FirstRunView::setPhase(Phase phase) {
    phase_ = phase;
    if (services_.appState) {
        services_.appState->setFirstRunPhase(FirstRun::phaseWord(phase));
    }
    if (phase != Phase::question) {
        questionPoll_.cancel();
    }
    if (phase != Phase::readBack) {
        readBackLoop_.cancel();
    }
    if (phase != Phase::setup) {
        engine_->stop();
        verify_->watchVoiceModel(false);
    }
    emit changed();
}

// The question screen.

void FirstRunView::enterQuestion() {
    setPhase(Phase::question);
    ensureQuestionFile();
    QPointer<FirstRunView> self(this);
    CancellableLoop::start(questionPoll_, timings_.questionPoll,
                           CancellableLoop::FirstPass::afterInterval,
                           [self] { return questionPass(self); });
}

// The setup screen promises that the answer is safe until the gates are through, and it stands
// answered in the question file; but the question screen, entered afresh after a quit, would write
// the open form over it and ask again. An answered file of ours is therefore taken up as the held
// answer, and the flow goes on to the gates as after a typed answer.
bool FirstRunView::resumeAnsweredQuestion() {
    if (inspecting_ || services_.vault.isEmpty()) {
        return false;
    }
    const QString text = readText(FirstRun::questionFilePath(services_.vault, services_.identity));
    const std::optional<QString> askedAt =
        FirstRun::frontmatterValue(QStringLiteral("asked_at"), text);
    const std::optional<QString> answer = FirstRun::answerSection(text);
    if (FirstRun::frontmatterValue(QStringLiteral("status"), text) != QLatin1String("answered") ||
        !askedAt || !answer || answer->isEmpty()) {
        return false;
    }
    setupAskedAt_ = askedAt;
    held_ = FirstRun::Answer{*answer, FirstRun::AnswerOrigin::typed, std::nullopt, std::nullopt};
    transcriptionFailed_ = false;
    enterSetup();
    return true;
}

void FirstRunView::ensureQuestionFile() {
    if (inspecting_ || services_.vault.isEmpty()) {
        return;
    }
    const QString path = FirstRun::questionFilePath(services_.vault, services_.identity);
    const QString text = readText(path);
    const std::optional<QString> askedAt =
        FirstRun::frontmatterValue(QStringLiteral("asked_at"), text);
    if (FirstRun::frontmatterValue(QStringLiteral("status"), text) == QLatin1String("open") &&
        askedAt) {
        setupAskedAt_ = askedAt;
        return;
    }
    setupAskedAt_ = isoNow(now());
    writeText(path, FirstRun::openForm(*setupAskedAt_));
}

QCoro::Task<> FirstRunView::questionPass(QPointer<FirstRunView> self) {
    if (self) {
        QCoro::Task<> checking = self->checkQuestionFile();
        co_await checking;
    }
}

QCoro::Task<> FirstRunView::checkQuestionFile() {
    if (phase_ != Phase::question || services_.vault.isEmpty()) {
        co_return;
    }
    const QString text = readText(FirstRun::questionFilePath(services_.vault, services_.identity));
    // A file asked at another moment is not this run's question.
    if (FirstRun::frontmatterValue(QStringLiteral("status"), text) != QLatin1String("answered") ||
        FirstRun::frontmatterValue(QStringLiteral("asked_at"), text) != setupAskedAt_) {
        co_return;
    }
    const std::optional<QString> answer = FirstRun::answerSection(text);
    if (!answer || answer->isEmpty()) {
        co_return;
    }
    hold(FirstRun::Answer{*answer, FirstRun::AnswerOrigin::phone, std::nullopt, std::nullopt});
}

void FirstRunView::attachAnswer(QObject* control) {
    auto* answer = qobject_cast<AnswerControlModel*>(control);
    if (!answer) {
        return;
    }
    connect(answer, &AnswerControlModel::transcriptLanded, this, &FirstRunView::noteTranscript);
    connect(answer, &AnswerControlModel::clipSaved, this, &FirstRunView::noteClipSaved);
    connect(answer, &AnswerControlModel::unreadableClip, this, &FirstRunView::noteUnreadableClip);
    connect(answer, &AnswerControlModel::reachedForMic, this, &FirstRunView::reachedForMic);
    HoldToRecordController* holder = answer->holder();
    const auto readStatus = [this, holder] {
        setMicGranted(holder->micStatus() == MicStatus::authorized);
    };
    connect(holder, &HoldToRecordController::changed, this, readStatus);
    readStatus();
}

void FirstRunView::noteTranscript() {
    draftWasSpoken_ = true;
}

void FirstRunView::noteClipSaved(const QString& path, int) {
    heldClipPath_ = path;
    emit changed();
}

void FirstRunView::noteUnreadableClip(int seconds) {
    unreadableSeconds_ = seconds;
    emit changed();
}

void FirstRunView::reachedForMic() {
    // The voice model starts downloading now, so it is there when the answer needs it.
    QCoro::Task<Expected<void>> asking = DaemonEndpoints::prefetchWhisper(services_.daemon);
    Q_UNUSED(asking);
}

void FirstRunView::send() {
    if (!canSend()) {
        return;
    }
    reAskAfterUnreadableClip_ = false;
    const FirstRun::Answer answer =
        FirstRun::answerOnSend(draft_, draftWasSpoken_, unreadableSeconds_, heldClipPath_);
    draft_.clear();
    unreadableSeconds_.reset();
    hold(answer);
}

void FirstRunView::hold(FirstRun::Answer answer) {
    held_ = std::move(answer);
    transcriptionFailed_ = false;
    if (held_->text && held_->origin != FirstRun::AnswerOrigin::phone) {
        writeAnswered(*held_->text);
    }
    enterSetup();
}

void FirstRunView::writeAnswered(const QString& text) {
    if (inspecting_ || services_.vault.isEmpty() || !setupAskedAt_) {
        return;
    }
    writeText(FirstRun::questionFilePath(services_.vault, services_.identity),
              FirstRun::answeredForm(*setupAskedAt_, text));
}

// The setup screen.

void FirstRunView::enterSetup() {
    setPhase(Phase::setup);
    if (!pretendFresh_) {
        engine_->start(services_.daemon, timings_.engineWatch);
    }
    verify_->watchVoiceModel(true);
    evaluateGates();
    if (held_ && !held_->text && held_->clipPath && !inspecting_) {
        QCoro::Task<> reading = transcribeHeld();
        Q_UNUSED(reading);
    }
}

FirstRun::GateInputs FirstRunView::gateInputs() const {
    FirstRun::GateInputs inputs;
    inputs.micGranted = micGranted_;
    inputs.engineInstalled = engine_->allInstalled();
    // The stored choice itself, not the backend a missing one defaults to.
    if (services_.config) {
        inputs.claudeBackend =
            services_.config->config().value(QLatin1String("claude_backend")).toString();
    }
    inputs.enginePassed = verify_->passed(VerifyService::Proof::engine);
    inputs.browserPassed = verify_->passed(VerifyService::Proof::browser);
    inputs.voicePassed = verify_->passed(VerifyService::Proof::transcribe);
    inputs.pretendFresh = pretendFresh_;
    if (held_) {
        inputs.heldOrigin = held_->origin;
    }
    return inputs;
}

QList<Gate> FirstRunView::waitingGates() const {
    return FirstRun::waitingGates(brand_, gateInputs());
}

void FirstRunView::evaluateGates() {
    emit changed();
    if (phase_ != Phase::setup || !isPresented_) {
        return;
    }
    const QList<Gate> waiting = waitingGates();
    if (FirstRun::leadingGate(waiting) == Gate::checks && !checksStarted_ && !inspecting_) {
        checksStarted_ = true;
        QCoro::Task<> checking = runChecks();
        Q_UNUSED(checking);
    }
    // The microphone never holds the flow back: it is asked for only when the user reaches
    // for it, and a typed answer needs none.
    if (FirstRun::leadingGate(waiting) || inspecting_ || !conversation()) {
        return;
    }
    std::optional<FirstRun::Answer> judged = held_;
    if (judged && (transcriptionFailed_ || !judged->clipPath)) {
        judged->clipPath.reset(); // no transcription is pending any more
    }
    switch (FirstRun::nextPhaseAfterGates(judged)) {
    case Phase::readBack:
        enterReadBack();
        return;
    case Phase::question:
        held_.reset();
        heldClipPath_.reset();
        reAskAfterUnreadableClip_ = true;
        enterQuestion();
        return;
    case Phase::setup:
    case Phase::working:
        return;
    }
}

bool FirstRunView::gatesClear() const {
    return !FirstRun::leadingGate(waitingGates());
}

QString FirstRunView::caption() const {
    return FirstRun::waitingCaption(FirstRun::leadingGate(waitingGates()));
}

QVariantList FirstRunView::rowsVariant() const {
    const FirstRun::GateInputs inputs = gateInputs();
    QVariantList list;
    for (const FirstRun::Row& row : FirstRun::rows(FirstRun::waitingGates(brand_, inputs),
                                                   FirstRun::settledGates(brand_, inputs))) {
        QVariantMap entry{{QStringLiteral("kind"), row.kind == FirstRun::Row::Kind::note ? "note"
                                                   : row.kind == FirstRun::Row::Kind::settled
                                                       ? "settled"
                                                       : "gate"},
                          {QStringLiteral("text"), row.text}};
        if (row.kind == FirstRun::Row::Kind::gate) {
            entry.insert(QStringLiteral("gate"), FirstRun::gateWord(row.gate));
            entry.insert(QStringLiteral("number"), row.number);
            entry.insert(QStringLiteral("title"), FirstRun::gateTitle(row.gate));
            entry.insert(QStringLiteral("line"), row.presentation == FirstRun::Presentation::line);
        }
        list << entry;
    }
    return list;
}

std::optional<FirstRun::AnswerBlock> FirstRunView::answerBlock(int mode) const {
    std::optional<FirstRun::ModelDownload> download;
    if (verify_->downloading()) {
        download =
            FirstRun::ModelDownload{verify_->downloadText(), verify_->downloadProgress()->fraction};
    }
    return FirstRun::answerBlock(held_, mode, download);
}

QVariantMap FirstRunView::answerBlockVariant() const {
    const std::optional<FirstRun::AnswerBlock> block = answerBlock(phase_ == Phase::setup ? 0 : 1);
    if (!block) {
        return {};
    }
    return {{QStringLiteral("heading"), block->heading},
            {QStringLiteral("quoted"), block->quoted.value_or(QString())},
            {QStringLiteral("length"), block->length.value_or(QString())},
            {QStringLiteral("note"), block->note.value_or(QString())},
            {QStringLiteral("noteFraction"), block->noteFraction.value_or(-1.0)},
            {QStringLiteral("phoneChip"),
             block->showsPhoneChip ? FirstRun::Text::phoneChip : QString()}};
}

void FirstRunView::chooseSubscription() {
    if (services_.config &&
        !services_.config->write({{QStringLiteral("claude_backend"), QJsonValue("anthropic")}})) {
        actionError_ = services_.config->lastError();
    }
    evaluateGates();
}

void FirstRunView::showFundingOptions() {
    fundingOptionsShown_ = true;
    emit changed();
}

void FirstRunView::openTerminal() {
    QCoro::Task<> opening = openTerminalTask();
    Q_UNUSED(opening);
}

QCoro::Task<> FirstRunView::openTerminalTask() {
    if (!services_.terminal) {
        co_return;
    }
    QPointer<FirstRunView> self(this);
    QCoro::Task<TerminalLauncher::Result> launching =
        services_.terminal->runCommand(FirstRun::Text::engineCommand);
    const TerminalLauncher::Result result = co_await launching;
    if (self) {
        actionError_ = result ? result->text() : QString();
        emit changed();
    }
}

// The proofs.

QCoro::Task<> FirstRunView::runChecks() {
    QPointer<FirstRunView> self(this);
    checksRunning_ = true;
    for (Proof proof : FirstRun::proofs(brand_)) {
        if (!self || self->phase_ != Phase::setup) {
            co_return;
        }
        if (proof == Proof::voice && held_ && held_->text &&
            held_->origin != FirstRun::AnswerOrigin::typed) {
            // The user's own answer already came back as words.
            verify_->noteSpoken(*held_->text);
            continue;
        }
        if (proof == Proof::voice && conversation()) {
            continue; // the conversation proves it with the first spoken answer
        }
        QCoro::Task<> running =
            proof == Proof::browser ? verify_->runBrowser() : verify_->run(serviceProof(proof));
        co_await running;
    }
    if (self) {
        checksRunning_ = false;
        evaluateGates();
    }
}

void FirstRunView::retryChecks() {
    if (checksRunning_) {
        return;
    }
    checksStarted_ = true;
    QCoro::Task<> checking = runChecks();
    Q_UNUSED(checking);
}

QVariantList FirstRunView::checksVariant() const {
    QVariantList list;
    const QVariantMap proofs = verify_->proofsVariant();
    for (Proof proof : FirstRun::proofs(brand_)) {
        if (proof == Proof::voice && brand_ == Brand::tallo) {
            continue; // Tallo's line names only what it shows the user
        }
        QVariantMap entry = proofs.value(VerifyService::proofWord(serviceProof(proof))).toMap();
        entry.insert(QStringLiteral("title"), proofTitle(proof));
        entry.insert(QStringLiteral("word"), VerifyService::proofWord(serviceProof(proof)));
        list << entry;
    }
    return list;
}

QString FirstRunView::checksSummary() const {
    int good = 0;
    for (const QVariant& check : checksVariant()) {
        good += check.toMap().value(QStringLiteral("ok")).toBool() ? 1 : 0;
    }
    return good > 0 ? FirstRun::numberWord(good) + QStringLiteral(" good") : QString();
}

bool FirstRunView::checksFailed() const {
    if (checksRunning_) {
        return false;
    }
    for (const QVariant& check : checksVariant()) {
        const QVariantMap entry = check.toMap();
        if (entry.contains(QStringLiteral("ok")) && !entry.value(QStringLiteral("ok")).toBool()) {
            return true;
        }
    }
    return false;
}

QString FirstRunView::checksNote() const {
    if (!FirstRun::proofs(brand_).contains(Proof::browser)) {
        return {};
    }
    return verify_->browserWithheld() ? FirstRun::Text::browserByHandNote
                                      : FirstRun::Text::browserNote;
}

QVariantMap FirstRunView::acceptanceCopy() const {
    return AgentAcceptance::copy(brand_, AgentAcceptanceTrigger::setupCheck()).toVariant();
}

void FirstRunView::acceptBrowser() {
    acceptanceShown_ = false;
    QCoro::Task<> running = verify_->acceptAndRunBrowser(now(), BrandProfile::name(brand_));
    Q_UNUSED(running);
    emit changed();
}

void FirstRunView::declineBrowser() {
    acceptanceShown_ = false;
    emit changed();
    emit quitRequested();
}

// The held answer's clip, read into words once it can be.

QCoro::Task<> FirstRunView::transcribeHeld() {
    if (transcribing_ || !held_ || held_->text || !held_->clipPath) {
        co_return;
    }
    transcribing_ = true;
    QPointer<FirstRunView> self(this);
    QCoro::Task<Expected<QString>> reading =
        DaemonEndpoints::transcribeFile(services_.daemon, *held_->clipPath);
    const Expected<QString> words = co_await reading;
    if (!self) {
        co_return;
    }
    transcribing_ = false;
    if (!held_ || held_->text) {
        co_return;
    }
    if (words.ok() && !words.value().trimmed().isEmpty()) {
        held_->text = words.value().trimmed();
        writeAnswered(*held_->text);
    } else {
        transcriptionFailed_ = true;
    }
    evaluateGates();
}

// The read-back.

void FirstRunView::enterReadBack() {
    setPhase(Phase::readBack);
    if (inspecting_) {
        return;
    }
    readBack_ = FirstRun::readBackOf(services_.vault);
    if (readBack_) {
        emit changed();
        return;
    }
    const CancelToken token = readBackLoop_.renew();
    QCoro::Task<> waiting = readBackTask(QPointer<FirstRunView>(this), token);
    Q_UNUSED(waiting);
}

QCoro::Task<> FirstRunView::readBackTask(QPointer<FirstRunView> self, CancelToken token) {
    const QDateTime start = self->now();
    self->readBackWait_ = FirstRun::ReadBackWait::reading;
    emit self->changed();
    QCoro::Task<Expected<void>> launching = DaemonEndpoints::triggerDreamer(
        self->services_.daemon, DreamerTrigger{QStringLiteral("period-close"), {}, {}, {}, {}, {}});
    const Expected<void> launched = co_await launching;
    if (!self || token.isCancelled()) {
        co_return;
    }
    const bool launchFailed = !launched.ok();
    if (launchFailed) {
        self->readBackWait_ = FirstRun::ReadBackWait::failed;
        emit self->changed();
    }
    while (self && !token.isCancelled() && self->phase_ == Phase::readBack && !self->readBack_) {
        QCoro::Task<> pausing = QCoro::sleepFor(self->timings_.readBackPoll);
        co_await pausing;
        if (!self || token.isCancelled() || self->phase_ != Phase::readBack) {
            co_return;
        }
        self->readBack_ = FirstRun::readBackOf(self->services_.vault);
        QCoro::Task<std::optional<DreamerSessions>> asking =
            DaemonEndpoints::dreamerSessions(self->services_.daemon);
        const std::optional<DreamerSessions> sessions = co_await asking;
        if (!self || token.isCancelled()) {
            co_return;
        }
        const bool running = sessions && !sessions->sessions.isEmpty();
        self->readBackWait_ =
            FirstRun::readBackWait(launchFailed, running, start.secsTo(self->now()));
        emit self->changed();
    }
}

QVariantList FirstRunView::readBackRows() const {
    QVariantList list;
    if (readBack_) {
        for (const FirstRun::SetupReadBack::Row& row : readBack_->rows) {
            list << QVariantMap{{QStringLiteral("label"), row.label},
                                {QStringLiteral("value"), row.value}};
        }
    }
    return list;
}

QString FirstRunView::readBackWaitWord() const {
    return readBackWait_ ? FirstRun::waitWord(*readBackWait_) : QString();
}

QString FirstRunView::waitText() const {
    return readBackWait_ && !readBack_ ? FirstRun::waitText(*readBackWait_) : QString();
}

bool FirstRunView::showsCorrectionHint() const {
    return readBackWait_ == FirstRun::ReadBackWait::failed;
}

void FirstRunView::requestPhotos() {
    if (photos_) {
        photos_->request();
        photos_->watch(timings_.engineWatch);
    }
}

void FirstRunView::openPhotoSettings() {
    if (photos_) {
        photos_->openSettings();
        photos_->watch(timings_.engineWatch);
    }
}

void FirstRunView::photosChanged() {
    // Access mended after the photos' proof failed: prove it again rather than make the user.
    if (photos_->state() == PhotoAccess::State::granted && checksStarted_ &&
        verify_->result(VerifyService::Proof::photos) &&
        !verify_->passed(VerifyService::Proof::photos)) {
        retryChecks();
    }
    emit changed();
}

void FirstRunView::confirm() {
    if (naming_ && services_.config) {
        const Expected<void> named = naming_->write(*services_.config, now());
        if (!named.ok()) {
            actionError_ = named.error();
            emit changed();
            return;
        }
        services_.identity = naming_->identityId();
        actionError_.clear();
    }
    finish();
}

void FirstRunView::finish() {
    // A correction is the user's own words on what was understood: it joins the answer on disk.
    if (held_ && held_->text && !correction_.trimmed().isEmpty()) {
        writeAnswered(*held_->text + QStringLiteral("\n\n") + correction_.trimmed());
    }
    setPhase(Phase::working);
    if (conversation()) {
        UserDefaults().setBool(QString::fromLatin1(UserDefaults::demoOfferPending), true);
    }
    UserDefaults().setBool(QString::fromLatin1(UserDefaults::onboardingComplete), true);
    setPresented(false);
    if (services_.appState) {
        services_.appState->setShowOnboarding(false);
    }
    emit changed();
}

// Problem reports.

QString FirstRunView::phoneOfferText() const {
    return QString(FirstRun::Text::phoneOfferText)
        .replace(QLatin1String("{brand}"), BrandProfile::name(brand_));
}

void FirstRunView::setReportingProblem(bool reporting) {
    reportingProblem_ = reporting;
    reportResult_.clear();
    emit changed();
}

QString FirstRunView::reportHeader() const {
    const QList<Gate> waiting = phase_ == Phase::setup ? waitingGates() : QList<Gate>{};
    return FirstRun::problemReportHeader(phase_, FirstRun::leadingGate(waiting));
}

void FirstRunView::submitReport(const QString& text) {
    QCoro::Task<> sending = reportTask(QPointer<FirstRunView>(this), text);
    Q_UNUSED(sending);
}

QCoro::Task<> FirstRunView::reportTask(QPointer<FirstRunView> self, QString text) {
    const QString description = self->reportHeader() + QStringLiteral("\n\n") + text.trimmed();
    QCoro::Task<Expected<QString>> sending =
        DaemonEndpoints::submitBugReport(self->services_.daemon, description, QString());
    const Expected<QString> sent = co_await sending;
    if (self) {
        self->reportResult_ = sent.ok() ? sent.value() : sent.error();
        emit self->changed();
    }
}

// Inspection states and clips handed in from elsewhere.

void FirstRunView::consumeCommand() {
    if (!services_.appState) {
        return;
    }
    const std::optional<QString> word = services_.appState->pendingOnboardingCommand();
    if (!word || !handles(*word)) {
        return; // the older wizard's steps are left to it
    }
    services_.appState->setPendingOnboardingCommand(std::nullopt);
    command(*word);
}

bool FirstRunView::handles(const QString& word) const {
    const bool inspection =
        word.startsWith(QLatin1String("screen-")) || word == QLatin1String("acceptance-card");
    const bool flow = word == QLatin1String("finish") || word == QLatin1String("restart");
    return inspection || (flow && isPresented_);
}

void FirstRunView::command(const QString& word) {
    using FirstRun::AnswerOrigin;
    const bool inspection =
        word.startsWith(QLatin1String("screen-")) || word == QLatin1String("acceptance-card");
    if (!inspection && !isPresented_) {
        return; // only an inspection state opens the first run by itself
    }
    if (word == QLatin1String("finish")) {
        finish(); // ends the presentation as it stands, named or not
        return;
    }
    if (word == QLatin1String("restart")) {
        inspecting_ = false;
        pretendFresh_ = false;
        held_.reset();
        setPresented(false);
        open(false); // over again: the question is asked anew
        return;
    }
    if (!inspection) {
        return; // the older wizard's steps
    }
    inspecting_ = true;
    setPresented(true);
    if (!conversation() && word != QLatin1String("acceptance-card")) {
        // The other brands have no question: every screen is their gates.
        pretendFresh_ = word == QLatin1String("screen-b-fresh");
        enterSetup();
        return;
    }
    const FirstRun::Answer typed{kSampleAnswer, AnswerOrigin::typed, std::nullopt, std::nullopt};
    if (word == QLatin1String("screen-a")) {
        held_.reset();
        enterQuestion();
    } else if (word == QLatin1String("screen-b") || word == QLatin1String("screen-b-fresh")) {
        pretendFresh_ = word.endsWith(QLatin1String("fresh"));
        held_ = typed;
        enterSetup();
    } else if (word == QLatin1String("screen-b-phone")) {
        held_ = FirstRun::Answer{kSampleAnswer, AnswerOrigin::phone, std::nullopt, std::nullopt};
        enterSetup();
    } else if (word == QLatin1String("screen-b-spoken")) {
        const QString clip = QDir::tempPath() + QStringLiteral("/first-run-unreadable.m4a");
        writeText(clip, QString::fromUtf8(kUnreadableClip));
        held_ = FirstRun::Answer{std::nullopt, AnswerOrigin::spoken, 14, clip};
        enterSetup();
    } else if (word == QLatin1String("screen-c")) {
        held_ = typed;
        readBack_ = FirstRun::parseReadBack(kSampleReadBack);
        setPhase(Phase::readBack);
    } else if (word == QLatin1String("acceptance-card")) {
        // The consent is asked at the browser check, on the gates' screen.
        if (conversation()) {
            held_ = typed;
        }
        enterSetup();
        acceptanceShown_ = true;
        emit changed();
    }
}

void FirstRunView::consumeClip() {
    if (!services_.appState || !isPresented_) {
        return;
    }
    const std::optional<AppStateStore::FirstRunClip> clip =
        services_.appState->pendingFirstRunClip();
    if (!clip || !clip->url) {
        return;
    }
    services_.appState->setPendingFirstRunClip(std::nullopt);
    heldClipPath_ = *clip->url;
    hold(FirstRun::Answer{std::nullopt, FirstRun::AnswerOrigin::spoken, clip->seconds, *clip->url});
}

} // namespace mnemora

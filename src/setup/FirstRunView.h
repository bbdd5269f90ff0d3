#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>

#include "app/Brand.h"
#include "app/CancellableLoop.h"
#include "setup/EngineInstallWatcher.h"
#include "setup/FirstRun.h"
#include "setup/IdentityNamingStep.h"
#include "setup/PhotoAccess.h"
#include "setup/VerifyService.h"

namespace mnemora {

class AnswerControlModel;
class AppStateStore;
class ConfigService;
class DaemonService;
class TerminalLauncher;

// The screen model of the first run: one open question, the gates still needed to act on the
// answer, the read-back of what was understood, and the start of the first run. It holds the
// state and runs the tasks; what it decides and says comes from `FirstRun`.
class FirstRunView : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isPresented READ isPresented NOTIFY presentedChanged)
    Q_PROPERTY(QString phase READ phaseWord NOTIFY changed)
    Q_PROPERTY(QString brand READ brandWord CONSTANT)
    Q_PROPERTY(bool conversation READ conversation CONSTANT)
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY changed)
    Q_PROPERTY(QString correction READ correction WRITE setCorrection NOTIFY changed)
    Q_PROPERTY(bool canSend READ canSend NOTIFY changed)
    Q_PROPERTY(bool reAsk READ reAskAfterUnreadableClip NOTIFY changed)
    Q_PROPERTY(QString caption READ caption NOTIFY changed)
    // No gate but the microphone waits: a brand without the conversation may go on.
    Q_PROPERTY(bool gatesClear READ gatesClear NOTIFY changed)
    Q_PROPERTY(QVariantList rows READ rowsVariant NOTIFY changed)
    Q_PROPERTY(QVariantMap answerBlock READ answerBlockVariant NOTIFY changed)
    Q_PROPERTY(QStringList missingTools READ missingTools NOTIFY changed)
    Q_PROPERTY(bool fundingOptionsShown READ fundingOptionsShown NOTIFY changed)
    Q_PROPERTY(QString actionError READ actionError NOTIFY changed)
    Q_PROPERTY(QVariantList checks READ checksVariant NOTIFY changed)
    Q_PROPERTY(QString checksNote READ checksNote NOTIFY changed)
    // "{number} good" once a proof has passed.
    Q_PROPERTY(QString checksSummary READ checksSummary NOTIFY changed)
    Q_PROPERTY(bool checksFailed READ checksFailed NOTIFY changed)
    Q_PROPERTY(QString engineCommand READ engineCommand CONSTANT)
    Q_PROPERTY(bool acceptanceShown READ acceptanceShown NOTIFY changed)
    Q_PROPERTY(QVariantMap acceptanceCopy READ acceptanceCopy CONSTANT)
    Q_PROPERTY(QVariantList readBackRows READ readBackRows NOTIFY changed)
    Q_PROPERTY(QString readBackNote READ readBackNote NOTIFY changed)
    Q_PROPERTY(QString readBackWait READ readBackWaitWord NOTIFY changed)
    Q_PROPERTY(QString waitText READ waitText NOTIFY changed)
    Q_PROPERTY(bool showsCorrectionHint READ showsCorrectionHint NOTIFY changed)
    Q_PROPERTY(QString confirmText READ confirmText NOTIFY changed)
    Q_PROPERTY(bool phoneOffer READ phoneOffer NOTIFY changed)
    Q_PROPERTY(QString phoneOfferText READ phoneOfferText CONSTANT)
    Q_PROPERTY(bool reportingProblem READ reportingProblem WRITE setReportingProblem NOTIFY changed)
    Q_PROPERTY(QString reportHeader READ reportHeader NOTIFY changed)
    Q_PROPERTY(QString reportResult READ reportResult NOTIFY changed)
    Q_PROPERTY(bool inspecting READ inspecting NOTIFY changed)
    Q_PROPERTY(QObject* verify READ verifyObject CONSTANT)
    // The naming of the library's identity, on the gates' screen of the brands without the
    // conversation; null for Tallo.
    Q_PROPERTY(QObject* naming READ namingObject CONSTANT)
    // Access to the photo folders, for the brands that read photos; null otherwise.
    Q_PROPERTY(QObject* photos READ photosObject CONSTANT)
    // For the answer field, which transcribes through the daemon.
    Q_PROPERTY(QObject* daemon READ daemonObject CONSTANT)

public:
    struct Timings {
        std::chrono::milliseconds questionPoll{3000};
        std::chrono::milliseconds readBackPoll{3000};
        std::chrono::milliseconds engineWatch{2000};
    };
    using Clock = std::function<QDateTime()>;

    struct Services {
        AppStateStore* appState = nullptr;
        ConfigService* config = nullptr;
        DaemonService* daemon = nullptr;
        TerminalLauncher* terminal = nullptr;
        QString vault;
        QString identity;
        // The photo folders the daemon indexes; the user's pictures folder when empty.
        QStringList photoFolders;
    };

    FirstRunView(Brand brand, Services services, QObject* parent = nullptr);
    ~FirstRunView() override;

    void setTimings(Timings timings) { timings_ = timings; }
    void setClock(Clock clock) { clock_ = std::move(clock); }
    // Whether the user can answer from a phone (signed into the record store).
    void setPhoneOffer(bool offer);

    // Opens the first run at its question, or at the gates for a brand without the conversation or
    // when the question already stands answered from an earlier launch.
    Q_INVOKABLE void present();

    bool isPresented() const { return isPresented_; }
    FirstRun::Phase phase() const { return phase_; }
    QString phaseWord() const { return FirstRun::phaseWord(phase_); }
    QString brandWord() const;
    // Tallo's first run is a conversation; the other brands see only its gates.
    bool conversation() const { return brand_ == Brand::tallo; }
    const QString& draft() const { return draft_; }
    void setDraft(const QString& draft);
    const QString& correction() const { return correction_; }
    void setCorrection(const QString& correction);
    bool canSend() const;
    bool reAskAfterUnreadableClip() const { return reAskAfterUnreadableClip_; }
    const std::optional<FirstRun::Answer>& held() const { return held_; }
    const std::optional<QString>& setupAskedAt() const { return setupAskedAt_; }
    std::optional<int> unreadableSeconds() const { return unreadableSeconds_; }
    bool micGranted() const { return micGranted_; }
    void setMicGranted(bool granted);
    bool pretendFresh() const { return pretendFresh_; }
    bool inspecting() const { return inspecting_; }
    bool fundingOptionsShown() const { return fundingOptionsShown_; }
    const QString& actionError() const { return actionError_; }
    QList<FirstRun::Gate> waitingGates() const;
    bool gatesClear() const;
    QString caption() const;
    QVariantList rowsVariant() const;
    std::optional<FirstRun::AnswerBlock> answerBlock(int mode = 0) const;
    QVariantMap answerBlockVariant() const;
    QStringList missingTools() const { return engine_->missingLabels(); }
    QVariantList checksVariant() const;
    QString checksNote() const;
    QString checksSummary() const;
    // A proof ended without passing and none runs: the screen offers to try again.
    bool checksFailed() const;
    QString engineCommand() const { return FirstRun::Text::engineCommand; }
    bool acceptanceShown() const { return acceptanceShown_ || verify_->acceptanceOwed(); }
    QVariantMap acceptanceCopy() const;
    const std::optional<FirstRun::SetupReadBack>& readBack() const { return readBack_; }
    QVariantList readBackRows() const;
    QString readBackNote() const { return readBack_ ? readBack_->note : QString(); }
    std::optional<FirstRun::ReadBackWait> readBackWait() const { return readBackWait_; }
    QString readBackWaitWord() const;
    QString waitText() const;
    bool showsCorrectionHint() const;
    QString confirmText() const { return FirstRun::confirmText(readBack_); }
    bool phoneOffer() const { return phoneOffer_; }
    QString phoneOfferText() const;
    bool reportingProblem() const { return reportingProblem_; }
    void setReportingProblem(bool reporting);
    QString reportHeader() const;
    const QString& reportResult() const { return reportResult_; }
    EngineInstallWatcher& engine() const { return *engine_; }
    VerifyService& verify() const { return *verify_; }
    QObject* verifyObject() const { return verify_; }
    QObject* daemonObject() const;
    IdentityNamingStep* naming() const { return naming_; }
    QObject* namingObject() const { return naming_; }
    PhotoAccess* photos() const { return photos_; }
    QObject* photosObject() const { return photos_; }

    // The answer field's events, from the answer control the screen shows.
    Q_INVOKABLE void attachAnswer(QObject* control);
    Q_INVOKABLE void noteTranscript();
    Q_INVOKABLE void noteClipSaved(const QString& path, int seconds);
    Q_INVOKABLE void noteUnreadableClip(int seconds);
    Q_INVOKABLE void reachedForMic();

    Q_INVOKABLE void send();
    Q_INVOKABLE void chooseSubscription();
    Q_INVOKABLE void showFundingOptions();
    Q_INVOKABLE void openTerminal();
    Q_INVOKABLE void retryChecks();
    Q_INVOKABLE void acceptBrowser();
    Q_INVOKABLE void declineBrowser();
    Q_INVOKABLE void confirm();
    // "Let me read your photos", and the way to mend a refusal.
    Q_INVOKABLE void requestPhotos();
    Q_INVOKABLE void openPhotoSettings();
    Q_INVOKABLE void submitReport(const QString& text);
    // An inspection state for automation: `screen-a`, `screen-b`, ... `finish`.
    Q_INVOKABLE void command(const QString& word);

    // The tasks, awaitable by tests.
    QCoro::Task<> checkQuestionFile();
    QCoro::Task<> runChecks();
    QCoro::Task<> transcribeHeld();
    QCoro::Task<> openTerminalTask();

signals:
    void changed();
    void presentedChanged();
    // The user declined to let the agent work as them: the application ends.
    void quitRequested();

private:
    QDateTime now() const;
    FirstRun::GateInputs gateInputs() const;
    void setPhase(FirstRun::Phase phase);
    // Opens the screens; with `resumeAnswer`, an answer already on disk is taken up again.
    void open(bool resumeAnswer);
    void enterQuestion();
    bool resumeAnsweredQuestion();
    void enterSetup();
    void enterReadBack();
    void evaluateGates();
    void ensureQuestionFile();
    void writeAnswered(const QString& text);
    void consumeCommand();
    // The inspection states, and finishing or restarting a first run on screen.
    bool handles(const QString& word) const;
    void consumeClip();
    void photosChanged();
    // Ends the first run and starts the work.
    void finish();
    void hold(FirstRun::Answer answer);
    void setPresented(bool presented);
    static QCoro::Task<> questionPass(QPointer<FirstRunView> self);
    static QCoro::Task<> readBackTask(QPointer<FirstRunView> self, CancelToken token);
    static QCoro::Task<> reportTask(QPointer<FirstRunView> self, QString text);
    static QCoro::Task<> transcribeTask(QPointer<FirstRunView> self);
    static QCoro::Task<> checksTask(QPointer<FirstRunView> self);
    static QCoro::Task<> terminalTask(QPointer<FirstRunView> self);

    Brand brand_;
    Services services_;
    Timings timings_;
    Clock clock_;
    EngineInstallWatcher* engine_;
    VerifyService* verify_;
    IdentityNamingStep* naming_ = nullptr;
    PhotoAccess* photos_ = nullptr;
    bool isPresented_ = false;
    FirstRun::Phase phase_ = FirstRun::Phase::question;
    QString draft_;
    std::optional<FirstRun::Answer> held_;
    bool micGranted_ = false;
    QString correction_;
    std::optional<FirstRun::SetupReadBack> readBack_;
    std::optional<FirstRun::ReadBackWait> readBackWait_;
    bool fundingOptionsShown_ = false;
    bool pretendFresh_ = false;
    bool inspecting_ = false;
    std::optional<int> unreadableSeconds_;
    std::optional<QString> heldClipPath_;
    std::optional<QString> setupAskedAt_;
    bool reportingProblem_ = false;
    QString reportResult_;
    bool draftWasSpoken_ = false;
    bool reAskAfterUnreadableClip_ = false;
    bool phoneOffer_ = false;
    bool acceptanceShown_ = false;
    bool checksStarted_ = false;
    bool checksRunning_ = false;
    bool transcribing_ = false;
    bool transcriptionFailed_ = false;
    QString actionError_;
    CancellableTask questionPoll_;
    CancellableTask readBackLoop_;
};

} // namespace mnemora

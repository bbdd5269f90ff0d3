#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <optional>

#include "app/Brand.h"

namespace mnemora {

// The first run as pure rules: one open question, the gates still needed to act on the answer,
// the read-back of what was understood. The screen model holds the state and runs the tasks;
// everything it decides or says comes from here.
namespace FirstRun {

// The four screens, A, B, C and "—" in problem reports.
enum class Phase { question, setup, readBack, working };
enum class Gate { microphone, engine, funding, checks };
enum class Presentation { card, line };
enum class ReadBackWait { reading, slow, failed, stopped };
enum class AnswerOrigin { typed, transcribed, spoken, phone };
// The setup screen's proofs, in the order they run.
enum class Proof { photos, voice, caption, engine, browser };

// One line of the setup screen: a note, the settled gates, or a waiting gate.
struct Row {
    enum class Kind { note, settled, gate };
    Kind kind = Kind::note;
    QString text;      // note, settled
    QList<Gate> gates; // settled
    Gate gate{};       // gate
    int number = 0;    // gate: its counter from 1
    Presentation presentation = Presentation::card;

    bool operator==(const Row&) const = default;
};

struct Answer {
    std::optional<QString> text;
    AnswerOrigin origin = AnswerOrigin::typed;
    std::optional<int> spokenSeconds;
    std::optional<QString> clipPath;

    bool operator==(const Answer&) const = default;
};

// What the setup screen shows of the held answer.
struct AnswerBlock {
    QString heading;
    std::optional<QString> quoted;
    std::optional<QString> length;
    std::optional<QString> note;
    std::optional<double> noteFraction;
    bool showsPhoneChip = false;

    bool operator==(const AnswerBlock&) const = default;
};

// What the agent understood, as read from the accountant notes it writes.
struct SetupReadBack {
    struct Row {
        QString label;
        QString value;
        bool operator==(const Row&) const = default;
    };
    QList<Row> rows;
    QString note;

    bool operator==(const SetupReadBack&) const = default;
};

// Whatever the gates are judged by.
struct GateInputs {
    bool micGranted = false;
    bool engineInstalled = false;
    QString claudeBackend;
    bool enginePassed = false;
    bool browserPassed = false;
    bool voicePassed = false;
    bool pretendFresh = false;
    std::optional<AnswerOrigin> heldOrigin;
};

// The voice model's download, as the answer block shows it.
struct ModelDownload {
    std::optional<QString> progressText;
    std::optional<double> fraction;
};

QString phaseWord(Phase phase);
std::optional<Phase> phaseOfWord(const QString& word);
// "A", "B", "C" or "—".
QString screenLetter(Phase phase);
QString waitWord(ReadBackWait wait);
QString gateWord(Gate gate);

QList<Gate> gates(Brand brand);
QList<Proof> proofs(Brand brand);
// The checks pass on the engine's and the browser's proofs; a brand without those, on its voice.
bool isSettled(Brand brand, Gate gate, const GateInputs& inputs);
// The brand's gates that are not settled, in list order.
QList<Gate> waitingGates(Brand brand, const GateInputs& inputs);
QList<Gate> settledGates(Brand brand, const GateInputs& inputs);
// The first waiting gate other than the microphone.
std::optional<Gate> leadingGate(const QList<Gate>& waiting);
QString waitingCaption(std::optional<Gate> leading);
QList<Row> rows(const QList<Gate>& waiting, const QList<Gate>& settled);
// "Microphone and engine", "Microphone, engine, subscription and checks".
QString settledSummary(const QList<Gate>& settled);
QString gateTitle(Gate gate);
// "zero" to "ten", digits beyond.
QString numberWord(int number);
// Where the flow goes once no gate waits.
Phase nextPhaseAfterGates(const std::optional<Answer>& held);

bool sendAllowed(const QString& draft, bool hasClip, std::optional<int> unreadableSeconds);
// The answer of a send: a spoken answer not yet in words, or the draft as typed or transcribed.
Answer answerOnSend(const QString& draft, bool draftWasSpoken, std::optional<int> unreadableSeconds,
                    const std::optional<QString>& clipPath);

// `mode` 0 is the setup screen, other modes the later screens.
std::optional<AnswerBlock> answerBlock(const std::optional<Answer>& held, int mode,
                                       const std::optional<ModelDownload>& download);

// The first fitting row: a failed launch, a stopped session after 20 s, slow after 120 s.
ReadBackWait readBackWait(bool launchFailed, bool sessionRunning, qint64 elapsedSeconds);
QString waitText(ReadBackWait wait);
QString confirmText(const std::optional<SetupReadBack>& readBack);

// None when the text gives no row.
std::optional<SetupReadBack> parseReadBack(const QString& markdown);
// `{vault}/Notes/bookkeeping/accountant.md`, parsed; none when unreadable.
std::optional<SetupReadBack> readBackOf(const QString& vault);

// The question file and its two forms.
QString questionFilePath(const QString& vault, const QString& identity);
QString openForm(const QString& askedAt);
QString answeredForm(const QString& askedAt, const QString& answer);
// The value of a frontmatter key, trimmed; none without one.
std::optional<QString> frontmatterValue(const QString& key, const QString& text);
// The text under the last line that `isHeading` accepts, up to the next level-two heading,
// trimmed; none without such a line. Question files keep their answers in such sections.
std::optional<QString> sectionUnderLast(const QString& text,
                                        const std::function<bool(const QString&)>& isHeading);
// The text under the last answer heading: this screen's plain "## Answer" or the
// "## Answer ({instant})" that an answer from the phone gets on its way through the questions'
// own road.
std::optional<QString> answerSection(const QString& text);

// The first lines of a problem report sent from a screen.
QString problemReportHeader(Phase phase, std::optional<Gate> waiting);

// The system's own words.
namespace Text {
extern const QString question;
extern const QString placeholder;
extern const QString sendLabel;
extern const QString sendHint;
extern const QString reAsk;
extern const QString microphoneNote;
extern const QString setupHeading;
extern const QString setupIntro;
extern const QString setupClosing;
extern const QString engineBody;
extern const QString engineStillMissing; // "{tools}"
extern const QString engineOpenTerminal;
extern const QString engineHelp;
extern const QString engineCommand;
extern const QString fundingHave;
extern const QString fundingOptions;
extern const QString fundingOptionsText;
extern const QString fundingNote;
extern const QString checksLead;
extern const QString checkPhotos;
extern const QString checkEngine;
extern const QString checkBrowser;
extern const QString checkVoice;
extern const QString checkCaption;
extern const QString browserByHandNote;
extern const QString browserNote;
extern const QString checkRetry;
extern const QString checkReport;
extern const QString checkReportNote;
extern const QString photosAsk;
extern const QString photosWhy;
extern const QString photosOpen;
extern const QString photosComeBack;
extern const QString photosStillNothing;
extern const QString readBackHeading;
extern const QString correctionHint;
extern const QString phoneOfferTitle;
extern const QString phoneOfferText; // "{brand}"
extern const QString phoneChip;
extern const QStringList introduction;
extern const QString exampleLead;
extern const QString example;
extern const QString stuck;
extern const QString reportProblem;
extern const QString reportPrompt;
extern const QString reportAppMisbehaving;
extern const QString demoOffer;
extern const QString demoOfferDetail;
extern const QString demoShow;
extern const QString demoDecline;
} // namespace Text

} // namespace FirstRun

} // namespace mnemora

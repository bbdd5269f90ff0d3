#include "setup/FirstRun.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace mnemora::FirstRun {

namespace Text {
const QString question =
    QStringLiteral("So — tell me about your business, and what you send your accountant.");
const QString placeholder = QStringLiteral("Answer — or hold to speak");
const QString sendLabel = QStringLiteral("That's it — get started");
const QString sendHint = QStringLiteral("off until you've said something · or Ctrl+Enter");
const QString reAsk = QStringLiteral(
    "I couldn't turn that recording into words. The part of me that does that has finished "
    "downloading since — so hold the mic and say it again, and it'll work this time. Or type it.");
const QString microphoneNote =
    QStringLiteral("I'll ask for the microphone the moment you reach for it — not before.");
const QString setupHeading = QStringLiteral("Before I can act on that, I need a few things.");
const QString setupIntro = QStringLiteral("Once, and then never again. Your answer is safe — "
                                          "I'll pick it up the moment this is done.");
const QString setupClosing = QStringLiteral(
    "The moment everything is green I'll read what you told me and get started. You don't have "
    "to come back to this screen.");
const QString engineBody = QStringLiteral("I run on Claude Code. It and two helpers have to be "
                                          "installed. I'll watch and say the moment it works.");
const QString engineStillMissing = QStringLiteral("Still missing: {tools}");
const QString engineOpenTerminal = QStringLiteral("Open a terminal and paste it");
const QString engineHelp = QStringLiteral("What can I do about this?");
// Debian's packages for the two helpers, then Claude Code itself from npm.
const QString engineCommand =
    QStringLiteral("sudo apt install tmux nodejs npm && sudo npm i -g @anthropic-ai/claude-code");
const QString fundingHave = QStringLiteral("I have a Claude subscription");
const QString fundingOptions = QStringLiteral("I don't — what are my options?");
const QString fundingOptionsText = QStringLiteral(
    "Today there is one: a Claude subscription from Anthropic, the same one you would use for "
    "Claude itself. I run on it rather than billing you for my own — it is cheaper for you and I "
    "never hold your card. Running on a model on this computer instead is something I want to "
    "offer and cannot yet.");
const QString fundingNote = QStringLiteral(
    "Your own Claude subscription is much the cheapest way to run me — Anthropic makes you sign "
    "in yourself, so that is a second terminal trip.");
const QString checksLead = QStringLiteral(
    "Running now, on nothing that matters. Better here than halfway through your books.");
const QString checkPhotos = QStringLiteral("Your photos are readable");
const QString checkEngine = QStringLiteral("The engine answers");
const QString checkBrowser = QStringLiteral("It can drive a browser");
const QString checkVoice = QStringLiteral("Your voice comes back as words");
const QString checkCaption = QStringLiteral("A photo comes back described");
const QString browserByHandNote = QStringLiteral(
    "You are fetching files yourself, so I never open a browser. Everything after the download "
    "is still mine.");
const QString browserNote = QStringLiteral(
    "The last one opens Chrome — that is where I do the collecting, so your desktop will ask you "
    "to allow it. I'll explain exactly what that means before anything opens.");
const QString checkRetry = QStringLiteral("Try again");
const QString checkReport = QStringLiteral("Tell us about it");
const QString checkReportNote = QStringLiteral("I'll send it on with which step failed.");
const QString photosAsk = QStringLiteral("Let me read your photos");
const QString photosWhy = QStringLiteral("Receipts are found by reading them.");
const QString photosOpen = QStringLiteral("Open photo folders in the file manager");
const QString photosComeBack = QStringLiteral("Then come back — I'll notice.");
const QString photosStillNothing = QStringLiteral("Still nothing?");
const QString readBackHeading = QStringLiteral("Let me say that back.");
const QString correctionHint = QStringLiteral("use the box above to correct what I heard.");
const QString phoneOfferTitle = QStringLiteral("Rather answer on your phone?");
const QString phoneOfferText = QStringLiteral(
    "You're signed into the record store, so open {brand} on a phone signed into the same "
    "account and this question is already there. Speak it walking to the kitchen — this window "
    "notices and moves on by itself.");
const QString phoneChip = QStringLiteral("from your phone");
const QStringList introduction = {
    QStringLiteral("I do the boring half of your bookkeeping."),
    QStringLiteral("Every period you have to gather statements, hunt down receipts, and send the "
                   "lot to your accountant. I do that part — in a browser on this computer, the "
                   "same way you would — and hand you the finished email to read and send."),
    QStringLiteral("I'll need to interrupt you a few times. Mostly just to sign in somewhere."),
    QStringLiteral("No form, no fields, nothing to look up. Anything you leave out, I'll ask about "
                   "when I hit it.")};
const QString exampleLead = QStringLiteral("PEOPLE USUALLY SAY SOMETHING LIKE");
const QString example = QStringLiteral(
    "\"I run a small design studio in Helsinki, it's an Oy. Every month I send Tiklex a folder "
    "with the bank statement, the card statement and all the receipts. She's at Fischer & Co and "
    "she writes to me in German.\"");
const QString stuck = QStringLiteral("Stuck here?");
const QString reportProblem = QStringLiteral("Report a problem");
const QString reportPrompt = QStringLiteral("Tell me what happened");
const QString reportAppMisbehaving = QStringLiteral("Is the app itself misbehaving?");
const QString demoOffer =
    QStringLiteral("This'll take a while. Want to watch me do a made-up month in the meantime?");
const QString demoOfferDetail =
    QStringLiteral("It opens in its own window, on made-up books. Yours keeps going.");
const QString demoShow = QStringLiteral("Show me");
const QString demoDecline = QStringLiteral("No thanks");
} // namespace Text

namespace {

template <typename Enum> struct Word {
    Enum value;
    const char* word;
};

const Word<Phase> kPhaseWords[] = {{Phase::question, "question"},
                                   {Phase::setup, "setup"},
                                   {Phase::readBack, "readBack"},
                                   {Phase::working, "working"}};

QString gateNoun(Gate gate) {
    switch (gate) {
    case Gate::microphone:
        return QStringLiteral("microphone");
    case Gate::engine:
        return QStringLiteral("engine");
    case Gate::funding:
        return QStringLiteral("subscription");
    case Gate::checks:
        break;
    }
    return QStringLiteral("checks");
}

// "a", "a and b", "a, b and c".
QString joined(const QStringList& words, const QString& lastJoin) {
    if (words.size() <= 1) {
        return words.value(0);
    }
    return words.mid(0, words.size() - 1).join(QStringLiteral(", ")) + lastJoin + words.last();
}

QString stripEmphasis(QString value) {
    for (const char* mark : {"**", "__", "`", "*", "_"}) {
        value.remove(QLatin1String(mark));
    }
    return value.trimmed();
}

QString withoutComments(QString text) {
    for (qsizetype open = text.indexOf(QLatin1String("<!--")); open >= 0;
         open = text.indexOf(QLatin1String("<!--"), open)) {
        const qsizetype close = text.indexOf(QLatin1String("-->"), open + 4);
        if (close < 0) {
            text.truncate(open);
            break;
        }
        text.remove(open, close + 3 - open);
    }
    return text;
}

struct Entry {
    QString section;
    QString key;
    QString value;
};

QList<Entry> entriesOf(const QString& markdown) {
    QList<Entry> entries;
    QString section;
    bool continuing = false;
    for (const QString& line : withoutComments(markdown).split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(QLatin1String("##"))) {
            qsizetype hashes = 0;
            while (hashes < trimmed.size() && trimmed.at(hashes) == QLatin1Char('#')) {
                ++hashes;
            }
            section = trimmed.mid(hashes).trimmed();
            continuing = false;
        } else if (trimmed.startsWith(QLatin1Char('#'))) {
            continuing = false;
        } else if (trimmed.startsWith(QLatin1String("- ")) && trimmed.contains(QLatin1Char(':'))) {
            const qsizetype colon = trimmed.indexOf(QLatin1Char(':'));
            entries.append(
                {section, trimmed.mid(2, colon - 2).trimmed(), trimmed.mid(colon + 1).trimmed()});
            continuing = true;
        } else if (trimmed.isEmpty()) {
            continuing = false;
        } else if (continuing && !entries.isEmpty() && line.at(0).isSpace() &&
                   !trimmed.startsWith(QLatin1String("- "))) {
            entries.last().value += QLatin1Char(' ') + trimmed;
        } else {
            continuing = false;
        }
    }
    for (Entry& entry : entries) {
        entry.value = stripEmphasis(entry.value);
    }
    return entries;
}

std::optional<QString> lookUp(const QList<Entry>& entries, const char* section, const char* key) {
    for (const Entry& entry : entries) {
        if (entry.section.compare(QLatin1String(section), Qt::CaseInsensitive) == 0 &&
            entry.key.startsWith(QLatin1String(key), Qt::CaseInsensitive) &&
            !entry.value.trimmed().isEmpty()) {
            return entry.value.trimmed();
        }
    }
    return std::nullopt;
}

} // namespace

QString phaseWord(Phase phase) {
    for (const auto& [value, word] : kPhaseWords) {
        if (value == phase) {
            return QLatin1String(word);
        }
    }
    return {};
}

std::optional<Phase> phaseOfWord(const QString& word) {
    for (const auto& [value, name] : kPhaseWords) {
        if (word == QLatin1String(name)) {
            return value;
        }
    }
    return std::nullopt;
}

QString screenLetter(Phase phase) {
    switch (phase) {
    case Phase::question:
        return QStringLiteral("A");
    case Phase::setup:
        return QStringLiteral("B");
    case Phase::readBack:
        return QStringLiteral("C");
    case Phase::working:
        break;
    }
    return QStringLiteral("—");
}

QString waitWord(ReadBackWait wait) {
    switch (wait) {
    case ReadBackWait::reading:
        return QStringLiteral("reading");
    case ReadBackWait::slow:
        return QStringLiteral("slow");
    case ReadBackWait::failed:
        return QStringLiteral("failed");
    case ReadBackWait::stopped:
        break;
    }
    return QStringLiteral("stopped");
}

QString gateWord(Gate gate) {
    switch (gate) {
    case Gate::microphone:
        return QStringLiteral("microphone");
    case Gate::engine:
        return QStringLiteral("engine");
    case Gate::funding:
        return QStringLiteral("funding");
    case Gate::checks:
        break;
    }
    return QStringLiteral("checks");
}

QList<Proof> proofs(Brand brand) {
    switch (brand) {
    case Brand::mnemora:
        return {Proof::photos, Proof::voice, Proof::caption, Proof::engine, Proof::browser};
    case Brand::tallo:
        return {Proof::photos, Proof::voice, Proof::engine, Proof::browser};
    case Brand::voxlet:
        break;
    }
    return {Proof::voice};
}

QList<Gate> gates(Brand brand) {
    QList<Gate> list{Gate::microphone};
    if (brand != Brand::voxlet) {
        list << Gate::engine << Gate::funding;
    }
    if (!proofs(brand).isEmpty()) {
        list << Gate::checks;
    }
    return list;
}

bool isSettled(Brand brand, Gate gate, const GateInputs& inputs) {
    switch (gate) {
    case Gate::microphone:
        if (inputs.pretendFresh) {
            return inputs.heldOrigin == AnswerOrigin::transcribed ||
                   inputs.heldOrigin == AnswerOrigin::spoken;
        }
        return inputs.micGranted;
    case Gate::engine:
        return !inputs.pretendFresh && inputs.engineInstalled;
    case Gate::funding:
        return !inputs.pretendFresh && !inputs.claudeBackend.isEmpty();
    case Gate::checks:
        break;
    }
    if (inputs.pretendFresh) {
        return false;
    }
    return proofs(brand).contains(Proof::engine) ? inputs.enginePassed && inputs.browserPassed
                                                 : inputs.voicePassed;
}

QList<Gate> waitingGates(Brand brand, const GateInputs& inputs) {
    QList<Gate> waiting;
    for (Gate gate : gates(brand)) {
        if (!isSettled(brand, gate, inputs)) {
            waiting << gate;
        }
    }
    return waiting;
}

QList<Gate> settledGates(Brand brand, const GateInputs& inputs) {
    QList<Gate> settled;
    for (Gate gate : gates(brand)) {
        if (isSettled(brand, gate, inputs)) {
            settled << gate;
        }
    }
    return settled;
}

std::optional<Gate> leadingGate(const QList<Gate>& waiting) {
    for (Gate gate : waiting) {
        if (gate != Gate::microphone) {
            return gate;
        }
    }
    return std::nullopt;
}

QString waitingCaption(std::optional<Gate> leading) {
    if (!leading) {
        return QStringLiteral("Reading it back…");
    }
    switch (*leading) {
    case Gate::engine:
        return QStringLiteral("Waiting on the engine…");
    case Gate::funding:
        return QStringLiteral("Waiting on you to pick one…");
    case Gate::checks:
    case Gate::microphone:
        break;
    }
    return QStringLiteral("Checking it all works…");
}

QString settledSummary(const QList<Gate>& settled) {
    QStringList words;
    for (Gate gate : settled) {
        words << gateNoun(gate);
    }
    QString summary = joined(words, QStringLiteral(" and "));
    if (!summary.isEmpty()) {
        summary[0] = summary.at(0).toUpper();
    }
    return summary;
}

QList<Row> rows(const QList<Gate>& waiting, const QList<Gate>& settled) {
    QList<Row> list;
    if (waiting.contains(Gate::microphone)) {
        list << Row{Row::Kind::note, Text::microphoneNote, {}, {}, 0, Presentation::card};
    }
    if (!settled.isEmpty()) {
        list << Row{Row::Kind::settled,
                    settledSummary(settled) + QStringLiteral(": all set"),
                    settled,
                    {},
                    0,
                    Presentation::card};
    }
    int number = 0;
    for (Gate gate : waiting) {
        if (gate == Gate::microphone) {
            continue;
        }
        list << Row{Row::Kind::gate,
                    {},
                    {},
                    gate,
                    ++number,
                    gate == Gate::checks ? Presentation::line : Presentation::card};
    }
    return list;
}

QString gateTitle(Gate gate) {
    switch (gate) {
    case Gate::microphone:
        return QStringLiteral("The microphone");
    case Gate::engine:
        return QStringLiteral("The engine — one line in a terminal");
    case Gate::funding:
        return QStringLiteral("Who pays for the AI");
    case Gate::checks:
        break;
    }
    return QStringLiteral("Then I check it all actually works");
}

QString numberWord(int number) {
    static const char* const words[] = {"zero", "one",   "two",   "three", "four", "five",
                                        "six",  "seven", "eight", "nine",  "ten"};
    if (number >= 0 && number <= 10) {
        return QLatin1String(words[number]);
    }
    return QString::number(number);
}

Phase nextPhaseAfterGates(const std::optional<Answer>& held) {
    if (!held) {
        return Phase::question;
    }
    if (held->text && !held->text->trimmed().isEmpty()) {
        return Phase::readBack;
    }
    return held->clipPath ? Phase::setup : Phase::question;
}

bool sendAllowed(const QString& draft, bool hasClip, std::optional<int> unreadableSeconds) {
    return hasClip || unreadableSeconds.has_value() || !draft.trimmed().isEmpty();
}

Answer answerOnSend(const QString& draft, bool draftWasSpoken, std::optional<int> unreadableSeconds,
                    const std::optional<QString>& clipPath) {
    const QString trimmed = draft.trimmed();
    if (trimmed.isEmpty() && unreadableSeconds) {
        return Answer{std::nullopt, AnswerOrigin::spoken, unreadableSeconds, clipPath};
    }
    return Answer{trimmed, draftWasSpoken ? AnswerOrigin::transcribed : AnswerOrigin::typed,
                  std::nullopt, clipPath};
}

std::optional<AnswerBlock> answerBlock(const std::optional<Answer>& held, int mode,
                                       const std::optional<ModelDownload>& download) {
    if (!held || (!held->text && mode != 0)) {
        return std::nullopt;
    }
    if (mode == 1 && held->origin == AnswerOrigin::typed) {
        return std::nullopt;
    }
    AnswerBlock block;
    block.quoted = held->text;
    if (held->spokenSeconds) {
        const int seconds = std::max(0, *held->spokenSeconds);
        block.length = QString::asprintf("%d:%02d", seconds / 60, seconds % 60);
    }
    if (!block.quoted && !block.length) {
        return std::nullopt;
    }
    if (mode != 0) {
        block.heading = QStringLiteral("YOU SAID");
    } else if (held->spokenSeconds) {
        block.heading = QStringLiteral("GOT IT — %1 SECONDS").arg(*held->spokenSeconds);
    } else {
        block.heading = QStringLiteral("GOT IT");
    }
    if (!held->text && download) {
        block.note = download->progressText
                         ? QStringLiteral("learning to read it… ") + *download->progressText
                         : QStringLiteral("learning to read it…");
        block.noteFraction = download->fraction;
    }
    block.showsPhoneChip = held->origin == AnswerOrigin::phone;
    return block;
}

ReadBackWait readBackWait(bool launchFailed, bool sessionRunning, qint64 elapsedSeconds) {
    if (launchFailed) {
        return ReadBackWait::failed;
    }
    if (!sessionRunning && elapsedSeconds >= 20) {
        return ReadBackWait::stopped;
    }
    return elapsedSeconds >= 120 ? ReadBackWait::slow : ReadBackWait::reading;
}

QString waitText(ReadBackWait wait) {
    switch (wait) {
    case ReadBackWait::reading:
        return QStringLiteral("I'm reading it through now. This takes a moment the first time.");
    case ReadBackWait::slow:
        return QStringLiteral("This is taking longer than it usually does. I have your answer "
                              "either way, and I'll ask you about anything I'm unsure of as I "
                              "go.");
    case ReadBackWait::failed:
        return QStringLiteral("I couldn't read it back to you just now. I still have your answer, "
                              "and I'll ask you about anything I'm unsure of as I go.");
    case ReadBackWait::stopped:
        break;
    }
    return QStringLiteral("I started reading it and then stopped before I finished. I still have "
                          "your answer, and I'll ask you about anything I'm unsure of as I go.");
}

QString confirmText(const std::optional<SetupReadBack>& readBack) {
    QString name;
    if (readBack) {
        for (const SetupReadBack::Row& row : readBack->rows) {
            if (row.label == QLatin1String("The business")) {
                name = row.value;
            }
        }
    }
    // Without a business name the books are what the run starts on.
    if (name.isEmpty()) {
        name = QStringLiteral("your books");
    }
    return readBack && !readBack->rows.isEmpty() ? QStringLiteral("That's right — start on ") + name
                                                 : QStringLiteral("Start on ") + name;
}

std::optional<SetupReadBack> parseReadBack(const QString& markdown) {
    const QList<Entry> entries = entriesOf(markdown);
    struct Wanted {
        const char* label;
        const char* section;
        const char* key;
    };
    static const Wanted wanted[] = {
        {"The business", "Business", "billing entity"},
        {"How often", "Business", "default filing cadence"},
        {"Goes to", "Accountant", "name"},
        {"What to send", "Conventions", "anything the accountant always asks for"}};
    SetupReadBack readBack;
    for (const Wanted& row : wanted) {
        if (const auto value = lookUp(entries, row.section, row.key)) {
            readBack.rows.append({QLatin1String(row.label), *value});
        }
    }
    if (readBack.rows.isEmpty()) {
        return std::nullopt;
    }
    QStringList missing;
    if (!lookUp(entries, "Accountant", "email")) {
        missing << QStringLiteral("their email address");
    }
    if (!lookUp(entries, "Business", "country")) {
        missing << QStringLiteral("which country you file in");
    }
    if (!missing.isEmpty()) {
        readBack.note =
            QStringLiteral("I don't know %1 yet. I'll ask when I get there rather "
                           "than making you find %2 now.")
                .arg(joined(missing, QStringLiteral(", or ")),
                     missing.size() == 1 ? QStringLiteral("it") : QStringLiteral("them"));
    }
    return readBack;
}

std::optional<SetupReadBack> readBackOf(const QString& vault) {
    QFile file(vault + QStringLiteral("/Notes/bookkeeping/accountant.md"));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return parseReadBack(QString::fromUtf8(file.readAll()));
}

QString questionFilePath(const QString& vault, const QString& identity) {
    return QStringLiteral("%1/Registry/%2/questions/setup-business.md").arg(vault, identity);
}

QString openForm(const QString& askedAt) {
    return QStringLiteral("---\nkind: setup\nstatus: open\nquestion: %1\nasked_at: %2\n---\n\n"
                          "## Question\n\n%1\n")
        .arg(Text::question, askedAt);
}

QString answeredForm(const QString& askedAt, const QString& answer) {
    return QStringLiteral("---\nkind: setup\nstatus: answered\nquestion: %1\nasked_at: %2\n"
                          "answered_at: %2\nanswered_by: user\n---\n\n## Question\n\n%1\n\n"
                          "## Answer\n\n%3\n")
        .arg(Text::question, askedAt, answer.trimmed());
}

std::optional<QString> frontmatterValue(const QString& key, const QString& text) {
    const QStringList parts = text.split(QStringLiteral("---"));
    if (parts.size() < 3) {
        return std::nullopt;
    }
    const QString prefix = key + QLatin1Char(':');
    for (const QString& line : parts.at(1).split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(prefix)) {
            return trimmed.mid(prefix.size()).trimmed();
        }
    }
    return std::nullopt;
}

std::optional<QString> sectionUnderLast(const QString& text,
                                        const std::function<bool(const QString&)>& isHeading) {
    const QStringList lines = text.split(QLatin1Char('\n'));
    qsizetype heading = -1;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (isHeading(lines[i])) {
            heading = i;
        }
    }
    if (heading < 0) {
        return std::nullopt;
    }
    QStringList body;
    for (qsizetype i = heading + 1; i < lines.size() && !lines[i].startsWith(u"## "); ++i) {
        body << lines[i];
    }
    return body.join(QLatin1Char('\n')).trimmed();
}

std::optional<QString> answerSection(const QString& text) {
    return sectionUnderLast(text, [](const QString& line) {
        return line == QLatin1String("## Answer") || line.startsWith(QLatin1String("## Answer "));
    });
}

QString problemReportHeader(Phase phase, std::optional<Gate> waiting) {
    QString header = QStringLiteral("Reported from first run, screen %1.").arg(screenLetter(phase));
    if (waiting) {
        header += QStringLiteral("\nThe screen was waiting on: %1.").arg(gateTitle(*waiting));
    }
    return header;
}

} // namespace mnemora::FirstRun

#include "voice/AnswerControlState.h"

namespace mnemora {

AnswerControlState AnswerControlState::derive(const Input& input) {
    using Kind = AnswerPhase::Kind;
    AnswerControlState state;
    if (input.isRecording) {
        state.phase = {Kind::listening, input.elapsedSeconds, false, std::nullopt};
        state.tone = AnswerFieldTone::listening;
        state.micIsDashed = false;
        state.micIsFilled = true;
        state.fieldAcceptsTyping = false;
        return state;
    }
    if (input.isTranscribing) {
        const bool saying = input.secondsTranscribing >= 1.0;
        state.phase = {Kind::transcribing, 0, saying, std::nullopt};
        if (saying) {
            state.placeholder = QStringLiteral("writing that down…");
        }
        return state;
    }
    if (input.notice) {
        state.phase = {Kind::notice, 0, false, input.notice};
        state.tone = AnswerFieldTone::problem;
        return state;
    }
    state.placeholder = QStringLiteral("Answer — or hold to speak");
    return state;
}

namespace AnswerText {

QString notice(AnswerNotice notice) {
    switch (notice) {
    case AnswerNotice::nothingHeard:
        return QStringLiteral("I didn't catch anything — is the mic muted?");
    case AnswerNotice::tooQuick:
        return QStringLiteral("Too quick — hold the mic down while you speak");
    case AnswerNotice::transcriptionFailed:
        return QStringLiteral("That didn't transcribe — Retry, or hold again");
    case AnswerNotice::micOff:
        return QStringLiteral("The mic is off — use Open Settings");
    case AnswerNotice::micPromptPending:
        return QStringLiteral("Answer the microphone prompt first");
    }
    return {};
}

std::optional<AnswerNotice> transcriptNotice(const QString& transcript) {
    if (transcript.trimmed().isEmpty()) {
        return AnswerNotice::nothingHeard;
    }
    return std::nullopt;
}

QString appended(const QString& field, const QString& transcript) {
    if (field.isEmpty()) {
        return transcript;
    }
    if (field.back() == QLatin1Char(' ') || field.back() == QLatin1Char('\n')) {
        return field + transcript;
    }
    return field + QLatin1Char(' ') + transcript;
}

QString clock(int seconds) {
    const int whole = qMax(0, seconds);
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

} // namespace AnswerText

} // namespace mnemora

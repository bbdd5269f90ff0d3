#pragma once

#include <QString>

#include <optional>

namespace mnemora {

// Why an answer control has nothing to put in the field, in the order the control weighs them.
enum class AnswerNotice { nothingHeard, tooQuick, transcriptionFailed, micOff, micPromptPending };

enum class AnswerFieldTone { neutral, listening, problem };

// What the control is doing: listening (with the seconds so far), transcribing (saying so once a
// second has passed), showing a notice, or at rest.
struct AnswerPhase {
    enum class Kind { listening, transcribing, notice, resting };
    Kind kind = Kind::resting;
    int elapsedSeconds = 0;
    bool saying = false;
    std::optional<AnswerNotice> notice;

    bool operator==(const AnswerPhase&) const = default;
};

// What an answer control shows, derived from what runs right now.
struct AnswerControlState {
    struct Input {
        bool isRecording = false;
        int elapsedSeconds = 0;
        bool isTranscribing = false;
        double secondsTranscribing = 0.0;
        std::optional<AnswerNotice> notice;
    };

    AnswerPhase phase;
    AnswerFieldTone tone = AnswerFieldTone::neutral;
    bool micIsDashed = true;
    bool micIsFilled = false;
    std::optional<QString> placeholder;
    bool fieldAcceptsTyping = true;

    // Recording wins over transcribing, which wins over a notice: a notice shows only while
    // nothing runs, and typing stays possible during a transcription.
    static AnswerControlState derive(const Input& input);

    bool operator==(const AnswerControlState&) const = default;
};

namespace AnswerText {

// The words of a notice, one table for every control.
QString notice(AnswerNotice notice);

// A transcript with nothing in it once trimmed means the microphone heard nothing.
std::optional<AnswerNotice> transcriptNotice(const QString& transcript);

// The field after a transcript lands in it: the transcript alone in an empty field, as it stands
// after a blank or a line end, else after one blank.
QString appended(const QString& field, const QString& transcript);

// "m:ss" of a recording's elapsed seconds.
QString clock(int seconds);

} // namespace AnswerText

} // namespace mnemora

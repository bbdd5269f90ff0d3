#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <functional>

#include "platform/Expected.h"

namespace mnemora::refdaemon {

// Speech to text with PocketSphinx and its English model: the clip is first converted to the
// 16 kHz mono WAV the recogniser reads (ffmpeg), then decoded. A JSGF grammar, when one is set,
// restricts recognition to its phrases, which is exact for a small vocabulary.
class Transcriber : public QObject {
    Q_OBJECT
public:
    // Where a run stands: "converting_audio", then "transcription_started", with a percentage.
    using Progress = std::function<void(const QString& status, double percent)>;

    explicit Transcriber(QString workFolder, QObject* parent = nullptr);

    void setGrammarPath(const QString& path) { grammarPath_ = path; }

    // The recognised words of an audio file; the words of the failure otherwise.
    QCoro::Task<Expected<QString>> transcribe(QString audioPath, Progress progress);

    // The proof that speech comes back as words: kVoiceProofPhrase is said with espeak-ng and
    // read back, under a grammar of digits whatever grammar is set. Gives what was heard.
    static constexpr const char* kVoiceProofPhrase = "one two three";
    QCoro::Task<Expected<QString>> proveVoice();

    // The command words for a tool, or empty when it is not installed.
    static QString tool(const char* name);

private:
    QCoro::Task<Expected<QString>> transcribeWith(QString audioPath, QString grammar,
                                                  Progress progress);

    QString workFolder_;
    QString grammarPath_;
    int serial_ = 0;
};

} // namespace mnemora::refdaemon

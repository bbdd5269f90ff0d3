#include "Transcriber.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <QCoroProcess>

namespace mnemora::refdaemon {

namespace {

constexpr const char* modelFolder = "/usr/share/pocketsphinx/model/en-us";

struct Run {
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

// Runs a tool to its end; a tool that does not start gives exit code -1.
QCoro::Task<Run> runTool(QString program, QStringList arguments) {
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    QCoro::Task<bool> starting = qCoro(process).start();
    const bool started = co_await starting;
    if (!started) {
        co_return Run{};
    }
    QCoro::Task<bool> finishing = qCoro(process).waitForFinished(std::chrono::minutes(30));
    co_await finishing;
    co_return Run{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                  process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

Transcriber::Transcriber(QString workFolder, QObject* parent)
    : QObject(parent)
    , workFolder_(std::move(workFolder)) {}

QString Transcriber::tool(const char* name) {
    return QStandardPaths::findExecutable(QString::fromLatin1(name));
}

QCoro::Task<Expected<QString>> Transcriber::transcribe(QString audioPath, Progress progress) {
    QCoro::Task<Expected<QString>> running =
        transcribeWith(std::move(audioPath), grammarPath_, std::move(progress));
    co_return co_await running;
}

QCoro::Task<Expected<QString>> Transcriber::proveVoice() {
    const QPointer<Transcriber> self(this);
    const QString speaker = tool("espeak-ng");
    if (speaker.isEmpty()) {
        co_return fail(QStringLiteral("espeak-ng, which says the test phrase, is not installed"));
    }
    QDir().mkpath(workFolder_);
    const QString stem = workFolder_ + QStringLiteral("/voice-proof-") +
                         QString::number(++serial_) + QLatin1Char('-') +
                         QString::number(QCoreApplication::applicationPid());
    const QString grammar = stem + QStringLiteral(".jsgf");
    const QString clip = stem + QStringLiteral(".wav");
    // Digits only: on a synthetic voice the recogniser is then exact, so a wrong word is a fault.
    QFile grammarFile(grammar);
    if (!grammarFile.open(QIODevice::WriteOnly) ||
        grammarFile.write("#JSGF V1.0;\ngrammar digits;\npublic <digits> = ( zero | one | two | "
                          "three | four | five | six | seven | eight | nine )+ ;\n") < 0) {
        co_return fail(QStringLiteral("could not write ") + grammar);
    }
    grammarFile.close();
    QCoro::Task<Run> speaking =
        runTool(speaker, {QStringLiteral("-v"), QStringLiteral("en-us"), QStringLiteral("-s"),
                          QStringLiteral("140"), QStringLiteral("-g"), QStringLiteral("10"),
                          QStringLiteral("-w"), clip, QString::fromLatin1(kVoiceProofPhrase)});
    const Run spoken = co_await speaking;
    if (spoken.exitCode != 0) {
        QFile::remove(grammar);
        QFile::remove(clip);
        co_return fail(QStringLiteral("could not say the test phrase: ") +
                       QString::fromUtf8(spoken.errors).trimmed());
    }
    if (!self) {
        co_return fail(QStringLiteral("the daemon is stopping"));
    }
    QCoro::Task<Expected<QString>> hearing =
        transcribeWith(clip, grammar, [](const QString&, double) {});
    Expected<QString> heard = co_await hearing;
    QFile::remove(grammar);
    QFile::remove(clip);
    co_return heard;
}

QCoro::Task<Expected<QString>> Transcriber::transcribeWith(QString audioPath, QString grammar,
                                                           Progress progress) {
    const QPointer<Transcriber> self(this);
    if (!QFileInfo(audioPath).isFile()) {
        co_return fail(QStringLiteral("audio file not found: ") + audioPath);
    }
    const QString ffmpeg = tool("ffmpeg");
    const QString sphinx = tool("pocketsphinx_continuous");
    if (ffmpeg.isEmpty() || sphinx.isEmpty() || !QFileInfo::exists(QLatin1String(modelFolder))) {
        co_return fail(QStringLiteral("speech recognition is not installed (ffmpeg, "
                                      "pocketsphinx, pocketsphinx-en-us)"));
    }
    QDir().mkpath(workFolder_);
    const QString wav = workFolder_ + QStringLiteral("/clip-") + QString::number(++serial_) +
                        QLatin1Char('-') + QString::number(QCoreApplication::applicationPid()) +
                        QStringLiteral(".wav");
    progress(QStringLiteral("converting_audio"), 0);
    QCoro::Task<Run> converting =
        runTool(ffmpeg, {QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y"),
                         QStringLiteral("-i"), audioPath, QStringLiteral("-ar"),
                         QStringLiteral("16000"), QStringLiteral("-ac"), QStringLiteral("1"), wav});
    const Run converted = co_await converting;
    if (converted.exitCode != 0) {
        QFile::remove(wav);
        co_return fail(QStringLiteral("could not read the audio: ") +
                       QString::fromUtf8(converted.errors).trimmed());
    }
    if (self) {
        progress(QStringLiteral("transcription_started"), 10);
    }
    const QString model = QString::fromLatin1(modelFolder);
    QStringList arguments{QStringLiteral("-infile"), wav,
                          QStringLiteral("-hmm"),    model + QStringLiteral("/en-us"),
                          QStringLiteral("-dict"),   model + QStringLiteral("/cmudict-en-us.dict")};
    if (!grammar.isEmpty()) {
        arguments << QStringLiteral("-jsgf") << grammar;
    } else {
        arguments << QStringLiteral("-lm") << model + QStringLiteral("/en-us.lm.bin");
    }
    QCoro::Task<Run> decoding = runTool(sphinx, arguments);
    const Run decoded = co_await decoding;
    QFile::remove(wav);
    if (decoded.exitCode != 0) {
        co_return fail(QStringLiteral("the recogniser failed (exit ") +
                       QString::number(decoded.exitCode) + QLatin1Char(')'));
    }
    // One line per utterance; together they are the transcript.
    QStringList words;
    for (const QByteArray& line : decoded.output.split('\n')) {
        if (!line.trimmed().isEmpty()) {
            words << QString::fromUtf8(line.trimmed());
        }
    }
    co_return words.join(QLatin1Char(' '));
}

} // namespace mnemora::refdaemon

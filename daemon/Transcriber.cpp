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
    const QString grammar = grammarPath_;
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

// The transcription routes of DaemonServer: a file by path, the same as an event stream, an
// uploaded clip whose progress goes to the shared event stream, and the setup's proofs.
#include "DaemonServer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>

#include "Transcriber.h"
#include "app/Log.h"

namespace mnemora::refdaemon {

namespace {

QString audioPath(const QJsonObject& body) {
    return body.value(QStringLiteral("path")).toString();
}

} // namespace

void DaemonServer::transcribeFile(const HttpRequest& request, HttpExchange* exchange) {
    // Started and left: it answers the exchange when the recogniser is done.
    answerTranscription(audioPath(request.json()), exchange);
}

void DaemonServer::transcribeStream(const HttpRequest& request, HttpExchange* exchange) {
    exchange->beginStream();
    exchange->sendData({{"type", "queued"}});
    // Started and left: it writes the stream's events and closes it.
    streamTranscription(audioPath(request.json()), exchange);
}

void DaemonServer::record(const HttpRequest& request, HttpExchange* exchange) {
    if (request.body.isEmpty()) {
        exchange->replyError(400, QStringLiteral("the clip is empty"));
        return;
    }
    const bool ephemeral = request.query.queryItemValue(QStringLiteral("ephemeral")) == "true";
    QString extension = request.query.queryItemValue(QStringLiteral("ext"));
    if (extension.isEmpty() || extension.contains(QLatin1Char('/')) ||
        extension.contains(QLatin1Char('.'))) {
        extension = QStringLiteral("m4a");
    }
    const QString folder = ephemeral || places_.vaultPath.isEmpty()
                               ? places_.cacheFolder + QStringLiteral("/recordings")
                               : places_.vaultPath + QStringLiteral("/Media/voice");
    QDir().mkpath(folder);
    const QString path =
        folder + QLatin1Char('/') +
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmsszzz")) +
        QLatin1Char('.') + extension;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(request.body) != request.body.size()) {
        exchange->replyError(500, QStringLiteral("could not keep the clip: ") + file.errorString());
        return;
    }
    file.close();
    exchange->reply(200, {{"ok", true}, {"file_path", path}});
    transcribeRecorded(path, ephemeral); // started and left: progress goes to the event stream
}

QCoro::Task<std::optional<Expected<QString>>>
DaemonServer::countedTranscription(QString path, Transcriber::Progress progress) {
    const QPointer<DaemonServer> self(this);
    ++activeTranscriptions_;
    QCoro::Task<Expected<QString>> running = transcriber_->transcribe(path, std::move(progress));
    const Expected<QString> text = co_await running;
    if (!self) {
        co_return std::nullopt;
    }
    --activeTranscriptions_;
    co_return text;
}

QCoro::Task<> DaemonServer::answerTranscription(QString path, QPointer<HttpExchange> exchange) {
    QCoro::Task<std::optional<Expected<QString>>> running =
        countedTranscription(path, [](const QString&, double) {});
    const std::optional<Expected<QString>> text = co_await running;
    if (!text || !exchange) {
        co_return;
    }
    if (!text->ok()) {
        exchange->replyError(500, text->error());
        co_return;
    }
    exchange->reply(200, {{"text", text->value()}});
}

QCoro::Task<> DaemonServer::streamTranscription(QString path, QPointer<HttpExchange> exchange) {
    QCoro::Task<std::optional<Expected<QString>>> running =
        countedTranscription(path, [exchange](const QString& status, double percent) {
            if (exchange) {
                exchange->sendData(
                    {{"type", "progress"}, {"status", status}, {"progress_percent", percent}});
            }
        });
    const std::optional<Expected<QString>> text = co_await running;
    if (!text || !exchange) {
        co_return;
    }
    if (text->ok()) {
        exchange->sendData({{"type", "done"}, {"text", text->value()}});
    } else {
        exchange->sendData({{"type", "error"}, {"error", text->error()}});
    }
    exchange->endStream();
}

QCoro::Task<> DaemonServer::transcribeRecorded(QString path, bool ephemeral) {
    const QPointer<DaemonServer> self(this);
    ++activeTranscriptions_;
    QCoro::Task<Expected<QString>> running =
        transcriber_->transcribe(path, [self, path](const QString& status, double percent) {
            if (self) {
                self->publishAsset(
                    path,
                    {{"status", status}, {"audio_status", status}, {"progress_percent", percent}});
            }
        });
    const Expected<QString> text = co_await running;
    if (ephemeral) {
        QFile::remove(path);
    }
    if (!self) {
        co_return;
    }
    --activeTranscriptions_;
    if (!text.ok()) {
        Log::line(QStringLiteral("Daemon"), QStringLiteral("transcription of ") + path +
                                                QStringLiteral(" failed: ") + text.error());
        publishAsset(path,
                     {{"status", "failed"}, {"audio_status", "failed"}, {"detail", text.error()}});
        co_return;
    }
    publishAsset(path, {{"status", "done"},
                        {"audio_status", "done"},
                        {"progress_percent", 100},
                        {"partial_text", text.value()}});
}

void DaemonServer::verifyTranscribe(const HttpRequest&, HttpExchange* exchange) {
    answerVoiceProof(exchange); // started and left: it answers once the phrase has come back
}

QCoro::Task<> DaemonServer::answerVoiceProof(QPointer<HttpExchange> exchange) {
    const QPointer<DaemonServer> self(this);
    QElapsedTimer clock;
    clock.start();
    QCoro::Task<Expected<QString>> proving = transcriber_->proveVoice();
    const Expected<QString> heard = co_await proving;
    if (!self || !exchange) {
        co_return;
    }
    const QString said = QString::fromLatin1(Transcriber::kVoiceProofPhrase);
    QJsonObject answer{{"skipped", false},
                       {"model", "pocketsphinx en-us"},
                       {"latency_ms", clock.elapsed()}};
    if (!heard.ok()) {
        answer.insert(QStringLiteral("ok"), false);
        answer.insert(QStringLiteral("message"),
                      QStringLiteral("The voice check could not run: ") + heard.error());
        answer.insert(QStringLiteral("error"), heard.error());
    } else {
        const bool same = heard.value() == said;
        answer.insert(QStringLiteral("ok"), same);
        answer.insert(QStringLiteral("text"), heard.value());
        answer.insert(QStringLiteral("message"),
                      same ? QStringLiteral("Said \"%1\" and heard it back.").arg(said)
                           : QStringLiteral("Said \"%1\" but heard \"%2\".")
                                 .arg(said, heard.value()));
    }
    exchange->reply(200, answer);
}

void DaemonServer::verifyUnavailable(const HttpRequest& request, HttpExchange* exchange) {
    // This daemon runs no AI engine, browser, photo reader or captioning model: those proofs
    // fail here in words, rather than as a request the application cannot read.
    const QString what = request.path.section(QLatin1Char('/'), -1);
    static const QHash<QString, QString> missing{
        {QStringLiteral("photos"), QStringLiteral("no photo library to read")},
        {QStringLiteral("engine"), QStringLiteral("no AI engine")},
        {QStringLiteral("browser"), QStringLiteral("no browser to drive")},
        {QStringLiteral("caption"), QStringLiteral("no captioning model")},
    };
    exchange->reply(200, {{"ok", false},
                          {"skipped", false},
                          {"message", QStringLiteral("This daemon has %1, so it cannot check that.")
                                          .arg(missing.value(what, what))},
                          {"latency_ms", 0}});
}

} // namespace mnemora::refdaemon

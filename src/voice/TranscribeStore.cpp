#include "voice/TranscribeStore.h"

#include <QJsonDocument>
#include <QUrlQuery>

#include <QCoroTimer>

#include <algorithm>
#include <cmath>

#include "app/JsonRead.h"
#include "app/Log.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"

namespace mnemora {

namespace {

using namespace std::chrono_literals;

} // namespace

std::optional<TranscribeStore::FileStreamProgress>
TranscribeStore::fileStreamProgress(const QJsonObject& event) {
    const QString type = JsonRead::stringOr(event, QLatin1String("type"));
    if (type == QLatin1String("queued")) {
        return FileStreamProgress{true, 0, 0.0, std::nullopt};
    }
    if (type != QLatin1String("progress")) {
        return std::nullopt;
    }
    const double fraction = JsonRead::number(event, QLatin1String("progress")).value_or(0.0);
    return FileStreamProgress{
        false, static_cast<int>(std::clamp(std::round(fraction * 100.0), 0.0, 100.0)),
        JsonRead::number(event, QLatin1String("duration_secs")).value_or(0.0),
        JsonRead::string(event, QLatin1String("text"))};
}

TranscribeStore::TranscribeStore(DaemonService* daemon, QObject* parent)
    : QObject(parent)
    , daemon_(daemon) {}

TranscribeStore::~TranscribeStore() {
    // The stream's coroutine resumes inside the abort; its token tells it this store is going.
    sseTask_.cancel();
    stream_.abort();
}

void TranscribeStore::setLive(const VoiceMemosLive& live) {
    if (live != live_) {
        live_ = live;
        emit liveChanged();
    }
}

void TranscribeStore::setRecordingError(const QString& words) {
    recordingError_ = words;
    emit recordingErrorChanged();
}

void TranscribeStore::startListening() {
    if (sseTask_.isActive()) {
        return;
    }
    QPointer<TranscribeStore> self(this);
    const CancelToken token = sseTask_.renew();
    // Started and left: the loop holds this store weakly and ends with its token.
    CancellableLoop::run(token, timings_.reconnectDelay, CancellableLoop::FirstPass::atOnce,
                         [self, token] { return streamPass(self, token); });
}

QCoro::Task<> TranscribeStore::streamPass(QPointer<TranscribeStore> self, CancelToken token) {
    if (!self || token.isCancelled() || !self->daemon_) {
        co_return;
    }
    const std::optional<QUrl> base = self->daemon_->baseUrl();
    if (!base) {
        co_return;
    }
    EventStreamReader::Request request;
    request.url = DaemonHttp::endpoint(*base, QStringLiteral("progress"));
    EventStreamReader::Handler handler = [self, token](const QJsonObject& object) {
        if (!self || token.isCancelled()) {
            return EventStreamReader::Next::stop;
        }
        self->handleEvent(object);
        return EventStreamReader::Next::keepReading;
    };
    QCoro::Task<HttpReply> reading = self->stream_.read(std::move(request), std::move(handler));
    co_await reading;
}

void TranscribeStore::handleEvent(const QJsonObject& object) {
    const QString event = JsonRead::stringOr(object, QLatin1String("event"));
    const QJsonObject payload = JsonRead::object(object, QLatin1String("payload"));
    if (event == QLatin1String("voice-memos-status")) {
        VoiceMemosLive next = live_;
        next.recordingDetected = JsonRead::boolOr(payload, QLatin1String("is_recording"));
        setLive(next);
    } else if (event == QLatin1String("voice-memos-transcription")) {
        if (const QJsonValue text = payload.value(QLatin1String("accumulated_text"));
            text.isString()) {
            pendingLiveText_ = text.toString();
        }
        if (const QJsonValue seconds = payload.value(QLatin1String("transcribed_seconds"));
            seconds.isDouble()) {
            pendingLiveTSec_ = seconds.toDouble();
        }
        if (const QJsonValue duration = payload.value(QLatin1String("current_duration"));
            duration.isDouble()) {
            pendingLiveDur_ = duration.toDouble();
        }
        scheduleFlush();
    } else if (event == QLatin1String("voice-memos-watching-stopped")) {
        // The last words must never wait behind a pending flush.
        flush();
        VoiceMemosLive next = live_;
        next.watching = false;
        next.recordingDetected = false;
        const QString text = JsonRead::stringOr(payload, QLatin1String("text"));
        if (!text.trimmed().isEmpty()) {
            next.accumulatedText = text;
            next.finished = true;
        }
        setLive(next);
    }
}

void TranscribeStore::scheduleFlush() {
    if (flushScheduled_) {
        return;
    }
    flushScheduled_ = true;
    // Started and left: it holds this store weakly.
    flushLater(QPointer<TranscribeStore>(this));
}

QCoro::Task<> TranscribeStore::flushLater(QPointer<TranscribeStore> self) {
    QCoro::Task<> waiting = QCoro::sleepFor(self->timings_.flushDelay);
    co_await waiting;
    if (!self) {
        co_return;
    }
    self->flush();
    self->flushScheduled_ = false;
}

void TranscribeStore::flush() {
    VoiceMemosLive next = live_;
    if (pendingLiveText_) {
        next.accumulatedText = *pendingLiveText_;
    }
    if (pendingLiveTSec_) {
        next.transcribedSeconds = *pendingLiveTSec_;
    }
    if (pendingLiveDur_) {
        next.currentDuration = *pendingLiveDur_;
    }
    pendingLiveText_.reset();
    pendingLiveTSec_.reset();
    pendingLiveDur_.reset();
    // Unchanged values leave the observers quiet.
    setLive(next);
}

QCoro::Task<> TranscribeStore::waitForDaemon() {
    QPointer<TranscribeStore> self(this);
    for (int attempt = 0; attempt < timings_.statusTries; ++attempt) {
        const std::optional<QUrl> base = daemon_ ? daemon_->baseUrl() : std::nullopt;
        QCoro::Task<HttpReply> asking =
            DaemonEndpoints::request(base, "GET", QStringLiteral("status"), {}, {}, 1s);
        const HttpReply reply = co_await asking;
        if (!self) {
            co_return;
        }
        if (reply.httpStatus == 200) {
            co_return;
        }
        QCoro::Task<> waiting = QCoro::sleepFor(timings_.statusRetryDelay);
        co_await waiting;
        if (!self) {
            co_return;
        }
    }
}

QCoro::Task<> TranscribeStore::refreshAccess() {
    QPointer<TranscribeStore> self(this);
    QCoro::Task<std::optional<bool>> asking = DaemonEndpoints::voiceMemosAccessible(daemon_, 3s);
    const std::optional<bool> accessible = co_await asking;
    if (!self || !accessible) {
        co_return;
    }
    VoiceMemosLive next = live_;
    next.captureAccessible = *accessible;
    setLive(next);
}

QCoro::Task<> TranscribeStore::refreshRecording() {
    QPointer<TranscribeStore> self(this);
    QCoro::Task<std::optional<bool>> asking = DaemonEndpoints::voiceMemoRecording(daemon_, 3s);
    const std::optional<bool> recording = co_await asking;
    if (!self || !recording) {
        co_return;
    }
    VoiceMemosLive next = live_;
    next.recordingDetected = *recording;
    setLive(next);
}

QCoro::Task<> TranscribeStore::begin() {
    QPointer<TranscribeStore> self(this);
    QCoro::Task<> waiting = waitForDaemon();
    co_await waiting;
    if (!self) {
        co_return;
    }
    QCoro::Task<> access = refreshAccess();
    co_await access;
    if (!self) {
        co_return;
    }
    QCoro::Task<> recording = refreshRecording();
    co_await recording;
    if (!self) {
        co_return;
    }
    startListening();
}

void TranscribeStore::startWatching() {
    VoiceMemosLive next = live_;
    next.accumulatedText.clear();
    next.transcribedSeconds = 0.0;
    next.currentDuration = 0.0;
    next.finished = false;
    next.watching = true;
    setLive(next);
    // Started and left: a failed start has no words; the panel stays as the events leave it.
    DaemonEndpoints::startVoiceMemoWatch(daemon_, 5s);
}

void TranscribeStore::stopWatching() {
    // Started and left: the state changes only through the stream's event.
    DaemonEndpoints::stopVoiceMemoWatch(daemon_, 5s);
}

void TranscribeStore::dismissFinished() {
    VoiceMemosLive next = live_;
    next.finished = false;
    next.accumulatedText.clear();
    setLive(next);
}

QCoro::Task<std::optional<QString>> TranscribeStore::saveRecording(QByteArray bytes, QString ext) {
    QPointer<TranscribeStore> self(this);
    const std::optional<QUrl> base = daemon_ ? daemon_->baseUrl() : std::nullopt;
    if (!base) {
        setRecordingError(QStringLiteral("Daemon not reachable"));
        co_return std::nullopt;
    }
    const DaemonEndpoints::Endpoint* route =
        DaemonEndpoints::find("POST", QStringLiteral("transcriptions/record"));
    QUrl url = DaemonHttp::endpoint(*base, route->path);
    QUrlQuery query(url);
    // Unlike an answer's clip this one is kept: it becomes a new item to transcribe.
    query.addQueryItem(QStringLiteral("ext"), ext);
    url.setQuery(query);
    QCoro::Task<HttpReply> sending =
        DaemonHttp::send("POST", url, bytes, "application/octet-stream", 30s);
    const HttpReply reply = co_await sending;
    if (!self) {
        co_return std::nullopt;
    }
    if (reply.transportError) {
        setRecordingError(QStringLiteral("Save failed: ") + *reply.transportError);
        co_return std::nullopt;
    }
    const std::optional<QJsonObject> body = reply.jsonObject();
    if (reply.httpStatus == 200 && body && JsonRead::boolOr(*body, QLatin1String("ok"))) {
        co_return JsonRead::string(*body, QLatin1String("file_path"));
    }
    const QString error = body ? JsonRead::stringOr(*body, QLatin1String("error")) : QString();
    setRecordingError(error.isEmpty() ? QStringLiteral("Save failed") : error);
    co_return std::nullopt;
}

QCoro::Task<std::optional<QString>> TranscribeStore::saveAppRecording(QByteArray bytes) {
    QPointer<TranscribeStore> self(this);
    savingRecording_ = true;
    emit savingRecordingChanged();
    QCoro::Task<std::optional<QString>> saving =
        saveRecording(std::move(bytes), QStringLiteral("m4a"));
    const std::optional<QString> path = co_await saving;
    if (!self) {
        co_return path;
    }
    if (path) {
        Log::line(QStringLiteral("Transcribe"), QStringLiteral("Saved app recording at ") + *path);
        emit recordingSaved(*path);
    }
    savingRecording_ = false;
    emit savingRecordingChanged();
    co_return path;
}

} // namespace mnemora

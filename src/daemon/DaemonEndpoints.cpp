#include "daemon/DaemonEndpoints.h"

#include <QJsonDocument>
#include <QUrlQuery>

#include "app/JsonRead.h"
#include "daemon/DaemonService.h"
#include "daemon/EventStreamReader.h"

namespace mnemora::DaemonEndpoints {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr milliseconds standard = DaemonHttp::defaultTimeout;

const QString migrationUnreachable = QStringLiteral("Daemon not reachable");
const QString migrationRefused = QStringLiteral("Server returned HTTP {status}");
const QString migrationTransport = QStringLiteral("Request failed: {error}");
const QString obsidianUnreachable = QStringLiteral("Daemon isn't reachable yet");
const QString verifyUnreachable =
    QStringLiteral("Daemon isn't reachable yet — try again once the indicator turns green");

Endpoint get(const char* path, milliseconds timeout = standard, QString failureWord = {}) {
    return {"GET", QString::fromLatin1(path), timeout, std::move(failureWord), {}, {}};
}

Endpoint post(const char* path, QString failureWord = {}, milliseconds timeout = standard) {
    return {"POST", QString::fromLatin1(path), timeout, std::move(failureWord), {}, {}};
}

Endpoint unreachableAs(Endpoint endpoint, QString unreachableWord, QString transportFormat = {}) {
    endpoint.unreachableWord = std::move(unreachableWord);
    endpoint.transportFormat = std::move(transportFormat);
    return endpoint;
}

// A migration job: refusals and transport failures in the migration screen's words.
Endpoint migration(const char* path) {
    return unreachableAs(post(path, migrationRefused), migrationUnreachable, migrationTransport);
}

// Status, supervision and processing.
QList<Endpoint> statusRoutes() {
    return {get("status", 10s, QStringLiteral("HTTP error")),
            get("progress", 0ms),
            post("process/start"),
            post("process/stop"),
            get("gpu-scheduler", 3s),
            get("resources/history", 3s),
            get("queue/positions", 3s),
            post("retry"),
            post("index/rebuild"),
            post("photos/rescan"),
            post("sidecar/vlm/restart"),
            post("vlm/model-pull-consent"),
            post("power-state"),
            post("defaults/recommend"),
            get("models/whisper/status"),
            post("models/whisper/prefetch"),
            get("fda/status", 3s),
            get("voice-memos/access"),
            get("voice-memos/recording"),
            post("voice-memos/watch/start"),
            post("voice-memos/watch/stop"),
            get("bug-report/preview", 3s),
            post("bug-report/submit", QStringLiteral("Unknown error")),
            post("troubleshoot/launch", QStringLiteral("Troubleshoot launch failed")),
            get("prerequisites", 8s)};
}

// Transcription.
QList<Endpoint> transcriptionRoutes() {
    return {
        post("transcribe-file", QStringLiteral("transcription failed ({status})")),
        post("transcribe-file/stream", QStringLiteral("transcription stream failed ({status})")),
        unreachableAs(post("transcriptions/record"), QStringLiteral("Daemon not reachable")),
        post("transcriptions/accept"),
        post("transcriptions/delete-source-audio"),
        post("transcriptions/delete"),
        post("transcriptions/force-retranscribe"),
        post("transcriptions/abort")};
}

// Entities, documents and questions.
QList<Endpoint> documentRoutes() {
    return {get("entity/{type}/{slug}", 3s),
            post("entity/{type}/{slug}/field", QStringLiteral("Entity field update failed")),
            post("entity/{type}/{slug}/notes", QStringLiteral("Entity notes update failed")),
            post("docs/write", QStringLiteral("Synced doc write failed")),
            get("home/narrative", 5s),
            get("life/era-candidates", 5s)};
}

// Agents.
QList<Endpoint> agentRoutes() {
    return {get("dreamer/sessions", 3s),
            post("dreamer/sessions/kill", QStringLiteral("Kill session failed")),
            post("dreamer/trigger", QStringLiteral("Dreamer trigger failed")),
            post("dreamer/message", QStringLiteral("No active session to message"))};
}

// Bookkeeping runs.
QList<Endpoint> bookkeepingRoutes() {
    return {get("period-close/books", 3s),
            get("period-close/round", 3s),
            get("period-close/runs", 3s),
            post("period-close/material/status", QStringLiteral("Could not update material")),
            post("period-close/run/close", QStringLiteral("Could not mark the period closed")),
            post("period-close/run/status", QStringLiteral("Could not update the run status")),
            post("period-close/run/correspondence", QStringLiteral("Could not save the note"))};
}

// Sources, migration, setup.
QList<Endpoint> setupRoutes() {
    return {get("breadcrumbs/sources", 3s),
            post("breadcrumbs/sources"),
            post("breadcrumbs/sync"),
            post("breadcrumbs/sources/{id}/toggle"),
            {"DELETE", QStringLiteral("breadcrumbs/sources/{id}"), standard, {}, {}, {}},
            unreachableAs(get("migrations/status"), migrationUnreachable),
            migration("migrations/v4/run"),
            migration("migrations/cloud-id/backfill"),
            migration("migrations/cloud-id/dedup"),
            migration("migrations/cloud-id/rename"),
            unreachableAs(get("obsidian/status"), obsidianUnreachable),
            unreachableAs(post("obsidian/install"), obsidianUnreachable),
            unreachableAs(post("verify/photos", {}, 45s), verifyUnreachable),
            unreachableAs(post("verify/engine", {}, 120s), verifyUnreachable),
            unreachableAs(post("verify/browser", {}, 600s), verifyUnreachable),
            unreachableAs(post("verify/transcribe", {}, 600s), verifyUnreachable),
            unreachableAs(post("verify/caption", {}, 600s), verifyUnreachable)};
}

QList<Endpoint> makeCatalogue() {
    QList<Endpoint> catalogue;
    for (QList<Endpoint> (*family)() : {statusRoutes, transcriptionRoutes, documentRoutes,
                                        agentRoutes, bookkeepingRoutes, setupRoutes}) {
        catalogue << family();
    }
    return catalogue;
}

// One call as it goes out.
struct Call {
    QByteArray method;
    QString path;         // a catalogue template
    QStringList segments; // filling its `{slots}` in order
    QJsonObject json;     // sent as JSON when `raw` is empty and the method is not GET
    QByteArray raw;       // a body of other bytes, with `contentType`
    QByteArray contentType;
    QUrlQuery query;
    std::optional<milliseconds> timeout; // instead of the catalogue's
};

struct Answer {
    const Endpoint* endpoint = nullptr;
    bool noPort = false;
    HttpReply reply;

    bool ok() const { return !noPort && reply.ok(); }
};

QString resolvedPath(const Call& call) {
    QString path = call.path;
    for (const QString& segment : call.segments) {
        const qsizetype open = path.indexOf(QLatin1Char('{'));
        const qsizetype close = path.indexOf(QLatin1Char('}'), open);
        if (open < 0 || close < 0) {
            break;
        }
        path.replace(open, close - open + 1, segment);
    }
    return path;
}

QCoro::Task<HttpReply> transfer(QUrl base, QByteArray method, QString path, QUrlQuery query,
                                QByteArray body, QByteArray contentType, milliseconds timeout) {
    QUrl url = DaemonHttp::endpoint(base, path);
    if (!query.isEmpty()) {
        url.setQuery(query);
    }
    QCoro::Task<HttpReply> sending = DaemonHttp::send(method, url, body, contentType, timeout);
    co_return co_await sending;
}

const Endpoint& routeOf(const QByteArray& method, const QString& path) {
    const Endpoint* endpoint = find(method, path);
    if (endpoint == nullptr) {
        // Every call names a route of the catalogue; one that does not is a slip of ours.
        qFatal("[DaemonEndpoints] no catalogue entry for %s %s", method.constData(),
               qPrintable(path));
    }
    return *endpoint;
}

QCoro::Task<Answer> send(Daemon daemon, Call call) {
    Answer answer;
    answer.endpoint = &routeOf(call.method, call.path);
    const std::optional<QUrl> base = daemon ? daemon->baseUrl() : std::nullopt;
    if (!base) {
        answer.noPort = true;
        co_return answer;
    }
    QByteArray body = call.raw;
    QByteArray contentType = call.contentType;
    if (body.isEmpty() && call.method != "GET" && !call.json.isEmpty()) {
        body = QJsonDocument(call.json).toJson(QJsonDocument::Compact);
        contentType = "application/json";
    }
    QCoro::Task<HttpReply> sending =
        transfer(*base, call.method, resolvedPath(call), call.query, body, contentType,
                 call.timeout.value_or(answer.endpoint->timeout));
    answer.reply = co_await sending;
    co_return answer;
}

// The words of a failed call.
QString failureText(const Answer& answer) {
    const Endpoint& endpoint = *answer.endpoint;
    if (answer.noPort) {
        return endpoint.unreachableWord.isEmpty() ? DaemonHttp::unreachableText()
                                                  : endpoint.unreachableWord;
    }
    if (answer.reply.transportError) {
        QString error = *answer.reply.transportError;
        if (error.isEmpty()) {
            error = QStringLiteral("unknown error");
        }
        return endpoint.transportFormat.isEmpty()
                   ? error
                   : QString(endpoint.transportFormat).replace(QLatin1String("{error}"), error);
    }
    if (const auto body = answer.reply.jsonObject()) {
        const QString error = JsonRead::stringOr(*body, QLatin1String("error")).trimmed();
        if (!error.isEmpty()) {
            return error;
        }
    }
    const QString word = endpoint.failureWord.isEmpty()
                             ? QStringLiteral("The daemon answered HTTP {status}")
                             : endpoint.failureWord;
    return QString(word).replace(QLatin1String("{status}"),
                                 QString::number(answer.reply.httpStatus));
}

QCoro::Task<std::optional<QJsonObject>> fetch(Daemon daemon, Call call) {
    QCoro::Task<Answer> sending = send(daemon, std::move(call));
    const Answer answer = co_await sending;
    if (!answer.ok()) {
        co_return std::nullopt;
    }
    co_return answer.reply.jsonObject();
}

QCoro::Task<Expected<QJsonObject>> act(Daemon daemon, Call call) {
    QCoro::Task<Answer> sending = send(daemon, std::move(call));
    const Answer answer = co_await sending;
    if (!answer.ok()) {
        co_return fail(failureText(answer));
    }
    co_return Expected<QJsonObject>(answer.reply.jsonObject().value_or(QJsonObject()));
}

// The same, where a 200 can still carry the daemon's refusal in `error`.
QCoro::Task<Expected<QJsonObject>> actRefusable(Daemon daemon, Call call) {
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, std::move(call));
    Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return result;
    }
    const QString error = JsonRead::stringOr(result.value(), QLatin1String("error")).trimmed();
    if (!error.isEmpty()) {
        co_return fail(error);
    }
    co_return result;
}

QCoro::Task<Expected<void>> plainAction(Daemon daemon, Call call) {
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, std::move(call));
    const Expected<QJsonObject> result = co_await acting;
    co_return result.ok() ? Expected<void>() : Expected<void>(fail(result.error()));
}

Call getCall(const char* path, QStringList segments = {}) {
    return Call{"GET", QString::fromLatin1(path), std::move(segments), {}, {}, {}, {}, {}};
}

Call postCall(const char* path, QJsonObject json = {}, QStringList segments = {}) {
    return Call{"POST", QString::fromLatin1(path), std::move(segments), std::move(json), {}, {}, {},
                {}};
}

// A JSON object without the keys whose value is absent.
QJsonObject withBooks(QJsonObject body, const std::optional<QString>& books) {
    if (books) {
        body.insert(QStringLiteral("books"), *books);
    }
    return body;
}

template <typename T> QList<T> listOf(const QJsonArray& array, T (*read)(const QJsonObject&)) {
    QList<T> result;
    for (const QJsonValue& value : array) {
        result << read(value.toObject());
    }
    return result;
}

BooksRef booksRef(const QJsonObject& object) {
    return {JsonRead::stringOr(object, QLatin1String("slug")),
            JsonRead::stringOr(object, QLatin1String("name")),
            JsonRead::stringOr(object, QLatin1String("recipient"))};
}

CloseRunSummary runSummary(const QJsonObject& object) {
    return {JsonRead::stringOr(object, QLatin1String("period")),
            JsonRead::stringOr(object, QLatin1String("status")),
            JsonRead::string(object, QLatin1String("current_activity"))};
}

QCoro::Task<Expected<qint64>> retry(Daemon daemon, QJsonObject body) {
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, postCall("retry", body));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    co_return JsonRead::integerOr(result.value(), QLatin1String("reset"));
}

QCoro::Task<Expected<void>> onFile(Daemon daemon, const char* path, QJsonObject body) {
    QCoro::Task<Expected<void>> acting = plainAction(daemon, postCall(path, std::move(body)));
    co_return co_await acting;
}

QJsonObject filePathBody(const QString& filePath) {
    return {{QStringLiteral("file_path"), filePath}};
}

} // namespace

const QList<Endpoint>& all() {
    static const QList<Endpoint> catalogue = makeCatalogue();
    return catalogue;
}

const Endpoint* find(const QByteArray& method, const QString& path) {
    for (const Endpoint& endpoint : all()) {
        if (endpoint.method == method && endpoint.path == path) {
            return &endpoint;
        }
    }
    return nullptr;
}

QCoro::Task<HttpReply> request(std::optional<QUrl> base, QByteArray method, QString path,
                               QByteArray body, QByteArray contentType,
                               std::optional<milliseconds> timeout) {
    const Endpoint& endpoint = routeOf(method, path);
    if (!base) {
        HttpReply refused;
        refused.transportError = DaemonHttp::unreachableText();
        co_return refused;
    }
    QCoro::Task<HttpReply> sending =
        transfer(*base, method, path, {}, body, contentType, timeout.value_or(endpoint.timeout));
    co_return co_await sending;
}

// Status, supervision and processing.

QCoro::Task<std::optional<GpuSchedulerSnapshot>> gpuScheduler(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("gpu-scheduler"));
    const auto body = co_await fetching;
    co_return body ? std::optional(GpuSchedulerSnapshot::fromJson(*body)) : std::nullopt;
}

QCoro::Task<std::optional<ResourceHistory>> resourceHistory(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("resources/history"));
    const auto body = co_await fetching;
    co_return body ? std::optional(ResourceHistory::fromJson(*body)) : std::nullopt;
}

QCoro::Task<std::optional<QueuePositions>> queuePositions(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("queue/positions"));
    const auto body = co_await fetching;
    co_return body ? std::optional(QueuePositions::fromJson(*body)) : std::nullopt;
}

QCoro::Task<Expected<qint64>> retryFile(Daemon daemon, QString filePath) {
    QCoro::Task<Expected<qint64>> retrying = retry(daemon, filePathBody(filePath));
    co_return co_await retrying;
}

QCoro::Task<Expected<qint64>> retryKind(Daemon daemon, QString kind) {
    QCoro::Task<Expected<qint64>> retrying =
        retry(daemon, QJsonObject{{QStringLiteral("kind"), kind}});
    co_return co_await retrying;
}

QCoro::Task<Expected<void>> rebuildIndex(Daemon daemon) {
    return plainAction(daemon, postCall("index/rebuild"));
}

QCoro::Task<Expected<void>> rescanPhotos(Daemon daemon) {
    return plainAction(daemon, postCall("photos/rescan"));
}

QCoro::Task<Expected<void>> restartVlmSidecar(Daemon daemon) {
    return plainAction(daemon, postCall("sidecar/vlm/restart"));
}

QCoro::Task<Expected<void>> setModelPullConsent(Daemon daemon, bool granted) {
    return plainAction(daemon, postCall("vlm/model-pull-consent",
                                        QJsonObject{{QStringLiteral("granted"), granted}}));
}

QString powerStateWord(DaemonPowerState state) {
    switch (state) {
    case DaemonPowerState::ac:
        return QStringLiteral("ac");
    case DaemonPowerState::batteryHighPower:
        return QStringLiteral("battery_high_power");
    case DaemonPowerState::batteryAutoPower:
        return QStringLiteral("battery_auto_power");
    case DaemonPowerState::batteryLowPower:
        return QStringLiteral("battery_low_power");
    }
    return {};
}

QCoro::Task<Expected<void>> setPowerState(Daemon daemon, DaemonPowerState state) {
    return plainAction(daemon, postCall("power-state", QJsonObject{{QStringLiteral("state"),
                                                                    powerStateWord(state)}}));
}

QCoro::Task<std::optional<QJsonObject>> recommendDefaults(Daemon daemon, int ramGb, QString arch) {
    return fetch(daemon,
                 postCall("defaults/recommend", QJsonObject{{QStringLiteral("ram_gb"), ramGb},
                                                            {QStringLiteral("arch"), arch}}));
}

QCoro::Task<std::optional<VoiceModelStatus>> whisperStatus(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching =
        fetch(daemon, getCall("models/whisper/status"));
    const auto body = co_await fetching;
    co_return body ? std::optional(VoiceModelStatus::fromJson(*body)) : std::nullopt;
}

QCoro::Task<Expected<void>> prefetchWhisper(Daemon daemon) {
    return plainAction(daemon, postCall("models/whisper/prefetch"));
}

QCoro::Task<std::optional<QJsonObject>> prerequisites(Daemon daemon) {
    return fetch(daemon, getCall("prerequisites"));
}

QCoro::Task<std::optional<FDAStatus>> fdaStatus(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("fda/status"));
    const auto body = co_await fetching;
    co_return body ? std::optional(FDAStatus::fromJson(*body)) : std::nullopt;
}

namespace {

QCoro::Task<std::optional<bool>> flag(Daemon daemon, const char* path, const char* key,
                                      milliseconds timeout) {
    Call call = getCall(path);
    call.timeout = timeout;
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, std::move(call));
    const auto body = co_await fetching;
    if (!body || !body->value(QLatin1String(key)).isBool()) {
        co_return std::nullopt;
    }
    co_return body->value(QLatin1String(key)).toBool();
}

Call timed(Call call, milliseconds timeout) {
    call.timeout = timeout;
    return call;
}

} // namespace

QCoro::Task<std::optional<bool>> voiceMemosAccessible(Daemon daemon, milliseconds timeout) {
    return flag(daemon, "voice-memos/access", "accessible", timeout);
}

QCoro::Task<std::optional<bool>> voiceMemoRecording(Daemon daemon, milliseconds timeout) {
    return flag(daemon, "voice-memos/recording", "is_recording", timeout);
}

QCoro::Task<Expected<void>> startVoiceMemoWatch(Daemon daemon, milliseconds timeout) {
    return plainAction(daemon, timed(postCall("voice-memos/watch/start"), timeout));
}

QCoro::Task<Expected<void>> stopVoiceMemoWatch(Daemon daemon, milliseconds timeout) {
    return plainAction(daemon, timed(postCall("voice-memos/watch/stop"), timeout));
}

QCoro::Task<std::optional<Expected<QString>>> bugReportPreview(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("bug-report/preview"));
    const auto body = co_await fetching;
    if (!body) {
        co_return std::nullopt;
    }
    if (const auto preview = JsonRead::string(*body, QLatin1String("preview"))) {
        co_return Expected<QString>(*preview);
    }
    co_return fail(
        JsonRead::stringOr(*body, QLatin1String("error"), QStringLiteral("Unknown error")));
}

QCoro::Task<Expected<QString>> submitBugReport(Daemon daemon, QString description,
                                               QString reporterEmail) {
    QCoro::Task<Expected<QJsonObject>> acting = actRefusable(
        daemon, postCall("bug-report/submit",
                         QJsonObject{{QStringLiteral("description"), description},
                                     {QStringLiteral("reporter_email"), reporterEmail}}));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    co_return Expected<QString>(QStringLiteral("Report submitted. Thank you!"));
}

QCoro::Task<Expected<QString>> launchTroubleshooter(Daemon daemon, QString promptPreamble) {
    QCoro::Task<Expected<QJsonObject>> acting =
        act(daemon, postCall("troubleshoot/launch",
                             QJsonObject{{QStringLiteral("prompt_preamble"), promptPreamble}}));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    const QString name =
        JsonRead::stringOr(result.value(), QLatin1String("session_name")).trimmed();
    if (name.isEmpty()) {
        co_return fail(QStringLiteral("Daemon did not return a session name"));
    }
    co_return Expected<QString>(name);
}

// Transcription.

QCoro::Task<Expected<QString>> transcribeFile(Daemon daemon, QString path) {
    QCoro::Task<Expected<QJsonObject>> acting = actRefusable(
        daemon, postCall("transcribe-file", QJsonObject{{QStringLiteral("path"), path}}));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    const auto text = JsonRead::string(result.value(), QLatin1String("text"));
    if (!text) {
        co_return fail(QStringLiteral("transcription returned no text"));
    }
    co_return Expected<QString>(*text);
}

QCoro::Task<Expected<QString>>
transcribeFileStreaming(Daemon daemon, QString path,
                        std::function<void(const QJsonObject&)> onEvent) {
    const Endpoint* endpoint = find("POST", QStringLiteral("transcribe-file/stream"));
    const std::optional<QUrl> base = daemon ? daemon->baseUrl() : std::nullopt;
    if (!base) {
        co_return fail(failureText(Answer{endpoint, true, {}}));
    }
    EventStreamReader reader;
    EventStreamReader::Request request;
    request.method = "POST";
    request.url = DaemonHttp::endpoint(*base, endpoint->path);
    request.body =
        QJsonDocument(QJsonObject{{QStringLiteral("path"), path}}).toJson(QJsonDocument::Compact);
    request.contentType = "application/json";
    request.timeout = endpoint->timeout;
    // The outcome lives on the heap: the handler fills it from inside the read.
    auto outcome = std::make_shared<std::optional<Expected<QString>>>();
    EventStreamReader::Handler handler = [outcome, onEvent](const QJsonObject& event) {
        const QString type = JsonRead::stringOr(event, QLatin1String("type"));
        if (type == QLatin1String("done")) {
            *outcome = Expected<QString>(JsonRead::stringOr(event, QLatin1String("text")));
            return EventStreamReader::Next::stop;
        }
        if (type == QLatin1String("error")) {
            const QString error = JsonRead::stringOr(event, QLatin1String("error")).trimmed();
            *outcome = fail(error.isEmpty() ? QStringLiteral("transcription failed") : error);
            return EventStreamReader::Next::stop;
        }
        if (onEvent) {
            onEvent(event);
        }
        return EventStreamReader::Next::keepReading;
    };
    QCoro::Task<HttpReply> reading = reader.read(request, std::move(handler));
    const HttpReply reply = co_await reading;
    if (*outcome) {
        co_return **outcome;
    }
    if (reply.transportError || reply.httpStatus != 200) {
        Answer answer{endpoint, false, reply};
        co_return fail(failureText(answer));
    }
    co_return fail(QStringLiteral("transcription stream ended without a result"));
}

QCoro::Task<Expected<QString>> recordTranscription(Daemon daemon, QByteArray audio, QString ext,
                                                   bool ephemeral, milliseconds timeout) {
    Call call{"POST", QStringLiteral("transcriptions/record"),
              {},     {},
              audio,  "application/octet-stream",
              {},     timeout};
    call.query.addQueryItem(QStringLiteral("ext"), ext);
    if (ephemeral) {
        call.query.addQueryItem(QStringLiteral("ephemeral"), QStringLiteral("true"));
    }
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, std::move(call));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    const auto filePath = JsonRead::string(result.value(), QLatin1String("file_path"));
    if (!JsonRead::boolOr(result.value(), QLatin1String("ok")) || !filePath) {
        co_return fail(QStringLiteral("The daemon's answer to the recording was not understood"));
    }
    co_return Expected<QString>(*filePath);
}

QCoro::Task<Expected<void>> acceptTranscription(Daemon daemon, QString filePath) {
    return onFile(daemon, "transcriptions/accept", filePathBody(filePath));
}

QCoro::Task<Expected<void>> deleteTranscriptionSourceAudio(Daemon daemon, QString filePath) {
    return onFile(daemon, "transcriptions/delete-source-audio", filePathBody(filePath));
}

QCoro::Task<Expected<void>> deleteTranscription(Daemon daemon, QString filePath) {
    return onFile(daemon, "transcriptions/delete", filePathBody(filePath));
}

QCoro::Task<Expected<void>> forceRetranscribe(Daemon daemon, QString filePath, QString language) {
    QJsonObject body = filePathBody(filePath);
    body.insert(QStringLiteral("language"), language);
    return onFile(daemon, "transcriptions/force-retranscribe", body);
}

QCoro::Task<Expected<void>> abortTranscription(Daemon daemon, QString filePath) {
    return onFile(daemon, "transcriptions/abort", filePathBody(filePath));
}

// Entities, documents and the home screen.

QCoro::Task<std::optional<EntityPayload>> entity(Daemon daemon, QString type, QString slug) {
    QCoro::Task<std::optional<QJsonObject>> fetching =
        fetch(daemon, getCall("entity/{type}/{slug}", {type, slug}));
    const auto body = co_await fetching;
    co_return body ? std::optional(EntityPayload::fromJson(*body)) : std::nullopt;
}

QCoro::Task<Expected<void>> setEntityField(Daemon daemon, QString type, QString slug, QString field,
                                           QJsonValue value) {
    return plainAction(daemon, postCall("entity/{type}/{slug}/field",
                                        QJsonObject{{QStringLiteral("field"), field},
                                                    {QStringLiteral("value"), value}},
                                        {type, slug}));
}

QCoro::Task<Expected<void>> setEntityNotes(Daemon daemon, QString type, QString slug,
                                           QString body) {
    return plainAction(daemon, postCall("entity/{type}/{slug}/notes",
                                        QJsonObject{{QStringLiteral("body"), body}}, {type, slug}));
}

QCoro::Task<Expected<void>> writeDoc(Daemon daemon, QString path, QString content) {
    QCoro::Task<Expected<QJsonObject>> acting =
        act(daemon, postCall("docs/write", QJsonObject{{QStringLiteral("path"), path},
                                                       {QStringLiteral("content"), content}}));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    // Only `ok` says the file was written; an answer without it wrote nothing.
    if (!JsonRead::boolOr(result.value(), QLatin1String("ok"))) {
        co_return fail(routeOf("POST", QStringLiteral("docs/write")).failureWord);
    }
    co_return Expected<void>();
}

QCoro::Task<std::optional<HomeNarrative>> homeNarrative(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("home/narrative"));
    const auto body = co_await fetching;
    co_return body ? std::optional(HomeNarrative::fromJson(*body)) : std::nullopt;
}

QCoro::Task<std::optional<QList<EraCandidate>>> eraCandidates(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching =
        fetch(daemon, getCall("life/era-candidates"));
    const auto body = co_await fetching;
    if (!body) {
        co_return std::nullopt;
    }
    co_return listOf(JsonRead::array(*body, QLatin1String("eras")), &EraCandidate::fromJson);
}

// Agents.

QCoro::Task<std::optional<DreamerSessions>> dreamerSessions(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("dreamer/sessions"));
    const auto body = co_await fetching;
    co_return body ? std::optional(DreamerSessions::fromJson(*body)) : std::nullopt;
}

QCoro::Task<Expected<void>> killSession(Daemon daemon, QString name) {
    return plainAction(
        daemon, postCall("dreamer/sessions/kill", QJsonObject{{QStringLiteral("name"), name}}));
}

QCoro::Task<Expected<void>> triggerDreamer(Daemon daemon, DreamerTrigger trigger) {
    QJsonObject body{{QStringLiteral("cadence"), trigger.cadence}};
    const std::pair<const char*, const std::optional<QString>*> optionals[] = {
        {"period", &trigger.period},
        {"books", &trigger.books},
        {"date_stale", &trigger.dateStale},
        {"date_end", &trigger.dateEnd}};
    for (const auto& [key, value] : optionals) {
        if (*value) {
            body.insert(QLatin1String(key), **value);
        }
    }
    if (trigger.selectedEra) {
        body.insert(QStringLiteral("selected_era"), trigger.selectedEra->toJson());
    }
    return plainAction(daemon, postCall("dreamer/trigger", body));
}

QCoro::Task<Expected<void>> messageDreamer(Daemon daemon, QString cadence, QString text) {
    return plainAction(daemon,
                       postCall("dreamer/message", QJsonObject{{QStringLiteral("cadence"), cadence},
                                                               {QStringLiteral("text"), text}}));
}

// Bookkeeping runs.

QCoro::Task<std::optional<QList<BooksRef>>> closeBooks(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("period-close/books"));
    const auto body = co_await fetching;
    if (!body) {
        co_return std::nullopt;
    }
    co_return listOf(JsonRead::array(*body, QLatin1String("books")), &booksRef);
}

QCoro::Task<std::optional<CloseRound>> closeRound(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching = fetch(daemon, getCall("period-close/round"));
    const auto body = co_await fetching;
    co_return body ? std::optional(CloseRound::fromJson(*body)) : std::nullopt;
}

QCoro::Task<std::optional<QList<CloseRunSummary>>> closeRuns(Daemon daemon) {
    QCoro::Task<Answer> sending = send(daemon, getCall("period-close/runs"));
    const Answer answer = co_await sending;
    if (!answer.ok()) {
        co_return std::nullopt;
    }
    // The runs come as a bare array, or under `runs`.
    const QJsonDocument document = QJsonDocument::fromJson(answer.reply.body);
    const QJsonArray runs = document.isArray()
                                ? document.array()
                                : JsonRead::array(document.object(), QLatin1String("runs"));
    if (!document.isArray() && !document.isObject()) {
        co_return std::nullopt;
    }
    co_return listOf(runs, &runSummary);
}

QCoro::Task<Expected<void>> setMaterialStatus(Daemon daemon, QString period, QString lineKey,
                                              QString status, std::optional<QString> books) {
    return plainAction(daemon, postCall("period-close/material/status",
                                        withBooks({{QStringLiteral("period"), period},
                                                   {QStringLiteral("line_key"), lineKey},
                                                   {QStringLiteral("status"), status}},
                                                  books)));
}

QCoro::Task<Expected<void>> markPeriodClosed(Daemon daemon, QString period,
                                             std::optional<QString> books) {
    return plainAction(daemon, postCall("period-close/run/close",
                                        withBooks({{QStringLiteral("period"), period}}, books)));
}

QCoro::Task<Expected<void>> setRunStatus(Daemon daemon, QString period, QString status,
                                         QString activity, std::optional<QString> books) {
    return plainAction(daemon, postCall("period-close/run/status",
                                        withBooks({{QStringLiteral("period"), period},
                                                   {QStringLiteral("status"), status},
                                                   {QStringLiteral("activity"), activity}},
                                                  books)));
}

QCoro::Task<Expected<void>> addCorrespondence(Daemon daemon, QString period, QString kind,
                                              QString text, std::optional<QString> books) {
    return plainAction(daemon, postCall("period-close/run/correspondence",
                                        withBooks({{QStringLiteral("period"), period},
                                                   {QStringLiteral("kind"), kind},
                                                   {QStringLiteral("text"), text}},
                                                  books)));
}

// Sources, migration, setup.

QCoro::Task<std::optional<QJsonArray>> breadcrumbSources(Daemon daemon) {
    QCoro::Task<std::optional<QJsonObject>> fetching =
        fetch(daemon, getCall("breadcrumbs/sources"));
    const auto body = co_await fetching;
    if (!body) {
        co_return std::nullopt;
    }
    co_return JsonRead::array(*body, QLatin1String("sources"));
}

QCoro::Task<Expected<void>> addBreadcrumbSource(Daemon daemon, QJsonObject fields) {
    return plainAction(daemon, postCall("breadcrumbs/sources", std::move(fields)));
}

QCoro::Task<Expected<void>> syncBreadcrumbs(Daemon daemon, QString sourceId) {
    return plainAction(
        daemon, postCall("breadcrumbs/sync", QJsonObject{{QStringLiteral("source_id"), sourceId}}));
}

QCoro::Task<Expected<void>> toggleBreadcrumbSource(Daemon daemon, QString id) {
    return plainAction(daemon, postCall("breadcrumbs/sources/{id}/toggle", {}, {id}));
}

QCoro::Task<Expected<void>> deleteBreadcrumbSource(Daemon daemon, QString id) {
    return plainAction(
        daemon,
        Call{"DELETE", QStringLiteral("breadcrumbs/sources/{id}"), {id}, {}, {}, {}, {}, {}});
}

QCoro::Task<Expected<MigrationStatus>> migrationStatus(Daemon daemon) {
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, getCall("migrations/status"));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    co_return Expected<MigrationStatus>(MigrationStatus::fromJson(result.value()));
}

QCoro::Task<Expected<void>> runV4Migration(Daemon daemon, QString identityId, QString displayName,
                                           QString primaryFolder) {
    return plainAction(daemon,
                       postCall("migrations/v4/run",
                                QJsonObject{{QStringLiteral("identity_id"), identityId},
                                            {QStringLiteral("display_name"), displayName},
                                            {QStringLiteral("primary_folder"), primaryFolder}}));
}

QCoro::Task<Expected<void>> runCloudIdJob(Daemon daemon, CloudIdJob job) {
    const char* path = job == CloudIdJob::backfill ? "migrations/cloud-id/backfill"
                       : job == CloudIdJob::dedup  ? "migrations/cloud-id/dedup"
                                                   : "migrations/cloud-id/rename";
    return plainAction(daemon, postCall(path));
}

QCoro::Task<Expected<ObsidianStatus>> obsidianStatus(Daemon daemon) {
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, getCall("obsidian/status"));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    co_return ObsidianStatus::fromJson(result.value());
}

QCoro::Task<Expected<ObsidianInstallResult>> installObsidian(Daemon daemon) {
    QCoro::Task<Expected<QJsonObject>> acting = act(daemon, postCall("obsidian/install"));
    const Expected<QJsonObject> result = co_await acting;
    if (!result.ok()) {
        co_return fail(result.error());
    }
    co_return ObsidianInstallResult::fromJson(result.value());
}

QCoro::Task<VerifyResult> verify(Daemon daemon, VerifyProof proof, QJsonObject body) {
    const char* path = "verify/photos";
    switch (proof) {
    case VerifyProof::photos:
        break;
    case VerifyProof::engine:
        path = "verify/engine";
        break;
    case VerifyProof::browser:
        path = "verify/browser";
        break;
    case VerifyProof::transcribe:
        path = "verify/transcribe";
        break;
    case VerifyProof::caption:
        path = "verify/caption";
        break;
    }
    Call call = postCall(path, std::move(body));
    if (call.json.isEmpty()) {
        call.raw = "{}"; // the proof's body is JSON even when empty
        call.contentType = "application/json";
    }
    QCoro::Task<Answer> sending = send(daemon, std::move(call));
    const Answer answer = co_await sending;
    if (answer.noPort) {
        co_return VerifyResult::failure(failureText(answer));
    }
    // The proof's answer counts whatever the HTTP status.
    if (!answer.reply.transportError) {
        if (const auto object = answer.reply.jsonObject()) {
            if (auto result = VerifyResult::fromJson(*object)) {
                co_return *result;
            }
        }
    }
    co_return VerifyResult::failure(QStringLiteral("Verify request failed"),
                                    answer.reply.transportError
                                        ? *answer.reply.transportError
                                        : QStringLiteral("The daemon's answer was not understood"));
}

} // namespace mnemora::DaemonEndpoints

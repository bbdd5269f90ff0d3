#include "DaemonServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QUuid>

#include "PeriodFolder.h"
#include "Transcriber.h"
#include "VaultIndex.h"
#include "VaultWatcher.h"
#include "VaultWrite.h"
#include "app/Brand.h"
#include "app/Log.h"
#include "app/PortFile.h"
#include "platform/AtomicFile.h"

namespace mnemora::refdaemon {

namespace {

constexpr int heartbeatMs = 5000;
constexpr qint64 replaySecs = 60;

QString nowText() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
}

void log(const QString& message) {
    Log::line(QStringLiteral("Daemon"), message);
}

// Runs a short local tool and gives its output; empty when it is missing or fails.
QByteArray toolOutput(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(2000) || !process.waitForFinished(3000) ||
        process.exitCode() != 0) {
        return {};
    }
    return process.readAllStandardOutput();
}

} // namespace

DaemonServer::DaemonServer(DaemonPlaces places, QObject* parent)
    : QObject(parent)
    , places_(std::move(places))
    , listener_([this](const HttpRequest& request, HttpExchange* exchange) {
        handle(request, exchange);
    }) {
    routes_ = {
        {QStringLiteral("GET status"), &DaemonServer::status},
        {QStringLiteral("GET progress"), &DaemonServer::progress},
        {QStringLiteral("POST docs/write"), &DaemonServer::docsWrite},
        {QStringLiteral("POST power-state"), &DaemonServer::powerState},
        {QStringLiteral("POST defaults/recommend"), &DaemonServer::defaultsRecommend},
        {QStringLiteral("GET prerequisites"), &DaemonServer::prerequisites},
        {QStringLiteral("POST index/rebuild"), &DaemonServer::indexRebuild},
        {QStringLiteral("GET dreamer/sessions"), &DaemonServer::dreamerSessions},
        {QStringLiteral("POST dreamer/sessions/kill"), &DaemonServer::killSession},
        {QStringLiteral("POST dreamer/trigger"), &DaemonServer::dreamerTrigger},
        {QStringLiteral("GET period-close/books"), &DaemonServer::periodCloseRead},
        {QStringLiteral("GET period-close/runs"), &DaemonServer::periodCloseRead},
        {QStringLiteral("GET period-close/round"), &DaemonServer::periodCloseRead},
        {QStringLiteral("POST period-close/material/status"), &DaemonServer::periodCloseAct},
        {QStringLiteral("POST period-close/run/close"), &DaemonServer::periodCloseAct},
        {QStringLiteral("POST period-close/run/status"), &DaemonServer::periodCloseAct},
        {QStringLiteral("POST period-close/run/correspondence"), &DaemonServer::periodCloseAct},
        {QStringLiteral("POST transcribe-file"), &DaemonServer::transcribeFile},
        {QStringLiteral("POST transcribe-file/stream"), &DaemonServer::transcribeStream},
        {QStringLiteral("POST transcriptions/record"), &DaemonServer::record},
        {QStringLiteral("POST verify/transcribe"), &DaemonServer::verifyTranscribe},
        {QStringLiteral("POST verify/photos"), &DaemonServer::verifyUnavailable},
        {QStringLiteral("POST verify/engine"), &DaemonServer::verifyUnavailable},
        {QStringLiteral("POST verify/browser"), &DaemonServer::verifyUnavailable},
        {QStringLiteral("POST verify/caption"), &DaemonServer::verifyUnavailable},
    };
    for (const char* route :
         {"GET gpu-scheduler", "GET resources/history", "GET queue/positions", "POST retry",
          "GET breadcrumbs/sources", "GET life/era-candidates", "GET home/narrative",
          "POST process/start", "POST process/stop", "GET fda/status", "GET voice-memos/access",
          "GET voice-memos/recording"}) {
        routes_.insert(QString::fromLatin1(route), &DaemonServer::emptyAnswer);
    }
    heartbeat_.setInterval(heartbeatMs);
    connect(&heartbeat_, &QTimer::timeout, this,
            [this] { lastBeat_ = QDateTime::currentDateTimeUtc(); });
}

DaemonServer::~DaemonServer() = default;

QString DaemonServer::version() {
    return QStringLiteral(MNEMORA_DAEMON_VERSION);
}

bool DaemonServer::start() {
    lastBeat_ = QDateTime::currentDateTimeUtc();
    heartbeat_.start();
    transcriber_ = new Transcriber(places_.cacheFolder + QStringLiteral("/work"), this);
    transcriber_->setGrammarPath(qEnvironmentVariable("MNEMORA_SPEECH_GRAMMAR"));
    if (places_.vaultPath.isEmpty()) {
        log(QStringLiteral("no vault configured — serving without an index"));
    } else {
        index_ = std::make_unique<VaultIndex>(
            places_.vaultPath, places_.cacheFolder + QStringLiteral("/registry_index.sqlite"));
        if (const Expected<void> opened = index_->open(); !opened.ok()) {
            log(opened.error());
            index_.reset();
        } else {
            reindex();
            watcher_ = new VaultWatcher(places_.vaultPath, 150, this);
            connect(watcher_, &VaultWatcher::changed, this, &DaemonServer::reindex);
            if (!watcher_->start()) {
                log(QStringLiteral("could not watch the vault — the index will not follow it"));
            }
        }
    }
    if (!listener_.listen()) {
        log(QStringLiteral("could not listen on 127.0.0.1: ") + listener_.errorString());
        return false;
    }
    QDir().mkpath(places_.cacheFolder);
    const QByteArray port = QByteArray::number(listener_.port()) + '\n';
    if (const auto error = writeFileAtomically(PortFile::pathIn(places_.cacheFolder), port)) {
        log(QStringLiteral("could not write the port file: ") + *error);
        return false;
    }
    // Best effort: without it only the first-run defaults are not asked for.
    if (QDir().mkpath(places_.configFolder)) {
        (void)writeFileAtomically(PortFile::pathIn(places_.configFolder), port);
    }
    log(QStringLiteral("listening on 127.0.0.1:%1 for vault '%2'")
            .arg(listener_.port())
            .arg(places_.vaultPath));
    return true;
}

void DaemonServer::stop() {
    // Only our own port file goes; a newer daemon may have replaced it already.
    for (const QString& folder : {places_.cacheFolder, places_.configFolder}) {
        const QString portFile = PortFile::pathIn(folder);
        if (PortFile::read(portFile) == listener_.port()) {
            QFile::remove(portFile);
        }
    }
    for (const QPointer<HttpExchange>& stream : streams_) {
        if (stream) {
            stream->endStream();
        }
    }
    log(QStringLiteral("stopped"));
}

void DaemonServer::handle(const HttpRequest& request, HttpExchange* exchange) {
    const auto route =
        routes_.constFind(QString::fromLatin1(request.method) + QLatin1Char(' ') + request.path);
    if (route != routes_.constEnd()) {
        (this->*route.value())(request, exchange);
        return;
    }
    exchange->replyError(404, request.path + QStringLiteral(" is not available in this daemon"));
}

void DaemonServer::reindex() {
    if (!index_) {
        return;
    }
    const VaultIndex::Changes changes = index_->refresh();
    if (changes.questions) {
        log(QStringLiteral("questions changed (%1 indexed)").arg(index_->questionCount()));
        publish(QStringLiteral("questions-changed"), {});
    }
    if (changes.any()) {
        publish(QStringLiteral("registry-updated"), {});
    }
}

void DaemonServer::publish(const QString& event, const QJsonObject& payload) {
    const QJsonObject line{{"event", event}, {"payload", payload}};
    streams_.removeIf(
        [](const QPointer<HttpExchange>& stream) { return !stream || !stream->isOpen(); });
    for (const QPointer<HttpExchange>& stream : std::as_const(streams_)) {
        stream->sendData(line);
    }
}

void DaemonServer::publishAsset(const QString& filePath, const QJsonObject& fields) {
    QJsonObject payload = fields;
    payload.insert(QStringLiteral("file_path"), filePath);
    payload.insert(QStringLiteral("item_type"), QStringLiteral("voice_memo"));
    const QString state = payload.value(QStringLiteral("status")).toString();
    if (state == QLatin1String("done") || state == QLatin1String("failed")) {
        // A client that uploads and then opens the stream must still hear how it ended.
        const QDateTime now = QDateTime::currentDateTimeUtc();
        finished_.removeIf([&](const auto& entry) { return entry.first.secsTo(now) > replaySecs; });
        finished_.append({now, payload});
    }
    publish(QStringLiteral("asset-status-updated"), payload);
}

void DaemonServer::status(const HttpRequest&, HttpExchange* exchange) {
    const QString binary = QCoreApplication::applicationFilePath();
    QJsonObject body{
        {"pid", static_cast<qint64>(QCoreApplication::applicationPid())},
        {"version", version()},
        {"binary_path", binary},
        {"binary_mtime", QFileInfo(binary).lastModified().toSecsSinceEpoch()},
        {"processing_active", activeTranscriptions_ > 0},
        {"pending_items", activeTranscriptions_},
        {"heartbeat_age_secs", lastBeat_.secsTo(QDateTime::currentDateTimeUtc())},
        {"transcription_active", activeTranscriptions_ > 0},
        {"power_state", powerState_},
    };
    if (!places_.vaultPath.isEmpty()) {
        body.insert(QStringLiteral("vault_path"), places_.vaultPath);
    }
    exchange->reply(200, body);
}

void DaemonServer::progress(const HttpRequest&, HttpExchange* exchange) {
    exchange->beginStream();
    streams_.append(exchange);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const auto& [at, payload] : std::as_const(finished_)) {
        if (at.secsTo(now) <= replaySecs) {
            exchange->sendData({{"event", "asset-status-updated"}, {"payload", payload}});
        }
    }
}

void DaemonServer::docsWrite(const HttpRequest& request, HttpExchange* exchange) {
    const QJsonObject body = request.json();
    if (places_.vaultPath.isEmpty()) {
        exchange->replyError(409, QStringLiteral("no vault is configured"));
        return;
    }
    if (!body.value(QStringLiteral("path")).isString() ||
        !body.value(QStringLiteral("content")).isString()) {
        exchange->replyError(400, QStringLiteral("path and content are required"));
        return;
    }
    // Synced documents are named relative to the vault's Notes folder, as their records are.
    const QString notes = places_.vaultPath + QStringLiteral("/Notes");
    QDir().mkpath(notes);
    const Expected<void> written =
        VaultWrite::write(notes, body.value(QStringLiteral("path")).toString(),
                          body.value(QStringLiteral("content")).toString().toUtf8());
    if (!written.ok()) {
        exchange->replyError(400, written.error());
        return;
    }
    exchange->reply(200, {{"ok", true}});
}

void DaemonServer::powerState(const HttpRequest& request, HttpExchange* exchange) {
    static const QStringList states{"ac", "battery_high_power", "battery_auto_power",
                                    "battery_low_power"};
    const QString state = request.json().value(QStringLiteral("state")).toString();
    if (!states.contains(state)) {
        exchange->replyError(400, QStringLiteral("unknown power state: ") + state);
        return;
    }
    powerState_ = state;
    log(QStringLiteral("power state: ") + state);
    exchange->reply(200, {{"ok", true}});
}

void DaemonServer::defaultsRecommend(const HttpRequest& request, HttpExchange* exchange) {
    // The recogniser here is the same on every machine; only the model name follows memory.
    const int ramGb = request.json().value(QStringLiteral("ram_gb")).toInt();
    exchange->reply(
        200, {{"whisper_model", ramGb >= 16 ? "small.en" : "base.en"}, {"caption_photos", false}});
}

void DaemonServer::prerequisites(const HttpRequest&, HttpExchange* exchange) {
    QJsonArray tools;
    const auto add = [&tools](const char* id, const char* label, const char* hint) {
        QJsonObject tool{{"id", id}, {"label", label}, {"install_hint", hint}};
        const QString path = Transcriber::tool(id);
        if (!path.isEmpty()) {
            tool.insert(QStringLiteral("path"), path);
        }
        tools.append(tool);
    };
    add("claude", "Claude Code CLI", "npm install -g @anthropic-ai/claude-code");
    add("tmux", "tmux", "sudo apt-get install tmux");
    exchange->reply(200, {{"tools", tools}});
}

void DaemonServer::indexRebuild(const HttpRequest&, HttpExchange* exchange) {
    exchange->reply(200, {{"ok", true}});
    publish(QStringLiteral("index-rebuild-started"), {});
    if (index_ && index_->open().ok()) {
        reindex();
        publish(QStringLiteral("index-rebuild-complete"),
                {{"total_items", index_->questionCount()}});
        return;
    }
    publish(QStringLiteral("index-rebuild-error"), {{"error", "no vault index"}});
}

void DaemonServer::dreamerSessions(const HttpRequest&, HttpExchange* exchange) {
    const QString prefix = BrandProfile::sessionPrefix(brand());
    QJsonArray sessions;
    const QByteArray names =
        toolOutput(QStringLiteral("tmux"), {QStringLiteral("list-sessions"), QStringLiteral("-F"),
                                            QStringLiteral("#{session_name}")});
    for (const QByteArray& name : names.split('\n')) {
        const QString session = QString::fromUtf8(name.trimmed());
        if (session.startsWith(prefix)) {
            sessions.append(session);
        }
    }
    exchange->reply(200, {{"sessions", sessions}, {"limits", QJsonArray()}});
}

void DaemonServer::killSession(const HttpRequest& request, HttpExchange* exchange) {
    const QString name = request.json().value(QStringLiteral("name")).toString();
    if (!name.startsWith(BrandProfile::sessionPrefix(brand()))) {
        exchange->replyError(400, QStringLiteral("not a session of this app: ") + name);
        return;
    }
    QProcess::execute(QStringLiteral("tmux"),
                      {QStringLiteral("kill-session"), QStringLiteral("-t"), name});
    exchange->reply(200, {{"ok", true}});
}

void DaemonServer::dreamerTrigger(const HttpRequest& request, HttpExchange* exchange) {
    const QString cadence = request.json().value(QStringLiteral("cadence")).toString();
    if (Transcriber::tool("claude").isEmpty() || Transcriber::tool("tmux").isEmpty()) {
        exchange->replyError(
            409, QStringLiteral("claude and tmux must be installed to start a session"));
        return;
    }
    const QString name =
        sessionNamePrefix(cadence.isEmpty() ? QStringLiteral("manual") : cadence, brand()) +
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString folder = places_.vaultPath.isEmpty() ? QDir::homePath() : places_.vaultPath;
    const int code = QProcess::execute(QStringLiteral("tmux"),
                                       {QStringLiteral("new-session"), QStringLiteral("-d"),
                                        QStringLiteral("-s"), name, QStringLiteral("-c"), folder,
                                        QStringLiteral("claude")});
    if (code != 0) {
        exchange->replyError(500, QStringLiteral("tmux could not start the session"));
        return;
    }
    exchange->reply(200, {{"ok", true}, {"session_name", name}});
}

void DaemonServer::periodCloseRead(const HttpRequest& request, HttpExchange* exchange) {
    const PeriodFolder folder(places_.vaultPath);
    if (request.path.endsWith(QLatin1String("books"))) {
        exchange->reply(200,
                        {{"books", places_.vaultPath.isEmpty() ? QJsonArray() : folder.books()}});
    } else if (request.path.endsWith(QLatin1String("runs"))) {
        exchange->reply(200,
                        {{"runs", places_.vaultPath.isEmpty() ? QJsonArray() : folder.runs()}});
    } else {
        exchange->reply(200, {}); // no round runs in this daemon
    }
}

void DaemonServer::periodCloseAct(const HttpRequest& request, HttpExchange* exchange) {
    const QJsonObject body = request.json();
    const auto field = [&body](const char* key) {
        return body.value(QLatin1String(key)).toString();
    };
    const PeriodFolder folder(places_.vaultPath);
    const QString books = field("books");
    const QString period = field("period");
    Expected<void> done = fail(QStringLiteral("no vault is configured"));
    if (places_.vaultPath.isEmpty()) {
    } else if (request.path.endsWith(QLatin1String("material/status"))) {
        done = folder.setMaterialStatus(books, period, field("line_key"), field("status"));
    } else if (request.path.endsWith(QLatin1String("run/close"))) {
        done = folder.closeRun(books, period, nowText());
    } else if (request.path.endsWith(QLatin1String("run/status"))) {
        done = folder.setRunStatus(books, period, field("status"), field("activity"), nowText());
    } else {
        done = folder.addCorrespondence(books, period, field("kind"), field("text"), nowText());
    }
    if (!done.ok()) {
        exchange->replyError(400, done.error());
        return;
    }
    reindex(); // the screens reload at once, without waiting for the watcher
    exchange->reply(200, {{"ok", true}});
}

void DaemonServer::emptyAnswer(const HttpRequest& request, HttpExchange* exchange) {
    static const QHash<QString, QJsonObject> empty{
        {"gpu-scheduler",
         {{"running", false},
          {"queue_size", 0},
          {"whisper_voice_pending", 0},
          {"whisper_video_pending", 0},
          {"vlm_pending", 0},
          {"triage_pending", 0},
          {"items_processed_session", 0},
          {"session_success", 0},
          {"session_skipped", 0},
          {"session_failed", 0},
          {"queue_items", QJsonArray()},
          {"recent", QJsonArray()}}},
        {"resources/history",
         {{"interval_secs", 5}, {"series", QJsonArray()}, {"swap", QJsonArray()}}},
        {"queue/positions", {{"audio", QJsonObject()}, {"visual", QJsonObject()}}},
        {"retry", {{"reset", 0}}},
        {"breadcrumbs/sources", {{"sources", QJsonArray()}}},
        {"life/era-candidates", {{"eras", QJsonArray()}}},
        {"fda/status",
         {{"has_access", true},
          {"directory_exists", false},
          {"message", "Voice memos are not read by this daemon"},
          {"voice_memo_pending", 0},
          {"voice_memo_failed", 0}}},
        // Nothing here guards a recordings store behind a permission, and nothing records into
        // one: access is never the problem, and no recording is ever under way.
        {"voice-memos/access", {{"accessible", true}}},
        {"voice-memos/recording", {{"is_recording", false}}},
    };
    exchange->reply(200, empty.value(request.path, {{"ok", true}}));
}

} // namespace mnemora::refdaemon

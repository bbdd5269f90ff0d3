// A stand-in for the daemon, for supervision and mirror tests: a real process that speaks the
// daemon's `GET /status`, `POST /docs/write` and `POST /transcribe-file/stream` on 127.0.0.1 and
// publishes its port the way the daemon does. Everything it does differently is chosen by the
// environment, so a supervisor can spawn it unchanged:
//
//   FAKE_DAEMON_PORT_FILE      where to write the port; without it, a daemon given a vault's
//                              configuration folder (MN_CONFIG_DIR) writes it where the real
//                              daemon does, in that vault's cache folder, and reports the vault
//   FAKE_DAEMON_PORT_DELAY_MS  wait before writing it; negative: never write it
//   FAKE_DAEMON_EXIT_AFTER_MS  exit this long after starting...
//   FAKE_DAEMON_EXIT_STATUS    ...with this status (default 0)
//   FAKE_DAEMON_IGNORE_SIGTERM "1": SIGTERM does nothing
//   FAKE_DAEMON_STATUS_FILE    a JSON object read at every request, laid over the default
//                              status fields; a null value removes a field
//   FAKE_DAEMON_HANG_FILE      while this file exists, requests are taken and never answered
//   FAKE_DAEMON_STATUS_DELAY_MS answer each request only this long after it came (a busy daemon)
//   FAKE_DAEMON_LOG_LINES      print "log line 1" ... "log line N" at start, blank lines between
//   FAKE_DAEMON_VAULT          the vault `docs/write` writes into (else the configured one): the
//                              path is taken relative to the vault's Notes folder
//   FAKE_DAEMON_TRANSCRIBE_FILE a JSON object read at every `transcribe-file/stream`: `events`, the
//                              events sent at once; `hold_while`, a file while which exists the
//                              stream stays open; `final`, the event sent after that (default: an
//                              `error` event saying no transcript was chosen)
//   FAKE_DAEMON_REQUEST_LOG    a file each answered request appends "{METHOD} /{path} {body}" to
//
// Default status fields: `pid`, `version`, `binary_path` (argv[0] made absolute),
// `binary_mtime` (that file's modification time, whole seconds), `pending_items` 0,
// `heartbeat_age_secs` 5, `processing_active` and `transcription_active` false.

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QSaveFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <optional>
#include <unistd.h>

namespace {

QString env(const char* name) {
    return qEnvironmentVariable(name);
}

int envInt(const char* name, int fallback) {
    bool ok = false;
    const int value = qEnvironmentVariable(name).toInt(&ok);
    return ok ? value : fallback;
}

void say(FILE* stream, const QString& line) {
    const QByteArray bytes = (line + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

// The vault named by the configuration in MN_CONFIG_DIR, as the real daemon reads it.
QString configuredVault() {
    const QString folder = env("MN_CONFIG_DIR");
    QFile config(folder + QStringLiteral("/config.json"));
    if (folder.isEmpty() || !config.open(QIODevice::ReadOnly)) {
        return {};
    }
    QString vault =
        QJsonDocument::fromJson(config.readAll()).object().value("mnemora_path").toString();
    if (vault.isEmpty()) {
        // A vault's configuration sits in `{vault}/.mnemora/`.
        vault = QFileInfo(folder).absolutePath();
    }
    return vault;
}

// `{caches}/{bundle id}/vaults/{key}/daemon.port` for a vault.
QString vaultPortFile(const QString& vault) {
    QString cache = env("XDG_CACHE_HOME");
    if (cache.isEmpty()) {
        cache = env("HOME") + QStringLiteral("/.cache");
    }
    QString key = vault;
    while (key.endsWith(QLatin1Char('/'))) {
        key.chop(1);
    }
    key.replace(QLatin1Char('/'), QLatin1Char('_'));
    return cache + QLatin1Char('/') + env("MNEMORA_BUNDLE_ID") + QStringLiteral("/vaults/") + key +
           QStringLiteral("/daemon.port");
}

QJsonObject statusBody(const QString& binaryPath) {
    QJsonObject body{
        {QStringLiteral("pid"), static_cast<qint64>(::getpid())},
        {QStringLiteral("version"), QStringLiteral("0.0.0-fake")},
        {QStringLiteral("binary_path"), binaryPath},
        {QStringLiteral("binary_mtime"), QFileInfo(binaryPath).lastModified().toSecsSinceEpoch()},
        {QStringLiteral("pending_items"), 0},
        {QStringLiteral("heartbeat_age_secs"), 5},
        {QStringLiteral("processing_active"), false},
        {QStringLiteral("transcription_active"), false},
    };
    if (const QString vault = configuredVault(); !vault.isEmpty()) {
        body.insert(QStringLiteral("vault_path"), vault);
    }
    QFile overrides(env("FAKE_DAEMON_STATUS_FILE"));
    if (!overrides.fileName().isEmpty() && overrides.open(QIODevice::ReadOnly)) {
        const QJsonObject chosen = QJsonDocument::fromJson(overrides.readAll()).object();
        for (auto it = chosen.begin(); it != chosen.end(); ++it) {
            if (it.value().isNull()) {
                body.remove(it.key());
            } else {
                body.insert(it.key(), it.value());
            }
        }
    }
    return body;
}

struct Request {
    QByteArray method;
    QByteArray path;
    QByteArray body;
};

// A whole request from the bytes read so far; none while its head or body is still coming.
std::optional<Request> parseRequest(const QByteArray& buffer) {
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        return std::nullopt;
    }
    const QList<QByteArray> head = buffer.left(headEnd).split('\n');
    qsizetype length = 0;
    for (const QByteArray& line : head) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.toLower().startsWith("content-length:")) {
            length = trimmed.mid(15).trimmed().toLongLong();
        }
    }
    if (buffer.size() < headEnd + 4 + length) {
        return std::nullopt;
    }
    const QList<QByteArray> requestLine = head.value(0).trimmed().split(' ');
    return Request{requestLine.value(0), requestLine.value(1), buffer.mid(headEnd + 4, length)};
}

void logRequest(const Request& request) {
    QFile log(env("FAKE_DAEMON_REQUEST_LOG"));
    if (!log.fileName().isEmpty() && log.open(QIODevice::Append)) {
        log.write(request.method + ' ' + request.path + ' ' + request.body + '\n');
    }
}

void reply(QTcpSocket* socket, const QByteArray& status, const QJsonObject& body) {
    const QByteArray bytes = QJsonDocument(body).toJson(QJsonDocument::Compact);
    socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: " +
                  QByteArray::number(bytes.size()) + "\r\nConnection: close\r\n\r\n" + bytes);
    socket->flush();
    socket->disconnectFromHost();
}

// Writes the document below the vault's Notes folder, as the daemon does for the mirrors.
void writeDocument(QTcpSocket* socket, const QJsonObject& body) {
    const QString vault =
        env("FAKE_DAEMON_VAULT").isEmpty() ? configuredVault() : env("FAKE_DAEMON_VAULT");
    const QString path = body.value(QStringLiteral("path")).toString();
    if (vault.isEmpty() || path.isEmpty() || path.split(QLatin1Char('/')).contains("..")) {
        reply(socket, "400 Bad Request", {{"error", "no vault or no path"}});
        return;
    }
    const QString target = vault + QStringLiteral("/Notes/") + path;
    QDir().mkpath(QFileInfo(target).absolutePath());
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(body.value(QStringLiteral("content")).toString().toUtf8()) < 0 ||
        !file.commit()) {
        reply(socket, "500 Internal Server Error", {{"error", file.errorString()}});
        return;
    }
    reply(socket, "200 OK", {{"ok", true}});
}

void sendEvent(QTcpSocket* socket, const QJsonObject& event) {
    socket->write("data: " + QJsonDocument(event).toJson(QJsonDocument::Compact) + "\n\n");
    socket->flush();
}

// Sends the final event once the hold file is gone, looking again every few milliseconds.
void finishTranscription(QPointer<QTcpSocket> socket, QString holdWhile, QJsonObject final) {
    if (!socket) {
        return;
    }
    if (!holdWhile.isEmpty() && QFileInfo::exists(holdWhile)) {
        QTimer::singleShot(10, socket, [socket, holdWhile, final] {
            finishTranscription(socket, holdWhile, final);
        });
        return;
    }
    sendEvent(socket, final);
    socket->disconnectFromHost();
}

// A streamed transcription as the test chose it.
void transcribe(QTcpSocket* socket) {
    QFile chosen(env("FAKE_DAEMON_TRANSCRIBE_FILE"));
    QJsonObject script;
    if (!chosen.fileName().isEmpty() && chosen.open(QIODevice::ReadOnly)) {
        script = QJsonDocument::fromJson(chosen.readAll()).object();
    }
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nConnection: "
                  "close\r\n\r\n");
    for (const QJsonValue& event : script.value(QStringLiteral("events")).toArray()) {
        sendEvent(socket, event.toObject());
    }
    QJsonObject final = script.value(QStringLiteral("final")).toObject();
    if (final.isEmpty()) {
        final = {{"type", "error"}, {"error", "the fake daemon was given no transcript"}};
    }
    finishTranscription(socket, script.value(QStringLiteral("hold_while")).toString(), final);
}

void answer(QTcpSocket* socket, const Request& request, const QString& binaryPath) {
    logRequest(request);
    if (request.path == "/status") {
        reply(socket, "200 OK", statusBody(binaryPath));
    } else if (request.method == "POST" && request.path == "/docs/write") {
        writeDocument(socket, QJsonDocument::fromJson(request.body).object());
    } else if (request.method == "POST" && request.path == "/transcribe-file/stream") {
        transcribe(socket);
    } else {
        reply(socket, "404 Not Found", {{"error", "unknown path"}});
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString binaryPath =
        QDir::cleanPath(QFileInfo(QString::fromLocal8Bit(argv[0])).absoluteFilePath());

    if (env("FAKE_DAEMON_IGNORE_SIGTERM") == QLatin1String("1")) {
        std::signal(SIGTERM, SIG_IGN);
    }

    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    say(stdout, QStringLiteral("fake daemon started (pid %1) with arguments: %2")
                    .arg(::getpid())
                    .arg(arguments.join(QLatin1Char(' '))));
    for (const char* name : {"MNEMORA_BUNDLE_ID", "MNEMORA_APP_NAME", "MN_CONFIG_DIR"}) {
        say(stdout, QStringLiteral("%1=%2").arg(
                        QLatin1String(name),
                        qEnvironmentVariableIsSet(name) ? env(name) : QStringLiteral("(unset)")));
    }
    say(stderr, QStringLiteral("fake daemon error stream"));
    for (int i = 1, count = envInt("FAKE_DAEMON_LOG_LINES", 0); i <= count; ++i) {
        say(stdout, QStringLiteral("log line %1").arg(i));
        say(stdout, QString());
    }

    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0)) {
        say(stderr, QStringLiteral("fake daemon could not listen"));
        return 1;
    }
    QList<QTcpSocket*> held; // the sockets a hung daemon never answers
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        while (QTcpSocket* socket = server.nextPendingConnection()) {
            auto buffer = std::make_shared<QByteArray>();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [&, socket, buffer] {
                *buffer += socket->readAll();
                const std::optional<Request> request = parseRequest(*buffer);
                if (!request) {
                    return;
                }
                buffer->clear();
                const QString hangFile = env("FAKE_DAEMON_HANG_FILE");
                if (!hangFile.isEmpty() && QFileInfo::exists(hangFile)) {
                    held << socket;
                    return;
                }
                const int delay = envInt("FAKE_DAEMON_STATUS_DELAY_MS", 0);
                if (delay <= 0) {
                    answer(socket, *request, binaryPath);
                    return;
                }
                QTimer::singleShot(delay, socket,
                                   [&, socket, request] { answer(socket, *request, binaryPath); });
            });
            QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });

    QString portFile = env("FAKE_DAEMON_PORT_FILE");
    if (portFile.isEmpty() && !configuredVault().isEmpty()) {
        portFile = vaultPortFile(configuredVault());
    }
    const int portDelay = envInt("FAKE_DAEMON_PORT_DELAY_MS", 0);
    if (!portFile.isEmpty() && portDelay >= 0) {
        QTimer::singleShot(portDelay, &app, [&] {
            QDir().mkpath(QFileInfo(portFile).absolutePath());
            QSaveFile file(portFile); // never seen half-written
            if (file.open(QIODevice::WriteOnly)) {
                file.write(QByteArray::number(server.serverPort()) + '\n');
                file.commit();
            }
            say(stdout, QStringLiteral("listening on port %1").arg(server.serverPort()));
        });
    }

    const int exitAfter = envInt("FAKE_DAEMON_EXIT_AFTER_MS", -1);
    if (exitAfter >= 0) {
        const int exitStatus = envInt("FAKE_DAEMON_EXIT_STATUS", 0);
        QTimer::singleShot(exitAfter, &app, [exitStatus] {
            say(stdout, QStringLiteral("exiting with status %1").arg(exitStatus));
            QCoreApplication::exit(exitStatus);
        });
    }
    return QCoreApplication::exec();
}

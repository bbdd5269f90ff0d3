// A stand-in for the daemon, for supervision tests: a real process that speaks the daemon's
// `GET /status` on 127.0.0.1 and publishes its port the way the daemon does. Everything it does
// differently is chosen by the environment, so a supervisor can spawn it unchanged:
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
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QSaveFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <csignal>
#include <cstdio>
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

void answer(QTcpSocket* socket, const QByteArray& requestLine, const QString& binaryPath) {
    const QList<QByteArray> parts = requestLine.split(' ');
    const QByteArray path = parts.value(1);
    QByteArray status = "200 OK";
    QByteArray body;
    if (path == "/status") {
        body = QJsonDocument(statusBody(binaryPath)).toJson(QJsonDocument::Compact);
    } else {
        status = "404 Not Found";
        body = R"({"error":"unknown path"})";
    }
    socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: " +
                  QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
    socket->flush();
    socket->disconnectFromHost();
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
                if (!buffer->contains("\r\n\r\n")) {
                    return;
                }
                const QString hangFile = env("FAKE_DAEMON_HANG_FILE");
                if (!hangFile.isEmpty() && QFileInfo::exists(hangFile)) {
                    held << socket;
                    return;
                }
                const QByteArray requestLine = buffer->left(buffer->indexOf("\r\n"));
                const int delay = envInt("FAKE_DAEMON_STATUS_DELAY_MS", 0);
                if (delay <= 0) {
                    answer(socket, requestLine, binaryPath);
                    return;
                }
                QTimer::singleShot(delay, socket, [&, socket, requestLine] {
                    answer(socket, requestLine, binaryPath);
                });
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

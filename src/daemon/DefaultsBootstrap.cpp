#include "daemon/DefaultsBootstrap.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/ConfigService.h"
#include "app/PortFile.h"
#include "daemon/DaemonEndpoints.h"
#include "platform/SystemInfo.h"

namespace mnemora {

Q_LOGGING_CATEGORY(lcDefaultsBootstrap, "ai.mnemora.DefaultsBootstrap")

namespace DefaultsBootstrap {

namespace {

void log(const QString& line) {
    qCInfo(lcDefaultsBootstrap).noquote() << line;
}

} // namespace

QCoro::Task<Outcome> run(QPointer<ConfigService> config) {
    if (!config) {
        co_return Outcome::requestFailed;
    }
    config->load();
    const QStringList completed = config->completedMigrations();
    if (completed.contains(QLatin1String(kMigrationMarker))) {
        log(QStringLiteral("First-run defaults already applied"));
        co_return Outcome::alreadyApplied;
    }

    const qint64 ramGb = static_cast<qint64>(SystemInfo::physicalMemoryBytes() >> 30);
    const QString arch = SystemInfo::machineArchitecture();
    log(QStringLiteral("Bootstrapping defaults for %1 GB / %2").arg(ramGb).arg(arch));

    // The port file beside the configuration, not the cache folder's.
    const std::optional<int> port =
        PortFile::read(PortFile::pathIn(QFileInfo(config->filePath()).absolutePath()));
    if (!port) {
        log(QStringLiteral("Daemon port file unreadable — skipping defaults bootstrap"));
        co_return Outcome::portUnreadable;
    }

    const QByteArray body = QJsonDocument(QJsonObject{{QStringLiteral("ram_gb"), ramGb},
                                                      {QStringLiteral("arch"), arch}})
                                .toJson(QJsonDocument::Compact);
    QCoro::Task<HttpReply> asking =
        DaemonEndpoints::request(DaemonHttp::baseUrl(port), "POST",
                                 QStringLiteral("defaults/recommend"), body, "application/json");
    const HttpReply reply = co_await asking;
    if (reply.transportError) {
        log(QStringLiteral("Failed to apply first-run defaults: ") + *reply.transportError);
        co_return Outcome::requestFailed;
    }
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(reply.body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        log(QStringLiteral("Failed to apply first-run defaults: ") + parseError.errorString());
        co_return Outcome::requestFailed;
    }
    if (reply.httpStatus != 200 || !document.isObject()) {
        log(QStringLiteral("Daemon /defaults/recommend returned non-200"));
        co_return Outcome::rejected;
    }
    if (!config) {
        co_return Outcome::writeFailed;
    }

    const QJsonObject recommended = document.object();
    ConfigService::Updates updates;
    for (auto it = recommended.begin(); it != recommended.end(); ++it) {
        updates.insert(it.key(), it.value());
    }
    QJsonArray markers = config->config().value(QLatin1String("completed_migrations")).toArray();
    markers.append(QLatin1String(kMigrationMarker));
    updates.insert(QStringLiteral("completed_migrations"), QJsonValue(markers));
    if (!config->write(updates)) {
        log(QStringLiteral("Failed to apply first-run defaults: ") + config->lastError());
        co_return Outcome::writeFailed;
    }
    log(QStringLiteral("Applied first-run defaults: ") +
        QString::fromUtf8(document.toJson(QJsonDocument::Compact)));
    co_return Outcome::applied;
}

} // namespace DefaultsBootstrap

} // namespace mnemora

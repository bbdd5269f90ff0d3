#include "daemon/SupervisionRules.h"

#include "app/JsonRead.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/BundleInfo.h"

namespace mnemora::SupervisionRules {

namespace {

bool isExecutableFile(const QString& path) {
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

// Decodes an optional string key strictly: absent or null gives none, another type fails.
bool optionalString(const QJsonObject& object, const char* key, std::optional<QString>& out) {
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined() || value.isNull()) {
        out.reset();
        return true;
    }
    if (!value.isString()) {
        return false;
    }
    out = value.toString();
    return true;
}

// Two names of one file: equal once standardised, or once links are resolved.
bool sameFile(const QString& first, const QString& second) {
    if (standardisedPath(first) == standardisedPath(second)) {
        return true;
    }
    const QString canonical = QFileInfo(first).canonicalFilePath();
    return !canonical.isEmpty() && canonical == QFileInfo(second).canonicalFilePath();
}

} // namespace

std::optional<DaemonStatusResponse> decodeStatus(const QByteArray& body) {
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    DaemonStatusResponse response;
    const std::optional<int> pid = JsonRead::int32(object.value(QLatin1String("pid")));
    if (!pid) {
        return std::nullopt;
    }
    response.pid = *pid;
    if (!optionalString(object, "version", response.version) ||
        !optionalString(object, "binary_path", response.binaryPath) ||
        !optionalString(object, "vault_path", response.vaultPath)) {
        return std::nullopt;
    }
    const QJsonValue mtime = object.value(QLatin1String("binary_mtime"));
    if (!mtime.isUndefined() && !mtime.isNull()) {
        response.binaryMtime = JsonRead::integer(mtime);
        if (!response.binaryMtime) {
            return std::nullopt;
        }
    }
    return response;
}

std::optional<QString> findExecutable(const QString& folder, const QStringList& names) {
    if (folder.isEmpty()) {
        return std::nullopt;
    }
    for (const QString& name : names) {
        const QString candidate = folder + QLatin1Char('/') + name;
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::optional<QString> resolveBinary(const QString& bundleFolder, const QStringList& names,
                                     const QString& pathVariable) {
    if (auto inApp = findExecutable(bundleFolder, names)) {
        return inApp;
    }

    if (!bundleFolder.isEmpty()) {
        QDir dir(QFileInfo(standardisedPath(bundleFolder)).absolutePath());
        for (int level = 0; level < 8; ++level) {
            if (QFileInfo::exists(dir.filePath(QStringLiteral(".git")))) {
                const QString root = dir.absolutePath();
                for (const QString& name : names) {
                    for (const char* profile : {"release", "debug"}) {
                        const QString candidate = root + QStringLiteral("/daemon/target/") +
                                                  QLatin1String(profile) + QLatin1Char('/') + name;
                        if (isExecutableFile(candidate)) {
                            return candidate;
                        }
                    }
                }
                break;
            }
            if (dir.isRoot() || !dir.cdUp()) {
                break;
            }
        }
    }

    for (const QString& folder : pathVariable.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        if (auto found = findExecutable(folder, names)) {
            return found;
        }
    }
    return std::nullopt;
}

QString standardisedPath(const QString& path) {
    return QDir::cleanPath(QDir::isAbsolutePath(path) ? path
                                                      : QDir::current().absoluteFilePath(path));
}

bool servesExpectedVault(const DaemonStatusResponse& response,
                         const std::optional<QString>& expectedVault) {
    if (!response.vaultPath || !expectedVault) {
        return true;
    }
    return standardisedPath(*response.vaultPath) == standardisedPath(*expectedVault);
}

BinaryVerdict compareBinary(const std::optional<QString>& inAppBinary,
                            const std::optional<QDateTime>& inAppModified,
                            const DaemonStatusResponse& response) {
    if (!inAppBinary) {
        return BinaryVerdict::unknown;
    }
    if (response.binaryPath &&
        standardisedPath(*response.binaryPath) != standardisedPath(*inAppBinary)) {
        return BinaryVerdict::stale;
    }
    if (!inAppModified || !inAppModified->isValid() || !response.binaryMtime) {
        return BinaryVerdict::unknown;
    }
    const qint64 reportedMs = (*response.binaryMtime + 1) * 1000;
    return reportedMs < inAppModified->toMSecsSinceEpoch() ? BinaryVerdict::stale
                                                           : BinaryVerdict::current;
}

bool comesFromBundle(const std::optional<QString>& binaryPath) {
    if (!binaryPath || binaryPath->isEmpty()) {
        return false;
    }
    return BundleInfo::isBundleFolder(QFileInfo(*binaryPath).absolutePath());
}

bool isOwnVaultDaemon(const ProcessFacts& process, const QStringList& names,
                      const QHash<QString, QString>& spawnEnvironment) {
    if (!process.executable || !process.environment ||
        !names.contains(QFileInfo(*process.executable).fileName()) ||
        !comesFromBundle(process.executable)) {
        return false;
    }
    for (const char* variable : vaultIdentityVariables) {
        const QString name = QLatin1String(variable);
        if (process.environment->contains(name) != spawnEnvironment.contains(name) ||
            process.environment->value(name) != spawnEnvironment.value(name)) {
            return false;
        }
    }
    return true;
}

bool runsReportingDaemon(const std::optional<QString>& executable,
                         const DaemonStatusResponse& response, const QStringList& names) {
    if (!executable) {
        return false;
    }
    if (response.binaryPath) {
        return sameFile(*executable, *response.binaryPath);
    }
    return names.contains(QFileInfo(*executable).fileName());
}

QString logTail(const QByteArray& logBytes) {
    const QString empty = QStringLiteral("(log empty)");
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(logBytes);
    if (decoder.hasError()) {
        return empty;
    }
    QStringList lines;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        if (!line.trimmed().isEmpty()) {
            lines << line;
        }
    }
    if (lines.isEmpty()) {
        return empty;
    }
    return lines.mid(std::max<qsizetype>(0, lines.size() - 30)).join(QLatin1Char('\n'));
}

WatchdogVerdict evaluate(const WatchdogFacts& facts, const DaemonStatus& status,
                         WatchdogCounters& counters, TimePoint now) {
    using Kind = DaemonMode::Kind;
    const auto standDown = [&counters] {
        counters = {};
        return WatchdogVerdict{};
    };

    // The pause ends on time whatever happened since, even a restart by the user.
    if (facts.crashLoopPausedAt && now - *facts.crashLoopPausedAt >= crashLoopPause) {
        counters = {};
        return {QStringLiteral("auto-restart was paused for crash-looping 20 min ago — trying "
                               "once more"),
                true};
    }
    // Nothing to watch, or someone is already acting; a paused crash loop sits here as `failed`.
    // A child still without its port after the start time-out is not waited for here: it is
    // counted below like a wedged listener, so that one that never writes its port is replaced.
    if (facts.mode.is(Kind::failed) || facts.mode.is(Kind::notStarted) ||
        facts.mode.is(Kind::attachedExternal) || facts.respawnInFlight || facts.intentionalStop) {
        return standDown();
    }
    if (facts.mode.is(Kind::spawnedChild) && facts.childRunning == false) {
        return {QStringLiteral("daemon process not running (watchdog backstop)"), false};
    }
    if (facts.mode.is(Kind::adopted) && !facts.pidAlive) {
        return {QStringLiteral("adopted daemon (pid %1) is gone").arg(facts.mode.pid), false};
    }
    if (status.connection.is(DaemonStatus::Connection::Kind::disconnected)) {
        ++counters.unreachable;
        if (counters.unreachable < unreachablePassLimit) {
            counters.stale = 0;
            return {};
        }
        return {QStringLiteral("daemon /status unreachable for ~%1s while process alive (wedged "
                               "HTTP listener)")
                    .arg(counters.unreachable * 5),
                false};
    }
    counters.unreachable = 0;
    // A long transcription legitimately stops the heartbeat, and an idle daemon has nothing to
    // be late with.
    if (!status.connection.is(DaemonStatus::Connection::Kind::connected) ||
        !status.heartbeatAgeSecs || *status.heartbeatAgeSecs <= staleHeartbeatSecs ||
        status.pendingItems < 1 || status.transcriptionActive) {
        counters.stale = 0;
        return {};
    }
    ++counters.stale;
    if (counters.stale < stalePassLimit) {
        return {};
    }
    return {QStringLiteral("daemon wedged — heartbeat stale (%1s) with %2 pending and no active "
                           "transcription")
                .arg(*status.heartbeatAgeSecs)
                .arg(status.pendingItems),
            false};
}

RespawnPlan planRespawn(const QList<TimePoint>& history, TimePoint now) {
    RespawnPlan plan;
    for (const TimePoint& date : history) {
        if (now - date < respawnWindow) {
            plan.history << date;
        }
    }
    if (plan.history.size() >= respawnBudget) {
        plan.budgetSpent = true;
        return plan;
    }
    const int n = static_cast<int>(plan.history.size());
    plan.attempt = n + 1;
    plan.backoffSeconds = std::min(1 << n, 8);
    plan.history << now;
    return plan;
}

} // namespace mnemora::SupervisionRules

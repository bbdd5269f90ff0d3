#include "daemon/ProcessingScreen.h"

#include <array>

namespace mnemora::ProcessingScreen {

namespace {

bool containsAny(const QString& text, std::initializer_list<const char*> needles) {
    for (const char* needle : needles) {
        if (text.contains(QLatin1String(needle))) {
            return true;
        }
    }
    return false;
}

BannerAction restartDaemon() {
    return {QStringLiteral("Restart daemon"), QStringLiteral("arrow.clockwise"),
            BannerAction::Perform::restartDaemon};
}

} // namespace

SkipCategory skipCategory(const QString& reason) {
    const QString lower = reason.toLower();
    if (containsAny(lower, {"ollama not available"})) {
        return SkipCategory::ollamaDown;
    }
    if (containsAny(lower, {"still downloading"})) {
        return SkipCategory::modelDownloading;
    }
    if (containsAny(lower, {"failed to fetch", "asset not found"})) {
        return SkipCategory::icloudFetchFail;
    }
    if (containsAny(lower, {"no longer pending", "locked", "preempted"})) {
        return SkipCategory::internalLock;
    }
    return SkipCategory::other;
}

std::optional<Banner> banner(const QList<Completion>& recent, const QString& vlmBackend,
                             const QString& vlmModel) {
    std::array<int, 5> counts{};
    for (const Completion& completion : recent) {
        if (completion.outcome == QLatin1String("skipped")) {
            ++counts[static_cast<size_t>(skipCategory(completion.reason.value_or(QString())))];
        }
    }
    size_t largest = 0;
    for (size_t i = 1; i < counts.size(); ++i) {
        if (counts[i] > counts[largest]) {
            largest = i;
        }
    }
    const int n = counts[largest];
    if (n == 0) {
        return std::nullopt;
    }
    const auto category = static_cast<SkipCategory>(largest);
    switch (category) {
    case SkipCategory::ollamaDown:
        return Banner{category, n, QStringLiteral("Ollama sidecar isn't running"),
                      QStringLiteral("%1 recent VLM attempts skipped because :21434 didn't "
                                     "answer. Restart the daemon to respawn the bundled sidecar.")
                          .arg(n),
                      restartDaemon()};
    case SkipCategory::modelDownloading:
        return Banner{category, n, QStringLiteral("VLM model isn't downloaded yet"),
                      QStringLiteral("%1 attempts skipped because %2 doesn't have %3 locally. "
                                     "Nothing downloads it automatically until you say so.")
                          .arg(n)
                          .arg(vlmBackend, vlmModel),
                      BannerAction{QStringLiteral("Download model"),
                                   QStringLiteral("arrow.down.circle"),
                                   BannerAction::Perform::downloadModel}};
    case SkipCategory::icloudFetchFail:
        return Banner{
            category, n, QStringLiteral("Photos can't fetch originals from iCloud"),
            QStringLiteral("%1 photos couldn't be fetched from PhotoKit. Most often this is "
                           "because the markdown was created on a different Mac and the local "
                           "PHAsset UUID doesn't exist on this machine, so there is no original "
                           "to fetch. Disable VLM processing on this Mac to stop the retries.")
                .arg(n),
            BannerAction{QStringLiteral("Disable VLM processing"), QStringLiteral("eye.slash"),
                         BannerAction::Perform::disableVlmProcessing}};
    case SkipCategory::internalLock:
        return Banner{category, n, QStringLiteral("Assets stuck on a retry lock"),
                      QStringLiteral("%1 items hit an internal retry lock. Restart the daemon to "
                                     "clear.")
                          .arg(n),
                      restartDaemon()};
    case SkipCategory::other:
        break;
    }
    return Banner{category, n, QStringLiteral("Many items are being skipped"),
                  QStringLiteral("%1 items skipped. Check recent rows below for reasons, or "
                                 "disable the affected pipeline.")
                      .arg(n),
                  std::nullopt};
}

std::optional<QString> swiftLmNote(const std::optional<VlmPullProgress>& pull) {
    if (!pull || pull->kind != QLatin1String("vlm-swiftlm") || pull->total > 0 ||
        pull->percentage > 0) {
        return std::nullopt;
    }
    return QStringLiteral("Downloading/loading %1 via SwiftLM — no live progress available for "
                          "this backend; this can take a few minutes.")
        .arg(pull->model);
}

QString daemonRowText(const DaemonMode& mode) {
    switch (mode.kind) {
    case DaemonMode::Kind::spawnedChild:
        return QStringLiteral("Spawned by this app (pid %1) — supervised by the watchdog, which "
                              "restarts it if it stops answering.")
            .arg(mode.pid);
    case DaemonMode::Kind::adopted:
        return QStringLiteral("Adopted an orphaned daemon from a prior launch (pid %1) — "
                              "supervised like one this app started.")
            .arg(mode.pid);
    case DaemonMode::Kind::attachedExternal:
        return QStringLiteral("Attached to an externally-managed daemon");
    case DaemonMode::Kind::failed:
        return QStringLiteral("The daemon could not be started: %1").arg(mode.reason);
    case DaemonMode::Kind::notStarted:
        break;
    }
    return QStringLiteral("The daemon is not running.");
}

std::optional<QString> daemonControlsDisabledNote(const DaemonMode& mode) {
    if (mode.is(DaemonMode::Kind::attachedExternal)) {
        return QStringLiteral("Daemon is externally managed.");
    }
    return std::nullopt;
}

QString maintenanceFailure(Maintenance job, const QString& error) {
    switch (job) {
    case Maintenance::retry:
        return QStringLiteral("Retry request failed: ") + error;
    case Maintenance::entityGeneration:
        return QStringLiteral("Entity generation request failed: ") + error;
    case Maintenance::indexRebuild:
        return QStringLiteral("Index rebuild request failed: ") + error;
    case Maintenance::rescan:
        break;
    }
    return QStringLiteral("Re-scan request failed: ") + error;
}

} // namespace mnemora::ProcessingScreen

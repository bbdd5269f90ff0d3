#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "daemon/DaemonMode.h"
#include "daemon/GpuSchedulerSnapshot.h"
#include "daemon/VlmPullProgress.h"

namespace mnemora {

// What the Processing screen derives from the scheduler snapshot, the model pull and the
// daemon's mode, with its words. Pure: the screen model polls and calls these.
namespace ProcessingScreen {

// Why a completion was skipped, from its reason.
enum class SkipCategory { ollamaDown, modelDownloading, icloudFetchFail, internalLock, other };

SkipCategory skipCategory(const QString& reason);

// What a banner's button does; the screen model carries it out.
struct BannerAction {
    enum class Perform { restartDaemon, downloadModel, disableVlmProcessing };

    QString title;
    QString symbol;
    Perform perform;

    bool operator==(const BannerAction&) const = default;
};

struct Banner {
    SkipCategory category;
    int count = 0;
    QString title;
    QString text;
    std::optional<BannerAction> action;

    bool operator==(const Banner&) const = default;
};

// The one banner over the lists: the category with most skipped completions among `recent`,
// the earlier category on a tie. None without skipped completions. `vlmBackend` and `vlmModel`
// name what a missing model would be fetched with.
std::optional<Banner> banner(const QList<Completion>& recent, const QString& vlmBackend,
                             const QString& vlmModel);

// The note under a SwiftLM pull that reports no numbers; none for any other pull.
std::optional<QString> swiftLmNote(const std::optional<VlmPullProgress>& pull);

// The daemon row's line for how the daemon is held.
QString daemonRowText(const DaemonMode& mode);
// Why the daemon's buttons are off, when they are.
std::optional<QString> daemonControlsDisabledNote(const DaemonMode& mode);

enum class Maintenance { retry, entityGeneration, indexRebuild, rescan };
// The words of a maintenance button whose request failed with `error`.
QString maintenanceFailure(Maintenance job, const QString& error);

} // namespace ProcessingScreen

} // namespace mnemora

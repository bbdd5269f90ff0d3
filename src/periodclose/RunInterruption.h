#pragma once

#include <QList>
#include <QSet>
#include <QString>

#include <optional>

#include "daemon/CloseRound.h"

namespace mnemora {

// A close cut off mid-work: the index still says "running", but no agent session is alive to do
// the work. Only the user can pick it back up, so these runs are told to them.
namespace RunInterruption {

struct Run {
    QString period;
    std::optional<QString> status;
    std::optional<QString> activity;

    static Run from(const CloseRunSummary& summary);

    bool operator==(const Run&) const = default;
};

struct Episode {
    QString period;
    std::optional<QString> activity;

    bool operator==(const Episode&) const = default;
};

// With a session alive nothing is cut off; otherwise every run whose status is exactly "running",
// oldest period first.
QList<Episode> episodes(const QList<Run>& runs, bool sessionAlive);

// The episodes whose period is not in `announced`, oldest period first.
QList<Episode> unannounced(const QList<Episode>& episodes, const QSet<QString>& announced);

} // namespace RunInterruption

} // namespace mnemora

#include "periodclose/RunInterruption.h"

#include <algorithm>

namespace mnemora::RunInterruption {

namespace {

QList<Episode> byPeriod(QList<Episode> episodes) {
    std::stable_sort(episodes.begin(), episodes.end(),
                     [](const Episode& a, const Episode& b) { return a.period < b.period; });
    return episodes;
}

} // namespace

Run Run::from(const CloseRunSummary& summary) {
    return {summary.period, summary.status, summary.currentActivity};
}

QList<Episode> episodes(const QList<Run>& runs, bool sessionAlive) {
    if (sessionAlive) {
        return {};
    }
    QList<Episode> result;
    for (const Run& run : runs) {
        if (run.status == QLatin1String("running")) {
            result.append({run.period, run.activity});
        }
    }
    return byPeriod(std::move(result));
}

QList<Episode> unannounced(const QList<Episode>& episodes, const QSet<QString>& announced) {
    QList<Episode> result;
    for (const Episode& episode : episodes) {
        if (!announced.contains(episode.period)) {
            result.append(episode);
        }
    }
    return byPeriod(std::move(result));
}

} // namespace mnemora::RunInterruption

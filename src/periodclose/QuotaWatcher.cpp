#include "periodclose/QuotaWatcher.h"

#include <algorithm>

#include "app/Brand.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "periodclose/PeriodWord.h"
#include "platform/NotificationService.h"

namespace mnemora {

std::optional<QuotaWatcher::Attention>
QuotaWatcher::attentionFor(const std::optional<QuotaPause::Episode>& pause,
                           const std::optional<RunInterruption::Episode>& interrupted,
                           const QDateTime& now, const QLocale& locale, const QTimeZone& zone) {
    if (pause) {
        return Attention{QuotaPause::headline(pause->resetsAt, now, locale, zone),
                         QStringLiteral("Nothing for you to do — it resumes by itself."),
                         QStringLiteral("hourglass"), false, std::nullopt};
    }
    if (interrupted) {
        return Attention{
            PeriodWord::label(interrupted->period, locale) +
                QStringLiteral(" — interrupted, press Resume"),
            QStringLiteral("It stopped where it was — press Resume to pick it back up."),
            QStringLiteral("bolt.slash"), true, std::nullopt};
    }
    return std::nullopt;
}

QuotaWatcher::QuotaWatcher(NotificationService* notifications, QObject* parent)
    : QObject(parent)
    , notifications_(notifications)
    , productName_(appDisplayName()) {}

QuotaWatcher::~QuotaWatcher() = default;

std::optional<QuotaWatcher::Attention> QuotaWatcher::attention() const {
    return attentionFor(pause_, interrupted_, now());
}

QString QuotaWatcher::attentionTitle() const {
    const auto item = attention();
    return item ? item->title : QString();
}

QString QuotaWatcher::attentionDetail() const {
    const auto item = attention();
    return item ? item->detail : QString();
}

QString QuotaWatcher::attentionIcon() const {
    const auto item = attention();
    return item ? item->icon : QString();
}

bool QuotaWatcher::attentionNeedsYou() const {
    const auto item = attention();
    return item && item->needsYou;
}

void QuotaWatcher::setDaemon(DaemonService* daemon) {
    daemon_ = daemon;
}

void QuotaWatcher::start(DaemonService* daemon, std::chrono::milliseconds interval) {
    stop();
    setDaemon(daemon);
    QPointer<QuotaWatcher> self(this);
    CancellableLoop::start(pollTask_, interval, CancellableLoop::FirstPass::atOnce,
                           [self] { return tickFor(self); });
}

void QuotaWatcher::stop() {
    pollTask_.cancel();
}

QCoro::Task<> QuotaWatcher::tickFor(QPointer<QuotaWatcher> self) {
    if (!self) {
        co_return;
    }
    QCoro::Task<> ticking = self->tick();
    co_await ticking;
}

QCoro::Task<> QuotaWatcher::tick() {
    QPointer<QuotaWatcher> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetchingSessions =
        DaemonEndpoints::dreamerSessions(daemon_);
    const std::optional<DreamerSessions> sessions = co_await fetchingSessions;
    if (!self || !sessions) {
        co_return;
    }
    takeLimits(*sessions);
    QCoro::Task<std::optional<QList<CloseRunSummary>>> fetchingRuns =
        DaemonEndpoints::closeRuns(daemon_);
    const std::optional<QList<CloseRunSummary>> runs = co_await fetchingRuns;
    if (!self || !runs) {
        co_return;
    }
    takeRuns(*runs, !sessions->sessions.isEmpty());
}

void QuotaWatcher::takeLimits(const DreamerSessions& sessions) {
    QList<QuotaPause::Episode> episodes = QuotaPause::episodes(sessions.limits);
    if (auto shown = QuotaPause::shown(episodes); shown != pause_) {
        pause_ = std::move(shown);
        emit pauseChanged();
        emit attentionChanged();
    }
    std::sort(episodes.begin(), episodes.end(),
              [](const auto& a, const auto& b) { return a.key() < b.key(); });
    // Keys stay announced after their episode ends, so one that comes back unchanged is quiet.
    for (const QuotaPause::Episode& episode : episodes) {
        const QString key = episode.key();
        if (announced_.contains(key)) {
            continue;
        }
        announced_.insert(key);
        if (notifications_) {
            notifications_->post(
                QStringLiteral("quota-") + key, QStringLiteral("Waiting for AI capacity"),
                QuotaPause::notificationBody(episode.resetsAt, now(), productName_));
        }
    }
}

void QuotaWatcher::takeRuns(const QList<CloseRunSummary>& runs, bool sessionAlive) {
    QList<RunInterruption::Run> values;
    for (const CloseRunSummary& run : runs) {
        values.append(RunInterruption::Run::from(run));
    }
    const QList<RunInterruption::Episode> episodes =
        RunInterruption::episodes(values, sessionAlive);
    std::optional<RunInterruption::Episode> first =
        episodes.isEmpty() ? std::nullopt : std::optional(episodes.first());
    if (first != interrupted_) {
        interrupted_ = std::move(first);
        emit interruptedChanged();
        emit attentionChanged();
    }
    for (const auto& episode : RunInterruption::unannounced(episodes, announcedInterruptions_)) {
        announcedInterruptions_.insert(episode.period);
        if (notifications_) {
            notifications_->post(QStringLiteral("interrupted-") + episode.period,
                                 QStringLiteral("Interrupted"),
                                 productName_ + QStringLiteral(" was cut off mid-work — ") +
                                     PeriodWord::label(episode.period) +
                                     QStringLiteral(" is waiting for you to press Resume."));
        }
    }
}

QDateTime QuotaWatcher::now() const {
    return clock_ ? clock_() : QDateTime::currentDateTimeUtc();
}

} // namespace mnemora

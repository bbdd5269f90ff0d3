#pragma once

#include <QDateTime>
#include <QLocale>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>

#include "app/CancellableLoop.h"
#include "periodclose/QuotaPause.h"
#include "periodclose/RunInterruption.h"

namespace mnemora {

class DaemonService;
class NotificationService;

// Watches the daemon for sessions stopped by the usage limit and for closes cut off mid-work, tells
// the user once about each by a notification, and keeps the one item the status area shows. It
// never acts on a run: resuming is the user's press.
class QuotaWatcher : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasAttention READ hasAttention NOTIFY attentionChanged)
    Q_PROPERTY(QString attentionTitle READ attentionTitle NOTIFY attentionChanged)
    Q_PROPERTY(QString attentionDetail READ attentionDetail NOTIFY attentionChanged)
    Q_PROPERTY(QString attentionIcon READ attentionIcon NOTIFY attentionChanged)
    Q_PROPERTY(bool attentionNeedsYou READ attentionNeedsYou NOTIFY attentionChanged)

public:
    static constexpr std::chrono::milliseconds defaultInterval{30'000};

    // What the status area shows while something waits.
    struct Attention {
        QString title;
        QString detail;
        QString icon;
        bool needsYou = false;
        std::optional<QString> helpTopic;

        bool operator==(const Attention&) const = default;
    };

    // A pause hides an interruption while it lasts: the run cannot go on before the limit resets
    // anyway.
    static std::optional<Attention>
    attentionFor(const std::optional<QuotaPause::Episode>& pause,
                 const std::optional<RunInterruption::Episode>& interrupted, const QDateTime& now,
                 const QLocale& locale = QLocale(),
                 const QTimeZone& zone = QTimeZone::systemTimeZone());

    // `notifications` must outlive the watcher.
    explicit QuotaWatcher(NotificationService* notifications, QObject* parent = nullptr);
    ~QuotaWatcher() override;

    const std::optional<QuotaPause::Episode>& pause() const { return pause_; }
    const std::optional<RunInterruption::Episode>& interrupted() const { return interrupted_; }
    const QSet<QString>& announced() const { return announced_; }
    const QSet<QString>& announcedInterruptions() const { return announcedInterruptions_; }

    // The item for now, or none.
    std::optional<Attention> attention() const;
    bool hasAttention() const { return attention().has_value(); }
    QString attentionTitle() const;
    QString attentionDetail() const;
    QString attentionIcon() const;
    bool attentionNeedsYou() const;

    // The name the notifications speak of; the application's display name unless set.
    void setProductName(QString name) { productName_ = std::move(name); }
    // Where "now" comes from; tests fix it.
    void setClock(std::function<QDateTime()> clock) { clock_ = std::move(clock); }

    // The daemon `tick` asks; `start` sets it too.
    void setDaemon(DaemonService* daemon);

    // Stops what ran before; the first tick runs at once, then one every `interval`.
    void start(DaemonService* daemon, std::chrono::milliseconds interval = defaultInterval);
    void stop();
    bool isRunning() const { return pollTask_.isActive(); }

    // One look at the daemon. A failed fetch leaves what was known in place.
    QCoro::Task<> tick();

signals:
    void pauseChanged();
    void interruptedChanged();
    void attentionChanged();

private:
    static QCoro::Task<> tickFor(QPointer<QuotaWatcher> self);
    void takeLimits(const DreamerSessions& sessions);
    void takeRuns(const QList<CloseRunSummary>& runs, bool sessionAlive);
    QDateTime now() const;

    NotificationService* notifications_;
    QPointer<DaemonService> daemon_;
    std::optional<QuotaPause::Episode> pause_;
    std::optional<RunInterruption::Episode> interrupted_;
    QSet<QString> announced_;
    QSet<QString> announcedInterruptions_;
    QString productName_;
    std::function<QDateTime()> clock_;
    CancellableTask pollTask_;
};

} // namespace mnemora

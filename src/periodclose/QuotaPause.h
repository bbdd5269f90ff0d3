#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QLocale>
#include <QString>
#include <QTimeZone>

#include <optional>

#include "daemon/DreamerSessions.h"

namespace mnemora {

// A session that hit the account's usage limit waits until the limit resets; these are the rules
// for telling the user so, without asking anything of them.
namespace QuotaPause {

// One session's stop at its limit. A new reset time for the same session is a new episode.
struct Episode {
    QString session;
    std::optional<QDateTime> resetsAt;

    // "{session}|{seconds since 1970}", or "{session}|unknown" without a reset time.
    QString key() const;

    bool operator==(const Episode&) const = default;
};

// One episode per limit, ordered by session name so that equal reset times always pick the
// same one.
QList<Episode> episodes(const QHash<QString, SessionLimit>& limits);

// The episode to show: the earliest reset, an unknown one counting as the far future; on a tie
// the first in `episodes`.
std::optional<Episode> shown(const QList<Episode>& episodes);

// "Paused until about {time}" while the reset lies ahead; the day is named unless it is `now`'s
// calendar day in `zone`.
QString headline(const std::optional<QDateTime>& resetsAt, const QDateTime& now,
                 const QLocale& locale = QLocale(),
                 const QTimeZone& zone = QTimeZone::systemTimeZone());

// The notification's words: when it resumes, and that nothing is asked of the user.
QString notificationBody(const std::optional<QDateTime>& resetsAt, const QDateTime& now,
                         const QString& productName, const QLocale& locale = QLocale(),
                         const QTimeZone& zone = QTimeZone::systemTimeZone());

// A date with the month abbreviated and no weekday ("Oct 23, 2026"), in `locale`'s order.
QString mediumDate(const QDate& date, const QLocale& locale = QLocale());

} // namespace QuotaPause

} // namespace mnemora

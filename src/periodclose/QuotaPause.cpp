#include "periodclose/QuotaPause.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace mnemora::QuotaPause {

namespace {

// A reset ahead of `now`, or none.
std::optional<QDateTime> ahead(const std::optional<QDateTime>& resetsAt, const QDateTime& now) {
    if (resetsAt && resetsAt->isValid() && *resetsAt > now) {
        return resetsAt;
    }
    return std::nullopt;
}

// A short time, with the date before it unless the reset falls on `now`'s calendar day.
template <typename DateText>
QString when(const QDateTime& resetsAt, const QDateTime& now, const QLocale& locale,
             const QTimeZone& zone, DateText dateText) {
    const QDateTime local = resetsAt.toTimeZone(zone);
    const QString time = locale.toString(local.time(), QLocale::ShortFormat);
    if (local.date() == now.toTimeZone(zone).date()) {
        return time;
    }
    return dateText(local.date()) + QLatin1Char(' ') + time;
}

} // namespace

QString Episode::key() const {
    const QString epoch = resetsAt && resetsAt->isValid()
                              ? QString::number(resetsAt->toSecsSinceEpoch())
                              : QStringLiteral("unknown");
    return session + QLatin1Char('|') + epoch;
}

QList<Episode> episodes(const QHash<QString, SessionLimit>& limits) {
    QList<Episode> result;
    for (auto it = limits.begin(); it != limits.end(); ++it) {
        result.append({it.key(), it.value().resetsAt});
    }
    std::sort(result.begin(), result.end(),
              [](const Episode& a, const Episode& b) { return a.session < b.session; });
    return result;
}

std::optional<Episode> shown(const QList<Episode>& episodes) {
    const auto resetOf = [](const Episode& episode) {
        return episode.resetsAt && episode.resetsAt->isValid()
                   ? episode.resetsAt->toMSecsSinceEpoch()
                   : std::numeric_limits<qint64>::max();
    };
    const auto earliest =
        std::min_element(episodes.begin(), episodes.end(),
                         [&](const auto& a, const auto& b) { return resetOf(a) < resetOf(b); });
    return earliest == episodes.end() ? std::nullopt : std::optional(*earliest);
}

QString headline(const std::optional<QDateTime>& resetsAt, const QDateTime& now,
                 const QLocale& locale, const QTimeZone& zone) {
    const auto reset = ahead(resetsAt, now);
    if (!reset) {
        return QStringLiteral("Paused — waiting for AI capacity");
    }
    const auto shortDate = [&](const QDate& date) {
        return locale.toString(date, QLocale::ShortFormat);
    };
    return QStringLiteral("Paused until about ") + when(*reset, now, locale, zone, shortDate);
}

QString notificationBody(const std::optional<QDateTime>& resetsAt, const QDateTime& now,
                         const QString& productName, const QLocale& locale, const QTimeZone& zone) {
    const auto reset = ahead(resetsAt, now);
    if (!reset) {
        return productName +
               QStringLiteral(" hit its usage limit and paused. It picks up by itself "
                              "once the limit resets — nothing for you to do.");
    }
    const auto medium = [&](const QDate& date) { return mediumDate(date, locale); };
    return productName +
           QStringLiteral(" hit its usage limit and paused. It resumes by itself around ") +
           when(*reset, now, locale, zone, medium) + QStringLiteral(" — nothing for you to do.");
}

QString mediumDate(const QDate& date, const QLocale& locale) {
    // Qt knows short and long dates only; the long one without its weekday and with the month
    // abbreviated is what users know as the medium form.
    static const QRegularExpression weekday(QStringLiteral("d{4}[^dMy]*"));
    QString format = locale.dateFormat(QLocale::LongFormat);
    format.remove(weekday);
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    return locale.toString(date, format.trimmed());
}

} // namespace mnemora::QuotaPause

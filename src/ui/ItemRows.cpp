#include "ui/ItemRows.h"

#include <QFileInfo>
#include <QLocale>
#include <QStringList>

namespace mnemora::ItemRows {

namespace {

std::optional<QString> nonBlank(const std::optional<QString>& text) {
    if (!text) {
        return std::nullopt;
    }
    const QString trimmed = text->trimmed();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }
    return trimmed.section(QLatin1Char('\n'), 0, 0);
}

QString place(const RegistryItem& item) {
    QStringList parts;
    if (const auto name = nonBlank(item.locationName)) {
        parts << *name;
    } else if (const auto town = nonBlank(item.locality)) {
        parts << *town;
    }
    if (const auto country = nonBlank(item.country)) {
        parts << *country;
    }
    return parts.join(QStringLiteral(", "));
}

QString count(qint64 n, const QString& one, const QString& many) {
    return QString::number(n) + QLatin1Char(' ') + (n == 1 ? one : many);
}

} // namespace

QString typeLabel(const QString& itemType) {
    if (itemType == QLatin1String("photo")) {
        return QStringLiteral("Photo");
    }
    if (itemType == QLatin1String("video")) {
        return QStringLiteral("Video");
    }
    if (itemType == QLatin1String("voice_memo")) {
        return QStringLiteral("Voice memo");
    }
    if (itemType == QLatin1String("time_entry")) {
        return QStringLiteral("Time entry");
    }
    return itemType;
}

QString typePluralLabel(const QString& itemType) {
    if (itemType == QLatin1String("time_entry")) {
        return QStringLiteral("Time entries");
    }
    return typeLabel(itemType) + QLatin1Char('s');
}

QString when(const QDateTime& time) {
    const QDateTime local = time.toLocalTime();
    const QLocale locale;
    // Seconds say nothing about when something was captured.
    QString timeFormat = locale.timeFormat(QLocale::ShortFormat);
    timeFormat.remove(QStringLiteral(":ss"));
    return locale.toString(local.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           locale.toString(local.time(), timeFormat);
}

QString title(const RegistryItem& item) {
    for (const std::optional<QString>& candidate :
         {item.title, item.caption, item.transcription, item.timeText}) {
        if (const auto text = nonBlank(candidate)) {
            return *text;
        }
    }
    return QFileInfo(item.filePath).completeBaseName();
}

QString subtitle(const RegistryItem& item) {
    QStringList parts;
    if (item.itemType) {
        parts << typeLabel(*item.itemType);
    }
    if (item.capturedAt) {
        parts << when(*item.capturedAt);
    }
    if (const QString where = place(item); !where.isEmpty()) {
        parts << where;
    }
    return parts.join(QStringLiteral(" · "));
}

QVariantMap row(const RegistryItem& item) {
    return {{QStringLiteral("title"), title(item)},
            {QStringLiteral("subtitle"), subtitle(item)},
            {QStringLiteral("path"), item.filePath}};
}

QString coverageTitle(const DatabaseService::SourceCoverageRow& source) {
    if (!source.sourceName.isEmpty()) {
        return source.sourceName;
    }
    if (!source.sourceType.isEmpty()) {
        return source.sourceType;
    }
    return QStringLiteral("Unnamed source");
}

QString coverageSummary(const DatabaseService::SourceCoverageRow& source) {
    QStringList parts{count(source.total, QStringLiteral("item"), QStringLiteral("items"))};
    const auto add = [&parts](qint64 n, const QString& one, const QString& many) {
        if (n > 0) {
            parts << count(n, one, many);
        }
    };
    add(source.photos, QStringLiteral("photo"), QStringLiteral("photos"));
    add(source.videos, QStringLiteral("video"), QStringLiteral("videos"));
    add(source.voiceMemos, QStringLiteral("voice memo"), QStringLiteral("voice memos"));
    add(source.timeEntries, QStringLiteral("time entry"), QStringLiteral("time entries"));
    add(source.withCaption, QStringLiteral("described"), QStringLiteral("described"));
    add(source.withTranscription, QStringLiteral("transcribed"), QStringLiteral("transcribed"));
    return parts.join(QStringLiteral(" · "));
}

} // namespace mnemora::ItemRows

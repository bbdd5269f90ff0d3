#include "PeriodFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QRegularExpression>

#include "FrontmatterFile.h"
#include "platform/AtomicFile.h"

namespace mnemora::refdaemon {

namespace {

using Keys = FrontmatterFile::Keys;

QVariant text(const Keys& keys, const char* key) {
    const QString value = keys.value(QLatin1String(key));
    return value.isEmpty() ? QVariant() : QVariant(value);
}

QVariant number(const Keys& keys, const char* key, bool integer) {
    bool ok = false;
    const QString value = keys.value(QLatin1String(key));
    if (integer) {
        const qlonglong parsed = value.toLongLong(&ok);
        return ok ? QVariant(parsed) : QVariant();
    }
    const double parsed = value.toDouble(&ok);
    return ok ? QVariant(parsed) : QVariant();
}

Keys keysOf(const QString& path) {
    const std::optional<QString> content = FrontmatterFile::read(path);
    return content ? FrontmatterFile::parse(*content) : Keys{};
}

QStringList folders(const QString& path) {
    return QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

Expected<void> editKeys(const QString& path, const Keys& keys, const QString& failureWords) {
    const std::optional<QString> content = FrontmatterFile::read(path);
    const std::optional<QString> edited =
        content ? FrontmatterFile::withKeys(*content, keys) : std::nullopt;
    if (!edited) {
        return fail(failureWords);
    }
    if (const auto error = writeFileAtomically(path, edited->toUtf8())) {
        return fail(failureWords + QStringLiteral(": ") + *error);
    }
    return {};
}

} // namespace

PeriodFolder::PeriodFolder(QString vaultPath)
    : vaultPath_(std::move(vaultPath)) {}

QString PeriodFolder::root() const {
    return vaultPath_ + QStringLiteral("/Notes/bookkeeping");
}

bool PeriodFolder::isPeriodName(const QString& name) {
    static const QRegularExpression form(QStringLiteral("^[0-9]{4}(-([0-9]{2}|Q[0-9]))?$"));
    return form.match(name).hasMatch();
}

QList<PeriodFolder::Run> PeriodFolder::allRuns() const {
    QList<Run> runs;
    const auto collect = [&runs](const QString& books, const QString& folder) {
        for (const QString& name : folders(folder)) {
            if (isPeriodName(name) &&
                QFileInfo::exists(folder + QLatin1Char('/') + name + QStringLiteral("/run.md"))) {
                runs.append({books, folder + QLatin1Char('/') + name});
            }
        }
    };
    collect(QString(), root());
    for (const QString& name : folders(root())) {
        if (!isPeriodName(name) && name != QLatin1String("books")) {
            collect(name, root() + QLatin1Char('/') + name);
        }
    }
    return runs;
}

IndexRows PeriodFolder::runRows() const {
    IndexRows result{"period_close_runs",
                     {"books", "period", "phase", "steps", "current_activity", "status",
                      "accountant", "started_at", "updated_at", "closed_via"},
                     {}};
    for (const Run& run : allRuns()) {
        const Keys keys = keysOf(run.folder + QStringLiteral("/run.md"));
        result.rows.append(
            {run.books, keys.value(QStringLiteral("period"), QFileInfo(run.folder).fileName()),
             text(keys, "phase"), text(keys, "steps"), text(keys, "current_activity"),
             text(keys, "status"), text(keys, "accountant"), text(keys, "started_at"),
             text(keys, "updated_at"), text(keys, "closed_via")});
    }
    return result;
}

IndexRows PeriodFolder::materialRows() const {
    static const char* const plain[] = {"date",          "vendor",     "currency",   "category",
                                        "receipt_path",  "staged_as",  "confidence", "status",
                                        "question_slug", "label",      "source",     "detail",
                                        "why",           "photo_uuid", "instrument", "allocation"};
    IndexRows result{"period_close_materials",
                     {"books", "period", "line_key", "kind", "sort_order", "amount"},
                     {}};
    for (const char* column : plain) {
        result.columns << QString::fromLatin1(column);
    }
    for (const Run& run : allRuns()) {
        const QString period = QFileInfo(run.folder).fileName();
        const QDir items(run.folder + QStringLiteral("/items"));
        for (const QFileInfo& file :
             items.entryInfoList({QStringLiteral("*.md")}, QDir::Files, QDir::Name)) {
            const Keys keys = keysOf(file.absoluteFilePath());
            QVariantList row{run.books,
                             period,
                             keys.value(QStringLiteral("line_key"), file.completeBaseName()),
                             text(keys, "kind"),
                             number(keys, "sort_order", true),
                             number(keys, "amount", false)};
            for (const char* column : plain) {
                row << text(keys, column);
            }
            result.rows.append(row);
        }
    }
    return result;
}

QJsonArray PeriodFolder::books() const {
    QJsonArray result;
    for (const QString& name : folders(root())) {
        if (isPeriodName(name) || name == QLatin1String("books")) {
            continue;
        }
        const Keys keys = keysOf(root() + QStringLiteral("/books/") + name + QStringLiteral(".md"));
        QJsonObject entry{{"slug", name}, {"name", keys.value(QStringLiteral("name"), name)}};
        if (keys.contains(QStringLiteral("recipient"))) {
            entry.insert(QStringLiteral("recipient"), keys.value(QStringLiteral("recipient")));
        }
        result.append(entry);
    }
    return result;
}

QJsonArray PeriodFolder::runs() const {
    QJsonArray result;
    for (const Run& run : allRuns()) {
        const Keys keys = keysOf(run.folder + QStringLiteral("/run.md"));
        result.append(
            QJsonObject{{"books", run.books},
                        {"period", QFileInfo(run.folder).fileName()},
                        {"status", keys.value(QStringLiteral("status"))},
                        {"current_activity", keys.value(QStringLiteral("current_activity"))}});
    }
    return result;
}

std::optional<QString> PeriodFolder::periodFolder(const QString& books,
                                                  const QString& period) const {
    if (!isPeriodName(period) || books.contains(QLatin1Char('/')) ||
        books.startsWith(QLatin1Char('.'))) {
        return std::nullopt;
    }
    const QString folder = root() + (books.isEmpty() ? QString() : QLatin1Char('/') + books) +
                           QLatin1Char('/') + period;
    return QFileInfo(folder + QStringLiteral("/run.md")).isFile() ? std::optional(folder)
                                                                  : std::nullopt;
}

Expected<void> PeriodFolder::editRun(const QString& books, const QString& period,
                                     const Keys& keys) const {
    const std::optional<QString> folder = periodFolder(books, period);
    if (!folder) {
        return fail(QStringLiteral("No run for period ") + period);
    }
    return editKeys(*folder + QStringLiteral("/run.md"), keys,
                    QStringLiteral("Could not edit the run file"));
}

Expected<void> PeriodFolder::setMaterialStatus(const QString& books, const QString& period,
                                               const QString& lineKey,
                                               const QString& status) const {
    const std::optional<QString> folder = periodFolder(books, period);
    if (!folder) {
        return fail(QStringLiteral("No run for period ") + period);
    }
    const QDir items(*folder + QStringLiteral("/items"));
    for (const QFileInfo& file : items.entryInfoList({QStringLiteral("*.md")}, QDir::Files)) {
        if (keysOf(file.absoluteFilePath())
                .value(QStringLiteral("line_key"), file.completeBaseName()) == lineKey) {
            return editKeys(file.absoluteFilePath(), {{QStringLiteral("status"), status}},
                            QStringLiteral("Could not edit the material file"));
        }
    }
    return fail(QStringLiteral("No material ") + lineKey + QStringLiteral(" in period ") + period);
}

Expected<void> PeriodFolder::closeRun(const QString& books, const QString& period,
                                      const QString& now) const {
    return editRun(books, period,
                   {{QStringLiteral("status"), QStringLiteral("closed")},
                    {QStringLiteral("phase"), QStringLiteral("closed")},
                    {QStringLiteral("closed_via"), QStringLiteral("app")},
                    {QStringLiteral("updated_at"), now}});
}

Expected<void> PeriodFolder::setRunStatus(const QString& books, const QString& period,
                                          const QString& status, const QString& activity,
                                          const QString& now) const {
    return editRun(books, period,
                   {{QStringLiteral("status"), status},
                    {QStringLiteral("current_activity"), activity},
                    {QStringLiteral("updated_at"), now}});
}

Expected<void> PeriodFolder::addCorrespondence(const QString& books, const QString& period,
                                               const QString& kind, const QString& text,
                                               const QString& now) const {
    const std::optional<QString> folder = periodFolder(books, period);
    if (!folder) {
        return fail(QStringLiteral("No run for period ") + period);
    }
    QFile file(*folder + QStringLiteral("/accountant-correspondence.md"));
    if (!file.open(QIODevice::Append)) {
        return fail(file.errorString());
    }
    const QByteArray entry = (QStringLiteral("\n## ") + kind + QStringLiteral(" (") + now +
                              QStringLiteral(")\n\n") + text.trimmed() + QLatin1Char('\n'))
                                 .toUtf8();
    if (file.write(entry) != entry.size()) {
        return fail(file.errorString());
    }
    return {};
}

} // namespace mnemora::refdaemon

#pragma once

#include <QJsonArray>
#include <QString>

#include <optional>

#include "IndexRows.h"
#include "platform/Expected.h"

namespace mnemora::refdaemon {

// The bookkeeping runs under `Notes/bookkeeping/`: `{period}/run.md` for the nameless books,
// `{slug}/{period}/run.md` for named ones, each with `items/*.md`, and `books/{slug}.md` for the
// books' own names. The files are the truth; the index tables and the answers are read from them,
// and the period-close actions edit them.
class PeriodFolder {
public:
    explicit PeriodFolder(QString vaultPath);

    IndexRows runRows() const;
    IndexRows materialRows() const;

    // `books` answers: slug, name and recipient of each set of books.
    QJsonArray books() const;
    // Every run: books, period, status, current_activity.
    QJsonArray runs() const;

    // The actions; the words of a failure are the product's.
    Expected<void> setMaterialStatus(const QString& books, const QString& period,
                                     const QString& lineKey, const QString& status) const;
    Expected<void> closeRun(const QString& books, const QString& period, const QString& now) const;
    Expected<void> setRunStatus(const QString& books, const QString& period, const QString& status,
                                const QString& activity, const QString& now) const;
    Expected<void> addCorrespondence(const QString& books, const QString& period,
                                     const QString& kind, const QString& text,
                                     const QString& now) const;

    // A period word: `YYYY`, `YYYY-MM` or `YYYY-Qn`.
    static bool isPeriodName(const QString& name);

private:
    struct Run {
        QString books; // empty for the nameless books
        QString folder;
    };
    QString root() const;
    QList<Run> allRuns() const;
    std::optional<QString> periodFolder(const QString& books, const QString& period) const;
    Expected<void> editRun(const QString& books, const QString& period,
                           const QMap<QString, QString>& keys) const;

    QString vaultPath_;
};

} // namespace mnemora::refdaemon

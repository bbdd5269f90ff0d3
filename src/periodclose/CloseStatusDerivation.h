#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

#include "core/ClosePhase.h"
#include "core/CloseStatusDoc.h"
#include "core/LedgerDoc.h"

namespace mnemora {

struct Question;

// Where each set of books stands in its close, as the phone shows it, derived from the run's own
// files under `Notes/bookkeeping/` and the open questions. The run's files are the truth here,
// not the index: the index lags behind them. Nothing here changes a run.
//
// Layout under the `bookkeeping` folder: `{period}/run.md` is a run of the nameless books,
// `{slug}/{period}/run.md` one of the books `{slug}`, `{...}/{period}/items/*.md` one file per
// deliverable or transaction, `books/{slug}.md` the books' own file with its display `name`.
namespace CloseStatusDerivation {

// The few reads the derivation makes of the disk.
class FileAccess {
public:
    virtual ~FileAccess() = default;
    // Names of the sub-folders of `path`, or of its files; none when it cannot be listed.
    virtual std::optional<QStringList> folders(const QString& path) const = 0;
    virtual std::optional<QStringList> files(const QString& path) const = 0;
    // The file's bytes; none when it cannot be read.
    virtual std::optional<QByteArray> read(const QString& path) const = 0;
};

// The real file system.
const FileAccess& disk();

// An open question as far as a close cares: a login question can only be answered at the desk.
struct OpenQuestion {
    QString text;
    std::optional<QString> period;
    bool requiresMac = false;

    // `requiresMac` when the question's trimmed `kind` is "login".
    static OpenQuestion from(const Question& question);

    bool operator==(const OpenQuestion&) const = default;
};

// What `run.md` says of a run.
struct RunState {
    QString period;
    std::optional<QString> business;
    core::ClosePhase phase = core::ClosePhase::collecting;
    std::optional<QString> activity;
    std::optional<QString> startedAt;
    std::optional<QString> updatedAt;

    bool operator==(const RunState&) const = default;
};

// The newest run of one set of books.
struct BooksRun {
    std::optional<QString> books; // none for runs filed before books were named
    QString periodDir;
    RunState run;
    std::optional<QString> displayName;

    bool operator==(const BooksRun&) const = default;
};

struct BooksCloseStatus {
    std::optional<QString> books;
    QString docPath;
    core::CloseStatusDoc doc;
    QString periodDir;

    bool operator==(const BooksCloseStatus&) const = default;
};

// "2026", "2026-10" or "2026-Q3", digits by the Unicode number property.
bool isPeriodName(const QString& name);

// The plain `key: value` lines between a first line "---" and the next; nested and list values
// are left out, one pair of quotes around a value is dropped, and a later key wins.
QHash<QString, QString> parseFrontmatter(const QString& text);

// None when `run.md` cannot be read or names no `period`.
std::optional<RunState> runState(const QString& periodDir, const FileAccess& files = disk());

// The newest run of every set of books under `root`, ordered by slug with the nameless books
// first. Only the newest period is shown: an older one with an open question does not appear.
QList<BooksRun> booksRuns(const QString& root, const FileAccess& files = disk());

// The document the phone shows for one run. Questions of other periods are not counted.
core::CloseStatusDoc closeStatus(const BooksRun& booksRun, const QList<OpenQuestion>& questions,
                                 const std::optional<QString>& fallbackBusiness,
                                 const FileAccess& files = disk());

// The deliverables of `{periodDir}/items`, in their sort order.
std::vector<core::CloseStatusDoc::Deliverable> deliverables(const QString& periodDir,
                                                            const FileAccess& files = disk());

// The transactions of `{periodDir}/items` still in play, in their sort order. Amounts are shown
// in `locale`.
core::LedgerDoc ledger(const QString& periodDir, const FileAccess& files = disk(),
                       const QLocale& locale = QLocale());

// Bank account numbers, with or without spaces, and any run of seven digits or more become "···",
// before anything can leave for the cloud. Blank stays as it is.
std::optional<QString> redact(const std::optional<QString>& text);

} // namespace CloseStatusDerivation

} // namespace mnemora

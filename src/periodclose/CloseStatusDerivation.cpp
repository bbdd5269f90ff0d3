#include "periodclose/CloseStatusDerivation.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <limits>
#include <tuple>

#include "core/WireWord.h"
#include "periodclose/LedgerNumber.h"
#include "periodclose/PeriodWord.h"
#include "registry/Frontmatter.h"
#include "registry/Question.h"

namespace mnemora::CloseStatusDerivation {

namespace {

using core::ClosePhase;
using Frontmatter::trimBlanks;
using Fields = QHash<QString, QString>;

class DiskAccess final : public FileAccess {
public:
    std::optional<QStringList> folders(const QString& path) const override {
        return list(path, QDir::Dirs | QDir::NoDotAndDotDot);
    }
    std::optional<QStringList> files(const QString& path) const override {
        return list(path, QDir::Files);
    }
    std::optional<QByteArray> read(const QString& path) const override {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            return std::nullopt;
        }
        return file.readAll();
    }

private:
    static std::optional<QStringList> list(const QString& path, QDir::Filters filters) {
        const QDir dir(path);
        if (!dir.exists() || !dir.isReadable()) {
            return std::nullopt;
        }
        return dir.entryList(filters | QDir::Hidden, QDir::Name);
    }
};

std::optional<QString> nonBlank(const Fields& fields, const QString& key) {
    const auto it = fields.find(key);
    if (it == fields.end() || it->trimmed().isEmpty()) {
        return std::nullopt;
    }
    return *it;
}

std::optional<QString> blankless(const std::optional<QString>& text) {
    return text && !text->trimmed().isEmpty() ? text : std::nullopt;
}

std::optional<std::string> toStd(const std::optional<QString>& text) {
    return text ? std::optional(text->toStdString()) : std::nullopt;
}

std::optional<Fields> readFields(const FileAccess& files, const QString& path) {
    const std::optional<QByteArray> bytes = files.read(path);
    if (!bytes) {
        return std::nullopt;
    }
    return parseFrontmatter(QString::fromUtf8(*bytes));
}

QString unquoted(const QString& value) {
    for (const QChar quote : {QLatin1Char('"'), QLatin1Char('\'')}) {
        if (value.size() >= 2 && value.startsWith(quote) && value.endsWith(quote)) {
            return value.mid(1, value.size() - 2);
        }
    }
    return value;
}

ClosePhase phaseOf(const Fields& fields) {
    const QString status = fields.value(QStringLiteral("status"));
    if (status == QLatin1String("sent")) {
        return ClosePhase::sent;
    }
    if (status == QLatin1String("closed") || status == QLatin1String("done")) {
        return ClosePhase::closed;
    }
    const QByteArray phase = fields.value(QStringLiteral("phase")).toUtf8();
    return core::fromWireWord<ClosePhase>(std::string_view(phase.constData(), phase.size()))
        .value_or(ClosePhase::collecting);
}

// The run with the greatest period among the period folders of `folder`.
std::optional<std::pair<QString, RunState>>
newestRun(const QString& folder, const QStringList& names, const FileAccess& files) {
    std::optional<std::pair<QString, RunState>> newest;
    for (const QString& name : names) {
        if (!isPeriodName(name)) {
            continue;
        }
        const QString periodDir = folder + QLatin1Char('/') + name;
        std::optional<RunState> state = runState(periodDir, files);
        if (state && (!newest || state->period > newest->second.period)) {
            newest.emplace(periodDir, std::move(*state));
        }
    }
    return newest;
}

std::optional<QString> displayName(const QString& root, const QString& slug,
                                   const FileAccess& files) {
    const auto fields =
        readFields(files, root + QStringLiteral("/books/") + slug + QStringLiteral(".md"));
    if (!fields) {
        return std::nullopt;
    }
    return blankless(fields->value(QStringLiteral("name")).trimmed());
}

// The frontmatter of every Markdown file in `{periodDir}/items` whose `kind` is `kind`.
QList<Fields> items(const QString& periodDir, const QString& kind, const FileAccess& files) {
    const QString folder = periodDir + QStringLiteral("/items");
    QList<Fields> result;
    for (const QString& name : files.files(folder).value_or(QStringList())) {
        if (!name.endsWith(QLatin1String(".md"))) {
            continue;
        }
        std::optional<Fields> fields = readFields(files, folder + QLatin1Char('/') + name);
        if (fields && fields->value(QStringLiteral("kind")) == kind) {
            result.append(std::move(*fields));
        }
    }
    return result;
}

std::optional<std::int64_t> integer(const Fields& fields, const QString& key) {
    bool ok = false;
    const qlonglong value = fields.value(key).trimmed().toLongLong(&ok);
    return ok ? std::optional<std::int64_t>(value) : std::nullopt;
}

std::int64_t sortOrder(const Fields& fields) {
    return integer(fields, QStringLiteral("sort_order"))
        .value_or(std::numeric_limits<std::int64_t>::max());
}

core::DeliverableStatus deliverableStatus(const QString& status) {
    if (status == QLatin1String("done")) {
        return core::DeliverableStatus::done;
    }
    if (status == QLatin1String("partial") || status == QLatin1String("in_progress")) {
        return core::DeliverableStatus::partial;
    }
    return core::DeliverableStatus::pending;
}

// None for a row that no longer counts.
std::optional<core::SyncedLedgerState> ledgerState(const QString& status) {
    if (status == QLatin1String("candidate") || status == QLatin1String("excluded")) {
        return std::nullopt;
    }
    if (status == QLatin1String("ask")) {
        return core::SyncedLedgerState::asking;
    }
    if (status == QLatin1String("matched") || status == QLatin1String("done")) {
        return core::SyncedLedgerState::found;
    }
    return core::SyncedLedgerState::working;
}

struct Blocking {
    std::optional<core::CloseBlockedKind> kind;
    std::optional<QString> reason;
};

Blocking blocking(const QList<OpenQuestion>& needsMac, const QList<OpenQuestion>& answerable,
                  const RunState& run) {
    if (!needsMac.isEmpty()) {
        return {core::CloseBlockedKind::needsMac, needsMac.first().text};
    }
    if (!answerable.isEmpty()) {
        return {core::CloseBlockedKind::needsAnswer, answerable.first().text};
    }
    if (run.phase == ClosePhase::sent) {
        return {core::CloseBlockedKind::waitingExternal, run.activity};
    }
    return {};
}

std::optional<QString> business(const BooksRun& booksRun,
                                const std::optional<QString>& fallbackBusiness) {
    for (const auto& candidate : {booksRun.run.business, booksRun.displayName, fallbackBusiness}) {
        if (blankless(candidate)) {
            return blankless(redact(candidate));
        }
    }
    return std::nullopt;
}

} // namespace

const FileAccess& disk() {
    static const DiskAccess access;
    return access;
}

OpenQuestion OpenQuestion::from(const Question& question) {
    return {question.text, question.period,
            question.kind && question.kind->trimmed() == QLatin1String("login")};
}

bool isPeriodName(const QString& name) {
    return PeriodWord::isPeriod(name);
}

QHash<QString, QString> parseFrontmatter(const QString& text) {
    const QStringList lines = Frontmatter::lines(text);
    QHash<QString, QString> fields;
    if (lines.isEmpty() || trimBlanks(lines.first()) != QLatin1String("---")) {
        return fields;
    }
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QString& line = lines[i];
        if (trimBlanks(line) == QLatin1String("---")) {
            break;
        }
        // Indented and list lines belong to nested values, which nothing here reads.
        if (line.isEmpty() || line.startsWith(QLatin1Char(' ')) ||
            line.startsWith(QLatin1Char('-')) || line.startsWith(QLatin1Char('\t'))) {
            continue;
        }
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0) {
            continue;
        }
        const QString key = trimBlanks(line.left(colon));
        const QString value = unquoted(trimBlanks(line.mid(colon + 1)));
        if (!key.isEmpty() && !value.isEmpty()) {
            fields.insert(key, value);
        }
    }
    return fields;
}

std::optional<RunState> runState(const QString& periodDir, const FileAccess& files) {
    const auto fields = readFields(files, periodDir + QStringLiteral("/run.md"));
    if (!fields || !fields->contains(QStringLiteral("period"))) {
        return std::nullopt;
    }
    const auto field = [&](const char* key) -> std::optional<QString> {
        const auto it = fields->find(QLatin1String(key));
        return it == fields->end() ? std::nullopt : std::optional(*it);
    };
    return RunState{fields->value(QStringLiteral("period")),
                    field("business"),
                    phaseOf(*fields),
                    field("current_activity"),
                    field("started_at"),
                    field("updated_at")};
}

QList<BooksRun> booksRuns(const QString& root, const FileAccess& files) {
    const std::optional<QStringList> names = files.folders(root);
    if (!names) {
        return {};
    }
    QList<BooksRun> result;
    if (auto nameless = newestRun(root, *names, files)) {
        result.append({std::nullopt, nameless->first, std::move(nameless->second), std::nullopt});
    }
    for (const QString& slug : *names) {
        if (isPeriodName(slug)) {
            continue;
        }
        const QString folder = root + QLatin1Char('/') + slug;
        auto newest = newestRun(folder, files.folders(folder).value_or(QStringList()), files);
        if (newest) {
            result.append(
                {slug, newest->first, std::move(newest->second), displayName(root, slug, files)});
        }
    }
    std::stable_sort(result.begin(), result.end(), [](const BooksRun& a, const BooksRun& b) {
        return a.books.value_or(QString()) < b.books.value_or(QString());
    });
    return result;
}

core::CloseStatusDoc closeStatus(const BooksRun& booksRun, const QList<OpenQuestion>& questions,
                                 const std::optional<QString>& fallbackBusiness,
                                 const FileAccess& files) {
    const RunState& run = booksRun.run;
    QList<OpenQuestion> needsMac;
    QList<OpenQuestion> answerable;
    for (const OpenQuestion& question : questions) {
        if (question.period && *question.period != run.period) {
            continue;
        }
        (question.requiresMac ? needsMac : answerable).append(question);
    }
    const Blocking blocked = blocking(needsMac, answerable, run);
    core::CloseStatusDoc doc;
    doc.period = run.period.toStdString();
    doc.business = toStd(business(booksRun, fallbackBusiness));
    doc.phase = run.phase;
    doc.activity = toStd(redact(run.activity));
    doc.startedAt = toStd(run.startedAt);
    doc.movedAt = toStd(run.updatedAt);
    doc.blockedKind = blocked.kind;
    doc.blockedReason = toStd(redact(blocked.reason));
    doc.answerableCount = answerable.size();
    doc.deliverables = deliverables(booksRun.periodDir, files);
    return doc;
}

std::vector<core::CloseStatusDoc::Deliverable> deliverables(const QString& periodDir,
                                                            const FileAccess& files) {
    struct Sorted {
        std::int64_t order;
        core::CloseStatusDoc::Deliverable deliverable;
    };
    std::vector<Sorted> sorted;
    for (const Fields& fields : items(periodDir, QStringLiteral("deliverable"), files)) {
        const auto label = fields.find(QStringLiteral("label"));
        if (label == fields.end()) {
            continue;
        }
        sorted.push_back(
            {sortOrder(fields),
             {label->toStdString(), toStd(redact(nonBlank(fields, QStringLiteral("detail")))),
              deliverableStatus(fields.value(QStringLiteral("status"))),
              integer(fields, QStringLiteral("count_done")),
              integer(fields, QStringLiteral("count_total"))}});
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const Sorted& a, const Sorted& b) {
        return std::tie(a.order, a.deliverable.label) < std::tie(b.order, b.deliverable.label);
    });
    std::vector<core::CloseStatusDoc::Deliverable> result;
    for (Sorted& entry : sorted) {
        result.push_back(std::move(entry.deliverable));
    }
    return result;
}

core::LedgerDoc ledger(const QString& periodDir, const FileAccess& files, const QLocale& locale) {
    struct Sorted {
        std::int64_t order;
        core::LedgerDoc::Row row;
    };
    std::vector<Sorted> sorted;
    for (const Fields& fields : items(periodDir, QStringLiteral("transaction"), files)) {
        const auto date = nonBlank(fields, QStringLiteral("date"));
        const auto vendor = nonBlank(fields, QStringLiteral("vendor"));
        const auto state = ledgerState(fields.value(QStringLiteral("status")));
        if (!date || !vendor || !state) {
            continue;
        }
        const auto amount =
            LedgerNumber::display(nonBlank(fields, QStringLiteral("amount")),
                                  nonBlank(fields, QStringLiteral("currency")), locale);
        sorted.push_back(
            {sortOrder(fields),
             {date->toStdString(), redact(vendor)->toStdString(),
              toStd(redact(nonBlank(fields, QStringLiteral("source")))), toStd(amount), *state}});
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const Sorted& a, const Sorted& b) {
        return std::tie(a.order, a.row.date, a.row.counterparty) <
               std::tie(b.order, b.row.date, b.row.counterparty);
    });
    core::LedgerDoc doc;
    for (Sorted& entry : sorted) {
        doc.rows.push_back(std::move(entry.row));
    }
    return doc;
}

std::optional<QString> redact(const std::optional<QString>& text) {
    if (!text || text->trimmed().isEmpty()) {
        return text;
    }
    // Account numbers with spaces first, so their groups are not left half-covered by the others.
    constexpr auto unicode = QRegularExpression::UseUnicodePropertiesOption;
    static const QRegularExpression patterns[] = {
        QRegularExpression(QStringLiteral("\\b[A-Z]{2}[0-9]{2}(?:[ ][A-Za-z0-9]{4}){3,}\\b"),
                           unicode),
        QRegularExpression(QStringLiteral("\\b[A-Z]{2}[0-9]{2}[A-Za-z0-9]{10,}\\b"), unicode),
        QRegularExpression(QStringLiteral("[0-9]{7,}"), unicode),
    };
    QString result = *text;
    for (const QRegularExpression& pattern : patterns) {
        result.replace(pattern, QStringLiteral("···"));
    }
    return result;
}

} // namespace mnemora::CloseStatusDerivation

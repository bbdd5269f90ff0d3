#include "periodclose/PeriodCloseStore.h"

#include <QPointer>

#include <algorithm>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/VaultPaths.h"
#include "periodclose/MaterialLists.h"
#include "registry/IndexQuery.h"
#include "registry/ReadPool.h"
#include "registry/RowReader.h"

namespace mnemora {

namespace {

const QString kQueryFailed = QStringLiteral("Period-close query failed");

constexpr const char* kRunSql =
    "SELECT period, phase, steps, current_activity, status, accountant, started_at, updated_at, "
    "closed_via FROM period_close_runs WHERE books = ? AND period = ?";

constexpr const char* kMaterialsSql =
    "SELECT line_key, period, kind, sort_order, date, vendor, amount, currency, category, "
    "receipt_path, staged_as, confidence, status, question_slug, label, source, detail, why, "
    "photo_uuid, instrument, allocation FROM period_close_materials WHERE books = ? AND period = ? "
    "ORDER BY sort_order ASC, date ASC, line_key ASC";

// The deliverables the books had in any period, each label once, the latest period's first.
constexpr const char* kTemplatesSql =
    "SELECT line_key, period, kind, sort_order, label, source FROM period_close_materials WHERE "
    "books = ? AND kind = 'deliverable' AND label IS NOT NULL GROUP BY label ORDER BY MAX(period) "
    "DESC, sort_order ASC";

constexpr const char* kSummariesSql =
    "SELECT r.books AS books, r.period AS period, r.status AS status, r.phase AS phase, "
    "r.updated_at AS updated_at, (SELECT COUNT(*) FROM period_close_materials m WHERE m.books = "
    "r.books AND m.period = r.period AND m.kind != 'deliverable' AND COALESCE(m.status, '') NOT IN "
    "('candidate', 'excluded')) AS item_count FROM period_close_runs r WHERE (? = 0 OR r.books = "
    "?) ORDER BY r.period DESC";

// The text columns of a material, beside the fields they fill.
const struct {
    const char* column;
    std::optional<QString> PeriodCloseMaterial::*field;
} kMaterialTexts[] = {
    {"period", &PeriodCloseMaterial::period},
    {"kind", &PeriodCloseMaterial::kind},
    {"date", &PeriodCloseMaterial::date},
    {"vendor", &PeriodCloseMaterial::vendor},
    {"currency", &PeriodCloseMaterial::currency},
    {"category", &PeriodCloseMaterial::category},
    {"receipt_path", &PeriodCloseMaterial::receiptPath},
    {"staged_as", &PeriodCloseMaterial::stagedAs},
    {"confidence", &PeriodCloseMaterial::confidence},
    {"status", &PeriodCloseMaterial::status},
    {"question_slug", &PeriodCloseMaterial::questionSlug},
    {"label", &PeriodCloseMaterial::label},
    {"source", &PeriodCloseMaterial::source},
    {"detail", &PeriodCloseMaterial::detail},
    {"why", &PeriodCloseMaterial::why},
    {"photo_uuid", &PeriodCloseMaterial::photoUUID},
    {"instrument", &PeriodCloseMaterial::instrument},
    {"allocation", &PeriodCloseMaterial::allocation},
};

void bindText(SQLite::Statement& statement, int index, const QString& text) {
    statement.bind(index, text.toStdString());
}

std::optional<PeriodCloseRun> readRun(SQLite::Database& db, const QString& books,
                                      const QString& period) {
    SQLite::Statement statement(db, kRunSql);
    bindText(statement, 1, books);
    bindText(statement, 2, period);
    if (!statement.executeStep()) {
        return std::nullopt;
    }
    const RowReader read(statement);
    PeriodCloseRun run;
    run.period = read.text("period").value_or(QString());
    run.phase = read.text("phase");
    const SQLite::Column steps = statement.getColumn("steps");
    if (!steps.isNull()) {
        run.steps = RunStep::listFromJson(
            QByteArray(static_cast<const char*>(steps.getBlob()), steps.getBytes()));
    }
    run.currentActivity = read.text("current_activity");
    run.status = read.text("status");
    run.accountant = read.text("accountant");
    run.startedAt = read.date("started_at");
    run.updatedAt = read.date("updated_at");
    run.closedVia = read.text("closed_via");
    return run;
}

QList<PeriodCloseMaterial> readMaterials(SQLite::Database& db, const QString& books,
                                         const QString& period) {
    QList<PeriodCloseMaterial> materials;
    SQLite::Statement statement(db, kMaterialsSql);
    bindText(statement, 1, books);
    bindText(statement, 2, period);
    while (statement.executeStep()) {
        const RowReader read(statement);
        PeriodCloseMaterial row;
        row.lineKey = read.text("line_key").value_or(QString());
        row.sortOrder = read.integer("sort_order").value_or(0);
        row.amount = read.real("amount");
        for (const auto& text : kMaterialTexts) {
            row.*text.field = read.text(text.column);
        }
        materials.append(std::move(row));
    }
    return materials;
}

// Earlier deliverables as rows of `period`, still to be gathered. The key holds the period, so
// one label in two periods has two keys.
QList<PeriodCloseMaterial> readTemplates(SQLite::Database& db, const QString& books,
                                         const QString& period) {
    QList<PeriodCloseMaterial> templates;
    SQLite::Statement statement(db, kTemplatesSql);
    bindText(statement, 1, books);
    while (statement.executeStep()) {
        const RowReader read(statement);
        PeriodCloseMaterial row;
        row.label = read.text("label");
        row.lineKey = period + QStringLiteral(":template:") + row.label.value_or(QString());
        row.period = period;
        row.kind = PeriodCloseMaterial::deliverableKind;
        row.sortOrder = read.integer("sort_order").value_or(0);
        row.source = read.text("source");
        row.status = QStringLiteral("pending");
        templates.append(std::move(row));
    }
    return templates;
}

QList<PeriodSummary> readSummaryRows(SQLite::Database& db, const std::optional<QString>& books) {
    QList<PeriodSummary> runs;
    SQLite::Statement statement(db, kSummariesSql);
    statement.bind(1, books ? 1 : 0);
    bindText(statement, 2, books.value_or(QString()));
    while (statement.executeStep()) {
        const RowReader read(statement);
        PeriodSummary run;
        run.period = read.text("period").value_or(QString());
        run.books = read.text("books").value_or(QString());
        run.status = read.text("status");
        run.phase = read.text("phase");
        run.itemCount = read.integer("item_count").value_or(0);
        run.updatedAt = read.date("updated_at");
        runs.append(std::move(run));
    }
    return runs;
}

QStringList readBookSlugs(SQLite::Database& db) {
    QStringList slugs;
    SQLite::Statement statement(db, "SELECT DISTINCT books FROM period_close_runs");
    while (statement.executeStep()) {
        if (std::optional<QString> slug = RowReader(statement).text("books")) {
            slugs.append(*slug);
        }
    }
    return slugs;
}

} // namespace

// What one `load` read, in one snapshot of the index.
struct PeriodCloseStore::Loaded {
    std::optional<PeriodCloseRun> run;
    QList<PeriodCloseMaterial> materials;
};

PeriodCloseStore::PeriodCloseStore(std::optional<QString> vaultRoot, QObject* parent)
    : QObject(parent)
    , vaultRoot_(std::move(vaultRoot)) {}

PeriodCloseStore::~PeriodCloseStore() = default;

QString PeriodCloseStore::indexPath() const {
    QString folder;
    if (vaultRoot_) {
        folder = VaultPaths::vaultCacheFolder(*vaultRoot_);
    } else {
        ConfigService config; // the primary configuration, read afresh like the daemon does
        config.load();
        folder = VaultPaths::daemonCacheFolder(QString(), &config);
    }
    return folder + QStringLiteral("/registry_index.sqlite");
}

void PeriodCloseStore::setVaultRoot(const std::optional<QString>& folder) {
    if (folder == vaultRoot_) {
        return;
    }
    vaultRoot_ = folder;
    pool_.reset();
    ++loadSerial_;
    ++allRunsSerial_;
    ++everywhereSerial_;
    setAvailable(false);
    setRun(std::nullopt);
    setMaterials({});
    setAllRuns({});
    setAllRunsEverywhere({});
}

void PeriodCloseStore::setBooks(const QString& slug) {
    if (slug == books_) {
        return;
    }
    books_ = slug;
    ++loadSerial_;
    ++allRunsSerial_;
    emit booksChanged();
    setRun(std::nullopt);
    setMaterials({});
    setAllRuns({});
}

bool PeriodCloseStore::open() {
    if (pool_) {
        return true;
    }
    const ReadPool::Result<std::shared_ptr<ReadPool>> opened = ReadPool::openIfExists(indexPath());
    if (!opened.error.isEmpty()) {
        fail(QStringLiteral("Failed to open registry index: ") + opened.error);
    }
    pool_ = opened.value.value_or(nullptr);
    setAvailable(pool_ != nullptr);
    return available_;
}

QCoro::Task<> PeriodCloseStore::load(QString period) {
    if (!open()) {
        co_return;
    }
    QPointer<PeriodCloseStore> self(this);
    const quint64 serial = ++loadSerial_;
    const QString books = books_;
    QCoro::Task<std::optional<Loaded>> reading = readIndex<Loaded>(
        pool_, this, kQueryFailed,
        [books, period](SQLite::Database& db) {
            Loaded loaded{readRun(db, books, period), readMaterials(db, books, period)};
            const bool hasDeliverables =
                std::any_of(loaded.materials.cbegin(), loaded.materials.cend(), [](const auto& m) {
                    return m.isKind(PeriodCloseMaterial::deliverableKind);
                });
            if (!hasDeliverables) {
                loaded.materials.append(readTemplates(db, books, period));
            }
            return loaded;
        },
        [this](const QString& error) { fail(error); });
    std::optional<Loaded> loaded = co_await std::move(reading);
    if (!self || !loaded || serial != loadSerial_) {
        co_return;
    }
    setRun(loaded->run);
    setMaterials(loaded->materials);
}

QCoro::Task<std::optional<QList<PeriodSummary>>>
PeriodCloseStore::readSummaries(std::optional<QString> books) {
    open(); // with no index there is no pool, and the read gives nothing
    return readIndex<QList<PeriodSummary>>(
        pool_, this, kQueryFailed,
        [books](SQLite::Database& db) { return readSummaryRows(db, books); },
        [this](const QString& error) { fail(error); });
}

QCoro::Task<> PeriodCloseStore::loadAllRuns() {
    QPointer<PeriodCloseStore> self(this);
    const quint64 serial = ++allRunsSerial_;
    QCoro::Task<std::optional<QList<PeriodSummary>>> reading = readSummaries(books_);
    std::optional<QList<PeriodSummary>> runs = co_await std::move(reading);
    if (!self || !runs || serial != allRunsSerial_) {
        co_return;
    }
    setAllRuns(*runs);
}

QCoro::Task<> PeriodCloseStore::loadAllRunsEverywhere() {
    QPointer<PeriodCloseStore> self(this);
    const quint64 serial = ++everywhereSerial_;
    QCoro::Task<std::optional<QList<PeriodSummary>>> reading = readSummaries(std::nullopt);
    std::optional<QList<PeriodSummary>> runs = co_await std::move(reading);
    if (!self || !runs || serial != everywhereSerial_) {
        co_return;
    }
    setAllRunsEverywhere(*runs);
}

QCoro::Task<QStringList> PeriodCloseStore::allBookSlugs() {
    open(); // with no index there is no pool, and the read gives nothing
    QCoro::Task<std::optional<QStringList>> reading = readIndex<QStringList>(
        pool_, this, kQueryFailed, readBookSlugs, [this](const QString& error) { fail(error); });
    std::optional<QStringList> slugs = co_await std::move(reading);
    co_return slugs.value_or(QStringList());
}

QList<PeriodCloseMaterial> PeriodCloseStore::visibleMaterials() const {
    return MaterialLists::visible(materials_);
}

QList<PeriodCloseMaterial> PeriodCloseStore::candidates() const {
    return MaterialLists::candidates(materials_);
}

QList<PeriodCloseMaterial> PeriodCloseStore::deliverables() const {
    return MaterialLists::deliverables(materials_);
}

QList<PeriodCloseMaterial> PeriodCloseStore::unbackedRows() const {
    return MaterialLists::unbacked(materials_);
}

double PeriodCloseStore::visibleTotal() const {
    return MaterialLists::visibleTotal(materials_);
}

void PeriodCloseStore::fail(const QString& error) {
    Log::line(QStringLiteral("PeriodCloseStore"), error);
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

void PeriodCloseStore::setAvailable(bool available) {
    if (available_ != available) {
        available_ = available;
        emit availableChanged();
    }
}

void PeriodCloseStore::setRun(const std::optional<PeriodCloseRun>& run) {
    if (run_ != run) {
        run_ = run;
        emit runChanged();
    }
}

void PeriodCloseStore::setMaterials(const QList<PeriodCloseMaterial>& materials) {
    if (materials_ != materials) {
        materials_ = materials;
        emit materialsChanged();
    }
}

void PeriodCloseStore::setAllRuns(const QList<PeriodSummary>& runs) {
    if (allRuns_ != runs) {
        allRuns_ = runs;
        emit allRunsChanged();
    }
}

void PeriodCloseStore::setAllRunsEverywhere(const QList<PeriodSummary>& runs) {
    if (allRunsEverywhere_ != runs) {
        allRunsEverywhere_ = runs;
        emit allRunsEverywhereChanged();
    }
}

} // namespace mnemora

#include "VaultIndex.h"

#include <QDir>
#include <QFileInfo>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include "PeriodFolder.h"
#include "QuestionScan.h"

namespace mnemora::refdaemon {

namespace {

// The columns the application's queries read; every table is made whole, so a query of a table
// this daemon does not fill finds it empty rather than missing.
constexpr const char* schema[] = {
    "CREATE TABLE IF NOT EXISTS registry_items (file_path TEXT PRIMARY KEY, item_type TEXT, "
    "captured_at INTEGER, status TEXT, visual_status TEXT, audio_status TEXT, photo_uuid TEXT, "
    "media_type TEXT, is_favorite INTEGER, is_hidden INTEGER, caption TEXT, transcription TEXT, "
    "transcription_error TEXT, transcription_accepted INTEGER, duration_secs REAL, voice_source "
    "TEXT, source_file TEXT, transcript_only INTEGER, identity_id TEXT, source_type TEXT, "
    "source_name TEXT, people TEXT, latitude REAL, longitude REAL, locality TEXT, country TEXT, "
    "location_name TEXT, albums TEXT, ocr_text TEXT, time_client TEXT, time_project TEXT, "
    "time_category TEXT, time_hours REAL, time_text TEXT, time_log_name TEXT, title TEXT)",
    "CREATE TABLE IF NOT EXISTS entities (entity_type TEXT, slug TEXT, name TEXT, status TEXT, "
    "file_path TEXT, date_start TEXT, date_end TEXT, asset_count INTEGER, best_photo_uuid TEXT, "
    "identity_id TEXT, is_me INTEGER, confidence REAL, related_people TEXT)",
    "CREATE TABLE IF NOT EXISTS period_close_runs (books TEXT, period TEXT, phase TEXT, steps "
    "TEXT, current_activity TEXT, status TEXT, accountant TEXT, started_at TEXT, updated_at TEXT, "
    "closed_via TEXT)",
    "CREATE TABLE IF NOT EXISTS period_close_materials (books TEXT, period TEXT, line_key TEXT, "
    "kind TEXT, sort_order INTEGER, date TEXT, vendor TEXT, amount REAL, currency TEXT, category "
    "TEXT, receipt_path TEXT, staged_as TEXT, confidence TEXT, status TEXT, question_slug TEXT, "
    "label TEXT, source TEXT, detail TEXT, why TEXT, photo_uuid TEXT, instrument TEXT, allocation "
    "TEXT)",
};

void bind(SQLite::Statement& statement, int index, const QVariant& value) {
    if (value.isNull()) {
        statement.bind(index);
    } else if (value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Int) {
        statement.bind(index, static_cast<int64_t>(value.toLongLong()));
    } else if (value.typeId() == QMetaType::Double) {
        statement.bind(index, value.toDouble());
    } else {
        statement.bind(index, value.toString().toStdString());
    }
}

} // namespace

VaultIndex::VaultIndex(QString vaultPath, QString indexPath)
    : vaultPath_(std::move(vaultPath))
    , indexPath_(std::move(indexPath)) {}

VaultIndex::~VaultIndex() = default;

Expected<void> VaultIndex::open() {
    try {
        QDir().mkpath(QFileInfo(indexPath_).absolutePath());
        db_ = std::make_unique<SQLite::Database>(indexPath_.toStdString(),
                                                 SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        db_->exec("PRAGMA journal_mode = WAL");
        db_->setBusyTimeout(5000);
        for (const char* statement : schema) {
            db_->exec(statement);
        }
        // What an earlier run wrote is read again from the files, so start from nothing.
        db_->exec("DELETE FROM entities WHERE entity_type = 'question'");
        db_->exec("DELETE FROM period_close_runs");
        db_->exec("DELETE FROM period_close_materials");
    } catch (const std::exception& error) {
        db_.reset();
        return fail(QStringLiteral("Could not open the index: ") + QString::fromUtf8(error.what()));
    }
    return {};
}

bool VaultIndex::replace(IndexRows& held, IndexRows fresh, const char* where) {
    if (fresh == held && !held.columns.isEmpty()) {
        return false;
    }
    const std::string columns = fresh.columns.join(QStringLiteral(", ")).toStdString();
    std::string marks;
    for (qsizetype i = 0; i < fresh.columns.size(); ++i) {
        marks += i == 0 ? "?" : ", ?";
    }
    SQLite::Transaction transaction(*db_);
    db_->exec(std::string("DELETE FROM ") + fresh.table + where);
    SQLite::Statement insert(*db_, std::string("INSERT INTO ") + fresh.table + " (" + columns +
                                       ") VALUES (" + marks + ")");
    for (const QVariantList& row : fresh.rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            bind(insert, static_cast<int>(i + 1), row.at(i));
        }
        insert.exec();
        insert.reset();
    }
    transaction.commit();
    const bool changed = !(fresh == held);
    held = std::move(fresh);
    return changed;
}

VaultIndex::Changes VaultIndex::refresh() {
    Changes changes;
    if (!db_) {
        return changes;
    }
    try {
        const PeriodFolder periods(vaultPath_);
        changes.questions = replace(questionRows_, QuestionScan::rows(vaultPath_),
                                    " WHERE entity_type = 'question'");
        const bool runs = replace(runRows_, periods.runRows(), "");
        const bool materials = replace(materialRows_, periods.materialRows(), "");
        changes.periodClose = runs || materials;
    } catch (const std::exception&) {
        // A busy or broken file is tried again at the next change; the rows held stay as they were.
    }
    return changes;
}

} // namespace mnemora::refdaemon

#pragma once

#include <QDir>
#include <QFileInfo>
#include <QString>
#include <QVariant>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

namespace mnemora::test {

// The daemon's side of an index, built by a test: the tables with the columns the client reads,
// written through a read-write connection in write-ahead-log mode.
class RegistryIndex {
public:
    using Row = std::initializer_list<std::pair<const char*, QVariant>>;

    explicit RegistryIndex(const QString& path) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        db_ = std::make_unique<SQLite::Database>(path.toStdString(),
                                                 SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        db_->exec("PRAGMA journal_mode = WAL");
        db_->exec(
            "CREATE TABLE registry_items (file_path TEXT PRIMARY KEY, item_type TEXT, captured_at "
            "INTEGER, status TEXT, visual_status TEXT, audio_status TEXT, photo_uuid TEXT, "
            "media_type TEXT, is_favorite INTEGER, is_hidden INTEGER, caption TEXT, transcription "
            "TEXT, transcription_error TEXT, transcription_accepted INTEGER, duration_secs REAL, "
            "voice_source TEXT, source_file TEXT, transcript_only INTEGER, identity_id TEXT, "
            "source_type TEXT, source_name TEXT, people TEXT, latitude REAL, longitude REAL, "
            "locality TEXT, country TEXT, location_name TEXT, albums TEXT, ocr_text TEXT, "
            "time_client TEXT, time_project TEXT, time_category TEXT, time_hours REAL, time_text "
            "TEXT, time_log_name TEXT, title TEXT)");
        db_->exec("CREATE TABLE entities (entity_type TEXT, slug TEXT, name TEXT, status TEXT, "
                  "file_path TEXT, date_start TEXT, date_end TEXT, asset_count INTEGER, "
                  "best_photo_uuid TEXT, identity_id TEXT, is_me INTEGER, confidence REAL, "
                  "related_people TEXT)");
        db_->exec("CREATE TABLE period_close_runs (books TEXT, period TEXT, phase TEXT, steps "
                  "TEXT, current_activity TEXT, status TEXT, accountant TEXT, started_at TEXT, "
                  "updated_at TEXT, closed_via TEXT)");
        db_->exec("CREATE TABLE period_close_materials (books TEXT, period TEXT, line_key TEXT, "
                  "kind TEXT, sort_order INTEGER, date TEXT, vendor TEXT, amount REAL, currency "
                  "TEXT, category TEXT, receipt_path TEXT, staged_as TEXT, confidence TEXT, status "
                  "TEXT, question_slug TEXT, label TEXT, source TEXT, detail TEXT, why TEXT, "
                  "photo_uuid TEXT, instrument TEXT, allocation TEXT)");
    }

    SQLite::Database& db() { return *db_; }

    void item(Row row) { insert("registry_items", row); }
    void entity(Row row) { insert("entities", row); }
    void run(Row row) { insert("period_close_runs", row); }
    void material(Row row) { insert("period_close_materials", row); }

private:
    void insert(const char* table, Row row) {
        std::string columns;
        std::string marks;
        for (const auto& [column, value] : row) {
            columns += (columns.empty() ? "" : ", ") + std::string(column);
            marks += marks.empty() ? "?" : ", ?";
        }
        SQLite::Statement insert(*db_, std::string("INSERT INTO ") + table + " (" + columns +
                                           ") VALUES (" + marks + ")");
        int index = 1;
        for (const auto& [column, value] : row) {
            if (value.isNull()) {
                insert.bind(index++);
            } else if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong) {
                insert.bind(index++, static_cast<int64_t>(value.toLongLong()));
            } else if (value.typeId() == QMetaType::Double) {
                insert.bind(index++, value.toDouble());
            } else if (value.typeId() == QMetaType::QByteArray) {
                insert.bind(index++, value.toByteArray().toStdString()); // bytes as they are
            } else {
                insert.bind(index++, value.toString().toStdString());
            }
        }
        insert.exec();
    }

    std::unique_ptr<SQLite::Database> db_;
};

} // namespace mnemora::test

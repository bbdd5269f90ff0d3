#include "registry/DatabaseService.h"

#include <QDir>
#include <QFileInfo>

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <string>
#include <variant>
#include <vector>

#include "app/VaultPaths.h"
#include "registry/Frontmatter.h"
#include "registry/RowReader.h"

namespace mnemora {

namespace {

const QString kQueryFailed = QStringLiteral("Query failed");
const QString kSourceCoverageFailed = QStringLiteral("Source coverage query failed");
const QString kRecentActivityFailed = QStringLiteral("Recent activity query failed");

constexpr qint64 kDay = 86'400;

// A statement's text with its positional values, built on the main thread and run on the pool.
struct Sql {
    using Value = std::variant<QString, qint64>;
    std::string text;
    std::vector<Value> values;

    Sql& append(const char* part) {
        text += part;
        return *this;
    }
    Sql& bind(Value value) {
        values.push_back(std::move(value));
        return *this;
    }
    // Adds `clause` with the identity's value, only when the scope names one.
    Sql& identity(const std::optional<QString>& id, const char* clause = " AND identity_id = ?") {
        if (id) {
            append(clause).bind(*id);
        }
        return *this;
    }

    SQLite::Statement prepare(SQLite::Database& db) const {
        SQLite::Statement statement(db, text);
        int index = 1;
        for (const Value& value : values) {
            if (const QString* string = std::get_if<QString>(&value)) {
                statement.bind(index++, string->toStdString());
            } else {
                statement.bind(index++, static_cast<int64_t>(std::get<qint64>(value)));
            }
        }
        return statement;
    }
};

qint64 count(SQLite::Database& db, const Sql& sql) {
    SQLite::Statement statement = sql.prepare(db);
    return statement.executeStep() ? statement.getColumn(0).getInt64() : 0;
}

// A grouped count; a null key counts under "unknown".
QMap<QString, qint64> groupCounts(SQLite::Database& db, const Sql& sql) {
    QMap<QString, qint64> counts;
    SQLite::Statement statement = sql.prepare(db);
    while (statement.executeStep()) {
        const SQLite::Column key = statement.getColumn(0);
        const QString name =
            key.isNull() ? QStringLiteral("unknown") : QString::fromStdString(key.getString());
        counts[name] += statement.getColumn(1).getInt64();
    }
    return counts;
}

QList<RegistryItem> items(SQLite::Database& db, const Sql& sql) {
    QList<RegistryItem> result;
    SQLite::Statement statement = sql.prepare(db);
    while (statement.executeStep()) {
        result.append(RegistryItem::fromRow(statement));
    }
    return result;
}

qint64 secondsOf(const QDateTime& time) {
    return time.toSecsSinceEpoch();
}

} // namespace

DatabaseService::DatabaseService(QObject* parent)
    : QObject(parent) {}

QString DatabaseService::indexPath() const {
    return VaultPaths::daemonCacheFolder(cacheDirOverride_, config_) +
           QStringLiteral("/registry_index.sqlite");
}

void DatabaseService::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

void DatabaseService::setOpen(bool open) {
    if (isOpen_ != open) {
        isOpen_ = open;
        emit isOpenChanged();
    }
}

QCoro::Task<> DatabaseService::open() {
    const QString path = indexPath();
    QDir().mkpath(QFileInfo(path).absolutePath()); // best effort; the daemon makes it too
    ReadPool::Result<std::shared_ptr<ReadPool>> opened = ReadPool::openIfExists(path);
    pool_ = opened.value.value_or(nullptr);
    if (!opened.error.isEmpty()) {
        setLastError(QStringLiteral("Failed to open registry index: ") + opened.error);
        setOpen(false);
        co_return;
    }
    // With no file the daemon has not built the index yet: closed, but no error.
    setOpen(pool_ != nullptr);
    setLastError({});
}

void DatabaseService::setOpenQuestions(const QList<Question>& questions) {
    if (openQuestions_ != questions) {
        openQuestions_ = questions;
        emit openQuestionsChanged();
    }
}

QCoro::Task<> DatabaseService::loadOpenQuestions(int limit) {
    QPointer<DatabaseService> self(this);
    // Named first: no temporary may live across the suspension.
    QCoro::Task<QList<Question>> fetch =
        fetchQuestions(std::nullopt, IdentityScope::active(), limit);
    QList<Question> questions = co_await std::move(fetch);
    if (!self) {
        co_return;
    }
    setOpenQuestions(questions);
}

QCoro::Task<RegistryStats> DatabaseService::fetchStats(IdentityScope scope) {
    const std::optional<QString> id = identityId(scope);
    auto itemsWhere = [&id](const char* select, const char* group = "") {
        Sql sql;
        sql.append(select).identity(id, " WHERE identity_id = ?").append(group);
        return sql;
    };
    const Sql total = itemsWhere("SELECT COUNT(*) FROM registry_items");
    const Sql byType =
        itemsWhere("SELECT item_type, COUNT(*) as c FROM registry_items", " GROUP BY item_type");
    const Sql byStatus =
        itemsWhere("SELECT status, COUNT(*) as c FROM registry_items", " GROUP BY status");
    const Sql byIdentity = itemsWhere("SELECT identity_id, COUNT(*) as c FROM registry_items",
                                      " GROUP BY identity_id");
    Sql people;
    people.append("SELECT COUNT(*) FROM entities WHERE entity_type = 'person'").identity(id);
    Sql places;
    places.append("SELECT COUNT(*) FROM entities WHERE entity_type = 'place'").identity(id);

    return query<RegistryStats>(kQueryFailed, [=](SQLite::Database& db) {
        RegistryStats stats;
        stats.totalItems = count(db, total);
        stats.byItemType = groupCounts(db, byType);
        stats.byStatus = groupCounts(db, byStatus);
        stats.byIdentity = groupCounts(db, byIdentity);
        stats.people = count(db, people);
        stats.places = count(db, places);
        stats.voiceMemos = stats.byItemType.value(QStringLiteral("voice_memo"));
        stats.photos = stats.byItemType.value(QStringLiteral("photo"));
        stats.timeLogs = stats.byItemType.value(QStringLiteral("time_entry"));
        return stats;
    });
}

QCoro::Task<QList<RegistryItem>> DatabaseService::fetchItems(QString type, IdentityScope scope,
                                                             int limit) {
    Sql sql;
    sql.append("SELECT * FROM registry_items WHERE item_type = ?")
        .bind(type)
        .identity(identityId(scope))
        .append(" ORDER BY captured_at DESC NULLS LAST LIMIT ?")
        .bind(qint64(limit));
    return query<QList<RegistryItem>>(kQueryFailed,
                                      [sql](SQLite::Database& db) { return items(db, sql); });
}

QCoro::Task<QList<RegistryItem>>
DatabaseService::fetchItemsForPlace(QString place, IdentityScope scope, int limit) {
    Sql sql;
    sql.append("SELECT * FROM registry_items WHERE (location_name = ? COLLATE NOCASE OR "
               "locality = ? COLLATE NOCASE)")
        .bind(place)
        .bind(place)
        .identity(identityId(scope))
        .append(" ORDER BY captured_at DESC NULLS LAST LIMIT ?")
        .bind(qint64(limit));
    return query<QList<RegistryItem>>(kQueryFailed,
                                      [sql](SQLite::Database& db) { return items(db, sql); });
}

QCoro::Task<DatabaseService::PendingCounts> DatabaseService::fetchPendingCounts() {
    return fetchPendingCounts(QDateTime::currentDateTimeUtc());
}

QCoro::Task<DatabaseService::PendingCounts> DatabaseService::fetchPendingCounts(QDateTime now) {
    const qint64 since = secondsOf(now) - kDay;
    return query<PendingCounts>(kQueryFailed, [since](SQLite::Database& db) {
        auto plain = [&db](const char* text) {
            Sql sql;
            sql.append(text);
            return count(db, sql);
        };
        PendingCounts counts;
        counts.photosPendingVisual =
            plain("SELECT COUNT(*) FROM registry_items WHERE item_type = 'photo' AND "
                  "visual_status = 'pending'");
        counts.videosPendingAudio =
            plain("SELECT COUNT(*) FROM registry_items WHERE item_type = 'video' AND "
                  "audio_status = 'pending'");
        counts.voiceMemosPendingAudio =
            plain("SELECT COUNT(*) FROM registry_items WHERE item_type = 'voice_memo' AND "
                  "audio_status = 'pending'");
        counts.totalPending =
            plain("SELECT COUNT(*) FROM registry_items WHERE status IN ('pending','processing')");
        Sql done;
        done.append("SELECT COUNT(*) FROM registry_items WHERE status = 'done' AND captured_at > ?")
            .bind(since);
        counts.doneLast24h = count(db, done);
        counts.audioFailed =
            plain("SELECT COUNT(*) FROM registry_items WHERE audio_status = 'failed' AND "
                  "item_type IN ('voice_memo','video')");
        counts.visualFailed =
            plain("SELECT COUNT(*) FROM registry_items WHERE visual_status = 'failed' AND "
                  "item_type IN ('photo','video')");
        return counts;
    });
}

QCoro::Task<QList<DatabaseService::SourceCoverageRow>>
DatabaseService::fetchSourceCoverage(IdentityScope scope) {
    // A time entry without a source of its own counts under "time" and its log's name.
    const std::string sourceType = "COALESCE(NULLIF(source_type, ''), CASE WHEN item_type = "
                                   "'time_entry' THEN 'time' ELSE '' END)";
    const std::string sourceName = "COALESCE(NULLIF(source_name, ''), CASE WHEN item_type = "
                                   "'time_entry' THEN COALESCE(time_log_name, 'time logs') ELSE "
                                   "'' END)";
    Sql sql;
    sql.text = "SELECT COALESCE(NULLIF(identity_id, ''), '') AS identity_id, " + sourceType +
               " AS source_type, " + sourceName +
               " AS source_name, COUNT(*) AS total, SUM(CASE WHEN item_type = 'photo' THEN 1 "
               "ELSE 0 END) AS photos, SUM(CASE WHEN item_type = 'video' THEN 1 ELSE 0 END) AS "
               "videos, SUM(CASE WHEN item_type = 'voice_memo' THEN 1 ELSE 0 END) AS voice_memos, "
               "SUM(CASE WHEN item_type = 'time_entry' THEN 1 ELSE 0 END) AS time_entries, "
               "SUM(CASE WHEN item_type IN ('photo', 'video') AND latitude IS NOT NULL THEN 1 "
               "ELSE 0 END) AS with_location, SUM(CASE WHEN item_type IN ('photo', 'video') AND "
               "caption IS NOT NULL AND caption != '' THEN 1 ELSE 0 END) AS with_caption, "
               "SUM(CASE WHEN item_type IN ('photo', 'video') AND people IS NOT NULL AND people "
               "!= '' THEN 1 ELSE 0 END) AS with_people, SUM(CASE WHEN item_type = 'voice_memo' "
               "AND transcription IS NOT NULL AND transcription != '' THEN 1 ELSE 0 END) AS "
               "with_transcription, MIN(captured_at) AS min_captured, MAX(captured_at) AS "
               "max_captured FROM registry_items";
    sql.identity(identityId(scope), " WHERE identity_id = ?");
    sql.text += " GROUP BY 1, " + sourceType + ", " + sourceName + " ORDER BY 1 ASC, 2 ASC, 3 ASC";
    return query<QList<SourceCoverageRow>>(kSourceCoverageFailed, [sql](SQLite::Database& db) {
        QList<SourceCoverageRow> rows;
        SQLite::Statement statement = sql.prepare(db);
        while (statement.executeStep()) {
            const RowReader read(statement);
            SourceCoverageRow row;
            row.identityId = read.text("identity_id").value_or(QString());
            row.sourceType = read.text("source_type").value_or(QString());
            row.sourceName = read.text("source_name").value_or(QString());
            row.total = read.integer("total").value_or(0);
            row.photos = read.integer("photos").value_or(0);
            row.videos = read.integer("videos").value_or(0);
            row.voiceMemos = read.integer("voice_memos").value_or(0);
            row.timeEntries = read.integer("time_entries").value_or(0);
            row.withLocation = read.integer("with_location").value_or(0);
            row.withCaption = read.integer("with_caption").value_or(0);
            row.withPeople = read.integer("with_people").value_or(0);
            row.withTranscription = read.integer("with_transcription").value_or(0);
            row.minCapturedEpoch = read.integer("min_captured");
            row.maxCapturedEpoch = read.integer("max_captured");
            rows.append(row);
        }
        return rows;
    });
}

QCoro::Task<DatabaseService::RecentActivityBreakdown>
DatabaseService::fetchRecentActivity(IdentityScope scope, QDateTime now) {
    const qint64 bounds[] = {secondsOf(now) - kDay, secondsOf(now) - 7 * kDay,
                             secondsOf(now) - 30 * kDay};
    const char* periods[] = {"d_", "w_", "m_"};
    const std::pair<const char*, const char*> kinds[] = {
        {"photo", "photos"}, {"video", "videos"}, {"voice_memo", "voice"}, {"time_entry", "time"}};
    Sql sql;
    sql.append("SELECT ");
    for (int period = 0; period < 3; ++period) {
        for (const auto& [type, column] : kinds) {
            sql.text += std::string("SUM(CASE WHEN captured_at > ? AND item_type = '") + type +
                        "' THEN 1 ELSE 0 END) AS " + periods[period] + column + ", ";
            sql.bind(bounds[period]);
        }
    }
    sql.append("MAX(captured_at) AS last_captured FROM registry_items WHERE captured_at > ?")
        .bind(bounds[2])
        .identity(identityId(scope));
    return query<RecentActivityBreakdown>(kRecentActivityFailed, [sql](SQLite::Database& db) {
        RecentActivityBreakdown activity;
        SQLite::Statement statement = sql.prepare(db);
        if (!statement.executeStep()) {
            return activity;
        }
        const RowReader read(statement);
        auto counts = [&read](const std::string& prefix) {
            RecentActivityCounts counts;
            counts.photos = read.integer((prefix + "photos").c_str()).value_or(0);
            counts.videos = read.integer((prefix + "videos").c_str()).value_or(0);
            counts.voiceMemos = read.integer((prefix + "voice").c_str()).value_or(0);
            counts.timeEntries = read.integer((prefix + "time").c_str()).value_or(0);
            return counts;
        };
        activity.day = counts("d_");
        activity.week = counts("w_");
        activity.month = counts("m_");
        activity.latestCapturedAt = read.date("last_captured");
        return activity;
    });
}

QCoro::Task<QList<Question>> DatabaseService::fetchQuestions(std::optional<Question::Status> status,
                                                             IdentityScope scope, int limit) {
    Sql sql;
    sql.append("SELECT slug, name, COALESCE(status, 'open') AS status, file_path, date_start, "
               "date_end FROM entities WHERE entity_type = 'question'");
    if (status) {
        sql.append(" AND COALESCE(status, 'open') = ?").bind(Question::statusWord(*status));
    }
    sql.identity(identityId(scope)).append(" ORDER BY date_start DESC LIMIT ?").bind(qint64(limit));
    return query<QList<Question>>(kQueryFailed, [sql](SQLite::Database& db) {
        QList<Question> questions;
        SQLite::Statement statement = sql.prepare(db);
        while (statement.executeStep()) {
            const RowReader read(statement);
            Question question;
            question.slug = read.text("slug").value_or(QString());
            question.text = read.text("name").value_or(QString());
            question.status = Question::statusFromWord(read.text("status").value_or(QString()));
            question.filePath = read.text("file_path").value_or(QString());
            question.askedAt = read.date("date_start");
            question.answeredAt = read.date("date_end");
            questions.append(question);
        }
        // The index knows nothing of these keys; the files do. Read here, off the main thread.
        for (Question& question : questions) {
            if (question.filePath.isEmpty()) {
                continue;
            }
            const Frontmatter::ReadResult file = Frontmatter::readFile(question.filePath);
            if (file.text) {
                question.readFrontmatter(*file.text);
            }
        }
        return questions;
    });
}

QCoro::Task<std::optional<QString>> DatabaseService::fetchPersonPhotoUuid(QString name,
                                                                          IdentityScope scope) {
    Sql sql;
    sql.append("SELECT photo_uuid FROM registry_items WHERE item_type = 'photo' AND photo_uuid IS "
               "NOT NULL AND people IS NOT NULL AND (',' || people || ',') LIKE ? AND (is_hidden "
               "IS NULL OR is_hidden = 0)")
        .bind(QStringLiteral("%,") + name + QStringLiteral(",%"))
        .identity(identityId(scope))
        .append(" ORDER BY captured_at DESC LIMIT 1");
    return query<std::optional<QString>>(
        kQueryFailed,
        [sql](SQLite::Database& db) -> std::optional<QString> {
            SQLite::Statement statement = sql.prepare(db);
            if (!statement.executeStep()) {
                return std::nullopt;
            }
            return RowReader(statement).text("photo_uuid");
        },
        std::nullopt);
}

std::optional<QString> DatabaseService::identityId(const IdentityScope& scope) const {
    switch (scope.kind) {
    case IdentityScope::Kind::specific:
        return scope.id;
    case IdentityScope::Kind::all:
        return std::nullopt;
    case IdentityScope::Kind::active:
        break;
    }
    // The configuration's own rule, so that the screens and the queries agree on who is active.
    return config_ ? config_->activeIdentityId() : std::nullopt;
}

} // namespace mnemora

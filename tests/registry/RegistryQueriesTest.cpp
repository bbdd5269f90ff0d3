#include <gtest/gtest.h>

#include <QFile>
#include <QTimeZone>

#include <atomic>
#include <numeric>
#include <thread>

#include "app/ConfigService.h"
#include "registry/DatabaseService.h"
#include "support/BundleOverride.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "support/RegistryIndex.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::RegistryIndex;
using mnemora::test::runTask;
using mnemora::test::TestEnvironment;

namespace {

const QDateTime kNow(QDate(2026, 11, 15), QTime(12, 0), QTimeZone::utc());
const qint64 kNowSecs = kNow.toSecsSinceEpoch();
constexpr qint64 kHour = 3600;
constexpr qint64 kDay = 86'400;

QDateTime at(qint64 secs) {
    return QDateTime::fromSecsSinceEpoch(secs, QTimeZone::utc());
}

using Values = std::vector<QVariant>;

// Inserts one row per entry of `rows` into `table`, its values in the order of `columns`; a null
// QVariant writes NULL.
void insert(RegistryIndex& index, const std::string& table, const std::string& columns,
            const std::vector<Values>& rows) {
    for (const Values& row : rows) {
        std::string marks = "?";
        for (std::size_t k = 1; k < row.size(); ++k) {
            marks += ", ?";
        }
        SQLite::Statement statement(index.db(), "INSERT INTO " + table + " (" + columns +
                                                    ") VALUES (" + marks + ")");
        int column = 1;
        for (const QVariant& value : row) {
            if (value.isNull()) {
                statement.bind(column++);
            } else if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong) {
                statement.bind(column++, static_cast<int64_t>(value.toLongLong()));
            } else if (value.typeId() == QMetaType::Double) {
                statement.bind(column++, value.toDouble());
            } else {
                statement.bind(column++, value.toString().toStdString());
            }
        }
        statement.exec();
    }
}

QStringList pathsOf(const QList<RegistryItem>& items) {
    QStringList paths;
    for (const RegistryItem& item : items) {
        paths << item.filePath;
    }
    return paths;
}

QStringList slugsOf(const QList<Question>& questions) {
    QStringList slugs;
    for (const Question& question : questions) {
        slugs << question.slug;
    }
    return slugs;
}

struct RegistryQueries : ::testing::Test {
    TestEnvironment env;
    test::BundleOverride bundle{"ai.mnemora", "Mnemora", "Mnemora"};
    ConfigService config;
    DatabaseService database;
    std::unique_ptr<RegistryIndex> index;

    RegistryQueries() {
        database.setConfig(&config);
        index = std::make_unique<RegistryIndex>(database.indexPath());
        runTask(database.open());
    }

    void setActiveIdentity(const char* id) {
        TestEnvironment::writeFile(config.filePath(),
                                   QByteArray(R"({"active_identity_id": ")") + id + "\"}");
        config.load();
    }
};

} // namespace

TEST_F(RegistryQueries, ItemsOfATypeComeNewestFirstWithUndatedRowsLastAndDecodeEveryColumn) {
    insert(*index, "registry_items", "file_path, item_type, captured_at, identity_id",
           {{"a.jpg", "photo", 100, {}},
            {"undated.jpg", "photo", {}, {}},
            {"c.jpg", "photo", 300, {}},
            {"memo.m4a", "voice_memo", 999, {}},
            {"other.jpg", "photo", 200, "p2"}});

    EXPECT_EQ(pathsOf(runTask(database.fetchItems("photo", IdentityScope::all(), 10))),
              (QStringList{"c.jpg", "other.jpg", "a.jpg", "undated.jpg"}));
    EXPECT_EQ(pathsOf(runTask(database.fetchItems("photo", IdentityScope::all(), 2))),
              (QStringList{"c.jpg", "other.jpg"}));
    EXPECT_EQ(pathsOf(runTask(database.fetchItems("photo", IdentityScope::specific("p2"), 10))),
              QStringList{"other.jpg"});
    // The active scope with no active identity filters nothing; with one it filters.
    EXPECT_EQ(runTask(database.fetchItems("photo", IdentityScope::active(), 10)).size(), 4);
    setActiveIdentity("p2");
    EXPECT_EQ(pathsOf(runTask(database.fetchItems("photo", IdentityScope::active(), 10))),
              QStringList{"other.jpg"});

    // Every column, in the table's order, which is also the fields' order.
    index->db().exec(
        "INSERT INTO registry_items VALUES ('full.mov', 'video', 1700000000, 'done', "
        "'failed', 'pending', 'U-1', 'video', 1, 0, 'Beach', 'hello', 'none', 7, 12.5, "
        "'phone', '/src/full.mov', 0, 'p1', 'photos', 'Library', 'Ann,Bob', 52.5, "
        "13.4, 'Berlin', 'DE', 'Mitte', 'Trips', 'EXIT', 'Acme', 'Books', 'Admin', "
        "1.25, 'filing', 'log.csv', 'Full')");
    const QList<RegistryItem> videos =
        runTask(database.fetchItems("video", IdentityScope::all(), 1));
    ASSERT_EQ(videos.size(), 1);
    const RegistryItem expected{.filePath = "full.mov",
                                .itemType = "video",
                                .capturedAt = at(1'700'000'000),
                                .status = "done",
                                .visualStatus = "failed",
                                .audioStatus = "pending",
                                .photoUuid = "U-1",
                                .mediaType = "video",
                                .isFavorite = true,
                                .isHidden = false,
                                .caption = "Beach",
                                .transcription = "hello",
                                .transcriptionError = "none",
                                .transcriptionAccepted = true,
                                .durationSecs = 12.5,
                                .voiceSource = "phone",
                                .sourceFile = "/src/full.mov",
                                .transcriptOnly = false,
                                .identityId = "p1",
                                .sourceType = "photos",
                                .sourceName = "Library",
                                .people = "Ann,Bob",
                                .latitude = 52.5,
                                .longitude = 13.4,
                                .locality = "Berlin",
                                .country = "DE",
                                .locationName = "Mitte",
                                .albums = "Trips",
                                .ocrText = "EXIT",
                                .timeClient = "Acme",
                                .timeProject = "Books",
                                .timeCategory = "Admin",
                                .timeHours = 1.25,
                                .timeText = "filing",
                                .timeLogName = "log.csv",
                                .title = "Full"};
    EXPECT_EQ(videos.front(), expected);

    // A row of nulls decodes to its path and nothing else.
    const QList<RegistryItem> memos =
        runTask(database.fetchItems("voice_memo", IdentityScope::all(), 5));
    ASSERT_EQ(memos.size(), 1);
    EXPECT_EQ(
        memos.front(),
        (RegistryItem{.filePath = "memo.m4a", .itemType = "voice_memo", .capturedAt = at(999)}));
    EXPECT_TRUE(database.lastError().isEmpty());
}

TEST_F(RegistryQueries, ItemsOfAPlaceMatchNameOrTownIgnoringCase) {
    insert(*index, "registry_items", "file_path, location_name, locality, captured_at, identity_id",
           {{"1", "Café Blau", {}, 10, {}},
            {"2", {}, "LISBON", {}, {}},
            {"3", {}, "lisbon", 30, {}},
            {"4", "Lisbon Airport", {}, 40, {}},
            {"5", "Lisbon", {}, 50, "p2"}});

    EXPECT_EQ(pathsOf(runTask(database.fetchItemsForPlace("Lisbon", IdentityScope::all(), 10))),
              (QStringList{"5", "3", "2"}));
    EXPECT_EQ(
        pathsOf(runTask(database.fetchItemsForPlace("lisbon", IdentityScope::specific("p2"), 10))),
        QStringList{"5"});
    EXPECT_EQ(pathsOf(runTask(database.fetchItemsForPlace("Café Blau", IdentityScope::all(), 1))),
              QStringList{"1"});
}

TEST_F(RegistryQueries, StatsCountItemsAndEntitiesWithUnknownForNullKeys) {
    insert(*index, "registry_items", "file_path, item_type, status, identity_id",
           {{"1", "photo", "done", "p1"},
            {"2", "photo", "pending", "p1"},
            {"3", "voice_memo", {}, "p2"},
            {"4", "time_entry", "done", {}},
            {"5", {}, "done", "p2"}});
    insert(*index, "entities", "entity_type, slug, identity_id",
           {{"person", "ann", "p1"},
            {"person", "bob", "p2"},
            {"place", "lisbon", "p1"},
            {"question", "q", "p1"}});

    const RegistryStats all{
        .totalItems = 5,
        .voiceMemos = 1,
        .photos = 2,
        .timeLogs = 1,
        .people = 2,
        .places = 1,
        .byItemType = {{"photo", 2}, {"voice_memo", 1}, {"time_entry", 1}, {"unknown", 1}},
        .byStatus = {{"done", 3}, {"pending", 1}, {"unknown", 1}},
        .byIdentity = {{"p1", 2}, {"p2", 2}, {"unknown", 1}}};
    EXPECT_EQ(runTask(database.fetchStats(IdentityScope::all())), all);
    const RegistryStats p1{.totalItems = 2,
                           .photos = 2,
                           .people = 1,
                           .places = 1,
                           .byItemType = {{"photo", 2}},
                           .byStatus = {{"done", 1}, {"pending", 1}},
                           .byIdentity = {{"p1", 2}}};
    EXPECT_EQ(runTask(database.fetchStats(IdentityScope::specific("p1"))), p1);
}

TEST_F(RegistryQueries, StatsAreOneSnapshotWhileTheDaemonWrites) {
    index->db().exec("BEGIN");
    for (int i = 0; i < 3000; ++i) {
        index->item(
            {{"file_path", QString::number(i)}, {"item_type", "photo"}, {"status", "done"}});
    }
    index->db().exec("COMMIT");

    // The daemon commits one row after another on its own connection while the screens read.
    std::atomic<bool> stop = false;
    std::atomic<int> commits = 0;
    std::string writerError; // read only after the join
    std::atomic<bool> writerFailed = false;
    std::thread daemon([&] {
        // Like the daemon's own connection: a busy moment is waited out, not an error.
        try {
            SQLite::Database db(database.indexPath().toStdString(), SQLite::OPEN_READWRITE,
                                /*busyTimeoutMs=*/5000);
            db.exec("PRAGMA synchronous = OFF");
            const char* types[] = {"photo", "video", "voice_memo", "time_entry"};
            for (int i = 0; !stop; ++i) {
                SQLite::Statement insert(db, "INSERT INTO registry_items (file_path, item_type, "
                                             "status, identity_id) VALUES (?, ?, ?, ?)");
                insert.bind(1, "new-" + std::to_string(i));
                insert.bind(2, types[i % 4]);
                insert.bind(3, i % 3 ? "pending" : "done");
                insert.bind(4, i % 2 ? "p1" : "p2");
                insert.exec();
                ++commits;
            }
        } catch (const std::exception& error) {
            writerError = error.what();
            writerFailed = true;
        }
    });

    auto sum = [](const QMap<QString, qint64>& counts) {
        return std::accumulate(counts.cbegin(), counts.cend(), qint64(0));
    };
    // A loaded machine may start the writer late; the reads only count once it runs.
    for (int wait = 0; commits == 0 && !writerFailed && wait < 500; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    int readsDuringWrites = 0;
    int torn = 0;
    for (int read = 0; read < 5000 && readsDuringWrites < 30; ++read) {
        const int before = commits;
        const RegistryStats stats = runTask(database.fetchStats(IdentityScope::all()));
        readsDuringWrites += commits > before;
        const bool whole = stats.totalItems == sum(stats.byItemType) &&
                           stats.totalItems == sum(stats.byStatus) &&
                           stats.totalItems == sum(stats.byIdentity);
        torn += !whole;
    }
    stop = true;
    daemon.join();
    EXPECT_EQ(writerError, "");
    EXPECT_GE(readsDuringWrites, 30) << "commits: " << commits;
    EXPECT_EQ(torn, 0);
    EXPECT_TRUE(database.lastError().isEmpty()) << database.lastError().toStdString();
}

TEST_F(RegistryQueries, PendingCountsCountWaitingAndFailedWorkAndTheLastDaysDoneItems) {
    insert(*index, "registry_items",
           "file_path, item_type, visual_status, audio_status, status, captured_at",
           {{"1", "photo", "pending", {}, "pending", {}},
            {"2", "video", "failed", "pending", "processing", {}},
            {"3", "voice_memo", {}, "pending", {}, {}},
            {"4", "voice_memo", {}, "failed", "done", kNowSecs - kHour},
            {"5", "photo", "failed", {}, "done", kNowSecs - 2 * kDay},
            {"6", "photo", {}, "failed", "done", kNowSecs - kDay + 1}});

    // A photo's audio failure does not count.
    EXPECT_EQ(runTask(database.fetchPendingCounts(kNow)),
              (DatabaseService::PendingCounts{.photosPendingVisual = 1,
                                              .videosPendingAudio = 1,
                                              .voiceMemosPendingAudio = 1,
                                              .totalPending = 2,
                                              .doneLast24h = 2,
                                              .audioFailed = 1,
                                              .visualFailed = 2}));
}

TEST_F(RegistryQueries, SourceCoverageGroupsPerIdentityAndSourceWithTimeEntriesUnderTheirLog) {
    insert(*index, "registry_items",
           "file_path, item_type, identity_id, source_type, source_name, captured_at, latitude, "
           "caption, people, transcription, time_log_name",
           {{"1", "photo", "p1", "photos", "Library", 50, 1.0, "x", "Ann", {}, {}},
            {"2", "video", "p1", "photos", "Library", 70, {}, "", "", {}, {}},
            {"3", "voice_memo", "p1", "memos", "Phone", {}, {}, {}, {}, "hi", {}},
            {"4", "time_entry", "p1", {}, {}, 10, {}, {}, {}, {}, "hours.csv"},
            {"5", "time_entry", "p1", "", "", 20, {}, {}, {}, {}, "hours.csv"},
            {"6", "time_entry", {}, {}, {}, {}, {}, {}, {}, {}, {}}});

    using Row = DatabaseService::SourceCoverageRow;
    const Row unnamedLog{
        .sourceType = "time", .sourceName = "time logs", .total = 1, .timeEntries = 1};
    const Row memos{.identityId = "p1",
                    .sourceType = "memos",
                    .sourceName = "Phone",
                    .total = 1,
                    .voiceMemos = 1,
                    .withTranscription = 1};
    const Row photos{.identityId = "p1",
                     .sourceType = "photos",
                     .sourceName = "Library",
                     .total = 2,
                     .photos = 1,
                     .videos = 1,
                     .withLocation = 1,
                     .withCaption = 1,
                     .withPeople = 1,
                     .minCapturedEpoch = 50,
                     .maxCapturedEpoch = 70};
    const Row hours{.identityId = "p1",
                    .sourceType = "time",
                    .sourceName = "hours.csv",
                    .total = 2,
                    .timeEntries = 2,
                    .minCapturedEpoch = 10,
                    .maxCapturedEpoch = 20};
    EXPECT_EQ(runTask(database.fetchSourceCoverage(IdentityScope::all())),
              (QList<Row>{unnamedLog, memos, photos, hours}));
    EXPECT_EQ(runTask(database.fetchSourceCoverage(IdentityScope::specific("p1"))),
              (QList<Row>{memos, photos, hours}));
}

TEST_F(RegistryQueries, RecentActivityCountsTheLastDayWeekAndMonth) {
    insert(*index, "registry_items", "file_path, item_type, captured_at, identity_id",
           {{"1", "photo", kNowSecs - kHour, {}},
            {"2", "photo", kNowSecs - 3 * kDay, {}},
            {"3", "video", kNowSecs - 20 * kDay, {}},
            {"4", "voice_memo", kNowSecs - 2 * kHour, "p2"},
            {"5", "time_entry", kNowSecs - 6 * kDay, {}},
            {"6", "photo", kNowSecs - 40 * kDay, {}}});

    DatabaseService::RecentActivityBreakdown all;
    all.day = {1, 0, 1, 0};
    all.week = {2, 0, 1, 1};
    all.month = {2, 1, 1, 1};
    all.latestCapturedAt = at(kNowSecs - kHour);
    EXPECT_EQ(runTask(database.fetchRecentActivity(IdentityScope::all(), kNow)), all);

    DatabaseService::RecentActivityBreakdown p2;
    p2.day = {0, 0, 1, 0};
    p2.week = {0, 0, 1, 0};
    p2.month = {0, 0, 1, 0};
    p2.latestCapturedAt = at(kNowSecs - 2 * kHour);
    EXPECT_EQ(runTask(database.fetchRecentActivity(IdentityScope::specific("p2"), kNow)), p2);

    // Nothing in the last month: zero counts and no date.
    EXPECT_EQ(runTask(database.fetchRecentActivity(IdentityScope::specific("none"), kNow)),
              DatabaseService::RecentActivityBreakdown{});
}

TEST_F(RegistryQueries, APersonsPhotoIsTheNewestVisibleOneNamingThemAsAWholeEntry) {
    const std::string columns = "file_path, item_type, photo_uuid, people, captured_at, "
                                "is_hidden, identity_id";
    insert(*index, "registry_items", columns,
           {{"1", "photo", "anna-bob", "Anna,Bob", 500, {}, {}}});
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Ann", IdentityScope::all())), std::nullopt);
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Bob", IdentityScope::all())), "anna-bob");

    insert(*index, "registry_items", columns, {{"2", "photo", "hidden", "Ann", 900, 1, {}}});
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Ann", IdentityScope::all())), std::nullopt);

    insert(*index, "registry_items", columns,
           {{"3", "photo", "old", "Cy,Ann", 100, 0, {}},
            {"4", "photo", "new", "Ann", 300, {}, "p2"},
            {"5", "video", "video", "Ann", 800, {}, {}}});
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Ann", IdentityScope::all())), "new");
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Ann", IdentityScope::specific("p1"))),
              std::nullopt);
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Cy", IdentityScope::all())), "old");
}

TEST_F(RegistryQueries, QuestionsComeNewestFirstWithANullStatusReadAsOpenAndTheirFilesKeys) {
    const QString file = env.root() + "/vault/Registry/me/questions/close-books.md";
    TestEnvironment::writeFile(file, "---\n"
                                     "kind: allocation\n"
                                     "status: open\n"
                                     "asked_by: \"dreamer:ledger\"\n"
                                     "period: 2026-10\n"
                                     "books: 'acme'\n"
                                     "suggested_actions: [Yes => do it | No]\n"
                                     "context:   \n"
                                     "---\n\n## Question\n\nWhich books?\n");
    insert(*index, "entities",
           "entity_type, slug, name, status, file_path, date_start, date_end, identity_id",
           {{"question", "close-books", "Which books?", {}, file, "2026-11-15T06:00:00Z", {}, {}},
            {"question",
             "old",
             "Old one",
             "answered",
             env.root() + "/missing.md",
             "2026-11-01T08:00:00Z",
             "2026-11-02T09:30:00Z",
             {}},
            {"question", "gone", {}, "dismissed", {}, "2026-11-03T00:00:00Z", {}, "p2"},
            {"question", "odd", {}, "snoozed", {}, "2026-11-10T00:00:00Z", {}, "p2"},
            {"person", "ann", {}, "open", {}, {}, {}, {}}});

    const QList<Question> all =
        runTask(database.fetchQuestions(std::nullopt, IdentityScope::all(), 50));
    EXPECT_EQ(slugsOf(all), (QStringList{"close-books", "odd", "gone", "old"}));

    EXPECT_EQ(all.at(0),
              (Question{.slug = "close-books",
                        .text = "Which books?",
                        .filePath = file,
                        .askedAt = QDateTime(QDate(2026, 11, 15), QTime(6, 0), QTimeZone::utc()),
                        .askedBy = "dreamer:ledger",
                        .period = "2026-10",
                        .books = "acme",
                        .kind = "allocation",
                        .suggestedActionsRaw = "[Yes => do it | No]"}));

    // A missing file leaves the frontmatter fields empty; the index fields stay.
    EXPECT_EQ(
        all.at(3),
        (Question{.slug = "old",
                  .text = "Old one",
                  .status = Question::Status::answered,
                  .filePath = env.root() + "/missing.md",
                  .askedAt = QDateTime(QDate(2026, 11, 1), QTime(8, 0), QTimeZone::utc()),
                  .answeredAt = QDateTime(QDate(2026, 11, 2), QTime(9, 30), QTimeZone::utc())}));
    EXPECT_EQ(all.at(1).status, Question::Status::open); // an unknown word counts as open
    EXPECT_EQ(all.at(2).status, Question::Status::dismissed);

    // The filter compares the stored word, so a null status is found as open.
    EXPECT_EQ(
        slugsOf(runTask(database.fetchQuestions(Question::Status::open, IdentityScope::all(), 50))),
        QStringList{"close-books"});
    EXPECT_EQ(slugsOf(runTask(
                  database.fetchQuestions(Question::Status::answered, IdentityScope::all(), 50))),
              QStringList{"old"});
    EXPECT_EQ(
        slugsOf(runTask(database.fetchQuestions(std::nullopt, IdentityScope::specific("p2"), 50))),
        (QStringList{"odd", "gone"}));
    EXPECT_EQ(slugsOf(runTask(database.fetchQuestions(std::nullopt, IdentityScope::all(), 1))),
              QStringList{"close-books"});
    EXPECT_TRUE(database.lastError().isEmpty());
}

TEST_F(RegistryQueries, LoadingOpenQuestionsPublishesTheActiveIdentitysFirstFifty) {
    for (int i = 0; i < 55; ++i) {
        index->entity(
            {{"entity_type", "question"},
             {"slug", QStringLiteral("q%1").arg(i, 2, 10, QLatin1Char('0'))},
             {"status", i % 2 ? "answered" : "open"},
             {"date_start", QStringLiteral("2026-11-15T06:%1:00Z").arg(i, 2, 10, QLatin1Char('0'))},
             {"identity_id", i < 53 ? "me" : "other"}});
    }
    setActiveIdentity("me");
    int changed = 0;
    QObject::connect(&database, &DatabaseService::openQuestionsChanged, [&changed] { ++changed; });
    runTask(database.loadOpenQuestions());
    EXPECT_EQ(changed, 1);
    ASSERT_EQ(database.openQuestions().size(), 50);
    EXPECT_EQ(database.openQuestions(),
              runTask(database.fetchQuestions(std::nullopt, IdentityScope::specific("me"), 50)));

    // Loading the same list again announces nothing.
    runTask(database.loadOpenQuestions());
    EXPECT_EQ(changed, 1);
}

TEST_F(RegistryQueries, EveryQueryFailsWithItsOwnWordAndAnEmptyResult) {
    // An index from an older daemon: the tables exist without the columns the client reads.
    index.reset();
    QFile::remove(database.indexPath());
    {
        SQLite::Database old(database.indexPath().toStdString(),
                             SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        old.exec("CREATE TABLE registry_items (file_path TEXT, item_type TEXT, captured_at "
                 "INTEGER)");
        old.exec("INSERT INTO registry_items VALUES ('a', 'photo', 1)");
        old.exec("CREATE TABLE entities (entity_type TEXT, slug TEXT)");
    }
    runTask(database.open());
    ASSERT_TRUE(database.isOpen());

    EXPECT_TRUE(runTask(database.fetchItems("photo", IdentityScope::all(), 5)).isEmpty());
    EXPECT_EQ(database.lastError(), "Query failed: no such column: status")
        << database.lastError().toStdString();

    EXPECT_TRUE(runTask(database.fetchSourceCoverage(IdentityScope::all())).isEmpty());
    EXPECT_TRUE(database.lastError().startsWith("Source coverage query failed: no such column"))
        << database.lastError().toStdString();

    EXPECT_EQ(runTask(database.fetchRecentActivity(IdentityScope::specific("p"), kNow)),
              DatabaseService::RecentActivityBreakdown{});
    EXPECT_TRUE(database.lastError().startsWith("Recent activity query failed: no such column"))
        << database.lastError().toStdString();

    EXPECT_TRUE(runTask(database.fetchQuestions(std::nullopt, IdentityScope::all(), 5)).isEmpty());
    EXPECT_TRUE(database.lastError().startsWith("Query failed: no such column"))
        << database.lastError().toStdString();
    EXPECT_EQ(runTask(database.fetchStats(IdentityScope::all())), RegistryStats{});
    EXPECT_EQ(runTask(database.fetchPendingCounts(kNow)), DatabaseService::PendingCounts{});
    EXPECT_EQ(runTask(database.fetchPersonPhotoUuid("Ann", IdentityScope::all())), std::nullopt);
    EXPECT_TRUE(database.lastError().startsWith("Query failed: no such column"));
}

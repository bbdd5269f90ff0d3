#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroFuture>
#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>

#include "app/ConfigService.h"
#include "registry/IdentityScope.h"
#include "registry/IndexQuery.h"
#include "registry/Question.h"
#include "registry/ReadPool.h"
#include "registry/RegistryItem.h"
#include "registry/RegistryStats.h"

namespace mnemora {

// Read-only access to the daemon's index of one vault. The daemon owns the file and writes it;
// we only read, through a pool of read-only connections, and never block it. Queries never throw:
// a failure lands in `lastError` with the query's own word and the result is empty.
class DatabaseService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(
        QList<mnemora::Question> openQuestions READ openQuestions NOTIFY openQuestionsChanged)

public:
    // Work still waiting for the daemon, and what it finished in the last day.
    struct PendingCounts {
        qint64 photosPendingVisual = 0;
        qint64 videosPendingAudio = 0;
        qint64 voiceMemosPendingAudio = 0;
        qint64 totalPending = 0;
        qint64 doneLast24h = 0;
        qint64 audioFailed = 0;
        qint64 visualFailed = 0;
        bool operator==(const PendingCounts&) const = default;
    };

    // What one source of one identity has given: a time entry without a source counts under the
    // type "time" and its log's name.
    struct SourceCoverageRow {
        QString identityId{};
        QString sourceType{};
        QString sourceName{};
        qint64 total = 0;
        qint64 photos = 0;
        qint64 videos = 0;
        qint64 voiceMemos = 0;
        qint64 timeEntries = 0;
        qint64 withLocation = 0;
        qint64 withCaption = 0;
        qint64 withPeople = 0;
        qint64 withTranscription = 0;
        std::optional<qint64> minCapturedEpoch{};
        std::optional<qint64> maxCapturedEpoch{};
        bool operator==(const SourceCoverageRow&) const = default;
    };

    struct RecentActivityCounts {
        qint64 photos = 0;
        qint64 videos = 0;
        qint64 voiceMemos = 0;
        qint64 timeEntries = 0;
        bool operator==(const RecentActivityCounts&) const = default;
    };

    // Items captured in the last day, week (7 days) and month (30 days).
    struct RecentActivityBreakdown {
        RecentActivityCounts day;
        RecentActivityCounts week;
        RecentActivityCounts month;
        std::optional<QDateTime> latestCapturedAt{}; // within the month
        bool operator==(const RecentActivityBreakdown&) const = default;
    };

    struct PlaceSummary {
        QString name{};
        std::optional<QString> country{};
        qint64 totalCount = 0;
        bool operator==(const PlaceSummary&) const = default;
    };

    // How many questions the first load after opening publishes.
    static constexpr int openQuestionsLimit = 50;

    explicit DatabaseService(QObject* parent = nullptr);

    bool isOpen() const { return isOpen_; }
    // Empty when there is no error.
    const QString& lastError() const { return lastError_; }

    ConfigService* config() const { return config_; }
    void setConfig(ConfigService* config) { config_ = config; }

    // Set for a vault runtime: that vault's cache folder.
    const QString& cacheDirOverride() const { return cacheDirOverride_; }
    void setCacheDirOverride(const QString& folder) { cacheDirOverride_ = folder; }

    // `{cache folder}/registry_index.sqlite`.
    QString indexPath() const;

    // Opens the index if the daemon has built it. A missing file is a normal state, not an error;
    // a later call picks up a file that has appeared since.
    QCoro::Task<> open();

    // The identity a scope filters on; none means no filter.
    std::optional<QString> identityId(const IdentityScope& scope) const;

    // The questions the screens list, newest first, as last loaded.
    const QList<Question>& openQuestions() const { return openQuestions_; }
    void setOpenQuestions(const QList<Question>& questions);

    // Loads the questions of the active identity, whatever their status, and publishes them on
    // `openQuestions`. Run after opening the index and whenever the screens ask for a refresh.
    QCoro::Task<> loadOpenQuestions(int limit = openQuestionsLimit);

    // The queries. All give the empty value when the index is not open or the query fails, with
    // the failure in `lastError`.
    QCoro::Task<RegistryStats> fetchStats(IdentityScope scope);
    // Items of one type, newest first; undated rows last.
    QCoro::Task<QList<RegistryItem>> fetchItems(QString type, IdentityScope scope, int limit);
    // Items whose place name or town is `place`, ignoring case; newest first, undated last.
    QCoro::Task<QList<RegistryItem>> fetchItemsForPlace(QString place, IdentityScope scope,
                                                        int limit);
    QCoro::Task<PendingCounts> fetchPendingCounts();
    QCoro::Task<PendingCounts> fetchPendingCounts(QDateTime now);
    QCoro::Task<QList<SourceCoverageRow>> fetchSourceCoverage(IdentityScope scope);
    QCoro::Task<RecentActivityBreakdown> fetchRecentActivity(IdentityScope scope, QDateTime now);
    // Questions of one status, or all when none is given, newest first, each with the frontmatter
    // keys its file adds. An unreadable file leaves those keys empty.
    QCoro::Task<QList<Question>> fetchQuestions(std::optional<Question::Status> status,
                                                IdentityScope scope, int limit);
    // The newest photo of a person that is not hidden; the name must be a whole entry of the
    // row's comma-separated `people`.
    QCoro::Task<std::optional<QString>> fetchPersonPhotoUuid(QString name, IdentityScope scope);

    // The one pattern of every query: no pool gives `empty`; otherwise `block` runs on a pooled
    // connection off the main thread, and a failure sets "{word}: {error}" and gives `empty`.
    template <typename T>
    QCoro::Task<T> query(QString word, std::function<T(SQLite::Database&)> block, T empty = T{}) {
        QCoro::Task<std::optional<T>> reading =
            readIndex<T>(pool_, this, std::move(word), std::move(block),
                         [this](const QString& error) { setLastError(error); });
        std::optional<T> value = co_await std::move(reading);
        co_return value ? std::move(*value) : std::move(empty);
    }

signals:
    void isOpenChanged();
    void lastErrorChanged();
    void openQuestionsChanged();

protected:
    void setLastError(const QString& error);

private:
    void setOpen(bool open);

    bool isOpen_ = false;
    QString lastError_;
    QPointer<ConfigService> config_;
    std::shared_ptr<ReadPool> pool_;
    QString cacheDirOverride_;
    QList<Question> openQuestions_;
};

} // namespace mnemora

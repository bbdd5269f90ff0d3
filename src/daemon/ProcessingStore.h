#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>

#include "app/CancellableLoop.h"
#include "daemon/AssetStatusEvent.h"
#include "daemon/EventStreamReader.h"
#include "daemon/VlmPullProgress.h"

namespace mnemora {

class DaemonService;

using AssetStatusMap = QHash<QString, AssetStatusEvent>;
using QueuePositionMap = QHash<QString, int>;

// Keeps the daemon's `progress` event stream open and turns its events into state the screens
// watch: each file's processing status, a feed of recent events and the busy flags of long
// maintenance jobs. Events come by the hundred per second, so status changes and index reloads
// are coalesced into one update per window; no screen reads the raw stream.
class ProcessingStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(mnemora::AssetStatusMap statusByPath READ statusByPath NOTIFY statusByPathChanged)
    Q_PROPERTY(
        QList<mnemora::AssetStatusEvent> recentEvents READ recentEvents NOTIFY recentEventsChanged)
    Q_PROPERTY(int indexRebuildTick READ indexRebuildTick NOTIFY indexRebuildTickChanged)
    Q_PROPERTY(mnemora::QueuePositionMap queuePositionsAudio READ queuePositionsAudio NOTIFY
                   queuePositionsChanged)
    Q_PROPERTY(mnemora::QueuePositionMap queuePositionsVisual READ queuePositionsVisual NOTIFY
                   queuePositionsChanged)
    Q_PROPERTY(
        bool entityGenerationBusy READ entityGenerationBusy NOTIFY entityGenerationBusyChanged)
    Q_PROPERTY(bool indexRebuildBusy READ indexRebuildBusy NOTIFY indexRebuildChanged)
    Q_PROPERTY(std::optional<double> indexRebuildProgress READ indexRebuildProgress NOTIFY
                   indexRebuildChanged)
    Q_PROPERTY(std::optional<QString> indexRebuildStatus READ indexRebuildStatus NOTIFY
                   indexRebuildChanged)
    Q_PROPERTY(std::optional<mnemora::VlmPullProgress> vlmPullProgress READ vlmPullProgress NOTIFY
                   vlmPullProgressChanged)

public:
    using Clock = std::function<QDateTime()>;

    struct Timings {
        std::chrono::milliseconds reconnectDelay{2'000};
        std::chrono::milliseconds staleAfter{60'000}; // of a "processing" entry
        std::chrono::milliseconds statusWindow{100};
        std::chrono::milliseconds indexTickWindow{400};
    };

    static constexpr int maxRecent = 50;

    explicit ProcessingStore(QObject* parent = nullptr);
    ~ProcessingStore() override;

    const AssetStatusMap& statusByPath() const { return statusByPath_; }
    // Newest first, at most `maxRecent`.
    const QList<AssetStatusEvent>& recentEvents() const { return recentEvents_; }
    int indexRebuildTick() const { return indexRebuildTick_; }
    const QueuePositionMap& queuePositionsAudio() const { return queuePositionsAudio_; }
    const QueuePositionMap& queuePositionsVisual() const { return queuePositionsVisual_; }
    bool entityGenerationBusy() const { return entityGenerationBusy_; }
    bool indexRebuildBusy() const { return indexRebuildBusy_; }
    // A fraction from 0 to 1 while a rebuild reports it.
    std::optional<double> indexRebuildProgress() const { return indexRebuildProgress_; }
    const std::optional<QString>& indexRebuildStatus() const { return indexRebuildStatus_; }
    const std::optional<VlmPullProgress>& vlmPullProgress() const { return vlmPullProgress_; }

    DaemonService* daemon() const { return daemon_; }
    void setDaemon(DaemonService* daemon) { daemon_ = daemon; }
    void setTimings(const Timings& timings) { timings_ = timings; }
    void setClock(Clock clock) { clock_ = std::move(clock); }

    // Loads the queue positions once and opens the stream; nothing when it is open already.
    void start();
    // Closes the stream; the state keeps what it holds.
    void stop();
    bool isStreaming() const { return sseTask_.isActive(); }

    QCoro::Task<> refreshQueuePositions();

    // `entries` without those stuck at "processing" for longer than `maxAge` before `now`.
    static AssetStatusMap withoutStale(AssetStatusMap entries, const QDateTime& now,
                                       std::chrono::milliseconds maxAge);

signals:
    void statusByPathChanged();
    void recentEventsChanged();
    void indexRebuildTickChanged();
    void queuePositionsChanged();
    void entityGenerationBusyChanged();
    void indexRebuildChanged();
    void vlmPullProgressChanged();
    // One line of text per retry event.
    void retryEvent(const QString& line);
    void questionsChanged();
    // One line of text per entity generation event.
    void entityEvent(const QString& line);

private:
    static QCoro::Task<> streamPass(QPointer<ProcessingStore> self, CancelToken token);
    static QCoro::Task<> flushStatusAfter(QPointer<ProcessingStore> self,
                                          std::chrono::milliseconds window);
    static QCoro::Task<> flushIndexTickAfter(QPointer<ProcessingStore> self,
                                             std::chrono::milliseconds window);
    void dispatch(const QJsonObject& object);

    // One handler per event word of the stream, each given the event's payload.
    using EventHandler = void (ProcessingStore::*)(const QJsonObject& payload);
    static const QHash<QString, EventHandler>& eventHandlers();
    void onAssetStatus(const QJsonObject& payload);
    void onIndexChanged(const QJsonObject& payload);
    void onQuestionsChanged(const QJsonObject& payload);
    void onRetryStarted(const QJsonObject& payload);
    void onRetryComplete(const QJsonObject& payload);
    void onRetryError(const QJsonObject& payload);
    void onEntitiesStarted(const QJsonObject& payload);
    void onEntitiesComplete(const QJsonObject& payload);
    void onEntitiesError(const QJsonObject& payload);
    void onRebuildStarted(const QJsonObject& payload);
    void onRebuildProgress(const QJsonObject& payload);
    void onRebuildComplete(const QJsonObject& payload);
    void onRebuildError(const QJsonObject& payload);
    void onModelDownload(const QJsonObject& payload);
    void coalesce(AssetStatusEvent event);
    void requestIndexTick();
    void flushStatus();
    void onStreamEnded();
    void setEntityGenerationBusy(bool busy);
    void setIndexRebuild(bool busy, std::optional<double> progress, std::optional<QString> status);
    void setVlmPullProgress(std::optional<VlmPullProgress> progress);
    QDateTime now() const;

    AssetStatusMap statusByPath_;
    QList<AssetStatusEvent> recentEvents_;
    int indexRebuildTick_ = 0;
    QueuePositionMap queuePositionsAudio_;
    QueuePositionMap queuePositionsVisual_;
    bool entityGenerationBusy_ = false;
    bool indexRebuildBusy_ = false;
    std::optional<double> indexRebuildProgress_;
    std::optional<QString> indexRebuildStatus_;
    std::optional<VlmPullProgress> vlmPullProgress_;

    QPointer<DaemonService> daemon_;
    CancellableTask sseTask_;
    EventStreamReader stream_;
    AssetStatusMap pendingByPath_;
    QList<AssetStatusEvent> pendingRecent_; // oldest first, only the newest `maxRecent`
    bool flushScheduled_ = false;
    bool pendingIndexTick_ = false;
    bool indexTickFlushScheduled_ = false;
    Timings timings_;
    Clock clock_;
};

} // namespace mnemora

#pragma once

#include "cloud/RecordStore.h"
#include "cloud/RecordSyncEngineState.h"
#include "cloud/RecordSyncEvent.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <QCoroTask>

#include <chrono>
#include <map>
#include <memory>
#include <optional>

namespace mnemora {

class TurnGate;

// Keeps the cloud in step with the desktop: holds the changes waiting to go out and the token of
// the change feed, sends the pending changes in batches the delegate builds, and hands the
// changes other clients wrote to the delegate. While started it sends by itself shortly after
// changes are added, retries a send that failed for a passing reason (no network, a server
// error) with a growing pause, and keeps a long poll on the change feed so that a phone's edit
// arrives within about a second. The state goes to the delegate as JSON on every change. Main
// thread only.
class RecordSyncEngine : public QObject {
    Q_OBJECT

public:
    struct Configuration {
        std::shared_ptr<RecordStore> store;
        std::optional<RecordSyncEngineState> stateSerialization; // none: a fresh start
        RecordSyncEngineDelegate* delegate = nullptr;            // not owned; outlives the engine
        std::chrono::milliseconds sendDelay{1000};       // quiet time after the last added change
        std::chrono::milliseconds firstRetryDelay{1000}; // doubles with each failure in a row
        std::chrono::milliseconds maxRetryDelay{60000};
        std::chrono::milliseconds longPollLimit{25000};
        int fetchPageLimit = 500;
        int sendBatchLimit = 400;
    };

    // None when the call succeeded, else why it failed.
    using Outcome = std::optional<RecordStoreError>;

    explicit RecordSyncEngine(Configuration configuration, QObject* parent = nullptr);
    ~RecordSyncEngine() override;

    // The pending changes and the feed's token. Adding changes while started schedules a send.
    RecordSyncEngineState& state() { return state_; }
    const RecordSyncEngineState& state() const { return state_; }

    const std::shared_ptr<RecordStore>& store() const { return store_; }

    // Automatic sync: scheduled sends, retries, and the long poll with a fetch when it wakes.
    void start();
    void stop();
    bool isStarted() const { return started_ != nullptr; }

    // Fetches every change since the token. Runs after a fetch already under way.
    QCoro::Task<Outcome> fetchChanges();

    // Sends the pending changes of the zones named, or of all. Runs after a send already under
    // way.
    QCoro::Task<Outcome> sendChanges(std::optional<QStringList> zoneNames = std::nullopt);

    // The pause before retry number `attempt` (from 1): the first delay, doubled each time, at
    // most the longest.
    static std::chrono::milliseconds retryDelay(int attempt, std::chrono::milliseconds first,
                                                std::chrono::milliseconds longest);

private:
    enum class AccountStatus { unknown, available, unavailable };

    void emitEvent(const RecordSyncEvent& event);
    void stateChanged(bool added);
    void scheduleSend();
    void flushStateUpdate();
    void noteStoreAnswer(const std::optional<RecordStoreError>& failure);
    void scheduleRetry();
    void sendInBackground();

    QCoro::Task<Outcome> fetchOnce();
    void deliverPage(const ChangesPage& page);
    QCoro::Task<Outcome> send(SendChangesContext context);
    QCoro::Task<Outcome> sendOnce(SendChangesContext context);
    QCoro::Task<Outcome> sendDatabaseChanges(SendChangesContext context);
    QCoro::Task<Outcome> sendRecordBatches(SendChangesContext context);
    // Gives the first passing failure of a record, which calls for a retry.
    Outcome handleModifyResult(const RecordZoneChangeBatch& batch,
                               const ModifyRecordsResult& result);
    QCoro::Task<> pollLoop(std::shared_ptr<bool> stopped);

    std::shared_ptr<RecordStore> store_;
    RecordSyncEngineDelegate* delegate_;
    Configuration configuration_;
    RecordSyncEngineState state_;
    std::shared_ptr<TurnGate> fetchGate_;
    std::shared_ptr<TurnGate> sendGate_;
    QTimer sendTimer_;
    QDeadlineTimer sendDeadline_; // the latest a scheduled send may start
    QTimer retryTimer_;
    QTimer stateTimer_;
    bool stateDirty_ = false;
    int failedSends_ = 0;
    AccountStatus accountStatus_ = AccountStatus::unknown;
    std::shared_ptr<bool> started_;       // the running poll loop's stop flag
    std::map<RecordID, QString> ownTags_; // tags of our own writes, not to be fetched back
};

} // namespace mnemora

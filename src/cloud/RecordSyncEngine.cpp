#include "cloud/RecordSyncEngine.h"

#include <QFuture>
#include <QPointer>
#include <QPromise>

#include <QCoroFuture>
#include <QCoroTimer>

#include <algorithm>
#include <deque>
#include <set>

namespace mnemora {

// Lets one coroutine at a time through: the others wait their turn in order. A coroutine that
// holds the turn hands it on when its Turn goes out of scope.
class TurnGate {
public:
    QCoro::Task<> acquire() {
        if (!busy_) {
            busy_ = true;
            co_return;
        }
        auto promise = std::make_shared<QPromise<void>>();
        promise->start();
        waiters_.push_back(promise);
        QFuture<void> turn = promise->future();
        co_await turn;
    }

    void release() {
        if (waiters_.empty()) {
            busy_ = false;
            return;
        }
        const std::shared_ptr<QPromise<void>> next = waiters_.front();
        waiters_.pop_front();
        next->finish();
    }

private:
    bool busy_ = false;
    std::deque<std::shared_ptr<QPromise<void>>> waiters_;
};

namespace {

struct Turn {
    std::shared_ptr<TurnGate> gate;
    ~Turn() { gate->release(); }
};

RecordSyncEngine::Outcome engineGone() {
    return RecordStoreError::make(RecordStoreError::Code::operationCancelled,
                                  QStringLiteral("The sync engine was closed."));
}

} // namespace

std::chrono::milliseconds RecordSyncEngine::retryDelay(int attempt, std::chrono::milliseconds first,
                                                       std::chrono::milliseconds longest) {
    std::chrono::milliseconds delay = first;
    for (int i = 1; i < attempt && delay < longest; ++i) {
        delay *= 2;
    }
    return std::min(delay, longest);
}

RecordSyncEngine::RecordSyncEngine(Configuration configuration, QObject* parent)
    : QObject(parent)
    , store_(configuration.store)
    , delegate_(configuration.delegate)
    , configuration_(std::move(configuration))
    , state_(configuration_.stateSerialization.value_or(RecordSyncEngineState{}))
    , fetchGate_(std::make_shared<TurnGate>())
    , sendGate_(std::make_shared<TurnGate>()) {
    state_.observer_ = [this](bool added) { stateChanged(added); };
    for (QTimer* timer : {&sendTimer_, &retryTimer_, &stateTimer_}) {
        timer->setSingleShot(true);
    }
    stateTimer_.setInterval(0);
    connect(&sendTimer_, &QTimer::timeout, this, [this] { sendInBackground(); });
    connect(&retryTimer_, &QTimer::timeout, this, [this] { sendInBackground(); });
    connect(&stateTimer_, &QTimer::timeout, this, &RecordSyncEngine::flushStateUpdate);
}

RecordSyncEngine::~RecordSyncEngine() {
    stop();
}

void RecordSyncEngine::start() {
    if (started_) {
        return;
    }
    started_ = std::make_shared<bool>(false);
    // Runs detached until stop() sets its flag; it holds only the flag and a guard of this.
    pollLoop(started_);
    if (!state_.pendingDatabaseChanges().isEmpty() ||
        !state_.pendingRecordZoneChanges().isEmpty()) {
        scheduleSend();
    }
}

void RecordSyncEngine::stop() {
    if (!started_) {
        return;
    }
    *started_ = true;
    started_.reset();
    sendTimer_.stop();
    retryTimer_.stop();
    store_->abortWaits();
}

void RecordSyncEngine::emitEvent(const RecordSyncEvent& event) {
    if (delegate_ != nullptr) {
        delegate_->handleEvent(event, *this);
    }
}

void RecordSyncEngine::stateChanged(bool added) {
    stateDirty_ = true;
    stateTimer_.start();
    if (added && started_) {
        scheduleSend();
    }
}

void RecordSyncEngine::scheduleSend() {
    // Each new change restarts the quiet time, but a steady trickle of changes still goes out
    // within a few quiet times of the first.
    if (!sendTimer_.isActive()) {
        sendDeadline_.setRemainingTime(configuration_.sendDelay * 5);
    }
    sendTimer_.start(std::min(configuration_.sendDelay,
                              std::chrono::milliseconds(sendDeadline_.remainingTime())));
}

void RecordSyncEngine::flushStateUpdate() {
    if (!stateDirty_) {
        return;
    }
    stateDirty_ = false;
    stateTimer_.stop();
    emitEvent(SyncEvent::StateUpdate{state_.toJson()});
}

void RecordSyncEngine::noteStoreAnswer(const std::optional<RecordStoreError>& failure) {
    if (failure && failure->code == RecordStoreError::Code::notAuthenticated) {
        if (accountStatus_ != AccountStatus::unavailable) {
            accountStatus_ = AccountStatus::unavailable;
            emitEvent(SyncEvent::AccountChange{
                SyncEvent::AccountChange::Kind::signOut, state_.account().value_or(QString()), {}});
        }
        return;
    }
    if (failure || accountStatus_ == AccountStatus::available) {
        return;
    }
    const QString current = store_->accountName();
    const std::optional<QString> previous = state_.account();
    const bool wasSignedOut = accountStatus_ == AccountStatus::unavailable;
    accountStatus_ = AccountStatus::available;
    state_.setAccount(current);
    if (previous && *previous != current) {
        emitEvent(SyncEvent::AccountChange{SyncEvent::AccountChange::Kind::switchAccounts,
                                           *previous, current});
    } else if (!previous || wasSignedOut) {
        emitEvent(SyncEvent::AccountChange{SyncEvent::AccountChange::Kind::signIn, {}, current});
    }
}

void RecordSyncEngine::scheduleRetry() {
    ++failedSends_;
    if (started_) {
        retryTimer_.start(
            retryDelay(failedSends_, configuration_.firstRetryDelay, configuration_.maxRetryDelay));
    }
}

void RecordSyncEngine::sendInBackground() {
    // Started and left: the send holds a guard of this engine and ends on its own.
    send(SendChangesContext{SendChangesContext::Reason::scheduled, std::nullopt});
}

QCoro::Task<RecordSyncEngine::Outcome> RecordSyncEngine::fetchChanges() {
    QPointer<RecordSyncEngine> self(this);
    const std::shared_ptr<TurnGate> gate = fetchGate_;
    QCoro::Task<> waiting = gate->acquire();
    co_await waiting;
    const Turn turn{gate};
    if (!self) {
        co_return engineGone();
    }
    QCoro::Task<Outcome> fetching = self->fetchOnce();
    co_return co_await fetching;
}

QCoro::Task<RecordSyncEngine::Outcome> RecordSyncEngine::fetchOnce() {
    QPointer<RecordSyncEngine> self(this);
    const std::shared_ptr<RecordStore> store = store_;
    emitEvent(SyncEvent::WillFetchChanges{});
    Outcome outcome;
    for (bool more = true; more;) {
        QCoro::Task<StoreResult<ChangesPage>> fetching =
            store->fetchChanges(state_.changeToken(), configuration_.fetchPageLimit);
        const StoreResult<ChangesPage> page = co_await fetching;
        if (!self) {
            co_return engineGone();
        }
        self->noteStoreAnswer(page.error);
        if (!page.ok()) {
            outcome = page.error;
            break;
        }
        self->deliverPage(page.value);
        more = page.value.moreComing;
    }
    self->emitEvent(SyncEvent::DidFetchChanges{outcome});
    self->flushStateUpdate();
    co_return outcome;
}

void RecordSyncEngine::deliverPage(const ChangesPage& page) {
    if (!page.modifiedZones.isEmpty() || !page.deletedZones.isEmpty()) {
        emitEvent(SyncEvent::FetchedDatabaseChanges{page.modifiedZones, page.deletedZones});
    }
    SyncEvent::FetchedRecordZoneChanges changes;
    QStringList zones;
    const auto isOwn = [this](const RecordID& id, const QString& tag) {
        const auto found = ownTags_.find(id);
        if (found == ownTags_.end() || found->second != tag) {
            return false;
        }
        ownTags_.erase(found);
        return true;
    };
    for (const Record& record : page.modifiedRecords) {
        if (!isOwn(record.recordID(), record.changeTag().value_or(QString()))) {
            changes.modifications.append(record);
            zones.append(record.recordID().zoneName);
        }
    }
    for (const RecordDeletion& deletion : page.deletedRecords) {
        if (!isOwn(deletion.recordID, deletion.changeTag)) {
            changes.deletions.append(deletion);
            zones.append(deletion.recordID.zoneName);
        }
    }
    if (!zones.isEmpty()) {
        zones.removeDuplicates();
        emitEvent(SyncEvent::WillFetchRecordZoneChanges{zones});
        emitEvent(changes);
        emitEvent(SyncEvent::DidFetchRecordZoneChanges{zones});
    }
    state_.setChangeToken(page.token);
}

QCoro::Task<RecordSyncEngine::Outcome>
RecordSyncEngine::sendChanges(std::optional<QStringList> zoneNames) {
    QCoro::Task<Outcome> sending =
        send(SendChangesContext{SendChangesContext::Reason::explicitCall, std::move(zoneNames)});
    co_return co_await sending;
}

QCoro::Task<RecordSyncEngine::Outcome> RecordSyncEngine::send(SendChangesContext context) {
    QPointer<RecordSyncEngine> self(this);
    const std::shared_ptr<TurnGate> gate = sendGate_;
    QCoro::Task<> waiting = gate->acquire();
    co_await waiting;
    const Turn turn{gate};
    if (!self) {
        co_return engineGone();
    }
    QCoro::Task<Outcome> sending = self->sendOnce(std::move(context));
    co_return co_await sending;
}

QCoro::Task<RecordSyncEngine::Outcome> RecordSyncEngine::sendOnce(SendChangesContext context) {
    QPointer<RecordSyncEngine> self(this);
    const auto inScope = [&context](const auto& change) {
        if constexpr (std::is_same_v<std::decay_t<decltype(change)>, PendingDatabaseChange>) {
            return context.contains(change.zoneName);
        } else {
            return context.contains(change.recordID);
        }
    };
    const bool anyPending = std::any_of(state_.pendingDatabaseChanges().begin(),
                                        state_.pendingDatabaseChanges().end(), inScope) ||
                            std::any_of(state_.pendingRecordZoneChanges().begin(),
                                        state_.pendingRecordZoneChanges().end(), inScope);
    if (!anyPending) {
        co_return std::nullopt;
    }
    retryTimer_.stop();
    emitEvent(SyncEvent::WillSendChanges{context});
    QCoro::Task<Outcome> zones = sendDatabaseChanges(context);
    Outcome outcome = co_await zones;
    if (!self) {
        co_return engineGone();
    }
    if (!outcome) {
        QCoro::Task<Outcome> records = self->sendRecordBatches(context);
        outcome = co_await records;
        if (!self) {
            co_return engineGone();
        }
    }
    if (outcome) {
        self->scheduleRetry();
    } else {
        self->failedSends_ = 0;
    }
    self->emitEvent(SyncEvent::DidSendChanges{context, outcome});
    self->flushStateUpdate();
    co_return outcome;
}

QCoro::Task<RecordSyncEngine::Outcome>
RecordSyncEngine::sendDatabaseChanges(SendChangesContext context) {
    QPointer<RecordSyncEngine> self(this);
    QStringList saves;
    QStringList deletes;
    for (const PendingDatabaseChange& change : state_.pendingDatabaseChanges()) {
        if (context.contains(change.zoneName)) {
            (change.kind == PendingDatabaseChange::Kind::saveZone ? saves : deletes)
                .append(change.zoneName);
        }
    }
    if (saves.isEmpty() && deletes.isEmpty()) {
        co_return std::nullopt;
    }
    const std::shared_ptr<RecordStore> store = store_;
    QCoro::Task<StoreResult<ModifyZonesResult>> modifying = store->modifyZones(saves, deletes);
    const StoreResult<ModifyZonesResult> result = co_await modifying;
    if (!self) {
        co_return engineGone();
    }
    self->noteStoreAnswer(result.error);
    if (!result.ok()) {
        co_return result.error;
    }
    SyncEvent::SentDatabaseChanges sent;
    QList<PendingDatabaseChange> done;
    for (const ZoneResult& zone : result.value.saves) {
        if (!zone.error || !zone.error->isTransient()) {
            done.append(PendingDatabaseChange::saveZone(zone.zoneName));
        }
        zone.error ? sent.failedZoneSaves.append(zone) : sent.savedZones.append(zone.zoneName);
    }
    for (const ZoneResult& zone : result.value.deletes) {
        if (!zone.error || !zone.error->isTransient()) {
            done.append(PendingDatabaseChange::deleteZone(zone.zoneName));
        }
        zone.error ? sent.failedZoneDeletes.append(zone) : sent.deletedZones.append(zone.zoneName);
    }
    self->state_.remove(done);
    self->emitEvent(sent);
    co_return std::nullopt;
}

QCoro::Task<RecordSyncEngine::Outcome>
RecordSyncEngine::sendRecordBatches(SendChangesContext context) {
    QPointer<RecordSyncEngine> self(this);
    const std::shared_ptr<RecordStore> store = store_;
    std::set<RecordID> attempted;
    Outcome passing; // a record's own passing failure: the change stays and a retry follows
    while (self->delegate_ != nullptr) {
        const std::optional<RecordZoneChangeBatch> batch =
            self->delegate_->nextRecordZoneChangeBatch(context, *self);
        if (!batch || batch->isEmpty()) {
            break;
        }
        // A batch of nothing but changes tried in this send ends it; a later send takes them.
        bool fresh = false;
        for (const Record& record : batch->recordsToSave) {
            fresh = attempted.insert(record.recordID()).second || fresh;
        }
        for (const RecordID& id : batch->recordIDsToDelete) {
            fresh = attempted.insert(id).second || fresh;
        }
        if (!fresh) {
            break;
        }
        QCoro::Task<StoreResult<ModifyRecordsResult>> modifying =
            store->modifyRecords(batch->recordsToSave, batch->recordIDsToDelete);
        const StoreResult<ModifyRecordsResult> result = co_await modifying;
        if (!self) {
            co_return engineGone();
        }
        self->noteStoreAnswer(result.error);
        if (!result.ok()) {
            co_return result.error;
        }
        if (Outcome failure = self->handleModifyResult(*batch, result.value); failure && !passing) {
            passing = failure;
        }
    }
    co_return passing;
}

RecordSyncEngine::Outcome RecordSyncEngine::handleModifyResult(const RecordZoneChangeBatch& batch,
                                                               const ModifyRecordsResult& result) {
    Outcome passing;
    const auto notePassing = [&passing](const RecordStoreError& error) {
        if (error.isTransient() && !passing) {
            passing = error;
        }
    };
    SyncEvent::SentRecordZoneChanges sent;
    QList<PendingRecordZoneChange> done;
    for (qsizetype i = 0; i < result.saves.size(); ++i) {
        const RecordSaveResult& save = result.saves[i];
        if (!save.error || !save.error->isTransient()) {
            done.append(PendingRecordZoneChange::saveRecord(save.recordID));
        }
        if (save.error) {
            notePassing(*save.error);
            sent.failedRecordSaves.append({batch.recordsToSave.value(i), *save.error});
            continue;
        }
        ownTags_[save.recordID] = save.savedRecord->changeTag().value_or(QString());
        sent.savedRecords.append(*save.savedRecord);
    }
    for (const RecordDeleteResult& deletion : result.deletes) {
        if (!deletion.error || !deletion.error->isTransient()) {
            done.append(PendingRecordZoneChange::deleteRecord(deletion.recordID));
        }
        if (deletion.error) {
            notePassing(*deletion.error);
            sent.failedRecordDeletes.append({deletion.recordID, *deletion.error});
            continue;
        }
        if (!deletion.changeTag.isEmpty()) {
            ownTags_[deletion.recordID] = deletion.changeTag;
        }
        sent.deletedRecordIDs.append(deletion.recordID);
    }
    state_.remove(done);
    emitEvent(sent);
    return passing;
}

QCoro::Task<> RecordSyncEngine::pollLoop(std::shared_ptr<bool> stopped) {
    QPointer<RecordSyncEngine> self(this);
    bool fetchNow = true;
    int failures = 0;
    while (!*stopped && self) {
        std::optional<RecordStoreError> failure;
        if (fetchNow) {
            QCoro::Task<Outcome> fetching = self->fetchChanges();
            failure = co_await fetching;
        }
        if (*stopped || !self) {
            co_return;
        }
        if (!failure) {
            const std::shared_ptr<RecordStore> store = self->store_;
            QCoro::Task<StoreResult<bool>> waiting = store->waitForChanges(
                self->state_.changeToken(), self->configuration_.longPollLimit);
            const StoreResult<bool> woke = co_await waiting;
            if (*stopped || !self) {
                co_return;
            }
            failure = woke.error;
            fetchNow = woke.value;
        }
        if (!failure) {
            failures = 0;
            continue;
        }
        fetchNow = true;
        const auto pause = retryDelay(++failures, self->configuration_.firstRetryDelay,
                                      self->configuration_.maxRetryDelay);
        QCoro::Task<> pausing = QCoro::sleepFor(pause);
        co_await pausing;
    }
}

} // namespace mnemora

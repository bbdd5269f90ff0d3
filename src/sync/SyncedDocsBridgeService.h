#pragma once

#include "app/CancellableLoop.h"
#include "cloud/Record.h"
#include "cloud/RecordSyncEngine.h"
#include "core/Block.h"
#include "core/SyncedDocCollectionConfig.h"
#include "core/SyncedDocEngine.h"
#include "core/SyncedDocType.h"
#include "sync/ConflictsFile.h"
#include "sync/SyncLog.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_set>
#include <variant>
#include <vector>

namespace mnemora {

class DaemonService;
class SyncedDocsFileWatcher;
class UserDefaults;

// Carries one vault's synced Markdown between its files and the cloud record store. A saved file
// goes through the document engine into block records for the sync engine to send; records other
// clients changed come back through the engine into the file, written by the daemon. The bridge
// keeps the last server version of each record it knows (a conflict needs it), rebuilds the
// server from the sidecar when the sync engine's state was lost, and forces a send when changes
// sit queued with no send under way. Nothing of sync reaches the screens: it all goes to the sync
// log, and a failure is retried at the next file change or the next periodic fetch. Nothing typed
// on either side is lost without a trace: a version of a block that loses a conflict goes to the
// vault's conflicts file (ConflictsFile). Main thread.
class SyncedDocsBridgeService : public QObject, public RecordSyncEngineDelegate {
    Q_OBJECT

public:
    // The times of the bridge's loops; tests shorten them and drive the clock.
    struct Timing {
        std::chrono::milliseconds fetchInterval{20'000};
        std::chrono::milliseconds watcherLatency{500};
        std::chrono::seconds forceSendAfter{30}; // pending with no send attempted this long
        std::chrono::seconds forcedSendGap{20};  // at most one forced send in this time
        std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
        // Passed on to the sync engine.
        // Short: the watcher has already gathered a burst of edits by the time they come here.
        std::chrono::milliseconds sendDelay{250};
        std::chrono::milliseconds longPollLimit{25'000};
    };

    // A block the bridge knows: its document, the block as last seen, the server's record.
    struct CachedBlock {
        QString docPath;
        core::Block block;
        std::optional<Record> record;
    };
    struct CollectionSource {
        core::SyncedDocCollectionConfig collection;
    };
    struct DocumentSource {
        QString docPath;
        core::SyncedDocType docType = core::SyncedDocType::doc;
        RecordReference collectionReference;
    };
    struct CachedAuxRecord {
        std::variant<CollectionSource, DocumentSource> kind;
        std::optional<Record> record;
    };

    // `store` absent: the brand or the machine has no record store, and the bridge stays idle.
    // The engine and the daemon must outlive the bridge.
    SyncedDocsBridgeService(core::SyncedDocEngine& engine, QPointer<DaemonService> daemon,
                            std::shared_ptr<RecordStore> store,
                            std::vector<core::SyncedDocCollectionConfig> collections,
                            QString zoneScope, SyncLog log, QObject* parent = nullptr);
    ~SyncedDocsBridgeService() override;

    void setTiming(Timing timing) { timing_ = std::move(timing); }
    // Where incoming voice clips go; by default `{data}/{bundleIdentifier}/voice-answers`.
    void setVoiceAnswersFolder(const QString& folder) { voiceAnswersFolder_ = folder; }
    const QString& voiceAnswersFolder() const { return voiceAnswersFolder_; }
    // The file name in that folder a clip named `wanted` by a record is kept under: its last part
    // only, so that no name from outside leads out of the folder; empty when nothing usable is
    // left (".", "..", or longer than a file name may be).
    static QString clipFileName(const QString& wanted);

    // Starts syncing the collections under `notesRoot`. Once only.
    void start(const QString& notesRoot);
    // Stops the watcher, the periodic fetch and the sync engine, keeping the engine's state.
    void stop();

    // Deletes every zone of the vault and empties the sidecar: the files upload anew, under new
    // identifiers, as each one next changes.
    void purge();

    // Sharing a collection with another person needs the platform's share sheet, which this
    // platform does not have; the request is logged.
    void shareCollection(const core::SyncedDocCollectionConfig& collection);

    // The file-change step for one path the watcher reported.
    void handleFileChange(const QString& filePath);

    // One turn of the send watchdog at the clock's time.
    void runWatchdog();

    // The defaults key of the sync engine's state for a vault scope.
    static QString engineStateKey(const QString& zoneScope);

    const QString& zoneScope() const { return zoneScope_; }
    const std::vector<core::SyncedDocCollectionConfig>& collections() const { return collections_; }
    const std::shared_ptr<RecordStore>& store() const { return store_; }
    RecordSyncEngine* syncEngine() const { return syncEngine_; }
    const std::optional<QString>& notesRoot() const { return notesRoot_; }
    const std::map<RecordID, CachedBlock>& recordCache() const { return recordCache_; }
    // `{vault}/.mnemora/conflicts.md`, the vault being the Notes folder's parent; set by start().
    const std::optional<ConflictsFile>& conflicts() const { return conflicts_; }

    // The pure rule of the watchdog: given the number of pending changes and `now`, updates
    // `pendingSince` and says whether a send must be forced now (setting `lastForcedSend`).
    struct WatchdogState {
        std::optional<QDateTime> pendingSince;
        std::optional<QDateTime> lastSendAttempt;
        std::optional<QDateTime> lastForcedSend;
    };
    static bool watchdogStep(WatchdogState& state, qsizetype pending, const QDateTime& now,
                             std::chrono::seconds forceAfter, std::chrono::seconds gap);
    const WatchdogState& watchdog() const { return watchdog_; }

    // RecordSyncEngineDelegate
    void handleEvent(const RecordSyncEvent& event, RecordSyncEngine& engine) override;
    std::optional<RecordZoneChangeBatch>
    nextRecordZoneChangeBatch(const SendChangesContext& context, RecordSyncEngine& engine) override;

signals:
    // Fetched changes were written to their files (or failed to be); for whoever waits on it.
    void remoteChangesApplied(const QStringList& docPaths);

private:
    // The fetched operations of one document, waiting for their turn to reach its file.
    struct IncomingDocument {
        QString docPath;
        std::vector<core::BlockOp> ops;
        std::vector<core::BlockRepair> repairs; // of the translation, logged once written
    };
    // A fetched change applied to the sidecar, with what its write needs.
    struct PreparedWrite {
        QString text;                                   // for the file
        std::optional<QByteArray> fileSeen;             // the file as read before; none if missing
        std::vector<core::Block> before;                // the sidecar's document before the ops
        std::unordered_set<core::BlockID> editedAtDesk; // blocks the unread file edit changed
        std::vector<ConflictsFile::LostEdit> lost;
        std::vector<core::BlockRepair> repairs;
    };

    void log(const QString& message) const;
    void registerCollections();
    void repair(bool stateRestored);
    void registerDocument(const QString& docPath,
                          const core::SyncedDocCollectionConfig& collection);
    void addSave(const RecordID& id);
    std::optional<core::SyncedDocCollectionConfig> collectionFor(const QString& docPath) const;
    QString zoneFor(const core::SyncedDocCollectionConfig& collection) const;
    bool isOwnZone(const QString& zoneName) const;
    std::optional<Record> recordFor(const RecordID& id, const QString& reason);
    bool recoverSource(const RecordID& id, const QString& reason);
    void storeState(const QByteArray& json);
    std::optional<core::SyncedDocApplyResult> applyFileContents(const QString& docPath,
                                                                const std::string& contents);
    void applyFetched(const SyncEvent::FetchedRecordZoneChanges& changes);
    std::optional<PreparedWrite> prepareWrite(const IncomingDocument& incoming,
                                              std::unordered_set<core::BlockID> editedAtDesk);
    ConflictsFile::LostEdit lostEdit(const QString& docPath, const core::Block& block,
                                     bool phoneLost) const;
    void keepLost(const QString& docPath, const std::vector<ConflictsFile::LostEdit>& lost);
    bool hasPendingSave(const QString& docPath, const core::BlockID& id) const;
    void applySent(const SyncEvent::SentRecordZoneChanges& sent);
    void retryFailedSave(const SyncEvent::FailedRecordSave& failed);
    QCoro::Task<> periodicPass();
    QCoro::Task<> forceSend(qsizetype pending, qint64 seconds);
    QCoro::Task<> applyIncoming();
    QCoro::Task<> writeDocument(IncomingDocument incoming, PreparedWrite prepared);
    QCoro::Task<> saveVoiceAnswer(Record record);

    core::SyncedDocEngine& engine_;
    QPointer<DaemonService> daemon_;
    std::shared_ptr<RecordStore> store_;
    std::vector<core::SyncedDocCollectionConfig> collections_;
    QString zoneScope_;
    SyncLog log_;
    Timing timing_;
    QString voiceAnswersFolder_;
    std::unique_ptr<UserDefaults> defaults_;
    RecordSyncEngine* syncEngine_ = nullptr;
    SyncedDocsFileWatcher* fileWatcher_ = nullptr;
    std::optional<QString> notesRoot_;
    CancellableTask periodicFetchTask_;
    WatchdogState watchdog_;
    std::map<RecordID, CachedBlock> recordCache_;
    std::map<RecordID, CachedAuxRecord> auxRecordCache_;
    std::optional<ConflictsFile> conflicts_;
    // Fetched changes in order of arrival, applied one document at a time, and the documents
    // that have some on the way: their file is not what the sidecar holds until the write.
    std::deque<std::vector<IncomingDocument>> incoming_;
    std::multiset<QString> writesOnTheWay_;
    bool applyingIncoming_ = false;
};

} // namespace mnemora

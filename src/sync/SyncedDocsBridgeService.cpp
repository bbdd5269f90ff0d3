#include "sync/SyncedDocsBridgeService.h"

#include "app/Brand.h"
#include "app/UserDefaults.h"
#include "cloud/BlockOpPendingChange.h"
#include "cloud/BlockRecordMapping.h"
#include "cloud/FetchedRecordZoneChangesTranslator.h"
#include "cloud/SyncedDocCollectionMapping.h"
#include "cloud/SyncedDocDocumentMapping.h"
#include "cloud/SyncedDocZone.h"
#include "core/MarkdownCodec.h"
#include "core/SyncedDocOptIn.h"
#include "daemon/DaemonEndpoints.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"
#include "sync/RepairLog.h"
#include "sync/SyncedDocsFileWatcher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <array>

namespace mnemora {

namespace {

const QString kSource = QStringLiteral("[SyncedDocsBridgeService] ");
const QString kDocPrefix = QStringLiteral("doc-");
const QString kCollectionPrefix = QStringLiteral("collection-");
const QString kAudioAsset = QStringLiteral("audioAsset");

QString q(const std::string& text) {
    return QString::fromStdString(text);
}

const QString kOtherSide = QStringLiteral("the phone");

// A name that came from outside, as a log line shows it: quoted, cut if long, and on one line.
QString shownName(const QString& name) {
    QString shown = q(core::MarkdownCodec::quotedPreview(name.toStdString()));
    for (QChar& c : shown) {
        if (c.unicode() < 0x20) {
            c = QChar(0xFFFD);
        }
    }
    return shown;
}

QCoro::Task<> nothing() {
    co_return;
}

// "[\"edit\": 1, \"keep\": 999]": the operations of one change counted by their word.
QString countOps(const std::vector<core::BlockOp>& ops) {
    std::map<QString, int> counts;
    for (const core::BlockOp& op : ops) {
        ++counts[q(std::string(core::wireWord(op.kind())))];
    }
    QStringList parts;
    for (const auto& [word, count] : counts) {
        parts << QStringLiteral("\"%1\": %2").arg(word).arg(count);
    }
    return parts.isEmpty() ? QStringLiteral("[:]")
                           : QLatin1Char('[') + parts.join(QStringLiteral(", ")) + QLatin1Char(']');
}

} // namespace

SyncedDocsBridgeService::SyncedDocsBridgeService(
    core::SyncedDocEngine& engine, QPointer<DaemonService> daemon,
    std::shared_ptr<RecordStore> store, std::vector<core::SyncedDocCollectionConfig> collections,
    QString zoneScope, SyncLog log, QObject* parent)
    : QObject(parent)
    , engine_(engine)
    , daemon_(std::move(daemon))
    , store_(std::move(store))
    , collections_(std::move(collections))
    , zoneScope_(std::move(zoneScope))
    , log_(std::move(log))
    , voiceAnswersFolder_(Paths::applicationSupportRoot() + QLatin1Char('/') + bundleIdentifier() +
                          QStringLiteral("/voice-answers"))
    , defaults_(std::make_unique<UserDefaults>()) {}

SyncedDocsBridgeService::~SyncedDocsBridgeService() {
    stop();
    // Before this object is gone as their delegate and callback.
    delete fileWatcher_;
    delete syncEngine_;
}

QString SyncedDocsBridgeService::engineStateKey(const QString& zoneScope) {
    return zoneScope.isEmpty() ? QString::fromLatin1(UserDefaults::syncEngineState)
                               : UserDefaults::syncEngineStateKey(zoneScope);
}

void SyncedDocsBridgeService::log(const QString& message) const {
    log_.write(kSource + message);
}

void SyncedDocsBridgeService::start(const QString& notesRoot) {
    if (notesRoot_) {
        return;
    }
    log(QStringLiteral("started (notesRoot=%1)").arg(notesRoot));
    notesRoot_ = notesRoot;
    conflicts_.emplace(ConflictsFile::pathIn(QFileInfo(notesRoot).absolutePath()));
    if (!store_) {
        log(QStringLiteral("no record store for this brand; sync disabled"));
        return;
    }
    const std::optional<QByteArray> saved = defaults_->dataValue(engineStateKey(zoneScope_));
    std::optional<RecordSyncEngineState> state =
        saved ? RecordSyncEngineState::fromJson(*saved) : std::nullopt;
    log(state ? QStringLiteral("engine state: restored")
              : QStringLiteral("engine state: fresh (no saved state)"));

    RecordSyncEngine::Configuration configuration;
    configuration.store = store_;
    configuration.stateSerialization = state;
    configuration.delegate = this;
    configuration.sendDelay = timing_.sendDelay;
    configuration.longPollLimit = timing_.longPollLimit;
    syncEngine_ = new RecordSyncEngine(std::move(configuration), this);

    registerCollections();
    repair(state.has_value());

    QStringList folders;
    for (const core::SyncedDocCollectionConfig& collection : collections_) {
        folders << QDir(notesRoot).filePath(q(collection.folderPath));
    }
    fileWatcher_ = new SyncedDocsFileWatcher(
        folders, timing_.watcherLatency,
        [self = QPointer<SyncedDocsBridgeService>(this)](const QStringList& paths) {
            for (const QString& path : paths) {
                if (self) {
                    self->handleFileChange(path);
                }
            }
        },
        log_, this);
    fileWatcher_->start();
    syncEngine_->start();
    CancellableLoop::start(periodicFetchTask_, timing_.fetchInterval,
                           CancellableLoop::FirstPass::afterInterval,
                           [self = QPointer<SyncedDocsBridgeService>(this)] {
                               return self ? self->periodicPass() : nothing();
                           });
}

void SyncedDocsBridgeService::stop() {
    periodicFetchTask_.cancel();
    if (fileWatcher_) {
        fileWatcher_->stop();
    }
    if (syncEngine_) {
        syncEngine_->stop();
        storeState(syncEngine_->state().toJson());
    }
}

void SyncedDocsBridgeService::storeState(const QByteArray& json) {
    defaults_->setData(engineStateKey(zoneScope_), json);
}

QString SyncedDocsBridgeService::zoneFor(const core::SyncedDocCollectionConfig& collection) const {
    return SyncedDocZone::zoneID(collection, zoneScope_);
}

std::optional<core::SyncedDocCollectionConfig>
SyncedDocsBridgeService::collectionFor(const QString& docPath) const {
    return core::SyncedDocOptIn::collection(docPath.toStdString(), collections_);
}

void SyncedDocsBridgeService::addSave(const RecordID& id) {
    if (syncEngine_) {
        syncEngine_->state().add(
            QList<PendingRecordZoneChange>{PendingRecordZoneChange::saveRecord(id)});
    }
}

void SyncedDocsBridgeService::registerCollections() {
    QList<PendingDatabaseChange> zones;
    for (const core::SyncedDocCollectionConfig& collection : collections_) {
        const QString zone = zoneFor(collection);
        zones << PendingDatabaseChange::saveZone(zone);
        const RecordID id = SyncedDocCollectionMapping::recordID(collection, zone);
        if (!auxRecordCache_.contains(id)) {
            auxRecordCache_[id] = CachedAuxRecord{CollectionSource{collection}, std::nullopt};
            addSave(id);
        }
    }
    syncEngine_->state().add(zones);
}

void SyncedDocsBridgeService::registerDocument(const QString& docPath,
                                               const core::SyncedDocCollectionConfig& collection) {
    const QString zone = zoneFor(collection);
    const RecordID id = SyncedDocDocumentMapping::recordID(docPath, zone);
    CachedAuxRecord& entry = auxRecordCache_[id];
    entry.kind = DocumentSource{docPath, collection.docTypeDefault,
                                SyncedDocCollectionMapping::reference(collection, zone)};
}

void SyncedDocsBridgeService::repair(bool stateRestored) {
    std::vector<std::pair<QString, std::vector<core::Block>>> documents;
    try {
        for (const auto& document : engine_.allDocs()) {
            if (!document.zone.empty()) {
                continue;
            }
            std::vector<core::Block> blocks;
            try {
                blocks = engine_.blocks(document.zone, document.docPath);
            } catch (const std::exception&) {
                // One unreadable document must not keep the others from being repaired.
            }
            documents.emplace_back(q(document.docPath), std::move(blocks));
        }
    } catch (const std::exception& error) {
        log(QStringLiteral("repair: cannot list the sidecar's documents: %1")
                .arg(QString::fromUtf8(error.what())));
    }
    if (stateRestored) {
        return;
    }
    int blockCount = 0;
    int documentCount = 0;
    for (const auto& [docPath, blocks] : documents) {
        if (blocks.empty()) {
            continue;
        }
        const std::optional<core::SyncedDocCollectionConfig> collection = collectionFor(docPath);
        if (!collection) {
            log(QStringLiteral("repair: no collection for %1").arg(docPath));
            continue;
        }
        const QString zone = zoneFor(*collection);
        registerDocument(docPath, *collection);
        QList<PendingRecordZoneChange> saves{
            PendingRecordZoneChange::saveRecord(SyncedDocDocumentMapping::recordID(docPath, zone))};
        for (const core::Block& block : blocks) {
            const RecordID id = BlockRecordMapping::recordID(block, zone);
            recordCache_[id] = CachedBlock{docPath, block, std::nullopt};
            saves << PendingRecordZoneChange::saveRecord(id);
        }
        syncEngine_->state().add(saves);
        blockCount += static_cast<int>(blocks.size());
        ++documentCount;
    }
    log(QStringLiteral("engine state was lost — re-queued %1 block(s) across %2 document(s) so "
                       "the server is rebuilt from the sidecar")
            .arg(blockCount)
            .arg(documentCount));
}

void SyncedDocsBridgeService::handleFileChange(const QString& filePath) {
    if (!notesRoot_ || !syncEngine_) {
        return;
    }
    const QString docPath = QDir(*notesRoot_).relativeFilePath(filePath);
    if (writesOnTheWay_.contains(docPath)) {
        // The sidecar already holds a fetched change that the file does not have yet: read now,
        // the file would undo it on the server. The write reads the file again before and after.
        return;
    }
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        // A deleted file changes nothing on the server until it comes back.
        return;
    }
    applyFileContents(docPath, file.readAll().toStdString());
}

std::optional<core::SyncedDocApplyResult>
SyncedDocsBridgeService::applyFileContents(const QString& docPath, const std::string& contents) {
    const std::string path = docPath.toStdString();
    if (!core::SyncedDocOptIn::shouldSync(path, contents, collections_)) {
        return std::nullopt;
    }
    const std::optional<core::SyncedDocCollectionConfig> collection = collectionFor(docPath);
    if (!collection) {
        return std::nullopt;
    }
    core::SyncedDocApplyResult result;
    try {
        result = engine_.applyFileChange(path, contents);
    } catch (const std::exception& error) {
        log(QStringLiteral("applyFileChange failed for %1: %2")
                .arg(docPath, QString::fromUtf8(error.what())));
        return std::nullopt;
    }
    for (const auto& degradation : result.degradations) {
        log(QStringLiteral("DEGRADED %1 line in %2 → .text: %3 | %4")
                .arg(q(std::string(core::wireWord(degradation.claimedKind))), docPath,
                     q(degradation.reason), q(degradation.linePreview)));
    }
    RepairLog::write(log_, docPath, result.repairs);
    const QString zone = zoneFor(*collection);
    for (const core::BlockOp& op : result.ops) {
        if (const core::Block* block = op.blockIfAny()) {
            CachedBlock& entry = recordCache_[BlockRecordMapping::recordID(*block, zone)];
            entry.docPath = docPath;
            // Most blocks of a save are unchanged and already cached as they are: comparing
            // allocates nothing, while copying each of them again made a save of a long
            // document cost as much as its import.
            if (!(entry.block == *block)) {
                entry.block = *block;
            }
        }
    }
    const QList<PendingRecordZoneChange> pending =
        BlockOpPendingChange::pendingChanges(result.ops, zone);
    log(QStringLiteral("applyFileChange %1: ops=%2 -> %3 pending changes")
            .arg(docPath, countOps(result.ops))
            .arg(pending.size()));
    if (!pending.isEmpty()) {
        registerDocument(docPath, *collection);
        addSave(SyncedDocDocumentMapping::recordID(docPath, zone));
        syncEngine_->state().add(pending);
    }
    return result;
}

bool SyncedDocsBridgeService::recoverSource(const RecordID& id, const QString& reason) {
    if (recordCache_.contains(id) || auxRecordCache_.contains(id)) {
        return true;
    }
    const QString& name = id.recordName;
    if (name.startsWith(kCollectionPrefix)) {
        const std::string folder = name.mid(kCollectionPrefix.size()).toStdString();
        for (const core::SyncedDocCollectionConfig& collection : collections_) {
            if (collection.folderPath == folder && zoneFor(collection) == id.zoneName) {
                auxRecordCache_[id] = CachedAuxRecord{CollectionSource{collection}, std::nullopt};
                return true;
            }
        }
        return false;
    }
    if (name.startsWith(kDocPrefix)) {
        const QString docPath = name.mid(kDocPrefix.size());
        const auto collection = collectionFor(docPath);
        if (!collection || zoneFor(*collection) != id.zoneName) {
            return false;
        }
        registerDocument(docPath, *collection);
        return true;
    }
    std::optional<core::SyncedDocSidecarStore::FoundBlock> found;
    try {
        found = engine_.findBlock(core::BlockID(name.toStdString()));
    } catch (const std::exception&) {
        return false;
    }
    if (!found || !found->zone.empty()) {
        return false;
    }
    const QString docPath = q(found->docPath);
    recordCache_[id] = CachedBlock{docPath, found->block, std::nullopt};
    log(QStringLiteral("rebuilt %1 from sidecar (%2, %3)").arg(name, docPath, reason));
    return true;
}

std::optional<Record> SyncedDocsBridgeService::recordFor(const RecordID& id,
                                                         const QString& reason) {
    if (!recoverSource(id, reason)) {
        log(QStringLiteral("no record source for %1 (%2)").arg(id.recordName, reason));
        return std::nullopt;
    }
    const QString& zone = id.zoneName;
    if (const auto found = recordCache_.find(id); found != recordCache_.end()) {
        const CachedBlock& entry = found->second;
        const RecordReference document = SyncedDocDocumentMapping::reference(entry.docPath, zone);
        if (!entry.record) {
            return BlockRecordMapping::makeRecord(entry.block, zone, document);
        }
        Record record = *entry.record;
        BlockRecordMapping::apply(entry.block, record, document);
        return record;
    }
    const CachedAuxRecord& aux = auxRecordCache_.at(id);
    if (const auto* source = std::get_if<CollectionSource>(&aux.kind)) {
        if (!aux.record) {
            return SyncedDocCollectionMapping::makeRecord(source->collection, zone);
        }
        Record record = *aux.record;
        SyncedDocCollectionMapping::apply(source->collection, record);
        return record;
    }
    const auto& document = std::get<DocumentSource>(aux.kind);
    if (!aux.record) {
        return SyncedDocDocumentMapping::makeRecord(document.docPath, document.docType,
                                                    document.collectionReference, zone);
    }
    Record record = *aux.record;
    SyncedDocDocumentMapping::apply(document.docPath, document.docType,
                                    document.collectionReference, record);
    return record;
}

std::optional<RecordZoneChangeBatch>
SyncedDocsBridgeService::nextRecordZoneChangeBatch(const SendChangesContext& context,
                                                   RecordSyncEngine& engine) {
    QList<PendingRecordZoneChange> pending;
    for (const PendingRecordZoneChange& change : engine.state().pendingRecordZoneChanges()) {
        if (context.contains(change.recordID)) {
            pending << change;
        }
    }
    if (pending.isEmpty()) {
        return std::nullopt;
    }
    return RecordZoneChangeBatch::make(pending, [this](const RecordID& id) {
        return recordFor(id, QStringLiteral("pending send"));
    });
}

void SyncedDocsBridgeService::handleEvent(const RecordSyncEvent& event, RecordSyncEngine& engine) {
    if (const auto* update = std::get_if<SyncEvent::StateUpdate>(&event)) {
        storeState(update->stateJson);
    } else if (const auto* account = std::get_if<SyncEvent::AccountChange>(&event)) {
        log(QStringLiteral("accountChange: %1").arg(account->description()));
    } else if (std::holds_alternative<SyncEvent::WillSendChanges>(event)) {
        watchdog_.lastSendAttempt = timing_.now();
        log(QStringLiteral("willSendChanges (pending: %1 record, %2 database)")
                .arg(engine.state().pendingRecordZoneChanges().size())
                .arg(engine.state().pendingDatabaseChanges().size()));
    } else if (std::holds_alternative<SyncEvent::DidSendChanges>(event)) {
        log(QStringLiteral("didSendChanges"));
    } else if (const auto* fetched = std::get_if<SyncEvent::FetchedRecordZoneChanges>(&event)) {
        applyFetched(*fetched);
    } else if (const auto* sent = std::get_if<SyncEvent::SentRecordZoneChanges>(&event)) {
        applySent(*sent);
    }
}

bool SyncedDocsBridgeService::isOwnZone(const QString& zoneName) const {
    return std::any_of(collections_.begin(), collections_.end(),
                       [&](const auto& collection) { return zoneFor(collection) == zoneName; });
}

void SyncedDocsBridgeService::applyFetched(const SyncEvent::FetchedRecordZoneChanges& changes) {
    // The change feed is the whole account's: other vaults' zones are theirs to apply.
    QStringList order;
    QStringList refused;
    std::map<QString, QList<Record>> modified;
    std::map<QString, QList<RecordDeletion>> deleted;
    const auto note = [&order](const QString& docPath) {
        if (!order.contains(docPath)) {
            order << docPath;
        }
    };
    for (const Record& record : changes.modifications) {
        const std::optional<RecordReference> document =
            record.get<RecordReference>(QStringLiteral("documentRef"));
        if (!document || !document->recordID.recordName.startsWith(kDocPrefix) ||
            !isOwnZone(record.recordID().zoneName)) {
            continue;
        }
        const QString docPath = document->recordID.recordName.mid(kDocPrefix.size());
        if (!core::SyncedDocOptIn::isNotesPath(docPath.toStdString())) {
            // Any client of the account can write any record; none of them picks where on this
            // machine a file is written.
            if (!refused.contains(docPath)) {
                refused << docPath;
                log(QStringLiteral("ignored incoming records of %1: not a file in the Notes folder")
                        .arg(shownName(docPath)));
            }
            continue;
        }
        note(docPath);
        modified[docPath] << record;
        if (record.get<RecordAsset>(kAudioAsset)) {
            saveVoiceAnswer(record); // runs on by itself; it holds a guard of this bridge
        }
        if (std::optional<core::Block> block = BlockRecordMapping::block(record)) {
            recordCache_[record.recordID()] = CachedBlock{docPath, std::move(*block), record};
        }
    }
    for (const RecordDeletion& deletion : changes.deletions) {
        const auto found = recordCache_.find(deletion.recordID);
        if (found == recordCache_.end()) {
            continue; // a block this desktop never knew: no document to take it from
        }
        note(found->second.docPath);
        deleted[found->second.docPath] << deletion;
        recordCache_.erase(found);
    }
    std::vector<IncomingDocument> documents;
    for (const QString& docPath : std::as_const(order)) {
        IncomingDocument incoming{docPath, {}, {}};
        incoming.ops = FetchedRecordZoneChangesTranslator::translate(
            modified[docPath], deleted[docPath], incoming.repairs);
        if (incoming.ops.empty()) {
            RepairLog::write(log_, docPath, incoming.repairs);
            continue;
        }
        writesOnTheWay_.insert(docPath);
        documents.push_back(std::move(incoming));
    }
    if (documents.empty()) {
        return;
    }
    incoming_.push_back(std::move(documents));
    if (!applyingIncoming_) {
        applyIncoming(); // runs on by itself with a guard of this bridge
    }
}

QCoro::Task<> SyncedDocsBridgeService::applyIncoming() {
    QPointer<SyncedDocsBridgeService> self(this);
    applyingIncoming_ = true;
    while (!self->incoming_.empty()) {
        std::vector<IncomingDocument> batch = std::move(self->incoming_.front());
        self->incoming_.pop_front();
        // A fetch's documents all go into the sidecar at once, then to their files in turn.
        std::vector<std::pair<IncomingDocument, PreparedWrite>> writes;
        for (IncomingDocument& incoming : batch) {
            if (std::optional<PreparedWrite> write = self->prepareWrite(incoming, {})) {
                writes.emplace_back(std::move(incoming), std::move(*write));
            } else {
                self->writesOnTheWay_.erase(self->writesOnTheWay_.find(incoming.docPath));
            }
        }
        QStringList written;
        for (auto& [incoming, write] : writes) {
            written << incoming.docPath;
            QCoro::Task<> writing = self->writeDocument(std::move(incoming), std::move(write));
            co_await writing;
            if (!self) {
                co_return;
            }
        }
        emit self->remoteChangesApplied(written);
    }
    self->applyingIncoming_ = false;
}

bool SyncedDocsBridgeService::hasPendingSave(const QString& docPath,
                                             const core::BlockID& id) const {
    const std::optional<core::SyncedDocCollectionConfig> collection = collectionFor(docPath);
    if (!collection || !syncEngine_) {
        return false;
    }
    const RecordID recordID{zoneFor(*collection), q(id.rawValue)};
    const QList<PendingRecordZoneChange> pending = syncEngine_->state().pendingRecordZoneChanges();
    return std::any_of(pending.begin(), pending.end(), [&](const PendingRecordZoneChange& change) {
        return change.kind == PendingRecordZoneChange::Kind::saveRecord &&
               change.recordID == recordID;
    });
}

std::optional<SyncedDocsBridgeService::PreparedWrite>
SyncedDocsBridgeService::prepareWrite(const IncomingDocument& incoming,
                                      std::unordered_set<core::BlockID> editedAtDesk) {
    const QString& docPath = incoming.docPath;
    const std::string path = docPath.toStdString();
    PreparedWrite write;
    write.editedAtDesk = std::move(editedAtDesk);
    write.fileSeen = readWholeFile(QDir(*notesRoot_).filePath(docPath));
    try {
        // The fetched change replaces the whole block in the sidecar and the file. A save at the
        // desk that the watcher has not reported yet would be written over, unseen: read it first,
        // so that edits to other blocks meet without conflict and the desk's edit of a block
        // stands over the phone's, whose text goes to the conflicts file.
        if (write.fileSeen && write.fileSeen->toStdString() != engine_.serialize(path)) {
            if (const auto read = applyFileContents(docPath, write.fileSeen->toStdString())) {
                for (const core::BlockOp& op : read->ops) {
                    if (op.kind() != core::BlockOp::Kind::keep) {
                        write.editedAtDesk.insert(op.id());
                    }
                }
            }
        }
        write.before = engine_.blocks("", path);
        std::unordered_map<core::BlockID, const core::Block*> ours;
        for (const core::Block& block : write.before) {
            ours.emplace(block.id, &block);
        }
        std::vector<core::BlockOp> ops;
        for (const core::BlockOp& op : incoming.ops) {
            const core::Block* theirs = op.blockIfAny();
            const auto found = ours.find(op.id());
            const core::Block* mine = found == ours.end() ? nullptr : found->second;
            if (write.editedAtDesk.contains(op.id())) {
                if (theirs && (!mine || !mine->hasSameContent(*theirs))) {
                    write.lost.push_back(lostEdit(docPath, *theirs, true));
                }
                continue;
            }
            // A save of the desk's still on its way loses to the phone's newer change: the
            // fetched change goes in, and the desk's version is kept aside.
            if (mine && (!theirs || !mine->hasSameContent(*theirs)) &&
                hasPendingSave(docPath, op.id())) {
                write.lost.push_back(lostEdit(docPath, *mine, false));
            }
            ops.push_back(op);
        }
        write.text = q(engine_.applyRemoteOps("", path, ops, write.repairs));
    } catch (const std::exception& error) {
        log(QStringLiteral("applyRemoteOps/write failed for %1: %2")
                .arg(docPath, QString::fromUtf8(error.what())));
        return std::nullopt;
    }
    return write;
}

ConflictsFile::LostEdit SyncedDocsBridgeService::lostEdit(const QString& docPath,
                                                          const core::Block& block,
                                                          bool phoneLost) const {
    return ConflictsFile::LostEdit{timing_.now(), docPath, kOtherSide, phoneLost,
                                   q(core::MarkdownCodec::serializeLine(block))};
}

void SyncedDocsBridgeService::keepLost(const QString& docPath,
                                       const std::vector<ConflictsFile::LostEdit>& lost) {
    if (lost.empty() || !conflicts_) {
        return;
    }
    const Expected<void> kept = conflicts_->append(lost);
    for (const ConflictsFile::LostEdit& edit : lost) {
        const QString side = edit.otherSideLost ? QStringLiteral("the phone's version")
                                                : QStringLiteral("this desktop's version");
        log(kept.ok() ? QStringLiteral("conflict in %1: %2 lost, kept in %3: %4")
                            .arg(docPath, side, conflicts_->path(), edit.text)
                      : QStringLiteral("conflict in %1: %2 lost, NOT kept (%3): %4")
                            .arg(docPath, side, kept.error(), edit.text));
    }
}

QCoro::Task<> SyncedDocsBridgeService::writeDocument(IncomingDocument incoming,
                                                     PreparedWrite write) {
    QPointer<SyncedDocsBridgeService> self(this);
    const QString docPath = incoming.docPath;
    const QString filePath = QDir(*notesRoot_).filePath(docPath);
    if (readWholeFile(filePath) != write.fileSeen) {
        // Saved again since it was read: the step runs once more on the new text, still keeping
        // the desk's edits of the first reading. That second reading and its write are one turn.
        log(QStringLiteral("%1 changed while a fetched change was on its way; applying it again")
                .arg(docPath));
        std::optional<PreparedWrite> again;
        try {
            engine_.restore("", docPath.toStdString(), write.before);
            again = prepareWrite(incoming, write.editedAtDesk);
        } catch (const std::exception& error) {
            log(QStringLiteral("applyRemoteOps/write failed for %1: %2")
                    .arg(docPath, QString::fromUtf8(error.what())));
        }
        if (!again) {
            writesOnTheWay_.erase(writesOnTheWay_.find(docPath));
            co_return;
        }
        write = std::move(*again);
    }
    std::vector<core::BlockRepair> repairs = std::move(incoming.repairs);
    repairs.insert(repairs.end(), write.repairs.begin(), write.repairs.end());
    RepairLog::write(log_, docPath, repairs);
    keepLost(docPath, write.lost);
    QCoro::Task<Expected<void>> writing = DaemonEndpoints::writeDoc(daemon_, docPath, write.text);
    const Expected<void> outcome = co_await writing;
    if (!self) {
        co_return;
    }
    self->writesOnTheWay_.erase(self->writesOnTheWay_.find(docPath));
    if (!outcome.ok()) {
        self->log(
            QStringLiteral("applyRemoteOps/write failed for %1: %2").arg(docPath, outcome.error()));
        // The file keeps what it had; read against the fetched change, it would undo that
        // change on the server. The sidecar goes back to the file's picture instead.
        try {
            self->engine_.restore("", docPath.toStdString(), write.before);
        } catch (const std::exception&) {
        }
        co_return;
    }
    // A save made while the daemon wrote is read like any other.
    self->handleFileChange(filePath);
}

QString SyncedDocsBridgeService::clipFileName(const QString& wanted) {
    const QString name = QFileInfo(wanted).fileName();
    if (name == QLatin1String("..") || name == QLatin1String(".") || name.toUtf8().size() > 255) {
        return {};
    }
    return name;
}

QCoro::Task<> SyncedDocsBridgeService::saveVoiceAnswer(Record record) {
    QPointer<SyncedDocsBridgeService> self(this);
    const std::optional<RecordAsset> asset = record.get<RecordAsset>(kAudioAsset);
    // The record's name stands in for a missing clip name, and is a name from outside just the
    // same.
    QString name =
        clipFileName(record.get<QString>(QStringLiteral("audioAssetRef")).value_or(QString()));
    if (name.isEmpty()) {
        name = clipFileName(record.recordID().recordName + QStringLiteral(".caf"));
    }
    if (name.isEmpty()) {
        log(QStringLiteral("ignored the voice answer of %1: no usable clip name")
                .arg(shownName(record.recordID().recordName)));
        co_return;
    }
    const QString filePath = QDir(voiceAnswersFolder_).filePath(name);
    if (!asset || QFileInfo::exists(filePath)) {
        co_return;
    }
    QString failure;
    if (!QDir().mkpath(voiceAnswersFolder_)) {
        failure = QStringLiteral("cannot create %1").arg(voiceAnswersFolder_);
    } else if (!asset->filePath.isEmpty()) {
        if (!QFile::copy(asset->filePath, filePath)) {
            failure = QStringLiteral("cannot copy %1").arg(asset->filePath);
        }
    } else if (store_) {
        const std::shared_ptr<RecordStore> store = store_;
        QCoro::Task<StoreAction> downloading =
            store->downloadAsset(record.recordID(), kAudioAsset, filePath);
        const StoreAction downloaded = co_await downloading;
        if (!self) {
            co_return;
        }
        failure = downloaded.ok() ? QString() : downloaded.error->message;
    }
    if (failure.isEmpty()) {
        self->log(QStringLiteral("saved incoming voice answer %1").arg(name));
    } else {
        self->log(QStringLiteral("failed to save voice answer %1: %2").arg(name, failure));
    }
}

void SyncedDocsBridgeService::applySent(const SyncEvent::SentRecordZoneChanges& sent) {
    log(QStringLiteral("sentRecordZoneChanges: saved=%1 failedSaves=%2 deleted=%3 failedDeletes=%4")
            .arg(sent.savedRecords.size())
            .arg(sent.failedRecordSaves.size())
            .arg(sent.deletedRecordIDs.size())
            .arg(sent.failedRecordDeletes.size()));
    for (const Record& saved : sent.savedRecords) {
        if (const auto found = recordCache_.find(saved.recordID()); found != recordCache_.end()) {
            found->second.record = saved;
        } else if (const auto aux = auxRecordCache_.find(saved.recordID());
                   aux != auxRecordCache_.end()) {
            aux->second.record = saved;
        }
    }
    for (const RecordID& id : sent.deletedRecordIDs) {
        recordCache_.erase(id);
    }
    for (const SyncEvent::FailedRecordSave& failed : sent.failedRecordSaves) {
        retryFailedSave(failed);
    }
}

void SyncedDocsBridgeService::retryFailedSave(const SyncEvent::FailedRecordSave& failed) {
    const RecordID& id = failed.record.recordID();
    switch (failed.error.code) {
    case RecordStoreError::Code::serverRecordChanged: {
        if (!failed.error.serverRecord) {
            log(QStringLiteral("serverRecordChanged with NO server record for %1 — block will not "
                               "sync")
                    .arg(id.recordName));
            return;
        }
        if (!recoverSource(id, QStringLiteral("save conflict"))) {
            log(QStringLiteral("no record source for %1 (save conflict)").arg(id.recordName));
            return;
        }
        // The desktop's content goes onto the server's version, field by field, so the next
        // save carries the server's tag and wins. What the other side had saved is kept aside.
        if (const auto found = recordCache_.find(id); found != recordCache_.end()) {
            const std::optional<core::Block> theirs =
                BlockRecordMapping::block(*failed.error.serverRecord);
            if (theirs && !theirs->hasSameContent(found->second.block)) {
                keepLost(found->second.docPath, {lostEdit(found->second.docPath, *theirs, true)});
            }
            found->second.record = failed.error.serverRecord;
        } else {
            auxRecordCache_.at(id).record = failed.error.serverRecord;
        }
        if (std::optional<Record> merged = recordFor(id, QStringLiteral("save conflict"))) {
            if (const auto found = recordCache_.find(id); found != recordCache_.end()) {
                found->second.record = std::move(merged);
            } else {
                auxRecordCache_.at(id).record = std::move(merged);
            }
        }
        addSave(id);
        return;
    }
    case RecordStoreError::Code::unknownItem: {
        if (!recoverSource(id, QStringLiteral("record vanished"))) {
            log(QStringLiteral("no record source for %1 (record vanished)").arg(id.recordName));
            return;
        }
        if (const auto found = recordCache_.find(id); found != recordCache_.end()) {
            found->second.record.reset();
        } else {
            auxRecordCache_.at(id).record.reset();
        }
        log(QStringLiteral("%1 is gone server-side — re-creating it").arg(id.recordName));
        addSave(id);
        return;
    }
    default:
        log(QStringLiteral("record save failed for %1: %2")
                .arg(id.recordName, failed.error.message));
    }
}

bool SyncedDocsBridgeService::watchdogStep(WatchdogState& state, qsizetype pending,
                                           const QDateTime& now, std::chrono::seconds forceAfter,
                                           std::chrono::seconds gap) {
    if (pending < 1) {
        state.pendingSince.reset();
        return false;
    }
    if (!state.pendingSince) {
        state.pendingSince = now;
    }
    if (state.lastSendAttempt && *state.lastSendAttempt >= *state.pendingSince) {
        return false;
    }
    if (state.pendingSince->msecsTo(now) <
        std::chrono::duration_cast<std::chrono::milliseconds>(forceAfter).count()) {
        return false;
    }
    if (state.lastForcedSend &&
        state.lastForcedSend->msecsTo(now) <
            std::chrono::duration_cast<std::chrono::milliseconds>(gap).count()) {
        return false;
    }
    state.lastForcedSend = now;
    return true;
}

void SyncedDocsBridgeService::runWatchdog() {
    if (!syncEngine_) {
        return;
    }
    const qsizetype pending = syncEngine_->state().pendingRecordZoneChanges().size() +
                              syncEngine_->state().pendingDatabaseChanges().size();
    const QDateTime now = timing_.now();
    if (watchdogStep(watchdog_, pending, now, timing_.forceSendAfter, timing_.forcedSendGap)) {
        forceSend(pending, watchdog_.pendingSince->secsTo(now)); // runs on with its own guard
    }
}

QCoro::Task<> SyncedDocsBridgeService::forceSend(qsizetype pending, qint64 seconds) {
    QPointer<SyncedDocsBridgeService> self(this);
    log(QStringLiteral("%1 change(s) pending and no send attempted %2s — forcing sendChanges()")
            .arg(pending)
            .arg(seconds));
    QPointer<RecordSyncEngine> engine(syncEngine_);
    QCoro::Task<RecordSyncEngine::Outcome> sending = engine->sendChanges();
    const RecordSyncEngine::Outcome failure = co_await sending;
    if (!self || !failure) {
        co_return;
    }
    self->log(QStringLiteral("forced sendChanges() failed: %1").arg(failure->message));
}

QCoro::Task<> SyncedDocsBridgeService::periodicPass() {
    QPointer<SyncedDocsBridgeService> self(this);
    if (!syncEngine_) {
        co_return;
    }
    QPointer<RecordSyncEngine> engine(syncEngine_);
    QCoro::Task<RecordSyncEngine::Outcome> fetching = engine->fetchChanges();
    const RecordSyncEngine::Outcome failure = co_await fetching;
    if (!self || failure) {
        co_return;
    }
    self->runWatchdog();
}

void SyncedDocsBridgeService::purge() {
    QList<PendingDatabaseChange> zones;
    for (const core::SyncedDocCollectionConfig& collection : collections_) {
        zones << PendingDatabaseChange::deleteZone(zoneFor(collection));
    }
    if (syncEngine_) {
        syncEngine_->state().add(zones);
    }
    log(QStringLiteral("purging %1 zone(s) — records will be re-uploaded from the vault")
            .arg(zones.size()));
    try {
        for (const auto& document : engine_.allDocs()) {
            try {
                engine_.deleteDoc(document.zone, document.docPath);
            } catch (const std::exception&) {
                // What stays is replaced at the file's next change.
            }
        }
    } catch (const std::exception&) {
    }
    recordCache_.clear();
}

void SyncedDocsBridgeService::shareCollection(const core::SyncedDocCollectionConfig& collection) {
    log(QStringLiteral("sharing %1 is not available on this platform").arg(zoneFor(collection)));
}

} // namespace mnemora

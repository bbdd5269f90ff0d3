#include "migration/MigrationService.h"

#include <QVariantMap>

#include "daemon/DaemonHttp.h"
#include "daemon/DaemonService.h"

namespace mnemora {

namespace {

const QString unreachable = QStringLiteral("Daemon not reachable");

QVariantMap folderRow(const OldFolderInfo& folder, bool recommended) {
    return {{QStringLiteral("name"), folder.name},
            {QStringLiteral("photos"), folder.photoCount},
            {QStringLiteral("voices"), folder.voiceCount},
            {QStringLiteral("captioned"), folder.captionedPct},
            {QStringLiteral("triaged"), folder.triagedPct},
            {QStringLiteral("processed"), folder.processedPct},
            {QStringLiteral("score"), QStringLiteral("score %1").arg(folder.enrichmentScore)},
            {QStringLiteral("recommended"), recommended}};
}

} // namespace

const QList<MigrationService::JobInfo>& MigrationService::followUps() {
    static const QList<JobInfo> all{
        {Job::backfill, QStringLiteral("migrations/cloud-id/backfill"),
         QStringLiteral("cloud-id-backfill-progress"),
         QStringLiteral("Starting cloud identifier backfill…"),
         QStringLiteral("Backfill cloud identifiers")},
        {Job::dedup, QStringLiteral("migrations/cloud-id/dedup"),
         QStringLiteral("cloud-id-dedup-progress"),
         QStringLiteral("Starting cloud identifier dedup…"),
         QStringLiteral("Deduplicate by cloud identifier")},
        {Job::rename, QStringLiteral("migrations/cloud-id/rename"),
         QStringLiteral("cloud-id-rename-progress"),
         QStringLiteral("Starting cloud identifier rename…"),
         QStringLiteral("Rename files to stable hash names")},
    };
    return all;
}

QStringList MigrationService::followUpLabels() {
    QStringList labels;
    for (const JobInfo& info : followUps()) {
        labels << info.label;
    }
    return labels;
}

MigrationService::MigrationService(QObject* parent)
    : QObject(parent) {}

MigrationService::~MigrationService() = default;

std::optional<V4MigrationPreview> MigrationService::v4Preview() const {
    return status_ ? status_->v4Preview : std::nullopt;
}

QString MigrationService::phaseWord() const {
    switch (phase_.kind) {
    case Phase::Kind::idle:
        return QStringLiteral("idle");
    case Phase::Kind::loading:
        return QStringLiteral("loading");
    case Phase::Kind::preview:
        return QStringLiteral("preview");
    case Phase::Kind::running:
        return QStringLiteral("running");
    case Phase::Kind::complete:
        return QStringLiteral("complete");
    case Phase::Kind::failed:
        return QStringLiteral("failed");
    }
    return {};
}

QString MigrationService::phaseMessage() const {
    if (phase_.kind == Phase::Kind::running && phase_.progress) {
        return phase_.progress->message.value_or(QString());
    }
    return phase_.message;
}

double MigrationService::progressFraction() const {
    if (phase_.kind != Phase::Kind::running || !phase_.progress) {
        return -1;
    }
    return phase_.progress->fraction().value_or(-1);
}

QVariantMap MigrationService::previewMap() const {
    const std::optional<V4MigrationPreview> preview = v4Preview();
    if (!preview) {
        return {};
    }
    QVariantList folders;
    for (qsizetype i = 0; i < preview->oldFolders.size(); ++i) {
        folders << folderRow(preview->oldFolders.at(i), i == preview->recommendedPrimaryIdx);
    }
    QVariantList legacy;
    for (const LegacyDirInfo& dir : preview->legacyDirs) {
        legacy << QVariantMap{{QStringLiteral("name"), dir.name},
                              {QStringLiteral("files"), dir.fileCount}};
    }
    // The recommendation only counts when it points at a folder that is there.
    const bool inRange = preview->recommendedPrimaryIdx >= 0 &&
                         preview->recommendedPrimaryIdx < preview->oldFolders.size();
    return {{QStringLiteral("needsMigration"), preview->needsMigration},
            {QStringLiteral("folders"), folders},
            {QStringLiteral("legacyDirs"), legacy},
            {QStringLiteral("recommended"),
             inRange ? preview->oldFolders.at(preview->recommendedPrimaryIdx).name : QString()},
            {QStringLiteral("identityId"), preview->identityId},
            {QStringLiteral("identityDisplayName"), preview->identityDisplayName}};
}

QVariantList MigrationService::completedList() const {
    QVariantList rows;
    const auto add = [&](const QString& name, std::optional<bool> done) {
        rows << QVariantMap{{QStringLiteral("name"), name},
                            {QStringLiteral("done"), done.value_or(false)}};
    };
    const std::optional<MigrationStatus> known = status_;
    add(QStringLiteral("v3 (legacy vault path)"),
        known ? std::optional(!known->v3Needed.value_or(false)) : std::nullopt);
    const std::optional<V4MigrationPreview> preview = v4Preview();
    add(QStringLiteral("v4 (Registry layout)"),
        known ? std::optional(!(preview && preview->needsMigration)) : std::nullopt);
    add(QStringLiteral("v5 cloud identifier filenames"),
        known ? known->v5CloudIdDone : std::nullopt);
    return rows;
}

void MigrationService::setPhase(Phase phase) {
    if (phase != phase_) {
        phase_ = std::move(phase);
        emit phaseChanged();
    }
}

void MigrationService::setLastError(const std::optional<QString>& error) {
    if (error != lastError_) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

bool MigrationService::outcomeShown() const {
    return phase_.kind == Phase::Kind::running || phase_.kind == Phase::Kind::complete ||
           phase_.kind == Phase::Kind::failed;
}

QCoro::Task<> MigrationService::refreshStatus() {
    QPointer<MigrationService> self(this);
    if (!daemon_ || !daemon_->baseUrl()) {
        setLastError(unreachable);
        co_return;
    }
    // A run's outcome stays on screen; only a fresh look moves through loading.
    const Phase before = phase_;
    const bool steering = !outcomeShown();
    if (steering) {
        setPhase({Phase::Kind::loading, {}, {}});
    }
    QCoro::Task<Expected<MigrationStatus>> fetching = DaemonEndpoints::migrationStatus(daemon_);
    const Expected<MigrationStatus> result = co_await fetching;
    if (!self) {
        co_return;
    }
    if (!result.ok()) {
        setLastError(result.error() == unreachable
                         ? unreachable
                         : QStringLiteral("Status fetch failed: ") + result.error());
        if (steering) {
            setPhase(before);
        }
        co_return;
    }
    setLastError(std::nullopt);
    status_ = result.value();
    emit statusChanged();
    if (steering) {
        const std::optional<V4MigrationPreview> preview = v4Preview();
        setPhase({preview && preview->needsMigration ? Phase::Kind::preview : Phase::Kind::idle,
                  {},
                  {}});
    }
}

QCoro::Task<> MigrationService::startV4(QString identityId, QString displayName,
                                        QString primaryFolder) {
    DaemonEndpoints::Daemon target = daemon_;
    QCoro::Task<> running = run(
        QStringLiteral("migration-progress"), QStringLiteral("Starting migration…"),
        [target, identityId, displayName, primaryFolder] {
            return DaemonEndpoints::runV4Migration(target, identityId, displayName, primaryFolder);
        });
    co_await running;
}

QCoro::Task<> MigrationService::runFollowUp(Job job) {
    for (const JobInfo& info : followUps()) {
        if (info.job != job) {
            continue;
        }
        DaemonEndpoints::Daemon target = daemon_;
        const auto cloudJob = static_cast<DaemonEndpoints::CloudIdJob>(job);
        QCoro::Task<> running = run(info.event, info.startingMessage, [target, cloudJob] {
            return DaemonEndpoints::runCloudIdJob(target, cloudJob);
        });
        co_await running;
    }
}

QCoro::Task<> MigrationService::run(QString event, QString startingMessage,
                                    std::function<QCoro::Task<Expected<void>>()> send) {
    QPointer<MigrationService> self(this);
    const std::optional<QUrl> base = daemon_ ? daemon_->baseUrl() : std::nullopt;
    if (!base) {
        setPhase({Phase::Kind::failed, {}, unreachable});
        co_return;
    }
    MigrationProgress starting;
    starting.phase = QStringLiteral("starting");
    starting.message = startingMessage;
    setPhase({Phase::Kind::running, starting, {}});
    runStarted_ = true;
    userAcknowledgedComplete_ = false;
    activeEvent_ = event;
    emit phaseChanged();
    // The stream is open before the request goes out, so no event of the run is missed.
    sseTask_ = std::make_unique<EventStreamReader>();
    // Started and left: the listener guards this service and ends with the reader.
    listen(self, sseTask_.get(), DaemonHttp::endpoint(*base, QStringLiteral("progress")));
    QCoro::Task<Expected<void>> sending = send();
    const Expected<void> result = co_await sending;
    if (!self || result.ok()) {
        co_return;
    }
    // The run never started: nothing will come on its stream.
    sseTask_.reset();
    setPhase({Phase::Kind::failed, {}, result.error()});
}

QCoro::Task<> MigrationService::listen(QPointer<MigrationService> self, EventStreamReader* reader,
                                       QUrl url) {
    EventStreamReader::Request request;
    request.url = std::move(url);
    QCoro::Task<HttpReply> reading =
        reader->read(std::move(request), [self](const QJsonObject& object) {
            return self ? self->onEvent(object) : EventStreamReader::Next::stop;
        });
    co_await reading;
}

EventStreamReader::Next MigrationService::onEvent(const QJsonObject& object) {
    if (!activeEvent_ || object.value(QLatin1String("event")).toString() != *activeEvent_) {
        return EventStreamReader::Next::keepReading;
    }
    const MigrationProgress progress =
        MigrationProgress::fromJson(object.value(QLatin1String("payload")).toObject());
    if (progress.error) {
        setPhase({Phase::Kind::failed,
                  {},
                  progress.message.value_or(QStringLiteral("Migration failed"))});
        return EventStreamReader::Next::stop;
    }
    if (!progress.done) {
        setPhase({Phase::Kind::running, progress, {}});
        return EventStreamReader::Next::keepReading;
    }
    setPhase({Phase::Kind::complete,
              {},
              progress.message.value_or(QStringLiteral("Migration complete"))});
    // Started and left: the refresh guards this service.
    refreshStatus();
    return EventStreamReader::Next::stop;
}

void MigrationService::acknowledge() {
    userAcknowledgedComplete_ = true;
    runStarted_ = false;
    activeEvent_.reset();
    sseTask_.reset();
    setPhase({Phase::Kind::idle, {}, {}});
    emit phaseChanged();
    // Started and left: the refresh guards this service.
    refreshStatus();
}

void MigrationService::retry() {
    // Started and left: the refresh guards this service.
    refreshStatus();
}

void MigrationService::start(const QString& identityId, const QString& displayName,
                             const QString& primaryFolder) {
    // Started and left: the run guards this service.
    startV4(identityId, displayName, primaryFolder);
}

void MigrationService::startFollowUp(int job) {
    if (job >= 0 && job < followUps().size()) {
        // Started and left: the run guards this service.
        runFollowUp(followUps().at(job).job);
    }
}

} // namespace mnemora

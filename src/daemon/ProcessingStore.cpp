#include "daemon/ProcessingStore.h"

#include <QTimer>

#include <QCoroTimer>

#include "app/JsonRead.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"

namespace mnemora {

namespace {

using JsonRead::integer;
using JsonRead::string;

// "1 asset", "2 assets".
QString counted(qint64 count, const QString& noun) {
    return QStringLiteral("%1 %2%3").arg(count).arg(noun,
                                                    count == 1 ? QString() : QStringLiteral("s"));
}

QString retryCompleteText(const QJsonObject& payload) {
    const qint64 reset = JsonRead::integerOr(payload, QLatin1String("reset"));
    const qint64 reconciled = JsonRead::integerOr(payload, QLatin1String("reconciled"));
    const qint64 skipped = JsonRead::integerOr(payload, QLatin1String("skipped"));
    const qint64 errors = JsonRead::integerOr(payload, QLatin1String("errors"));
    QStringList parts{QStringLiteral("Retry reset ") + counted(reset, QStringLiteral("asset"))};
    if (reconciled > 0) {
        parts << QStringLiteral("cleaned ") +
                     counted(reconciled, QStringLiteral("stale index row"));
    }
    if (skipped > 0) {
        parts << QStringLiteral("skipped %1").arg(skipped);
    }
    if (errors > 0) {
        parts << counted(errors, QStringLiteral("error"));
    }
    return parts.join(QStringLiteral(", "));
}

QString entityCompleteText(const QJsonObject& payload) {
    QList<qint64> counts;
    for (const char* key : {"people_created", "people_updated", "places_created", "groups_created",
                            "events_created"}) {
        const auto count = integer(payload, QLatin1String(key));
        if (!count) {
            // Partial counts would read as zeros that never happened.
            return QStringLiteral("Entity generation complete.");
        }
        counts << *count;
    }
    return QStringLiteral(
               "Entities: %1 people created, %2 updated, %3 places, %4 groups, %5 events")
        .arg(counts[0])
        .arg(counts[1])
        .arg(counts[2])
        .arg(counts[3])
        .arg(counts[4]);
}

// "{prefix}: {error}", or "{prefix}." when the daemon gave no reason.
QString failureLine(const QString& prefix, const QJsonObject& payload) {
    const QString error = JsonRead::stringOr(payload, QLatin1String("error")).trimmed();
    return error.isEmpty() ? prefix + QLatin1Char('.') : prefix + QStringLiteral(": ") + error;
}

// A coarse timer may fire a few per cent early; a window must never be shorter than it says.
QCoro::Task<> windowElapsed(std::chrono::milliseconds window) {
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setSingleShot(true);
    timer.start(window);
    co_await timer;
}

quint64 unsignedOr0(const QJsonObject& payload, const char* key) {
    return static_cast<quint64>(
        std::max<qint64>(0, JsonRead::integerOr(payload, QLatin1String(key))));
}

} // namespace

ProcessingStore::ProcessingStore(QObject* parent)
    : QObject(parent)
    , clock_([] { return QDateTime::currentDateTimeUtc(); }) {}

ProcessingStore::~ProcessingStore() {
    // The stream's coroutine resumes inside the abort; its token tells it this object is going.
    stop();
}

QDateTime ProcessingStore::now() const {
    return clock_();
}

void ProcessingStore::start() {
    if (sseTask_.isActive()) {
        return;
    }
    refreshQueuePositions();
    QPointer<ProcessingStore> self(this);
    const CancelToken token = sseTask_.renew();
    CancellableLoop::run(token, timings_.reconnectDelay, CancellableLoop::FirstPass::atOnce,
                         [self, token] { return streamPass(self, token); });
}

void ProcessingStore::stop() {
    sseTask_.cancel();
    stream_.abort();
}

QCoro::Task<> ProcessingStore::streamPass(QPointer<ProcessingStore> self, CancelToken token) {
    if (!self || token.isCancelled() || !self->daemon_) {
        co_return;
    }
    const std::optional<QUrl> base = self->daemon_->baseUrl();
    if (!base) {
        co_return; // the loop waits and looks for a port again
    }
    EventStreamReader::Request request;
    const DaemonEndpoints::Endpoint* progress =
        DaemonEndpoints::find("GET", QStringLiteral("progress"));
    request.url = DaemonHttp::endpoint(*base, progress->path);
    request.timeout = progress->timeout;
    EventStreamReader::Handler handler = [self, token](const QJsonObject& object) {
        if (!self || token.isCancelled()) {
            return EventStreamReader::Next::stop;
        }
        self->dispatch(object);
        return EventStreamReader::Next::keepReading;
    };
    // Built outside the await: GCC 12 mishandles temporaries inside a co_await expression.
    QCoro::Task<HttpReply> reading = self->stream_.read(std::move(request), std::move(handler));
    co_await reading;
    if (!self || token.isCancelled()) {
        co_return;
    }
    self->onStreamEnded();
}

void ProcessingStore::onStreamEnded() {
    // A daemon that went away mid-file never reports the end of it; entries it left at
    // "processing" would spin forever.
    AssetStatusMap kept = withoutStale(statusByPath_, now(), timings_.staleAfter);
    if (kept.size() != statusByPath_.size()) {
        statusByPath_ = std::move(kept);
        emit statusByPathChanged();
    }
    requestIndexTick();
}

AssetStatusMap ProcessingStore::withoutStale(AssetStatusMap entries, const QDateTime& now,
                                             std::chrono::milliseconds maxAge) {
    entries.removeIf([&](const AssetStatusMap::iterator& entry) {
        return entry->status == QLatin1String("processing") &&
               entry->receivedAt.msecsTo(now) > maxAge.count();
    });
    return entries;
}

void ProcessingStore::dispatch(const QJsonObject& object) {
    const QJsonValue eventValue = object.value(QLatin1String("event"));
    const QJsonValue payloadValue = object.value(QLatin1String("payload"));
    if (!eventValue.isString() || !payloadValue.isObject()) {
        return;
    }
    // Other events are for other readers (migrations read theirs on their own connection).
    const auto& handlers = eventHandlers();
    if (const auto handler = handlers.constFind(eventValue.toString());
        handler != handlers.cend()) {
        (this->**handler)(payloadValue.toObject());
    }
}

const QHash<QString, ProcessingStore::EventHandler>& ProcessingStore::eventHandlers() {
    static const QHash<QString, EventHandler> handlers{
        {QStringLiteral("asset-status-updated"), &ProcessingStore::onAssetStatus},
        {QStringLiteral("registry-updated"), &ProcessingStore::onIndexChanged},
        {QStringLiteral("timeline-updated"), &ProcessingStore::onIndexChanged},
        {QStringLiteral("questions-changed"), &ProcessingStore::onQuestionsChanged},
        {QStringLiteral("retry-all-started"), &ProcessingStore::onRetryStarted},
        {QStringLiteral("retry-all-complete"), &ProcessingStore::onRetryComplete},
        {QStringLiteral("retry-all-error"), &ProcessingStore::onRetryError},
        {QStringLiteral("entity-generation-started"), &ProcessingStore::onEntitiesStarted},
        {QStringLiteral("entity-generation-complete"), &ProcessingStore::onEntitiesComplete},
        {QStringLiteral("entity-generation-error"), &ProcessingStore::onEntitiesError},
        {QStringLiteral("index-rebuild-started"), &ProcessingStore::onRebuildStarted},
        {QStringLiteral("index-rebuild-progress"), &ProcessingStore::onRebuildProgress},
        {QStringLiteral("index-rebuild-complete"), &ProcessingStore::onRebuildComplete},
        {QStringLiteral("index-rebuild-error"), &ProcessingStore::onRebuildError},
        {QStringLiteral("model-download-progress"), &ProcessingStore::onModelDownload},
    };
    return handlers;
}

void ProcessingStore::onAssetStatus(const QJsonObject& payload) {
    if (auto status = AssetStatusEvent::fromPayload(payload, now())) {
        coalesce(std::move(*status));
    }
}

void ProcessingStore::onIndexChanged(const QJsonObject&) {
    requestIndexTick();
}

void ProcessingStore::onQuestionsChanged(const QJsonObject&) {
    emit questionsChanged();
}

void ProcessingStore::onRetryStarted(const QJsonObject& payload) {
    const QString kind = JsonRead::stringOr(payload, QLatin1String("kind")).trimmed();
    emit retryEvent(kind.isEmpty() ? QStringLiteral("Retry started")
                                   : QStringLiteral("Retry (%1) started").arg(kind));
}

void ProcessingStore::onRetryComplete(const QJsonObject& payload) {
    emit retryEvent(retryCompleteText(payload));
    requestIndexTick();
}

void ProcessingStore::onRetryError(const QJsonObject& payload) {
    emit retryEvent(failureLine(QStringLiteral("Retry failed"), payload));
}

void ProcessingStore::onEntitiesStarted(const QJsonObject&) {
    setEntityGenerationBusy(true);
    emit entityEvent(QStringLiteral("Generating entities…"));
}

void ProcessingStore::onEntitiesComplete(const QJsonObject& payload) {
    setEntityGenerationBusy(false);
    emit entityEvent(entityCompleteText(payload));
    requestIndexTick();
}

void ProcessingStore::onEntitiesError(const QJsonObject& payload) {
    setEntityGenerationBusy(false);
    emit entityEvent(failureLine(QStringLiteral("Entity generation failed"), payload));
}

void ProcessingStore::onRebuildStarted(const QJsonObject&) {
    setIndexRebuild(true, 0.0, QStringLiteral("Rebuilding index…"));
}

void ProcessingStore::onRebuildProgress(const QJsonObject& payload) {
    const auto percent = JsonRead::number(payload, QLatin1String("progress_percent"));
    const auto message = string(payload, QLatin1String("message"));
    setIndexRebuild(indexRebuildBusy_,
                    percent ? std::optional<double>(*percent / 100.0) : indexRebuildProgress_,
                    message ? message : indexRebuildStatus_);
}

void ProcessingStore::onRebuildComplete(const QJsonObject& payload) {
    const auto total = integer(payload, QLatin1String("total_items"));
    setIndexRebuild(false, std::nullopt,
                    total ? QStringLiteral("Rebuilt index — %1 items.").arg(*total)
                          : QStringLiteral("Rebuilt index."));
    requestIndexTick();
}

void ProcessingStore::onRebuildError(const QJsonObject& payload) {
    setIndexRebuild(false, std::nullopt, failureLine(QStringLiteral("Rebuild failed"), payload));
}

void ProcessingStore::onModelDownload(const QJsonObject& payload) {
    const QString kind = JsonRead::stringOr(payload, QLatin1String("kind"));
    const QString model = JsonRead::stringOr(payload, QLatin1String("model"));
    if (kind != QLatin1String("vlm-swiftlm") && model.isEmpty()) {
        return;
    }
    const QString status = JsonRead::stringOr(payload, QLatin1String("status"));
    if (status == QLatin1String("complete")) {
        setVlmPullProgress(std::nullopt);
        return;
    }
    setVlmPullProgress(VlmPullProgress{
        kind, model, status, unsignedOr0(payload, "completed"), unsignedOr0(payload, "total"),
        JsonRead::number(payload, QLatin1String("percentage")).value_or(0.0)});
}

void ProcessingStore::coalesce(AssetStatusEvent event) {
    pendingRecent_.append(event);
    if (pendingRecent_.size() > maxRecent) {
        // Only the newest can reach the feed.
        pendingRecent_.removeFirst();
    }
    const QString path = event.filePath;
    pendingByPath_.insert(path, std::move(event));
    if (!flushScheduled_) {
        flushScheduled_ = true;
        flushStatusAfter(QPointer<ProcessingStore>(this), timings_.statusWindow);
    }
}

QCoro::Task<> ProcessingStore::flushStatusAfter(QPointer<ProcessingStore> self,
                                                std::chrono::milliseconds window) {
    QCoro::Task<> waiting = windowElapsed(window);
    co_await waiting;
    if (self) {
        self->flushStatus();
    }
}

void ProcessingStore::flushStatus() {
    flushScheduled_ = false;
    if (pendingByPath_.isEmpty()) {
        return;
    }
    for (auto it = pendingByPath_.begin(); it != pendingByPath_.end(); ++it) {
        statusByPath_.insert(it.key(), std::move(it.value()));
    }
    pendingByPath_.clear();
    // A file the daemon dropped mid-way never reports its end, even while the stream stays open;
    // each merge also lets go of what has been stuck long enough.
    statusByPath_ = withoutStale(std::move(statusByPath_), now(), timings_.staleAfter);
    QList<AssetStatusEvent> recent;
    recent.reserve(maxRecent);
    for (auto it = pendingRecent_.crbegin(); it != pendingRecent_.crend(); ++it) {
        recent.append(*it);
    }
    for (const AssetStatusEvent& older : std::as_const(recentEvents_)) {
        if (recent.size() >= maxRecent) {
            break;
        }
        recent.append(older);
    }
    pendingRecent_.clear();
    recentEvents_ = std::move(recent);
    emit statusByPathChanged();
    emit recentEventsChanged();
}

void ProcessingStore::requestIndexTick() {
    pendingIndexTick_ = true;
    if (!indexTickFlushScheduled_) {
        indexTickFlushScheduled_ = true;
        flushIndexTickAfter(QPointer<ProcessingStore>(this), timings_.indexTickWindow);
    }
}

QCoro::Task<> ProcessingStore::flushIndexTickAfter(QPointer<ProcessingStore> self,
                                                   std::chrono::milliseconds window) {
    QCoro::Task<> waiting = windowElapsed(window);
    co_await waiting;
    if (!self) {
        co_return;
    }
    // Cleared before the positions are fetched, so that a tick asked for meanwhile gets a
    // window of its own.
    self->indexTickFlushScheduled_ = false;
    if (!self->pendingIndexTick_) {
        co_return;
    }
    self->pendingIndexTick_ = false;
    ++self->indexRebuildTick_;
    emit self->indexRebuildTickChanged();
    QCoro::Task<> refreshing = self->refreshQueuePositions();
    co_await refreshing;
}

QCoro::Task<> ProcessingStore::refreshQueuePositions() {
    QPointer<ProcessingStore> self(this);
    QCoro::Task<std::optional<QueuePositions>> fetching = DaemonEndpoints::queuePositions(daemon_);
    const std::optional<QueuePositions> positions = co_await fetching;
    if (!self || !positions) {
        co_return; // an unreachable daemon leaves the last known places
    }
    if (queuePositionsAudio_ != positions->audio || queuePositionsVisual_ != positions->visual) {
        queuePositionsAudio_ = positions->audio;
        queuePositionsVisual_ = positions->visual;
        emit queuePositionsChanged();
    }
}

void ProcessingStore::setEntityGenerationBusy(bool busy) {
    if (entityGenerationBusy_ != busy) {
        entityGenerationBusy_ = busy;
        emit entityGenerationBusyChanged();
    }
}

void ProcessingStore::setIndexRebuild(bool busy, std::optional<double> progress,
                                      std::optional<QString> status) {
    if (indexRebuildBusy_ == busy && indexRebuildProgress_ == progress &&
        indexRebuildStatus_ == status) {
        return;
    }
    indexRebuildBusy_ = busy;
    indexRebuildProgress_ = progress;
    indexRebuildStatus_ = std::move(status);
    emit indexRebuildChanged();
}

void ProcessingStore::setVlmPullProgress(std::optional<VlmPullProgress> progress) {
    if (vlmPullProgress_ != progress) {
        vlmPullProgress_ = std::move(progress);
        emit vlmPullProgressChanged();
    }
}

} // namespace mnemora

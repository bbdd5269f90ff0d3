#include "daemon/GpuSchedulerSnapshot.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

QueueItem QueueItem::fromJson(const QJsonObject& object) {
    return {stringOr(object, QLatin1String("work_type")),
            stringOr(object, QLatin1String("priority")),
            stringOr(object, QLatin1String("asset_path")),
            stringOr(object, QLatin1String("model_name")),
            integerOr(object, QLatin1String("enqueued_at_ago_ms"))};
}

Completion Completion::fromJson(const QJsonObject& object) {
    Completion completion;
    completion.workType = stringOr(object, QLatin1String("work_type"));
    completion.modelName = stringOr(object, QLatin1String("model_name"));
    completion.assetPath = stringOr(object, QLatin1String("asset_path"));
    completion.completedAt = stringOr(object, QLatin1String("completed_at"));
    completion.wallMs = integerOr(object, QLatin1String("wall_ms"));
    completion.outcome = stringOr(object, QLatin1String("outcome"), QStringLiteral("success"));
    completion.reason = string(object, QLatin1String("reason"));
    completion.preview = string(object, QLatin1String("preview"));
    completion.photoUuid = string(object, QLatin1String("photo_uuid"));
    completion.mediaType = string(object, QLatin1String("media_type"));
    completion.id = completion.completedAt + QLatin1Char('|') + completion.workType +
                    QLatin1Char('|') + completion.assetPath;
    return completion;
}

GpuSchedulerSnapshot GpuSchedulerSnapshot::fromJson(const QJsonObject& body) {
    GpuSchedulerSnapshot snapshot;
    snapshot.running = boolOr(body, QLatin1String("running"));
    snapshot.message = string(body, QLatin1String("message"));
    snapshot.queueSize = integerOr(body, QLatin1String("queue_size"));
    snapshot.whisperVoicePending = integerOr(body, QLatin1String("whisper_voice_pending"));
    snapshot.whisperVideoPending = integerOr(body, QLatin1String("whisper_video_pending"));
    snapshot.vlmPending = integerOr(body, QLatin1String("vlm_pending"));
    snapshot.triagePending = integerOr(body, QLatin1String("triage_pending"));
    snapshot.currentlyProcessing = string(body, QLatin1String("currently_processing"));
    snapshot.itemsProcessedSession = integerOr(body, QLatin1String("items_processed_session"));
    snapshot.sessionSuccess = integerOr(body, QLatin1String("session_success"));
    snapshot.sessionSkipped = integerOr(body, QLatin1String("session_skipped"));
    snapshot.sessionFailed = integerOr(body, QLatin1String("session_failed"));
    for (const QJsonValue& item : array(body, QLatin1String("queue_items"))) {
        snapshot.queueItems << QueueItem::fromJson(item.toObject());
    }
    for (const QJsonValue& item : array(body, QLatin1String("recent"))) {
        snapshot.recent << Completion::fromJson(item.toObject());
    }
    return snapshot;
}

} // namespace mnemora

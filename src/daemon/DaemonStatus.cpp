#include "daemon/DaemonStatus.h"

#include "app/JsonRead.h"

#include "daemon/SupervisionRules.h"

namespace mnemora {

void DaemonStatus::applyBody(const QJsonObject& body, const QDateTime& now) {
    const auto boolean = [&](const char* key) {
        const QJsonValue value = body.value(QLatin1String(key));
        return value.isBool() && value.toBool();
    };
    connection = Connection::connected();
    processingActive = boolean("processing_active");
    pendingItems = JsonRead::int32(body.value(QLatin1String("pending_items"))).value_or(0);
    heartbeatAgeSecs = JsonRead::int32(body.value(QLatin1String("heartbeat_age_secs")));
    transcriptionActive = boolean("transcription_active");
    swiftlmWarming = boolean("swiftlm_warming");
    lastUpdatedAt = now;
}

} // namespace mnemora

#include "daemon/AssetStatusEvent.h"

#include "app/JsonRead.h"

namespace mnemora {

std::optional<AssetStatusEvent> AssetStatusEvent::fromPayload(const QJsonObject& payload,
                                                              const QDateTime& receivedAt) {
    const auto filePath = JsonRead::string(payload, QLatin1String("file_path"));
    const auto itemType = JsonRead::string(payload, QLatin1String("item_type"));
    const auto status = JsonRead::string(payload, QLatin1String("status"));
    if (!filePath || !itemType || !status) {
        return std::nullopt;
    }
    return AssetStatusEvent{*filePath,
                            *itemType,
                            *status,
                            JsonRead::string(payload, QLatin1String("audio_status")),
                            JsonRead::string(payload, QLatin1String("visual_status")),
                            JsonRead::string(payload, QLatin1String("detail")),
                            JsonRead::number(payload, QLatin1String("progress_percent")),
                            JsonRead::number(payload, QLatin1String("transcribed_secs")),
                            JsonRead::string(payload, QLatin1String("partial_text")),
                            receivedAt};
}

QString AssetStatusEvent::statusText() const {
    const QString& word = audioStatus ? *audioStatus : status;
    if (word == QLatin1String("done") || word == QLatin1String("completed")) {
        return QStringLiteral("Done");
    }
    if (word == QLatin1String("failed")) {
        return QStringLiteral("Failed");
    }
    if (word == QLatin1String("picked_up")) {
        return QStringLiteral("Queued");
    }
    if (word == QLatin1String("loading_model")) {
        return QStringLiteral("Loading model");
    }
    if (word == QLatin1String("converting_audio")) {
        return QStringLiteral("Converting audio");
    }
    if (word == QLatin1String("transcription_started") ||
        word.startsWith(QLatin1String("segment_"))) {
        return QString::asprintf("Transcribing %.0f%%", progressPercent.value_or(0.0));
    }
    // Any other state reads as its own word: "processing" shows as "Processing".
    QString text = word;
    text.replace(QLatin1Char('_'), QLatin1Char(' '));
    if (!text.isEmpty()) {
        text[0] = text[0].toUpper();
    }
    return text;
}

} // namespace mnemora

#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

// The processing state of one file as the daemon last reported it.
struct AssetStatusEvent {
    QString filePath;
    QString itemType;
    QString status;
    std::optional<QString> audioStatus;
    std::optional<QString> visualStatus;
    std::optional<QString> detail;
    std::optional<double> progressPercent;
    std::optional<double> transcribedSecs;
    std::optional<QString> partialText;
    QDateTime receivedAt;

    // From the payload of `asset-status-updated`; absent without `file_path`, `item_type` and
    // `status`.
    static std::optional<AssetStatusEvent> fromPayload(const QJsonObject& payload,
                                                       const QDateTime& receivedAt);

    // The row's words for the state: "Done", "Queued", "Transcribing 42%", ...
    QString statusText() const;

    bool operator==(const AssetStatusEvent&) const = default;
};

} // namespace mnemora

#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

// The answer of one setup proof (`verify/...`), success or not.
struct VerifyResult {
    bool ok = false;
    bool skipped = false;
    std::optional<QString> text;
    QString message;
    std::optional<QString> model;
    qint64 latencyMs = 0;
    std::optional<QString> error;

    // Absent when the answer has no `ok`: it is not a proof's answer.
    static std::optional<VerifyResult> fromJson(const QJsonObject& body);
    // A proof that never reached the daemon's answer.
    static VerifyResult failure(const QString& message, std::optional<QString> error = {});
    bool operator==(const VerifyResult&) const = default;
};

// The voice model's download state, from `models/whisper/status`.
struct VoiceModelStatus {
    bool ok = false;
    std::optional<QString> model;
    std::optional<bool> ready;
    std::optional<qint64> bytesPresent;
    std::optional<qint64> bytesExpected;

    static VoiceModelStatus fromJson(const QJsonObject& body);
    bool operator==(const VoiceModelStatus&) const = default;
};

} // namespace mnemora

#pragma once

#include <QJsonObject>
#include <QString>

namespace mnemora {

// Whether the daemon can read the protected folders it needs (voice memos), from `fda/status`.
struct FDAStatus {
    bool hasAccess = false;
    bool directoryExists = false;
    QString message;
    qint64 voiceMemoPending = 0;
    qint64 voiceMemoFailed = 0;

    static FDAStatus fromJson(const QJsonObject& body);
    bool operator==(const FDAStatus&) const = default;
};

} // namespace mnemora

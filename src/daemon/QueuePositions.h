#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>

namespace mnemora {

// Each waiting file's place in the daemon's audio and visual queues.
struct QueuePositions {
    QHash<QString, int> audio;
    QHash<QString, int> visual;

    // From `queue/positions`; entries that are not whole numbers are left out.
    static QueuePositions fromJson(const QJsonObject& body);

    bool operator==(const QueuePositions&) const = default;
};

} // namespace mnemora

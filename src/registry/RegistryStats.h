#pragma once

#include <QMap>
#include <QString>

namespace mnemora {

// Counts over the whole index (or one identity's part of it) for the overview screens.
struct RegistryStats {
    qint64 totalItems = 0;
    qint64 voiceMemos = 0;
    qint64 photos = 0;
    qint64 timeLogs = 0;
    qint64 people = 0;
    qint64 places = 0;
    // A null group key counts under "unknown".
    QMap<QString, qint64> byItemType;
    QMap<QString, qint64> byStatus;
    QMap<QString, qint64> byIdentity;

    bool operator==(const RegistryStats&) const = default;
};

} // namespace mnemora

#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

// One progress event of a migration run, as the daemon streams it.
struct MigrationProgress {
    std::optional<QString> migration;
    std::optional<QString> phase;
    std::optional<QString> message;
    bool done = false;
    bool error = false;
    std::optional<qint64> filesProcessed;
    std::optional<qint64> filesTotal;
    std::optional<qint64> filesUpdated;
    std::optional<qint64> filesDeleted;
    std::optional<qint64> groupsProcessed;
    std::optional<qint64> groupsTotal;
    std::optional<qint64> renamed;
    std::optional<qint64> total;
    std::optional<double> progress;

    // From an event payload with snake_case keys.
    static MigrationProgress fromJson(const QJsonObject& payload);
    // How far the run is, 0 to 1, when the event tells: `progress`, else files, else groups.
    std::optional<double> fraction() const;
    bool operator==(const MigrationProgress&) const = default;
};

} // namespace mnemora

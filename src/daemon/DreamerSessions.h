#pragma once

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora {

// A live session stopped by its usage limit.
struct SessionLimit {
    QString session;
    QString message;
    std::optional<QDateTime> resetsAt;

    bool operator==(const SessionLimit&) const = default;
};

// The daemon's live agent sessions and the limits they hit, from `dreamer/sessions`.
struct DreamerSessions {
    QStringList sessions;
    QHash<QString, SessionLimit> limits; // by session name

    // `limits` comes as an array of objects with `session`, or as a map by session name; both
    // are read. `resets_at` is an ISO 8601 text or seconds since 1970.
    static DreamerSessions fromJson(const QJsonObject& body);
    bool operator==(const DreamerSessions&) const = default;
};

} // namespace mnemora

#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

// What the last status poll learnt of the daemon. The watchdog reads it as well as the displays.
struct DaemonStatus {
    struct Connection {
        enum class Kind { unknown, connected, disconnected };

        Kind kind = Kind::unknown;
        QString reason; // disconnected: for display only

        static Connection unknown() { return {}; }
        static Connection connected() { return {Kind::connected, {}}; }
        static Connection disconnected(const QString& reason) {
            return {Kind::disconnected, reason};
        }
        bool is(Kind other) const { return kind == other; }

        bool operator==(const Connection&) const = default;
    };

    Connection connection;
    bool processingActive = false;
    int pendingItems = 0;
    std::optional<QDateTime> lastUpdatedAt;
    std::optional<int> heartbeatAgeSecs;
    bool transcriptionActive = false;
    bool swiftlmWarming = false;

    // Takes every field from a good `/status` body, each on its own: a key that is absent or of
    // another type gives that field's default, never a failure. Sets `connected` and the time.
    void applyBody(const QJsonObject& body, const QDateTime& now);

    bool operator==(const DaemonStatus&) const = default;
};

} // namespace mnemora

#include "daemon/DreamerSessions.h"

#include <cmath>

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

namespace {

std::optional<QDateTime> resetsAt(const QJsonObject& object) {
    const QJsonValue value = object.value(QLatin1String("resets_at"));
    // Seconds since the epoch; a number no date can have is no date.
    if (const double seconds = value.toDouble();
        value.isDouble() && std::isfinite(seconds) && std::abs(seconds) < 1e11) {
        return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000), Qt::UTC);
    }
    if (value.isString()) {
        const QDateTime parsed = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        if (parsed.isValid()) {
            return parsed.toUTC();
        }
    }
    return std::nullopt;
}

SessionLimit limit(const QString& session, const QJsonObject& object) {
    return {session, stringOr(object, QLatin1String("message")), resetsAt(object)};
}

} // namespace

DreamerSessions DreamerSessions::fromJson(const QJsonObject& body) {
    DreamerSessions result;
    for (const QJsonValue& value : array(body, QLatin1String("sessions"))) {
        // A session is its name, or an object that carries one.
        const QString name =
            value.isString() ? value.toString() : stringOr(value.toObject(), QLatin1String("name"));
        if (!name.isEmpty()) {
            result.sessions << name;
        }
    }
    const QJsonValue limits = body.value(QLatin1String("limits"));
    if (limits.isArray()) {
        for (const QJsonValue& value : limits.toArray()) {
            const QJsonObject object = value.toObject();
            const QString session = stringOr(object, QLatin1String("session"));
            if (!session.isEmpty()) {
                result.limits.insert(session, limit(session, object));
            }
        }
    } else if (limits.isObject()) {
        const QJsonObject map = limits.toObject();
        for (auto it = map.begin(); it != map.end(); ++it) {
            result.limits.insert(it.key(), limit(it.key(), it.value().toObject()));
        }
    }
    return result;
}

} // namespace mnemora

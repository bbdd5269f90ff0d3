#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <cmath>
#include <limits>
#include <optional>

// Typed reads of untyped JSON (the daemon's answers, the configuration): a key that is absent or
// of another type is absent, never a failure.
namespace mnemora::JsonRead {

inline std::optional<QString> string(const QJsonObject& object, QLatin1String key) {
    const QJsonValue value = object.value(key);
    return value.isString() ? std::optional<QString>(value.toString()) : std::nullopt;
}

inline QString stringOr(const QJsonObject& object, QLatin1String key,
                        const QString& fallback = {}) {
    return string(object, key).value_or(fallback);
}

inline std::optional<double> number(const QJsonObject& object, QLatin1String key) {
    const QJsonValue value = object.value(key);
    return value.isDouble() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

// A whole number that fits 64 bits: 2.5 is not a count, and 1e300 is none rather than whatever
// the conversion would make of it.
inline std::optional<qint64> integer(const QJsonValue& value) {
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    // 2^63 as a double; anything at or beyond it does not fit.
    constexpr double limit = 9223372036854775808.0;
    if (!std::isfinite(number) || std::floor(number) != number || number >= limit ||
        number < -limit) {
        return std::nullopt;
    }
    return static_cast<qint64>(number);
}

// The same, limited to 32 bits.
inline std::optional<int> int32(const QJsonValue& value) {
    const std::optional<qint64> number = integer(value);
    if (!number || *number > std::numeric_limits<int>::max() ||
        *number < std::numeric_limits<int>::min()) {
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

inline std::optional<qint64> integer(const QJsonObject& object, QLatin1String key) {
    return integer(object.value(key));
}

inline qint64 integerOr(const QJsonObject& object, QLatin1String key, qint64 fallback = 0) {
    return integer(object, key).value_or(fallback);
}

inline bool boolOr(const QJsonObject& object, QLatin1String key, bool fallback = false) {
    const QJsonValue value = object.value(key);
    return value.isBool() ? value.toBool() : fallback;
}

inline QJsonObject object(const QJsonObject& object, QLatin1String key) {
    return object.value(key).toObject();
}

inline QJsonArray array(const QJsonObject& object, QLatin1String key) {
    return object.value(key).toArray();
}

} // namespace mnemora::JsonRead

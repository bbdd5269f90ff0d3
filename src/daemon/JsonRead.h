#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <cmath>
#include <optional>

// Typed reads of the daemon's untyped JSON: a key that is absent or of another type is absent,
// never a failure.
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

// Whole numbers only: 2.5 is not a count.
inline std::optional<qint64> integer(const QJsonValue& value) {
    if (!value.isDouble() || std::trunc(value.toDouble()) != value.toDouble()) {
        return std::nullopt;
    }
    return static_cast<qint64>(value.toDouble());
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

#include "daemon/EraCandidate.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

namespace {

QStringList strings(const QJsonObject& object, const char* key) {
    QStringList result;
    for (const QJsonValue& value : array(object, QLatin1String(key))) {
        if (value.isString()) {
            result << value.toString();
        }
    }
    return result;
}

} // namespace

EraCandidate EraCandidate::fromJson(const QJsonObject& object) {
    return {stringOr(object, QLatin1String("slug")),
            stringOr(object, QLatin1String("name")),
            stringOr(object, QLatin1String("date_start")),
            stringOr(object, QLatin1String("date_end")),
            integerOr(object, QLatin1String("photo_count")),
            strings(object, "top_places"),
            strings(object, "top_people")};
}

QJsonObject EraCandidate::toJson() const {
    return {{QStringLiteral("slug"), slug},
            {QStringLiteral("name"), name},
            {QStringLiteral("date_start"), dateStart},
            {QStringLiteral("date_end"), dateEnd},
            {QStringLiteral("photo_count"), photoCount},
            {QStringLiteral("top_places"), QJsonArray::fromStringList(topPlaces)},
            {QStringLiteral("top_people"), QJsonArray::fromStringList(topPeople)}};
}

} // namespace mnemora

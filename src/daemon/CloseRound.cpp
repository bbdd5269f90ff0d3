#include "daemon/CloseRound.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

CloseRound CloseRound::fromJson(const QJsonObject& body) {
    const QJsonObject round = object(body, QLatin1String("round"));
    // The round's own keys first; the answer's top level holds them too.
    auto read = [&](const char* key) {
        const QLatin1String name(key);
        return round.contains(name) ? round.value(name) : body.value(name);
    };
    CloseRound result;
    result.status = read("status").toString();
    if (read("current_activity").isString()) {
        result.currentActivity = read("current_activity").toString();
    }
    const QJsonObject scope = read("scope").toObject();
    result.scope = {
        stringOr(scope, QLatin1String("swept_from")), stringOr(scope, QLatin1String("swept_to")),
        integerOr(scope, QLatin1String("scanned")), integerOr(scope, QLatin1String("produced"))};
    for (const QJsonValue& value : read("destinations").toArray()) {
        const QJsonObject destination = value.toObject();
        result.destinations << Destination{stringOr(destination, QLatin1String("books")),
                                           stringOr(destination, QLatin1String("period")),
                                           stringOr(destination, QLatin1String("status"))};
    }
    return result;
}

} // namespace mnemora

#include "daemon/QueuePositions.h"

#include "app/JsonRead.h"

namespace mnemora {

namespace {

QHash<QString, int> positions(const QJsonObject& object) {
    QHash<QString, int> result;
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (const auto position = JsonRead::integer(it.value())) {
            result.insert(it.key(), static_cast<int>(*position));
        }
    }
    return result;
}

} // namespace

QueuePositions QueuePositions::fromJson(const QJsonObject& body) {
    return {positions(JsonRead::object(body, QLatin1String("audio"))),
            positions(JsonRead::object(body, QLatin1String("visual")))};
}

} // namespace mnemora

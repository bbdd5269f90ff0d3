#include "daemon/EntityPayload.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

EntityPayload EntityPayload::fromJson(const QJsonObject& body) {
    return {stringOr(body, QLatin1String("entity_type")), stringOr(body, QLatin1String("slug")),
            object(body, QLatin1String("frontmatter")), stringOr(body, QLatin1String("body")),
            stringOr(body, QLatin1String("path"))};
}

} // namespace mnemora

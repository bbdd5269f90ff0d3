#include "daemon/FDAStatus.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

FDAStatus FDAStatus::fromJson(const QJsonObject& body) {
    return {boolOr(body, QLatin1String("has_access")),
            boolOr(body, QLatin1String("directory_exists")),
            stringOr(body, QLatin1String("message")),
            integerOr(body, QLatin1String("voice_memo_pending")),
            integerOr(body, QLatin1String("voice_memo_failed"))};
}

} // namespace mnemora

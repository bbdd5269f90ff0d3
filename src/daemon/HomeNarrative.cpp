#include "daemon/HomeNarrative.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

namespace {

std::optional<HomeNarrative::Section> section(const QJsonObject& body, const char* key) {
    const QJsonValue value = body.value(QLatin1String(key));
    if (!value.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    return HomeNarrative::Section{stringOr(object, QLatin1String("body")),
                                  string(object, QLatin1String("modified_at")),
                                  stringOr(object, QLatin1String("path"))};
}

} // namespace

HomeNarrative HomeNarrative::fromJson(const QJsonObject& body) {
    return {section(body, "current_context"),    section(body, "long_horizon"),
            section(body, "may_need_attention"), section(body, "eras"),
            section(body, "biography"),          string(body, QLatin1String("life_dir"))};
}

} // namespace mnemora

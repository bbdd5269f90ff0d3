#include "daemon/ObsidianStatus.h"

#include "app/JsonRead.h"

namespace mnemora {

using namespace JsonRead;

ObsidianStatus ObsidianStatus::fromJson(const QJsonObject& body) {
    return {boolOr(body, QLatin1String("installed")), string(body, QLatin1String("plugin_dir")),
            string(body, QLatin1String("bundled_version")),
            string(body, QLatin1String("installed_version"))};
}

ObsidianInstallResult ObsidianInstallResult::fromJson(const QJsonObject& body) {
    return {boolOr(body, QLatin1String("ok")),
            string(body, QLatin1String("message")),
            string(body, QLatin1String("plugin_dir")),
            boolOr(body, QLatin1String("freshly_installed")),
            boolOr(body, QLatin1String("preserved_user_settings")),
            string(body, QLatin1String("bundled_version")),
            string(body, QLatin1String("error"))};
}

} // namespace mnemora

#include "cloud/SyncedDocsContainer.h"

#include "platform/BundleInfo.h"

namespace mnemora::SyncedDocsContainer {

std::optional<QString> identifier(const std::optional<QString>& bundleIdentifier) {
    if (bundleIdentifier == QLatin1String("vox.let")) {
        return std::nullopt;
    }
    if (bundleIdentifier == QLatin1String("tallo.ai")) {
        return QStringLiteral("iCloud.tallo.ai");
    }
    return QStringLiteral("iCloud.ai.mnemora");
}

std::optional<QString> current(const RecordStoreSettings& settings) {
    if (!settings.isConfigured()) {
        return std::nullopt;
    }
    const QString& bundleIdentifier = BundleInfo::main().identifier;
    return identifier(bundleIdentifier.isEmpty() ? std::nullopt : std::optional(bundleIdentifier));
}

} // namespace mnemora::SyncedDocsContainer

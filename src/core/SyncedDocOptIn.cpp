#include "core/SyncedDocOptIn.h"

#include "core/FrontmatterSyncOverride.h"

#include <algorithm>

namespace mnemora::core::SyncedDocOptIn {

bool shouldSync(std::string_view path, std::string_view content,
                const std::vector<SyncedDocCollectionConfig>& collections) {
    if (const auto fileOverride = FrontmatterSyncOverride::parse(content)) {
        return *fileOverride == SyncOverride::enabled;
    }
    return std::ranges::any_of(collections, [&](const SyncedDocCollectionConfig& collection) {
        return collection.contains(path);
    });
}

std::optional<SyncedDocCollectionConfig>
collection(std::string_view path, const std::vector<SyncedDocCollectionConfig>& collections) {
    const auto found =
        std::ranges::find_if(collections, [&](const SyncedDocCollectionConfig& collection) {
            return collection.contains(path);
        });
    if (found == collections.end()) {
        return std::nullopt;
    }
    return *found;
}

} // namespace mnemora::core::SyncedDocOptIn

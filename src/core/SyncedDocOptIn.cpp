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

bool isNotesPath(std::string_view path) {
    if (path.empty() || path.size() > kMaxPathBytes) {
        return false;
    }
    if (std::ranges::any_of(path, [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
        return false;
    }
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == "..") {
            return false; // also a leading "/": the path would not be relative
        }
        start = end + 1;
    }
    return true;
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

#include "core/SyncedDocCollectionConfig.h"

namespace mnemora::core {

bool SyncedDocCollectionConfig::contains(std::string_view path) const {
    return path.size() > folderPath.size() && path.starts_with(folderPath) &&
           path[folderPath.size()] == '/';
}

const std::vector<SyncedDocCollectionConfig>& SyncedDocCollectionConfig::launchDefaults() {
    static const std::vector<SyncedDocCollectionConfig> defaults{
        {"lists/active", "Household lists", SyncedDocType::checklist, true},
        {"orientation", "Orientation board", SyncedDocType::board, false},
        {"questions", "Questions", SyncedDocType::questionInbox, false},
        {"status", "Close status", SyncedDocType::closeStatus, false},
    };
    return defaults;
}

} // namespace mnemora::core

#pragma once

#include "core/SyncedDocType.h"

#include <string>
#include <string_view>
#include <vector>

namespace mnemora::core {

// A folder of the Notes folder whose documents sync by default.
struct SyncedDocCollectionConfig {
    // Relative to the Notes folder, without a slash at the end.
    std::string folderPath{};
    std::string title{};
    SyncedDocType docTypeDefault = SyncedDocType::doc;
    bool isShared = false;

    // True for paths inside the folder; the folder's own path is not inside it.
    bool contains(std::string_view path) const;

    // The collections every vault starts with, in this order.
    static const std::vector<SyncedDocCollectionConfig>& launchDefaults();

    bool operator==(const SyncedDocCollectionConfig&) const = default;
};

} // namespace mnemora::core

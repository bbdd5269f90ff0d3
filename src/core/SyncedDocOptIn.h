#pragma once

#include "core/SyncedDocCollectionConfig.h"

#include <optional>
#include <string_view>
#include <vector>

// Decides which files of the Notes folder take part in sync.
namespace mnemora::core::SyncedDocOptIn {

// The file's own override wins; without one, a file syncs when a collection contains it.
bool shouldSync(std::string_view path, std::string_view content,
                const std::vector<SyncedDocCollectionConfig>& collections);

// The first collection that contains `path`.
std::optional<SyncedDocCollectionConfig>
collection(std::string_view path, const std::vector<SyncedDocCollectionConfig>& collections);

} // namespace mnemora::core::SyncedDocOptIn

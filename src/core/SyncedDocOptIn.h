#pragma once

#include "core/SyncedDocCollectionConfig.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

// Decides which files of the Notes folder take part in sync.
namespace mnemora::core::SyncedDocOptIn {

// The file's own override wins; without one, a file syncs when a collection contains it.
bool shouldSync(std::string_view path, std::string_view content,
                const std::vector<SyncedDocCollectionConfig>& collections);

// Whether `path` can name a file of the Notes folder: relative, at most kMaxPathBytes long, and
// made of named parts, none of them "." or "..", with no control characters. Paths that come in
// from the record store are checked with this before any file is read or written under them.
constexpr std::size_t kMaxPathBytes = 1024;
bool isNotesPath(std::string_view path);

// The first collection that contains `path`.
std::optional<SyncedDocCollectionConfig>
collection(std::string_view path, const std::vector<SyncedDocCollectionConfig>& collections);

} // namespace mnemora::core::SyncedDocOptIn

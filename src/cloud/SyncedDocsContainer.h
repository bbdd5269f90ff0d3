#pragma once

#include "cloud/RecordStoreSettings.h"

#include <QString>

#include <optional>

namespace mnemora::SyncedDocsContainer {

// The cloud container a bundle syncs to; none for the transcription brand, which has no sync.
std::optional<QString> identifier(const std::optional<QString>& bundleIdentifier);

// The container of the running bundle. Here a container also needs a record store to live in:
// without a configured record store URL it counts as absent, and sync stays off.
std::optional<QString> current(const RecordStoreSettings& settings);

} // namespace mnemora::SyncedDocsContainer

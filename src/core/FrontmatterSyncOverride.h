#pragma once

#include "core/SyncOverride.h"

#include <optional>
#include <string_view>

namespace mnemora::core::FrontmatterSyncOverride {

// The `sync` key of the file's front matter: "cloudkit" enables, "false" disables, anything else
// and no key at all give nothing. The front matter is whatever stands between the first two
// "---", wherever they are, so the first `sync` key there decides even with an unknown value.
std::optional<SyncOverride> parse(std::string_view content);

} // namespace mnemora::core::FrontmatterSyncOverride

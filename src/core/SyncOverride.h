#pragma once

namespace mnemora::core {

// A file's own say on whether it syncs, from the `sync` key of its front matter.
enum class SyncOverride { enabled, disabled };

} // namespace mnemora::core

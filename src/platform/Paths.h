#pragma once

#include <QString>

namespace mnemora {

// Where the product keeps its files on this machine. The layout below each root is the same on
// every platform; only the roots differ. Every read goes to the environment afresh so that tests
// and the vault runtimes can point them elsewhere.
namespace Paths {

// The user's home folder ($HOME, else the account's home).
QString home();

// Per-user data: $XDG_DATA_HOME, default ~/.local/share.
QString applicationSupportRoot();

// Per-user caches: $XDG_CACHE_HOME, default ~/.cache.
QString cachesRoot();

// Per-user logs: $XDG_STATE_HOME, default ~/.local/state.
QString logsRoot();

// Per-user preferences (the user defaults files): $XDG_CONFIG_HOME, default ~/.config.
QString preferencesRoot();

// Expands a leading "~" (alone or followed by "/") to home().
QString expandTilde(const QString& path);

} // namespace Paths

} // namespace mnemora

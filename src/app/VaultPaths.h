#pragma once

#include <QString>

namespace mnemora {

class ConfigService;

// Where a vault's machine-local files live: its cache folder (port file, index) and its daemon's
// log. A vault's folders are named by its cache key, so every vault has its own.
namespace VaultPaths {

// The absolute path with all trailing "/" removed and every remaining "/" replaced by "_":
// "/Users/x/Foo Bar/" gives "_Users_x_Foo Bar".
QString cacheKey(const QString& vaultPath);

// `{caches}/{bundleIdentifier}/`: the shared cache folder of a primary daemon without a vault.
QString sharedCacheFolder();

// `{caches}/{bundleIdentifier}/vaults/{key}/`.
QString vaultCacheFolder(const QString& vaultPath);

// The cache folder a service uses: its override, else the vault's when the configuration names
// a vault (non-empty `mnemora_path`), else the shared one. `config` may be null.
QString cacheFolder(const QString& cacheDirOverride, const ConfigService* config);

// `{logs}/{bundleIdentifier}/daemon.log`, or `daemon-{suffix}.log` with a non-empty suffix.
QString daemonLogFile(const QString& logNameSuffix);

// The four folders every vault holds.
inline constexpr const char* kFolders[] = {"Registry", "Notes", "Media", ".mnemora"};

// `{vault}/.mnemora/config.json`: a vault window's configuration file.
QString vaultConfigFile(const QString& vaultPath);

} // namespace VaultPaths

} // namespace mnemora

#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

class ConfigService;

// Where a vault's daemon keeps its port file and index, and where its log goes. The daemon
// computes the same places, so these rules are shared with it and never change.
namespace VaultPaths {

// A vault's cache key: its absolute path with every trailing "/" removed and every other "/"
// replaced by "_" ("/Users/x/Foo Bar/" gives "_Users_x_Foo Bar").
QString cacheKey(const QString& vaultPath);

// `{caches}/{bundleIdentifier}`: the shared cache folder, for a primary daemon with no vault.
QString sharedCacheFolder();

// `{caches}/{bundleIdentifier}/vaults/{key}`.
QString vaultCacheFolder(const QString& vaultPath);

// The vault a configuration names in `mnemora_path`, with "~" expanded; absent when the key is
// missing, not a string or empty.
std::optional<QString> configuredVault(const QJsonObject& config);

// The cache folder of a vault's daemon and index: the override if set, else the configured vault's
// cache folder, else the shared one. `config` may be null.
QString daemonCacheFolder(const QString& cacheDirOverride, const ConfigService* config);

// `{logs}/{bundleIdentifier}/daemon.log`, or `daemon-{suffix}.log` for a vault runtime.
QString daemonLogFile(const QString& logNameSuffix);

// The four folders every vault holds.
inline constexpr const char* kFolders[] = {"Registry", "Notes", "Media", ".mnemora"};

// `{vault}/.mnemora/config.json`: a vault window's configuration file.
QString vaultConfigFile(const QString& vaultPath);

} // namespace VaultPaths

} // namespace mnemora

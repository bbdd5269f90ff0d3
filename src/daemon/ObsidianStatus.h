#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

// The note-app plug-in as the daemon sees it, from `obsidian/status`.
struct ObsidianStatus {
    bool installed = false;
    std::optional<QString> pluginDir;
    std::optional<QString> bundledVersion;
    std::optional<QString> installedVersion;

    static ObsidianStatus fromJson(const QJsonObject& body);
    bool operator==(const ObsidianStatus&) const = default;
};

// The answer of `obsidian/install`.
struct ObsidianInstallResult {
    bool ok = false;
    std::optional<QString> message;
    std::optional<QString> pluginDir;
    bool freshlyInstalled = false;
    bool preservedUserSettings = false;
    std::optional<QString> bundledVersion;
    std::optional<QString> error;

    static ObsidianInstallResult fromJson(const QJsonObject& body);
    bool operator==(const ObsidianInstallResult&) const = default;
};

} // namespace mnemora

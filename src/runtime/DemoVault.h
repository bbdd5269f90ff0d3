#pragma once

#include <QString>

namespace mnemora::DemoVault {

// Where the demo was asked for, which decides the second line of a failure.
enum class Origin { ownPeriod, firstRun };

struct Result {
    QString vaultPath; // set on success
    QString error;     // set on failure

    bool ok() const { return error.isEmpty(); }
};

// Builds `~/{appDisplayName} Demo/` with the vault's four folders, lays the Tallo fixtures in
// from the demo cache, or from the bundled dataset when the cache has none (period folders
// replace their namesakes, question files are copied anew)
// and writes a demo configuration if the vault has none. Folder creation failures stop it and
// are reported; nothing partial is cleaned up.
Result make(const QString& slug, const QString& displayName);

// The folder the downloaded demo dataset of `slug` lives in.
QString datasetFolder(const QString& slug);
// The dataset of `slug` that ships inside the application, laid out when none was downloaded.
QString bundledDataset(const QString& slug);

// "Couldn't set the demo up: {error}" and the line that fits where it was started.
QString failureText(const QString& error, Origin origin);

// The Tallo brand's demo identity.
inline constexpr const char* kTalloSlug = "alex-carter";
inline constexpr const char* kTalloDisplayName = "Alex Carter (Demo)";

} // namespace mnemora::DemoVault

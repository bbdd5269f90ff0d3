#pragma once

#include <QString>

#include <optional>

namespace mnemora {

// The Info values of the application bundle: the folder that holds the executable, with an
// Info.json beside it and resources under Resources/. An empty value means the key is absent.
struct BundleInfo {
    QString folder;      // absolute path of the bundle folder (holds the executable)
    QString identifier;  // "identifier"
    QString displayName; // "displayName"
    QString name;        // "name"
    // "desktopEntry": the installed desktop entry's name, without ".desktop". Given a default so
    // that brace initialisations naming only the values above stay complete.
    QString desktopEntry = {};

    QString resourcesFolder() const;
    QString infoFilePath() const;

    bool operator==(const BundleInfo&) const = default;

    // Reads `{folder}/Info.json`. A missing or malformed file gives empty values.
    static BundleInfo read(const QString& folder);

    // True when `folder` holds an Info.json, i.e. is an application bundle.
    static bool isBundleFolder(const QString& folder);

    // The folder that holds the running executable (resolved through /proc/self/exe).
    static QString executableFolder();

    // The running application's bundle. Read once: bundle values never change while the
    // process runs. Safe from any thread.
    static const BundleInfo& main();

    // Tests stand in another bundle for main(); absent restores the real one.
    static void overrideMainForTesting(std::optional<BundleInfo> info);
};

} // namespace mnemora

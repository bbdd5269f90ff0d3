#pragma once

#include <QString>

namespace mnemora::refdaemon {

// Where this daemon works: the vault it serves and the cache folder of its port file and index,
// found exactly as the application finds them, from MN_CONFIG_DIR for a vault window's daemon
// and from the primary configuration otherwise.
struct DaemonPlaces {
    QString vaultPath;   // empty when no vault is configured
    QString cacheFolder; // holds daemon.port and registry_index.sqlite
    // The folder of the configuration file. The application asks for its first-run defaults at
    // the port written here, so the port file goes here as well.
    QString configFolder;

    static DaemonPlaces fromEnvironment();
};

} // namespace mnemora::refdaemon

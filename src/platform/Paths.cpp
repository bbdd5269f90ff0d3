#include "platform/Paths.h"

#include <QDir>

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace mnemora::Paths {

namespace {

QString envPath(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
        return {};
    }
    return QString::fromLocal8Bit(value);
}

// An XDG root is only honoured when absolute, as the base directory rules ask.
QString xdgRoot(const char* variable, const char* fallbackBelowHome) {
    const QString value = envPath(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value)) {
        return QDir::cleanPath(value);
    }
    return QDir::cleanPath(home() + QLatin1Char('/') + QLatin1String(fallbackBelowHome));
}

} // namespace

QString home() {
    const QString value = envPath("HOME");
    if (!value.isEmpty()) {
        return QDir::cleanPath(value);
    }
    if (const passwd* entry = getpwuid(getuid()); entry != nullptr && entry->pw_dir != nullptr) {
        return QDir::cleanPath(QString::fromLocal8Bit(entry->pw_dir));
    }
    return QStringLiteral("/");
}

QString applicationSupportRoot() {
    return xdgRoot("XDG_DATA_HOME", ".local/share");
}

QString cachesRoot() {
    return xdgRoot("XDG_CACHE_HOME", ".cache");
}

QString logsRoot() {
    return xdgRoot("XDG_STATE_HOME", ".local/state");
}

QString preferencesRoot() {
    return xdgRoot("XDG_CONFIG_HOME", ".config");
}

QString expandTilde(const QString& path) {
    if (path == QLatin1String("~")) {
        return home();
    }
    if (path.startsWith(QLatin1String("~/"))) {
        return home() + path.mid(1);
    }
    return path;
}

} // namespace mnemora::Paths

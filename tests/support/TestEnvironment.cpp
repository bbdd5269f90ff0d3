#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <stdexcept>

namespace mnemora::test {

TestEnvironment::TestEnvironment() {
    if (!dir_.isValid()) {
        throw std::runtime_error("could not create a temporary folder");
    }
    QDir().mkpath(home());
    setEnv("HOME", home());
    setEnv("XDG_DATA_HOME", dataHome());
    setEnv("XDG_CACHE_HOME", cacheHome());
    setEnv("XDG_STATE_HOME", stateHome());
    setEnv("XDG_CONFIG_HOME", configHome());
}

TestEnvironment::~TestEnvironment() {
    for (const auto& [name, value] : saved_) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }
}

QString TestEnvironment::home() const {
    return dir_.path() + QStringLiteral("/home");
}
QString TestEnvironment::dataHome() const {
    return home() + QStringLiteral("/.local/share");
}
QString TestEnvironment::cacheHome() const {
    return home() + QStringLiteral("/.cache");
}
QString TestEnvironment::stateHome() const {
    return home() + QStringLiteral("/.local/state");
}
QString TestEnvironment::configHome() const {
    return home() + QStringLiteral("/.config");
}

void TestEnvironment::setEnv(const char* name, const QString& value) {
    if (saved_.find(name) == saved_.end()) {
        const char* old = std::getenv(name);
        saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    ::setenv(name, value.toLocal8Bit().constData(), 1);
}

void TestEnvironment::writeFile(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        throw std::runtime_error("could not write " + path.toStdString());
    }
    file.write(contents);
}

QByteArray TestEnvironment::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return file.readAll();
}

} // namespace mnemora::test

#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <map>
#include <optional>
#include <string>

namespace mnemora::test {

// A private home for one test: HOME and the XDG roots point into a fresh temporary folder for the
// test's lifetime and are restored afterwards, so nothing touches the real home.
class TestEnvironment {
public:
    TestEnvironment();
    ~TestEnvironment();

    TestEnvironment(const TestEnvironment&) = delete;
    TestEnvironment& operator=(const TestEnvironment&) = delete;

    QString root() const { return dir_.path(); }
    QString home() const;
    QString dataHome() const;   // XDG_DATA_HOME
    QString cacheHome() const;  // XDG_CACHE_HOME
    QString stateHome() const;  // XDG_STATE_HOME
    QString configHome() const; // XDG_CONFIG_HOME

    // Writes a file (creating folders) below the root or at an absolute path.
    static void writeFile(const QString& path, const QByteArray& contents);
    static QByteArray readFile(const QString& path);

    // Sets an environment variable for the test's lifetime.
    void setEnv(const char* name, const QString& value);

private:
    QTemporaryDir dir_;
    std::map<std::string, std::optional<std::string>> saved_;
};

} // namespace mnemora::test

#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

namespace mnemora::test {

// A real PouchDB Server (the one pinned under tools/, installed by scripts/setup.sh) on a loopback
// port with an in-memory database, for tests and benchmarks of the CouchDB-protocol record
// store. It runs in a process group of its own, which the destructor ends; it also dies with the
// process that started it, so no server outlives a crashed test.
class PouchServer {
public:
    // Starts the server on `port`, or on a free port when it is 0, and waits until it accepts
    // connections. On failure `isRunning()` is false and `error()` says why.
    explicit PouchServer(quint16 port = 0);
    ~PouchServer();

    PouchServer(const PouchServer&) = delete;
    PouchServer& operator=(const PouchServer&) = delete;

    bool isRunning() const;
    const QString& error() const { return error_; }
    quint16 port() const { return port_; }
    QUrl baseUrl() const;

    // The URL of a database no one has used yet; the store creates it on first use.
    QUrl freshDatabaseUrl();

    // Ends the server and its process group.
    void stop();

    // The installed server executable; empty when tools/node_modules is missing.
    static QString executablePath();
    // A loopback port that nothing listens on at the moment of asking.
    static quint16 freePort();

private:
    bool waitUntilListening();

    QTemporaryDir folder_; // the server's working folder: its config and log files
    std::unique_ptr<QProcess> process_;
    quint16 port_ = 0;
    int databases_ = 0;
    QString error_;
};

} // namespace mnemora::test

#pragma once

#include <QString>

namespace mnemora {

// The one log of the sync and mirror services. Every vault writes to the same file
// (`{logs}/{bundleIdentifier}/synced-docs.log`); a vault's lines carry "[{vault}] " in front so
// that they can be told apart. Each message is echoed to standard output at once and appended to
// the file, stamped, by a writer thread of its own, so a slow disk never holds up the main thread.
// A line that cannot be written is dropped: the log must never be the reason sync stops.
class SyncLog {
public:
    // `vault` empty: lines go out without a prefix. `filePath` empty: the shared file above.
    explicit SyncLog(QString vault = {}, QString filePath = {});

    void write(const QString& message) const;

    const QString& vault() const { return vault_; }
    const QString& filePath() const { return filePath_; }

    // `{logs}/{bundleIdentifier}/synced-docs.log`.
    static QString defaultFilePath();

    // Blocks until every line queued so far is in its file (tests and quit use it).
    static void flush();

private:
    QString vault_;
    QString filePath_;
};

} // namespace mnemora

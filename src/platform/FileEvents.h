#pragma once

#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace mnemora {

// The kernel's file-system notifications (inotify) for a set of folders, one level each: the
// caller adds a watch per folder it cares about. Reading blocks up to a time limit, and `wake()`
// ends a wait from another thread. Not copyable; the descriptor closes with the object.
class FileEvents {
public:
    struct Event {
        int watch = -1; // the folder's watch
        QString name;   // the entry within the folder; empty for the folder itself
        bool isFolder = false;
        bool created = false;    // created or moved in
        bool removed = false;    // deleted or moved out
        bool written = false;    // contents changed or closed after writing
        bool folderGone = false; // the watched folder itself went away
        bool overflow = false;   // the kernel dropped events: rescan
    };

    // How adding a watch went: the watch, or why not (`limitReached` for the per-user cap).
    struct AddResult {
        int watch = -1;
        bool limitReached = false;
        QString error;
    };

    FileEvents();
    ~FileEvents();
    FileEvents(const FileEvents&) = delete;
    FileEvents& operator=(const FileEvents&) = delete;

    // False when the kernel refused a notification descriptor; `error()` says why.
    bool isValid() const { return fd_ >= 0; }
    const QString& error() const { return error_; }

    AddResult addWatch(const QString& folderPath);
    void removeWatch(int watch);

    // Waits up to `limit` for events (none: forever) and gives those that came; empty after a
    // time-out or a wake().
    std::vector<Event> read(std::optional<std::chrono::milliseconds> limit);

    // Ends the current or next read() at once; safe from any thread.
    void wake();

private:
    int fd_ = -1;
    int wakeFd_ = -1;
    QString error_;
};

} // namespace mnemora

#pragma once

#include "sync/SyncLog.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace mnemora {

class FileEvents;

// Tells the bridge which Markdown files changed under the synced folders. Every folder below the
// watched ones is watched too, also those made later; a watched folder that does not exist yet is
// picked up when it appears. Changes are gathered for `latency` after the first one and then
// handed over at once, as absolute paths ending in ".md", on the thread that owns the watcher.
// Editors save in place, by renaming a temporary file over the old one, or by deleting and
// writing anew: each of these reports the file's path. The kernel events are read on a thread of
// the watcher's own.
class SyncedDocsFileWatcher : public QObject {
    Q_OBJECT

public:
    using OnChange = std::function<void(const QStringList& paths)>;

    SyncedDocsFileWatcher(QStringList paths, std::chrono::milliseconds latency, OnChange onChange,
                          SyncLog log = SyncLog(), QObject* parent = nullptr);
    ~SyncedDocsFileWatcher() override;

    // Does nothing while running or without paths.
    void start();
    // Blocks until the reading thread has ended; no change is delivered afterwards.
    void stop();
    bool isRunning() const { return thread_ != nullptr; }

    const QStringList& watchedPaths() const { return watchedPaths_; }

private:
    void deliver(const QStringList& paths);

    QStringList watchedPaths_;
    std::chrono::milliseconds latency_;
    OnChange onChange_;
    SyncLog log_;
    std::shared_ptr<FileEvents> events_;
    std::shared_ptr<std::atomic_bool> stopping_;
    std::unique_ptr<std::thread> thread_;
};

} // namespace mnemora

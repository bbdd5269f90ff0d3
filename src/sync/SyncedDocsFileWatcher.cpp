#include "sync/SyncedDocsFileWatcher.h"

#include "platform/FileEvents.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <optional>

namespace mnemora {

namespace {

using Clock = std::chrono::steady_clock;

const QString kSource = QStringLiteral("[SyncedDocsFileWatcher] ");

bool isWithin(const QString& path, const QString& folder) {
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

// The folders under watch, kept on the reading thread only. A root that does not exist yet is
// waited for by watching the nearest folder above it that does.
class WatchTree {
public:
    WatchTree(FileEvents& events, const QStringList& roots, const SyncLog& log)
        : events_(events)
        , log_(log) {
        for (const QString& root : roots) {
            roots_.append(QDir::cleanPath(QFileInfo(root).absoluteFilePath()));
        }
    }

    void watchRoots(QSet<QString>& changed, bool scan) {
        for (const QString& root : std::as_const(roots_)) {
            QString folder = root;
            while (!QFileInfo(folder).isDir() && folder != QLatin1String("/")) {
                folder = QFileInfo(folder).absolutePath();
            }
            watchFolder(folder, changed, scan);
        }
    }

    void handle(const FileEvents::Event& event, QSet<QString>& changed) {
        if (event.overflow) {
            // The kernel dropped events: every file may have changed.
            watchRoots(changed, true);
            return;
        }
        const QString folder = folders_.value(event.watch);
        if (folder.isEmpty()) {
            return;
        }
        if (event.folderGone && event.name.isEmpty()) {
            forget(folder);
            return;
        }
        const QString path = folder + QLatin1Char('/') + event.name;
        if (event.isFolder) {
            if (event.removed) {
                forget(path);
            } else if (event.created && isRelevant(path)) {
                // Files may have been written into it before its watch was in place.
                watchFolder(path, changed, true);
            }
            return;
        }
        if (path.endsWith(QLatin1String(".md")) && insideRoot(path)) {
            changed.insert(path);
        }
    }

private:
    bool insideRoot(const QString& path) const {
        return std::any_of(roots_.begin(), roots_.end(),
                           [&path](const QString& root) { return isWithin(path, root); });
    }
    // Inside a root, or on the way to one that does not exist yet.
    bool isRelevant(const QString& path) const {
        return std::any_of(roots_.begin(), roots_.end(), [&path](const QString& root) {
            return isWithin(path, root) || isWithin(root, path);
        });
    }

    void watchFolder(const QString& folder, QSet<QString>& changed, bool scan) {
        if (!watches_.contains(folder)) {
            const FileEvents::AddResult added = events_.addWatch(folder);
            if (added.watch < 0) {
                if (added.limitReached && !limitLogged_) {
                    limitLogged_ = true;
                    log_.write(kSource + QStringLiteral("watch limit reached at ") + folder +
                               QStringLiteral(": changes below it are not seen (raise "
                                              "fs.inotify.max_user_watches)"));
                } else if (!added.limitReached) {
                    log_.write(kSource + QStringLiteral("cannot watch ") + folder +
                               QStringLiteral(": ") + added.error);
                }
                return;
            }
            watches_.insert(folder, added.watch);
            folders_.insert(added.watch, folder);
        }
        const QDir dir(folder);
        for (const QFileInfo& entry :
             dir.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot | QDir::Hidden)) {
            const QString path = entry.absoluteFilePath();
            if (entry.isDir() && !entry.isSymLink() && isRelevant(path)) {
                watchFolder(path, changed, scan);
            } else if (scan && entry.isFile() && path.endsWith(QLatin1String(".md")) &&
                       insideRoot(path)) {
                changed.insert(path);
            }
        }
    }

    void forget(const QString& folder) {
        for (auto it = watches_.begin(); it != watches_.end();) {
            if (isWithin(it.key(), folder)) {
                events_.removeWatch(it.value());
                folders_.remove(it.value());
                it = watches_.erase(it);
            } else {
                ++it;
            }
        }
    }

    FileEvents& events_;
    SyncLog log_;
    QStringList roots_;
    QHash<QString, int> watches_;
    QHash<int, QString> folders_;
    bool limitLogged_ = false;
};

} // namespace

SyncedDocsFileWatcher::SyncedDocsFileWatcher(QStringList paths, std::chrono::milliseconds latency,
                                             OnChange onChange, SyncLog log, QObject* parent)
    : QObject(parent)
    , watchedPaths_(std::move(paths))
    , latency_(latency)
    , onChange_(std::move(onChange))
    , log_(std::move(log)) {}

SyncedDocsFileWatcher::~SyncedDocsFileWatcher() {
    stop();
}

void SyncedDocsFileWatcher::start() {
    if (thread_ || watchedPaths_.isEmpty()) {
        return;
    }
    auto events = std::make_shared<FileEvents>();
    if (!events->isValid()) {
        log_.write(kSource + QStringLiteral("inotify failed for paths: ") +
                   watchedPaths_.join(QStringLiteral(", ")) + QStringLiteral(" (") +
                   events->error() + QLatin1Char(')'));
        return;
    }
    events_ = events;
    stopping_ = std::make_shared<std::atomic_bool>(false);
    // The first watches are in place before start() returns, so nothing written after it is
    // missed.
    auto tree = std::make_shared<WatchTree>(*events, watchedPaths_, log_);
    QSet<QString> initial;
    tree->watchRoots(initial, false);
    thread_ = std::make_unique<std::thread>(
        [this, events, tree, stopping = stopping_, latency = latency_] {
            QSet<QString> pending;
            std::optional<Clock::time_point> deadline;
            while (!*stopping) {
                std::optional<std::chrono::milliseconds> limit;
                if (deadline) {
                    limit = std::max(std::chrono::milliseconds(0),
                                     std::chrono::duration_cast<std::chrono::milliseconds>(
                                         *deadline - Clock::now()));
                }
                const std::vector<FileEvents::Event> batch = events->read(limit);
                if (*stopping) {
                    break;
                }
                for (const FileEvents::Event& event : batch) {
                    tree->handle(event, pending);
                }
                if (!pending.isEmpty() && !deadline) {
                    deadline = Clock::now() + latency;
                }
                if (deadline && Clock::now() >= *deadline) {
                    QStringList paths(pending.begin(), pending.end());
                    paths.sort();
                    pending.clear();
                    deadline.reset();
                    // Queued to the owner's thread; dropped if the watcher is gone by then.
                    QMetaObject::invokeMethod(
                        this, [this, paths] { deliver(paths); }, Qt::QueuedConnection);
                }
            }
        });
}

void SyncedDocsFileWatcher::stop() {
    if (!thread_) {
        return;
    }
    *stopping_ = true;
    events_->wake();
    thread_->join();
    thread_.reset();
    events_.reset();
}

void SyncedDocsFileWatcher::deliver(const QStringList& paths) {
    if (thread_ && onChange_) {
        onChange_(paths);
    }
}

} // namespace mnemora

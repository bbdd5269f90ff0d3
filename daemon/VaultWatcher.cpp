#include "VaultWatcher.h"

#include <QDirIterator>
#include <QSocketNotifier>

#include <sys/inotify.h>
#include <unistd.h>

namespace mnemora::refdaemon {

namespace {

constexpr uint32_t watchedEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE |
                                   IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_ATTRIB;

} // namespace

VaultWatcher::VaultWatcher(QString root, int latencyMs, QObject* parent)
    : QObject(parent)
    , root_(std::move(root)) {
    latency_.setSingleShot(true);
    latency_.setInterval(latencyMs);
    connect(&latency_, &QTimer::timeout, this, &VaultWatcher::changed);
}

VaultWatcher::~VaultWatcher() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool VaultWatcher::start() {
    fd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd_ < 0) {
        return false;
    }
    notifier_ = new QSocketNotifier(fd_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &VaultWatcher::readEvents);
    watchTree(root_);
    return true;
}

void VaultWatcher::watchTree(const QString& folder) {
    const auto add = [this](const QString& path) {
        const int wd = ::inotify_add_watch(fd_, path.toLocal8Bit().constData(), watchedEvents);
        if (wd >= 0) {
            folders_.insert(wd, path);
        }
    };
    add(folder);
    QDirIterator it(folder, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        add(it.next());
    }
}

void VaultWatcher::readEvents() {
    alignas(inotify_event) char buffer[16384];
    for (;;) {
        const ssize_t length = ::read(fd_, buffer, sizeof buffer);
        if (length <= 0) {
            break;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->mask & IN_IGNORED) {
                folders_.remove(event->wd);
                continue;
            }
            // A folder made or moved in is watched with all it already holds.
            if ((event->mask & IN_ISDIR) && (event->mask & (IN_CREATE | IN_MOVED_TO)) &&
                event->len > 0 && folders_.contains(event->wd)) {
                watchTree(folders_.value(event->wd) + QLatin1Char('/') +
                          QString::fromLocal8Bit(event->name));
            }
        }
        latency_.start();
    }
}

} // namespace mnemora::refdaemon

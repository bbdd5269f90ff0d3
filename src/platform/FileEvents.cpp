#include "platform/FileEvents.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace mnemora {

namespace {

constexpr uint32_t kWatchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                IN_CLOSE_WRITE | IN_MODIFY | IN_DELETE_SELF | IN_MOVE_SELF |
                                IN_ONLYDIR;

QString systemWords(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

FileEvents::FileEvents()
    : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , wakeFd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (fd_ < 0 || wakeFd_ < 0) {
        error_ = systemWords(errno);
    }
}

FileEvents::~FileEvents() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
    if (wakeFd_ >= 0) {
        ::close(wakeFd_);
    }
}

FileEvents::AddResult FileEvents::addWatch(const QString& folderPath) {
    AddResult result;
    if (fd_ < 0) {
        result.error = error_;
        return result;
    }
    result.watch = inotify_add_watch(fd_, QFile::encodeName(folderPath).constData(), kWatchMask);
    if (result.watch < 0) {
        result.limitReached = errno == ENOSPC;
        result.error = systemWords(errno);
    }
    return result;
}

void FileEvents::removeWatch(int watch) {
    if (fd_ >= 0 && watch >= 0) {
        inotify_rm_watch(fd_, watch);
    }
}

void FileEvents::wake() {
    if (wakeFd_ >= 0) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
    }
}

std::vector<FileEvents::Event> FileEvents::read(std::optional<std::chrono::milliseconds> limit) {
    std::vector<Event> events;
    if (fd_ < 0) {
        return events;
    }
    pollfd fds[2] = {{fd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    const int timeout = limit ? static_cast<int>(limit->count()) : -1;
    if (::poll(fds, 2, timeout) <= 0) {
        return events;
    }
    if (fds[1].revents & POLLIN) {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t drained = ::read(wakeFd_, &count, sizeof count);
        return events;
    }
    alignas(inotify_event) char buffer[64 * 1024];
    for (;;) {
        const ssize_t length = ::read(fd_, buffer, sizeof buffer);
        if (length <= 0) {
            break;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* raw = reinterpret_cast<const inotify_event*>(buffer + offset);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + raw->len);
            if (raw->mask & IN_IGNORED) {
                continue;
            }
            Event event;
            event.watch = raw->wd;
            event.name = raw->len > 0 ? QFile::decodeName(raw->name) : QString();
            event.isFolder = (raw->mask & IN_ISDIR) != 0;
            event.created = (raw->mask & (IN_CREATE | IN_MOVED_TO)) != 0;
            event.removed = (raw->mask & (IN_DELETE | IN_MOVED_FROM)) != 0;
            event.written = (raw->mask & (IN_CLOSE_WRITE | IN_MODIFY)) != 0;
            event.folderGone = (raw->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0;
            event.overflow = (raw->mask & IN_Q_OVERFLOW) != 0;
            events.push_back(std::move(event));
        }
    }
    return events;
}

} // namespace mnemora

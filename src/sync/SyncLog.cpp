#include "sync/SyncLog.h"

#include "app/Brand.h"
#include "platform/Paths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace mnemora {

namespace {

// The serial writer every SyncLog shares: lines are appended in the order they were written, by a
// thread that lives for the whole process and opens the file anew for each batch, so a log file
// removed or rotated by hand is simply created again.
class Writer {
public:
    static Writer& shared() {
        static Writer writer;
        return writer;
    }

    void enqueue(QString path, QByteArray line) {
        {
            const std::lock_guard lock(mutex_);
            queue_.emplace_back(std::move(path), std::move(line));
            ++queued_;
        }
        wake_.notify_one();
    }

    void flush() {
        std::unique_lock lock(mutex_);
        const quint64 target = queued_;
        drained_.wait(lock, [&] { return written_ >= target; });
    }

    ~Writer() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }

private:
    Writer()
        : thread_([this] { run(); }) {}

    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
            if (queue_.empty() && stopping_) {
                return;
            }
            std::deque<std::pair<QString, QByteArray>> batch;
            batch.swap(queue_);
            lock.unlock();
            for (const auto& [path, line] : batch) {
                append(path, line);
            }
            lock.lock();
            written_ += batch.size();
            drained_.notify_all();
        }
    }

    static void append(const QString& path, const QByteArray& line) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Append)) {
            file.write(line);
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable drained_;
    std::deque<std::pair<QString, QByteArray>> queue_;
    quint64 queued_ = 0;
    quint64 written_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace

SyncLog::SyncLog(QString vault, QString filePath)
    : vault_(std::move(vault))
    , filePath_(filePath.isEmpty() ? defaultFilePath() : std::move(filePath)) {}

QString SyncLog::defaultFilePath() {
    return Paths::logsRoot() + QLatin1Char('/') + bundleIdentifier() +
           QStringLiteral("/synced-docs.log");
}

void SyncLog::write(const QString& message) const {
    const QString text =
        vault_.isEmpty() ? message : QLatin1Char('[') + vault_ + QStringLiteral("] ") + message;
    const QByteArray echoed = (text + QLatin1Char('\n')).toUtf8();
    std::fwrite(echoed.constData(), 1, static_cast<size_t>(echoed.size()), stdout);
    std::fflush(stdout);
    const QString stamp = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    Writer::shared().enqueue(filePath_, (stamp + QLatin1Char(' ')).toUtf8() + echoed);
}

void SyncLog::flush() {
    Writer::shared().flush();
}

} // namespace mnemora

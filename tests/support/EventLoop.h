#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>

#include <QCoroTask>

#include <chrono>
#include <functional>

namespace mnemora::test {

// Turns the Qt event loop until `condition` holds or `limit` passes; gives the last answer.
inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return condition();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(1);
    }
    return true;
}

// Runs a coroutine to its end on a nested event loop and gives its result.
template <typename T> T runTask(QCoro::Task<T>&& task) {
    return QCoro::waitFor(std::move(task));
}
inline void runTask(QCoro::Task<>&& task) {
    QCoro::waitFor(std::move(task));
}

} // namespace mnemora::test

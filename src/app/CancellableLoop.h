#pragma once

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace mnemora {

// The "is this task cancelled" flag of one background coroutine. QCoro cannot stop a coroutine
// from outside, so a coroutine holds a copy of its token and looks at it after every wait.
// Copies share one flag. Main thread only.
class CancelToken {
public:
    CancelToken()
        : cancelled_(std::make_shared<bool>(false)) {}

    bool isCancelled() const { return *cancelled_; }
    void cancel() { *cancelled_ = true; }

    // A token that nobody can cancel, for a wait that runs in the foreground.
    static CancelToken never() { return CancelToken(); }

private:
    std::shared_ptr<bool> cancelled_;
};

// The owner's handle on one background coroutine: replacing or dropping the handle cancels the
// coroutine it held, so a service never leaves a loop of its own behind.
class CancellableTask {
public:
    CancellableTask() = default;
    ~CancellableTask() { cancel(); }

    CancellableTask(const CancellableTask&) = delete;
    CancellableTask& operator=(const CancellableTask&) = delete;

    // Cancels the task held so far and gives the token of the one about to start.
    CancelToken renew();

    // Cancels the task held, if any, and holds none.
    void cancel();

    // True while a task is held that has not been cancelled.
    bool isActive() const { return token_ && !token_->isCancelled(); }

private:
    std::optional<CancelToken> token_;
};

// The one periodic loop of the application: status poll, watchdog, mirrors, watchers.
namespace CancellableLoop {

enum class FirstPass { atOnce, afterInterval };

// One pass of a loop. It must hold its target weakly: the loop outlives nothing it serves.
using Pass = std::function<QCoro::Task<>()>;

// Runs `pass`, then waits `interval`, and again, until `token` is cancelled; with
// `afterInterval` the first wait comes before the first pass. A pass in flight when the token is
// cancelled runs to its end; no pass starts after it.
QCoro::Task<> run(CancelToken token, std::chrono::milliseconds interval, FirstPass first,
                  Pass pass);

// Starts `run` in the background under `task`, cancelling the loop `task` held before.
void start(CancellableTask& task, std::chrono::milliseconds interval, FirstPass first, Pass pass);

} // namespace CancellableLoop

} // namespace mnemora

#include "app/CancellableLoop.h"

#include <QCoroTimer>

namespace mnemora {

CancelToken CancellableTask::renew() {
    cancel();
    token_ = CancelToken();
    return *token_;
}

void CancellableTask::cancel() {
    if (token_) {
        token_->cancel();
        token_.reset();
    }
}

namespace CancellableLoop {

QCoro::Task<> run(CancelToken token, std::chrono::milliseconds interval, FirstPass first,
                  Pass pass) {
    if (first == FirstPass::afterInterval) {
        co_await QCoro::sleepFor(interval);
    }
    while (!token.isCancelled()) {
        co_await pass();
        if (token.isCancelled()) {
            break;
        }
        co_await QCoro::sleepFor(interval);
    }
}

void start(CancellableTask& task, std::chrono::milliseconds interval, FirstPass first, Pass pass) {
    // The task runs detached: its frame lives until the loop ends, holding only the token and
    // the pass.
    run(task.renew(), interval, first, std::move(pass));
}

} // namespace CancellableLoop

} // namespace mnemora

#include <QObject>
#include <QPointer>

#include <QCoroTimer>

#include <gtest/gtest.h>

#include "app/CancellableLoop.h"
#include "support/EventLoop.h"

namespace mnemora {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

// A pass that counts itself on a counter that may go away, the way services hold their target.
struct Counter : QObject {
    int passes = 0;
    int finished = 0;
};

QCoro::Task<> countPass(QPointer<Counter> counter, std::chrono::milliseconds length) {
    if (!counter) {
        co_return;
    }
    ++counter->passes;
    co_await QCoro::sleepFor(length);
    if (counter) {
        ++counter->finished;
    }
}

CancellableLoop::Pass passOn(Counter& counter, std::chrono::milliseconds length = 0ms) {
    QPointer<Counter> target(&counter);
    return [target, length] { return countPass(target, length); };
}

TEST(CancellableLoop, RunsTheFirstPassAtOnceOrAfterTheInterval) {
    Counter atOnce;
    Counter afterInterval;
    CancellableTask first;
    CancellableTask second;
    CancellableLoop::start(first, 10s, CancellableLoop::FirstPass::atOnce, passOn(atOnce));
    CancellableLoop::start(second, 10s, CancellableLoop::FirstPass::afterInterval,
                           passOn(afterInterval));
    EXPECT_EQ(atOnce.passes, 1); // before any turn of the event loop
    EXPECT_EQ(afterInterval.passes, 0);
    EXPECT_TRUE(first.isActive());
}

TEST(CancellableLoop, RepeatsUntilCancelledAndLetsTheRunningPassFinish) {
    Counter counter;
    CancellableTask task;
    CancellableLoop::start(task, 5ms, CancellableLoop::FirstPass::atOnce, passOn(counter, 30ms));
    ASSERT_TRUE(waitUntil([&] { return counter.passes >= 3; }));
    const int passes = counter.passes;
    task.cancel();
    EXPECT_FALSE(task.isActive());
    ASSERT_TRUE(waitUntil([&] { return counter.finished == passes; }));
    test::runTask(QCoro::sleepFor(60ms));
    EXPECT_EQ(counter.passes, passes);
}

TEST(CancellableLoop, StartingAgainOrDroppingTheHandleCancelsTheOldLoop) {
    Counter old;
    Counter replacement;
    {
        CancellableTask task;
        CancellableLoop::start(task, 5ms, CancellableLoop::FirstPass::atOnce, passOn(old));
        CancellableLoop::start(task, 5ms, CancellableLoop::FirstPass::atOnce, passOn(replacement));
        ASSERT_TRUE(waitUntil([&] { return replacement.passes >= 3; }));
    }
    const int oldPasses = old.passes;
    const int newPasses = replacement.passes;
    test::runTask(QCoro::sleepFor(40ms));
    EXPECT_EQ(old.passes, 1);
    EXPECT_EQ(oldPasses, 1);
    EXPECT_EQ(replacement.passes, newPasses);
}

} // namespace
} // namespace mnemora

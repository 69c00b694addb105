#include "playback/ManualExecutors.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace lorvan::test {
namespace {

TEST(EngineThreadSerialQueueTest, RunsWorkInOrderOnItsOwnThreadAndSyncWaitsRunsInlineFromItselfAndRethrows) {
    ThreadSerialQueue queue("scheduleBufferQueue");
    std::vector<int> ran; // touched only on the queue, read after a sync
    for (int index = 0; index < 100; ++index)
        queue.async([&, index] { ran.push_back(queue.isCurrent() ? index : -1); });
    // A sync from the queue's own work would wait for itself if it did not run inline.
    queue.sync([&] { queue.sync([&] { ran.push_back(queue.isCurrent() ? 100 : -1); }); });
    std::vector<int> expected(101);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(ran, expected);
    EXPECT_FALSE(queue.isCurrent());

    EXPECT_THROW(queue.sync([] { throw std::runtime_error("read failed"); }), std::runtime_error);
    // A failing async item does not stop the queue.
    queue.async([] { throw std::runtime_error("ignored"); });
    int after = 0;
    queue.sync([&] { after = 1; });
    EXPECT_EQ(after, 1);
}

TEST(EngineThreadSerialQueueTest, DestructionRunsWhatWasQueuedAndWorkMayOwnTheQueue) {
    std::atomic<int> count{0};
    {
        ThreadSerialQueue queue("drain");
        for (int index = 0; index < 50; ++index)
            queue.async([&] { ++count; });
    }
    EXPECT_EQ(count.load(), 50);

    // The last reference going away on the queue's own thread must neither join itself nor crash.
    auto shared = std::make_shared<ThreadSerialQueue>("selfOwned");
    const std::weak_ptr<ThreadSerialQueue> weak = shared;
    shared->async([keep = shared]() mutable { keep.reset(); });
    shared.reset();
    while (!weak.expired())
        std::this_thread::yield();
}

TEST(ManualMainThreadExecutorTest, DelayedWorkRunsWhenTheClockPassesItsTimeInTimeOrderAndPostedWorkFirst) {
    using std::chrono::milliseconds;
    ManualMainThreadExecutor executor;
    std::vector<std::string> ran;
    const auto note = [&](std::string name) { return [&ran, name] { ran.push_back(name); }; };
    executor.postAfter(milliseconds(30), note("30"));
    executor.postAfter(milliseconds(10), [&] {
        ran.push_back("10");
        // Delayed work posting more: at 10 + 20, after the 30 posted earlier with the same time.
        executor.postAfter(milliseconds(20), note("10+20"));
        executor.post(note("posted by 10"));
    });
    executor.postAfter(milliseconds(10), note("10 again"));
    executor.postAfter(milliseconds(-5), note("overdue"));
    executor.post(note("posted"));

    EXPECT_EQ(executor.runAll(), 2u);
    EXPECT_EQ(ran, (std::vector<std::string>{"posted", "overdue"}));
    EXPECT_EQ(executor.delayedCount(), 3u);
    EXPECT_EQ(executor.advance(milliseconds(9)), 0u);
    EXPECT_EQ(executor.now(), milliseconds(9));
    EXPECT_EQ(executor.pendingCount(), 0u);
    EXPECT_EQ(executor.advance(milliseconds(1)), 3u);
    EXPECT_EQ(ran, (std::vector<std::string>{"posted", "overdue", "10", "10 again", "posted by 10"}));
    EXPECT_EQ(executor.advance(milliseconds(100)), 2u);
    EXPECT_EQ(ran.back(), "10+20");
    EXPECT_EQ(ran[ran.size() - 2], "30");
    EXPECT_EQ(executor.now(), milliseconds(110));
    EXPECT_EQ(executor.delayedCount(), 0u);
}

} // namespace
} // namespace lorvan::test

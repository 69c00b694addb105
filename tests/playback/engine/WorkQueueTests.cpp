#include "playback/ManualExecutors.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace lorvan {
namespace {

TEST(EngineThreadSerialQueueTest, RunsWorkInOrderOffTheCallersThreadAndSyncWaits) {
    ThreadSerialQueue queue("populateDequeQueue");
    EXPECT_EQ(queue.label(), "populateDequeQueue");
    std::vector<int> ran; // touched only on the queue, read after a sync
    std::thread::id worker;
    for (int index = 0; index < 100; ++index)
        queue.async([&, index] {
            ran.push_back(index);
            worker = std::this_thread::get_id();
        });
    queue.sync([&] { ran.push_back(100); });
    ASSERT_EQ(ran.size(), 101U);
    for (int index = 0; index <= 100; ++index)
        EXPECT_EQ(ran[static_cast<std::size_t>(index)], index);
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_FALSE(queue.isCurrent());
}

TEST(EngineThreadSerialQueueTest, SyncFromItsOwnWorkRunsInlineAndSyncRethrows) {
    ThreadSerialQueue queue("scheduleBufferQueue");
    bool inner = false;
    queue.sync([&] { queue.sync([&] { inner = queue.isCurrent(); }); });
    EXPECT_TRUE(inner);
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
    std::weak_ptr<ThreadSerialQueue> weak = shared;
    std::atomic<bool> done{false};
    shared->async([keep = shared, &done]() mutable {
        keep.reset();
        done = true;
    });
    shared.reset();
    while (!done)
        std::this_thread::yield();
    while (!weak.expired())
        std::this_thread::yield();
}

TEST(EngineManualExecutorsTest, WorkRunsOnlyWhenDrainedAndSyncRunsPendingFirst) {
    ManualSerialQueue queue;
    std::vector<int> ran;
    queue.async([&] { ran.push_back(1); });
    queue.async([&] {
        ran.push_back(2);
        queue.async([&] { ran.push_back(3); });
    });
    EXPECT_TRUE(ran.empty());
    EXPECT_EQ(queue.pendingCount(), 2U);
    EXPECT_TRUE(queue.runOne());
    EXPECT_EQ(ran, (std::vector<int>{1}));
    queue.sync([&] { ran.push_back(4); });
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3, 4}));
    EXPECT_FALSE(queue.runOne());

    ManualMainThreadExecutor main;
    int posted = 0;
    std::thread poster([&] { main.post([&] { ++posted; }); });
    poster.join();
    EXPECT_EQ(posted, 0);
    EXPECT_EQ(main.pendingCount(), 1U);
    EXPECT_EQ(main.runAll(), 1U);
    EXPECT_EQ(posted, 1);
}

} // namespace
} // namespace lorvan

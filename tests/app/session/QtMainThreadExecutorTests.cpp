#include "app/session/QtMainThreadExecutor.hpp"

#include <QCoreApplication>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace lorvan {
namespace {

/// An event loop to post to, one for each test; the last test runs without one.
class QtMainThreadExecutorTest : public testing::Test {
protected:
    int argc = 1;
    char name[6] = "tests";
    char* argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
    QtMainThreadExecutor executor;
};

TEST_F(QtMainThreadExecutorTest, RunsWorkFromEveryThreadOnTheEventLoopInPostingOrder) {
    constexpr int threads = 4;
    constexpr int perThread = 2000;
    const auto mainThread = std::this_thread::get_id();
    std::vector<std::vector<int>> received(threads);
    std::atomic<int> offMain{0};
    int total = 0;
    std::vector<std::thread> posters;
    for (int t = 0; t < threads; ++t)
        posters.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i)
                executor.post([&, t, i] {
                    if (std::this_thread::get_id() != mainThread) offMain.fetch_add(1);
                    received[static_cast<std::size_t>(t)].push_back(i);
                    if (++total == threads * perThread) QCoreApplication::exit(0);
                });
        });
    for (auto& poster : posters)
        poster.join();
    // Fails the test instead of hanging when work is lost.
    QTimer::singleShot(20000, [] { QCoreApplication::exit(1); });
    ASSERT_EQ(QCoreApplication::exec(), 0) << "only " << total << " items ran";

    EXPECT_EQ(offMain.load(), 0);
    for (const auto& sequence : received) {
        ASSERT_EQ(sequence.size(), static_cast<std::size_t>(perThread));
        for (int i = 0; i < perThread; ++i)
            ASSERT_EQ(sequence[static_cast<std::size_t>(i)], i) << "out of order";
    }
}

// Delayed work posted from this thread waits behind work posted after it; delayed work posted from
// another thread runs here too, each item in the order of its time and never before it.
TEST_F(QtMainThreadExecutorTest, DelayedWorkFromAnyThreadRunsOnTheEventLoopInTheOrderOfItsTimes) {
    using std::chrono::milliseconds;
    const auto mainThread = std::this_thread::get_id();
    std::vector<int> order;
    bool onMain = true;
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::chrono::steady_clock::duration> ranAfter;
    const auto delayed = [&](int delay) {
        return [&, delay] {
            onMain = onMain && std::this_thread::get_id() == mainThread;
            ranAfter.push_back(std::chrono::steady_clock::now() - start);
            order.push_back(delay);
            if (delay == 200) QCoreApplication::exit(0);
        };
    };
    executor.postAfter(milliseconds(30), delayed(30));
    executor.post([&] { order.push_back(0); });
    EXPECT_TRUE(order.empty()) << "nothing runs inside the call";
    std::thread poster([&] {
        executor.postAfter(milliseconds(200), delayed(200));
        executor.postAfter(milliseconds(50), delayed(50));
    });
    poster.join();
    QTimer::singleShot(20000, [] { QCoreApplication::exit(1); });
    ASSERT_EQ(QCoreApplication::exec(), 0);
    EXPECT_TRUE(onMain);
    EXPECT_EQ(order, (std::vector<int>{0, 30, 50, 200}));
    ASSERT_EQ(ranAfter.size(), 3U);
    EXPECT_GE(ranAfter[0], milliseconds(30)) << "never before its time";
    EXPECT_GE(ranAfter[1], milliseconds(50));
}

TEST(QtMainThreadExecutor, DropsWorkWhenThereIsNoApplication) {
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    bool ran = false;
    QtMainThreadExecutor().post([&ran] { ran = true; });
    QtMainThreadExecutor().post({});
    QtMainThreadExecutor().postAfter(std::chrono::milliseconds(0), [&ran] { ran = true; });
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace lorvan

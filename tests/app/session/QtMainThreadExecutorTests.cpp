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

TEST(QtMainThreadExecutor, RunsWorkFromEveryThreadOnTheEventLoopInPostingOrder) {
    int argc = 1;
    char name[] = "tests";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QtMainThreadExecutor executor;

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

TEST(QtMainThreadExecutor, DelayedWorkFromAnotherThreadRunsOnTheEventLoopInTheOrderOfItsTimes) {
    int argc = 1;
    char name[] = "tests";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QtMainThreadExecutor executor;
    const auto mainThread = std::this_thread::get_id();
    std::vector<int> order;
    bool onMain = true;
    const auto start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration firstAfter{};
    std::thread poster([&] {
        executor.postAfter(std::chrono::milliseconds(200), [&] {
            onMain = onMain && std::this_thread::get_id() == mainThread;
            order.push_back(200);
            QCoreApplication::exit(0);
        });
        executor.postAfter(std::chrono::milliseconds(50), [&] {
            onMain = onMain && std::this_thread::get_id() == mainThread;
            firstAfter = std::chrono::steady_clock::now() - start;
            order.push_back(50);
        });
    });
    poster.join();
    QTimer::singleShot(20000, [] { QCoreApplication::exit(1); });
    ASSERT_EQ(QCoreApplication::exec(), 0);
    EXPECT_TRUE(onMain);
    EXPECT_EQ(order, (std::vector<int>{50, 200}));
    EXPECT_GE(firstAfter, std::chrono::milliseconds(50)) << "never before its time";
}

TEST(QtMainThreadExecutor, DelayedWorkFromTheMainThreadWaitsForItsTimeBehindWorkPostedAfterIt) {
    int argc = 1;
    char name[] = "tests";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QtMainThreadExecutor executor;
    std::vector<int> order;
    const auto start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration delayedAfter{};
    executor.postAfter(std::chrono::milliseconds(30), [&] {
        delayedAfter = std::chrono::steady_clock::now() - start;
        order.push_back(30);
        QCoreApplication::exit(0);
    });
    executor.post([&] { order.push_back(0); });
    EXPECT_TRUE(order.empty()) << "nothing runs inside the call";
    QTimer::singleShot(20000, [] { QCoreApplication::exit(1); });
    ASSERT_EQ(QCoreApplication::exec(), 0);
    EXPECT_EQ(order, (std::vector<int>{0, 30}));
    EXPECT_GE(delayedAfter, std::chrono::milliseconds(30)) << "never before its time";
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

#include "core/ConsoleLog.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lorvan {
namespace {

TEST(ConsoleLog, ObserversSeeEveryLineFromEveryThreadOnceUntilRemoved) {
    ConsoleLog::discard();
    std::mutex mutex;
    std::map<std::string, int> seen;
    std::atomic<int> second{0};
    const auto id = ConsoleLog::addObserver([&](std::string_view text) {
        const std::lock_guard lock(mutex);
        ++seen[std::string(text)];
    });
    const auto other = ConsoleLog::addObserver([&](std::string_view) { ++second; });

    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 250; ++i)
                ConsoleLog::write("thread " + std::to_string(t) + " line " + std::to_string(i), "\r\n");
        });
    for (auto& thread : threads)
        thread.join();

    ConsoleLog::removeObserver(id);
    ConsoleLog::write("after removal");
    ConsoleLog::removeObserver(other);
    ConsoleLog::write("after both");

    ASSERT_EQ(seen.size(), 1000u) << "each distinct line arrives, without its terminator";
    for (const auto& [line, count] : seen)
        EXPECT_EQ(count, 1) << line;
    EXPECT_TRUE(seen.contains("thread 3 line 249"));
    EXPECT_FALSE(seen.contains("after removal"));
    EXPECT_EQ(second.load(), 1001) << "the other observer stays until it is removed";
    ConsoleLog::setOutput(nullptr);
}

} // namespace
} // namespace lorvan

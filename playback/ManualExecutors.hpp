#pragma once

#include "playback/WorkQueue.hpp"

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace lorvan {

/// A serial queue whose work runs only when a test drains it, on the test's thread, so that
/// every interleaving of the player's queues is chosen by the test.
///
/// `async` may be called from any thread (the engine's completion thread posts here too).
class ManualSerialQueue final : public SerialQueue {
public:
    void async(std::function<void()> work) override;
    /// Runs everything pending, then `work`, inline.
    void sync(std::function<void()> work) override;

    /// Runs the oldest pending item; false when there was none.
    bool runOne();
    /// Runs items until none is pending, including those queued by the items themselves.
    /// Returns how many ran.
    std::size_t runAll();
    [[nodiscard]] std::size_t pendingCount() const;

private:
    mutable std::mutex mutex_;
    std::deque<std::function<void()>> pending_;
};

/// The main thread of a test: posted work runs when the test drains it.
class ManualMainThreadExecutor final : public MainThreadExecutor {
public:
    void post(std::function<void()> work) override { queue_.async(std::move(work)); }
    bool runOne() { return queue_.runOne(); }
    std::size_t runAll() { return queue_.runAll(); }
    [[nodiscard]] std::size_t pendingCount() const { return queue_.pendingCount(); }

private:
    ManualSerialQueue queue_;
};

} // namespace lorvan

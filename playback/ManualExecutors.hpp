#pragma once

#include "playback/WorkQueue.hpp"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
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

/// The main thread of a test: posted work runs when the test drains it, and delayed work when
/// the test also moves the executor's clock past its time. The clock is manual: it starts at 0
/// and moves only in `advance`, so pacing is tested without sleeping.
///
/// `post` and `postAfter` may be called from any thread; the rest from the test's thread.
class ManualMainThreadExecutor final : public MainThreadExecutor {
public:
    void post(std::function<void()> work) override { queue_.async(std::move(work)); }
    void postAfter(std::chrono::milliseconds delay, std::function<void()> work) override;

    /// Runs the oldest work that is due; false when there was none.
    bool runOne();
    /// Runs due work until none is left, including work that the work posts. Returns how many ran.
    std::size_t runAll();
    /// Moves the clock forward by `duration`, stopping at each delayed item's time on the way to
    /// run everything due then. Returns how many items ran.
    std::size_t advance(std::chrono::milliseconds duration);
    [[nodiscard]] std::chrono::milliseconds now() const;
    /// Work that is due and has not run.
    [[nodiscard]] std::size_t pendingCount() const;
    /// Delayed work whose time has not come.
    [[nodiscard]] std::size_t delayedCount() const;

private:
    /// Moves delayed work whose time has come to the queue, in time order.
    void releaseDue();

    ManualSerialQueue queue_;
    mutable std::mutex mutex_;
    std::chrono::milliseconds now_{0};
    // Equal times keep their posting order.
    std::multimap<std::chrono::milliseconds, std::function<void()>> delayed_;
};

} // namespace lorvan

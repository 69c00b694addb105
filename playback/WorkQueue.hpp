#pragma once

#include <chrono>
#include <functional>

namespace lorvan {

/// A serial work queue: items run one at a time, in submission order, never concurrently with
/// each other. The player's reader and scheduler each own one. Tests substitute queues that run
/// only when the test drains them, so that every interleaving is deterministic.
///
/// Threading: `async` and `sync` may be called from any thread. `sync` must not be called from
/// work running on the same queue (it would wait for itself).
class SerialQueue {
public:
    virtual ~SerialQueue() = default;
    /// Queues `work` and returns at once.
    virtual void async(std::function<void()> work) = 0;
    /// Runs `work` on the queue after everything queued before it, and returns once it has run.
    virtual void sync(std::function<void()> work) = 0;
};

/// Runs work on the main thread: the Qt event loop in both apps, a drained list in tests.
///
/// Threading: `post` and `postAfter` may be called from any thread, including the engine's
/// completion thread; the work runs later on the main thread. Posted work runs in posting order.
class MainThreadExecutor {
public:
    virtual ~MainThreadExecutor() = default;
    virtual void post(std::function<void()> work) = 0;
    /// Runs `work` on the main thread once `delay` has passed (not before; later when the
    /// thread is busy). What paces itself, such as the view model's publication of positions,
    /// uses it instead of a timer that would tick while nothing changes.
    virtual void postAfter(std::chrono::milliseconds delay, std::function<void()> work) = 0;
};

} // namespace lorvan

#pragma once

#include "playback/WorkQueue.hpp"

namespace lorvan {

/// The main thread of a Qt application: work posted from any thread runs on the event loop of
/// `QCoreApplication::instance()`, in posting order. Work posted when there is no application,
/// or after it has gone, is dropped.
class QtMainThreadExecutor final : public MainThreadExecutor {
public:
    void post(std::function<void()> work) override;
    /// A single-shot timer started on the main thread (timers belong to the thread that starts
    /// them, and the completion thread has no event loop).
    void postAfter(std::chrono::milliseconds delay, std::function<void()> work) override;
};

} // namespace lorvan

#pragma once

#include "playback/WorkQueue.hpp"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace lorvan {

/// A serial queue backed by one thread of its own, named after the queue so that it shows up
/// under that name in a debugger and in `top -H`.
///
/// Destruction runs the work already queued, then joins the thread; work queued from inside
/// that work while the queue is going away is dropped. An exception thrown by work is caught
/// and logged, so one failing item never takes the queue down.
class ThreadSerialQueue final : public SerialQueue {
public:
    explicit ThreadSerialQueue(std::string label);
    ~ThreadSerialQueue() override;
    ThreadSerialQueue(const ThreadSerialQueue&) = delete;
    ThreadSerialQueue& operator=(const ThreadSerialQueue&) = delete;

    void async(std::function<void()> work) override;
    /// Calling it from work on this queue runs `work` inline instead of waiting for itself.
    void sync(std::function<void()> work) override;

    [[nodiscard]] const std::string& label() const { return state_->label; }
    /// True on the queue's own thread.
    [[nodiscard]] bool isCurrent() const { return std::this_thread::get_id() == threadID_; }

private:
    // Shared with the thread, so that the queue may be destroyed by its own work: the thread
    // then finishes on its own and lets go of the state last.
    struct State {
        std::string label;
        std::mutex mutex;
        std::condition_variable wake;
        std::deque<std::function<void()>> pending;
        bool closing = false;
    };
    static void run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
    std::thread thread_;
    std::thread::id threadID_;
};

} // namespace lorvan

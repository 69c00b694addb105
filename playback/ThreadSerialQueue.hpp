#pragma once

#include "playback/WorkQueue.hpp"

#include <condition_variable>
#include <deque>
#include <functional>
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

    [[nodiscard]] const std::string& label() const { return label_; }
    /// True on the queue's own thread.
    [[nodiscard]] bool isCurrent() const { return std::this_thread::get_id() == thread_.get_id(); }

private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> pending_;
    bool closing_ = false;
    std::thread thread_;
};

} // namespace lorvan

#include "playback/ManualExecutors.hpp"

#include <algorithm>

namespace lorvan {

void ManualSerialQueue::async(std::function<void()> work) {
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(work));
}

void ManualSerialQueue::sync(std::function<void()> work) {
    runAll();
    work();
}

bool ManualSerialQueue::runOne() {
    std::function<void()> work;
    {
        std::lock_guard lock(mutex_);
        if (pending_.empty()) return false;
        work = std::move(pending_.front());
        pending_.pop_front();
    }
    work();
    return true;
}

std::size_t ManualSerialQueue::runAll() {
    std::size_t count = 0;
    while (runOne())
        ++count;
    return count;
}

std::size_t ManualSerialQueue::pendingCount() const {
    std::lock_guard lock(mutex_);
    return pending_.size();
}

void ManualMainThreadExecutor::postAfter(std::chrono::milliseconds delay, std::function<void()> work) {
    std::lock_guard lock(mutex_);
    delayed_.emplace(now_ + std::max(delay, std::chrono::milliseconds(0)), std::move(work));
}

void ManualMainThreadExecutor::releaseDue() {
    std::lock_guard lock(mutex_);
    while (!delayed_.empty() && delayed_.begin()->first <= now_) {
        queue_.async(std::move(delayed_.begin()->second));
        delayed_.erase(delayed_.begin());
    }
}

bool ManualMainThreadExecutor::runOne() {
    releaseDue();
    return queue_.runOne();
}

std::size_t ManualMainThreadExecutor::runAll() {
    std::size_t count = 0;
    while (runOne())
        ++count;
    return count;
}

std::size_t ManualMainThreadExecutor::advance(std::chrono::milliseconds duration) {
    std::size_t count = runAll();
    std::chrono::milliseconds target{};
    {
        std::lock_guard lock(mutex_);
        target = now_ + std::max(duration, std::chrono::milliseconds(0));
    }
    for (;;) {
        {
            std::lock_guard lock(mutex_);
            if (delayed_.empty() || delayed_.begin()->first > target) {
                now_ = target;
                break;
            }
            now_ = delayed_.begin()->first;
        }
        count += runAll();
    }
    return count + runAll();
}

std::chrono::milliseconds ManualMainThreadExecutor::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

std::size_t ManualMainThreadExecutor::pendingCount() const {
    std::size_t due = 0;
    {
        std::lock_guard lock(mutex_);
        for (auto it = delayed_.begin(); it != delayed_.end() && it->first <= now_; ++it)
            ++due;
    }
    return queue_.pendingCount() + due;
}

std::size_t ManualMainThreadExecutor::delayedCount() const {
    std::lock_guard lock(mutex_);
    std::size_t later = 0;
    for (auto it = delayed_.upper_bound(now_); it != delayed_.end(); ++it)
        ++later;
    return later;
}

} // namespace lorvan

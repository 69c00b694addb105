#include "playback/ManualExecutors.hpp"

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

} // namespace lorvan

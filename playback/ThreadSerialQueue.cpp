#include "playback/ThreadSerialQueue.hpp"

#include "core/LogEntry.hpp"

#include <exception>
#include <future>
#include <pthread.h>

namespace lorvan {

namespace {

void runLogged(const std::function<void()>& work, const std::string& label) {
    try {
        work();
    } catch (const std::exception& error) {
        LogEntry::warning(std::string("Work on ") + label + " failed: " + error.what()).print();
    } catch (...) {
        LogEntry::warning("Work on " + label + " failed").print();
    }
}

} // namespace

ThreadSerialQueue::ThreadSerialQueue(std::string label)
    : label_(std::move(label))
    , thread_([this] { run(); }) {}

ThreadSerialQueue::~ThreadSerialQueue() {
    {
        std::lock_guard lock(mutex_);
        closing_ = true;
    }
    wake_.notify_one();
    if (isCurrent()) {
        // The last owner let go from inside its own work: the thread cannot join itself.
        thread_.detach();
    } else {
        thread_.join();
    }
}

void ThreadSerialQueue::async(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        if (closing_) return;
        pending_.push_back(std::move(work));
    }
    wake_.notify_one();
}

void ThreadSerialQueue::sync(std::function<void()> work) {
    if (isCurrent()) {
        work();
        return;
    }
    std::promise<void> done;
    auto finished = done.get_future();
    bool queued = false;
    {
        std::lock_guard lock(mutex_);
        if (!closing_) {
            pending_.push_back([&] {
                try {
                    work();
                    done.set_value();
                } catch (...) {
                    done.set_exception(std::current_exception());
                }
            });
            queued = true;
        }
    }
    if (!queued) {
        work();
        return;
    }
    wake_.notify_one();
    finished.get(); // rethrows what the work threw, on the caller's thread
}

void ThreadSerialQueue::run() {
    // Linux limits thread names to 15 characters.
    pthread_setname_np(pthread_self(), label_.substr(0, 15).c_str());
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return closing_ || !pending_.empty(); });
        if (pending_.empty()) return;
        auto work = std::move(pending_.front());
        pending_.pop_front();
        lock.unlock();
        runLogged(work, label_);
        work = nullptr; // captured state goes here, outside the lock
        lock.lock();
    }
}

} // namespace lorvan

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
    : state_(std::make_shared<State>()) {
    state_->label = std::move(label);
    thread_ = std::thread([state = state_] { run(state); });
    threadID_ = thread_.get_id();
}

ThreadSerialQueue::~ThreadSerialQueue() {
    {
        std::lock_guard lock(state_->mutex);
        state_->closing = true;
    }
    state_->wake.notify_one();
    if (isCurrent()) {
        // The last owner let go from inside its own work: the thread cannot join itself, so it
        // finishes the queued work on its own, holding the state.
        thread_.detach();
    } else {
        thread_.join();
    }
}

void ThreadSerialQueue::async(std::function<void()> work) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->closing) return;
        state_->pending.push_back(std::move(work));
    }
    state_->wake.notify_one();
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
        std::lock_guard lock(state_->mutex);
        if (!state_->closing) {
            state_->pending.push_back([&] {
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
    state_->wake.notify_one();
    finished.get(); // rethrows what the work threw, on the caller's thread
}

void ThreadSerialQueue::run(const std::shared_ptr<State>& state) {
    // Linux limits thread names to 15 characters.
    pthread_setname_np(pthread_self(), state->label.substr(0, 15).c_str());
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&] { return state->closing || !state->pending.empty(); });
        if (state->pending.empty()) return;
        auto work = std::move(state->pending.front());
        state->pending.pop_front();
        lock.unlock();
        runLogged(work, state->label);
        work = nullptr; // captured state goes here, outside the lock
        lock.lock();
    }
}

} // namespace lorvan

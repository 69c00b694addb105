#include "playback/GraphPlayerNode.hpp"

#include <algorithm>
#include <cstring>
#include <pthread.h>
#include <stdexcept>

namespace lorvan {

GraphPlayerNode::GraphPlayerNode(std::function<void()> housekeeping)
    : housekeeping_(std::move(housekeeping))
    , completionThread_([this] { runCompletions(); }) {}

GraphPlayerNode::~GraphPlayerNode() {
    stop();
    quitting_.store(true, std::memory_order_release);
    wakeCompletionThread();
    completionThread_.join();
}

void GraphPlayerNode::scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer,
                                     DataConsumedHandler dataConsumed) {
    if (!buffer) throw std::invalid_argument("scheduleBuffer needs a buffer");
    if (inFlight_.load(std::memory_order_acquire) >= capacity) {
        if (std::this_thread::get_id() == completionThread_.get_id())
            throw std::length_error("too many buffers scheduled on the player node");
        std::unique_lock lock(completedMutex_);
        completedChanged_.wait(lock, [this] { return inFlight_.load(std::memory_order_acquire) < capacity; });
    }
    auto entry = std::make_unique<Entry>(Entry{std::move(buffer), std::move(dataConsumed)});
    {
        std::lock_guard lock(scheduleMutex_);
        inFlight_.fetch_add(1, std::memory_order_acq_rel);
        if (!scheduled_.push(entry.get())) {
            inFlight_.fetch_sub(1, std::memory_order_acq_rel);
            throw std::length_error("too many buffers scheduled on the player node");
        }
        (void)entry.release();
        ++scheduledCount_;
    }
    notifySupply();
}

void GraphPlayerNode::play() {
    playing_.store(true, std::memory_order_release);
    notifySupply();
}

void GraphPlayerNode::pause() {
    playing_.store(false, std::memory_order_release);
}

void GraphPlayerNode::setVolume(float volume) {
    volume_.store(volume, std::memory_order_relaxed);
}

void GraphPlayerNode::acquireRenderSide() noexcept {
    // The render thread holds it for one block at most, and never waits while holding it.
    while (rendering_.exchange(true, std::memory_order_acquire))
        std::this_thread::yield();
}

void GraphPlayerNode::stop() {
    playing_.store(false, std::memory_order_release);
    std::uint64_t target = 0;
    {
        std::lock_guard lock(scheduleMutex_);
        acquireRenderSide();
        // `finished_` cannot overflow: it never holds more than the buffers in flight.
        if (current_ != nullptr) (void)finished_.push(current_);
        current_ = nullptr;
        offset_ = 0;
        Entry* entry = nullptr;
        while (scheduled_.pop(entry))
            (void)finished_.push(entry);
        flushGeneration_.fetch_add(1, std::memory_order_acq_rel);
        releaseRenderSide();
        target = scheduledCount_;
    }
    wakeCompletionThread();
    notifySupply();
    if (std::this_thread::get_id() == completionThread_.get_id()) {
        // A handler stopped the node: the rest run here, still in order, before stop returns.
        drainFinished();
        return;
    }
    std::unique_lock lock(completedMutex_);
    completedChanged_.wait(lock, [&] { return completedCount_ >= target; });
}

void GraphPlayerNode::notifySupply() noexcept {
    supply_.bump();
}

void GraphPlayerNode::wakeCompletionThread() noexcept {
    wakeups_.bump();
}

std::uint32_t GraphPlayerNode::render(float* const* planes, int channels, std::uint32_t frames) noexcept {
    if (!playing_.load(std::memory_order_acquire)) return 0;
    if (rendering_.exchange(true, std::memory_order_acquire)) return 0; // `stop` is discarding
    const float gain = volume_.load(std::memory_order_relaxed);
    std::uint32_t written = 0;
    bool finishedAny = false;
    while (written < frames) {
        if (current_ == nullptr) {
            if (!scheduled_.pop(current_)) break;
            offset_ = 0;
        }
        const PCMBuffer& buffer = *current_->buffer;
        const std::uint32_t length = buffer.frameLength();
        const std::uint32_t count = std::min(frames - written, length > offset_ ? length - offset_ : 0U);
        for (int channel = 0; channel < channels; ++channel) {
            float* to = planes[channel] + written;
            if (channel >= buffer.channelCount()) {
                std::memset(to, 0, count * sizeof(float));
                continue;
            }
            const float* from = buffer.channelData(channel) + offset_;
            if (gain == 1.0F) {
                std::memcpy(to, from, count * sizeof(float));
            } else {
                for (std::uint32_t frame = 0; frame < count; ++frame)
                    to[frame] = from[frame] * gain;
            }
        }
        offset_ += count;
        written += count;
        if (offset_ >= length) {
            (void)finished_.push(current_);
            current_ = nullptr;
            finishedAny = true;
        }
    }
    releaseRenderSide();
    if (finishedAny) wakeCompletionThread();
    return written;
}

void GraphPlayerNode::requestHousekeeping() noexcept {
    housekeepingWanted_.store(true, std::memory_order_release);
    wakeCompletionThread();
}

std::size_t GraphPlayerNode::drainFinished() {
    std::size_t count = 0;
    Entry* entry = nullptr;
    while (finished_.pop(entry)) {
        std::unique_ptr<Entry> owned(entry);
        moreHandlersFollow_ = finished_.size() > 0;
        if (owned->handler) {
            try {
                owned->handler();
            } catch (...) {
                // A handler's failure is its own; the node carries on with the next one.
            }
        }
        owned.reset();
        inFlight_.fetch_sub(1, std::memory_order_acq_rel);
        {
            std::lock_guard lock(completedMutex_);
            ++completedCount_;
        }
        completedChanged_.notify_all();
        ++count;
    }
    moreHandlersFollow_ = false;
    return count;
}

void GraphPlayerNode::runCompletions() {
    pthread_setname_np(pthread_self(), "audioCompletion");
    for (;;) {
        const auto seen = wakeups_.value();
        drainFinished();
        if (housekeepingWanted_.exchange(false, std::memory_order_acq_rel) && housekeeping_) housekeeping_();
        if (quitting_.load(std::memory_order_acquire)) {
            drainFinished();
            return;
        }
        wakeups_.waitWhile(seen);
    }
}

} // namespace lorvan

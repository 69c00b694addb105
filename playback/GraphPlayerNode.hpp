#pragma once

#include "playback/AudioEngine.hpp"
#include "playback/LockFreeRing.hpp"
#include "playback/WakeCounter.hpp"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace lorvan {

/// The player node of `GraphAudioEngine`. Scheduled buffers travel to the real-time thread
/// through a lock-free ring and come back, rendered or discarded, through a second one to the
/// node's completion thread, which runs their handlers in order.
class GraphPlayerNode final : public AudioPlayerNode {
public:
    /// Buffers scheduled and not yet completed, at most. The player keeps far fewer in flight;
    /// `scheduleBuffer` waits for completions beyond it.
    static constexpr std::size_t capacity = 4096;

    /// `housekeeping` runs on the completion thread after `requestHousekeeping`.
    explicit GraphPlayerNode(std::function<void()> housekeeping = {});
    ~GraphPlayerNode() override;
    GraphPlayerNode(const GraphPlayerNode&) = delete;
    GraphPlayerNode& operator=(const GraphPlayerNode&) = delete;

    void scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer, DataConsumedHandler dataConsumed) override;
    void play() override;
    void pause() override;
    void stop() override;
    [[nodiscard]] bool isPlaying() const override { return playing_.load(std::memory_order_acquire); }
    [[nodiscard]] bool moreHandlersFollow() const override { return moreHandlersFollow_; }
    [[nodiscard]] float volume() const override { return volume_.load(std::memory_order_relaxed); }
    void setVolume(float volume) override;

    /// Buffers scheduled whose handler has not run yet.
    [[nodiscard]] std::size_t pendingCount() const { return inFlight_.load(std::memory_order_acquire); }

    // The engine's side.

    /// Real-time: renders up to `frames` frames of `channels` planes from the scheduled buffers at
    /// the node's volume and returns how many it wrote (0 while paused or when nothing is scheduled).
    std::uint32_t render(float* const* planes, int channels, std::uint32_t frames) noexcept;
    /// Moves whenever `stop` discarded audio, so the stages after the node drop what they hold.
    [[nodiscard]] std::uint32_t flushGeneration() const noexcept {
        return flushGeneration_.load(std::memory_order_acquire);
    }
    [[nodiscard]] std::uint32_t supplyEpoch() const noexcept { return supply_.value(); }
    void waitForSupply(std::uint32_t seen) const noexcept { supply_.waitWhile(seen); }
    void notifySupply() noexcept;
    /// Real-time safe: asks the completion thread to run the housekeeping work soon.
    void requestHousekeeping() noexcept;

private:
    struct Entry {
        std::shared_ptr<const PCMBuffer> buffer;
        DataConsumedHandler handler;
    };

    void acquireRenderSide() noexcept;
    void releaseRenderSide() noexcept { rendering_.store(false, std::memory_order_release); }
    void wakeCompletionThread() noexcept;
    void runCompletions();
    /// Runs the handlers of finished buffers; returns how many ran.
    std::size_t drainFinished();

    // Scheduling side: `scheduleMutex_` makes the ring's producer end safe for several threads.
    std::mutex scheduleMutex_;
    LockFreeRing<Entry*, capacity> scheduled_;
    LockFreeRing<Entry*, capacity> finished_;
    std::atomic<std::size_t> inFlight_{0};

    // Whoever holds `rendering_` owns the consumer end of `scheduled_`, the producer end of
    // `finished_` and `current_`: the render thread while it renders, `stop` while it discards.
    std::atomic<bool> rendering_{false};
    Entry* current_ = nullptr;
    std::uint32_t offset_ = 0;

    std::atomic<bool> playing_{false};
    std::atomic<float> volume_{1.0F};
    std::atomic<std::uint32_t> flushGeneration_{0};
    WakeCounter supply_;

    // The completion thread.
    std::function<void()> housekeeping_;
    std::atomic<bool> housekeepingWanted_{false};
    WakeCounter wakeups_;
    std::atomic<bool> quitting_{false};
    std::mutex completedMutex_;
    std::condition_variable completedChanged_;
    std::uint64_t scheduledCount_ = 0; // guarded by scheduleMutex_
    std::uint64_t completedCount_ = 0; // guarded by completedMutex_
    bool moreHandlersFollow_ = false;  // the completion thread's, read by the handlers it runs
    std::thread completionThread_;
};

} // namespace lorvan

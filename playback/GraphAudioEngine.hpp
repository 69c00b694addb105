#pragma once

#include "playback/AudioEngine.hpp"
#include "playback/AudioOutput.hpp"
#include "playback/LockFreeRing.hpp"
#include "playback/Resampler.hpp"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

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
    [[nodiscard]] std::uint32_t supplyEpoch() const noexcept {
        return supply_.load(std::memory_order_acquire);
    }
    void waitForSupply(std::uint32_t seen) const noexcept { supply_.wait(seen, std::memory_order_acquire); }
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
    mutable std::atomic<std::uint32_t> supply_{0};

    // The completion thread.
    std::function<void()> housekeeping_;
    std::atomic<bool> housekeepingWanted_{false};
    std::atomic<std::uint32_t> wakeups_{0};
    std::atomic<bool> quitting_{false};
    std::mutex completedMutex_;
    std::condition_variable completedChanged_;
    std::uint64_t scheduledCount_ = 0; // guarded by scheduleMutex_
    std::uint64_t completedCount_ = 0; // guarded by completedMutex_
    std::thread completionThread_;
};

/// The varispeed's control side. The audio side lives in the engine's render path.
class GraphVarispeed final : public AudioVarispeed {
public:
    [[nodiscard]] float rate() const override { return rate_.load(std::memory_order_acquire); }
    void setRate(float rate) override;

    /// Called on the control thread after the rate or the graph changed: returns the resamplers
    /// that the render thread has let go of to a clean state.
    void recycle();

private:
    friend class GraphAudioEngine;
    enum ResamplerState : int { clean, inUse, used, resetting };
    struct Slot {
        std::unique_ptr<Resampler> resampler;
        std::atomic<int> state{clean};
    };
    std::atomic<float> rate_{1.0F};
    // Two, so that one can be made clean again off the real-time thread while the other plays.
    std::array<Slot, 2> slots_;
};

/// The audio graph: player node -> varispeed -> main mixer -> output.
///
/// The mixer maps the disc's channels onto the output's (mono to every speaker; otherwise
/// channel by channel, silence for extra speakers) and converts to the output's rate with a
/// fixed-ratio resampler when the output cannot run at the disc's rate. At rate 1.0 and volume
/// 1.0, with the output at the disc's rate and channel count, samples pass bit for bit.
class GraphAudioEngine final : public AudioEngine, private AudioRenderSource {
public:
    /// The largest block the graph renders at once; longer requests are split.
    static constexpr std::uint32_t maximumBlock = 4096;

    GraphAudioEngine(std::unique_ptr<AudioOutput> output, ResamplerFactory resamplers);
    ~GraphAudioEngine() override;
    GraphAudioEngine(const GraphAudioEngine&) = delete;
    GraphAudioEngine& operator=(const GraphAudioEngine&) = delete;

    [[nodiscard]] GraphPlayerNode& playerNode() override { return node_; }
    [[nodiscard]] GraphVarispeed& varispeed() override { return varispeed_; }
    void connect(const AudioFormat& format) override;
    void start() override;
    void stop() override;
    [[nodiscard]] bool isRunning() const override { return running_; }

    [[nodiscard]] AudioOutput& output() { return *output_; }
    /// The output's format since the last `connect`.
    [[nodiscard]] std::optional<OutputConfiguration> outputConfiguration() const { return configuration_; }

private:
    /// A block of planar audio owned by the graph, allocated at connect time.
    struct Planes {
        std::vector<float> storage;
        std::vector<float*> pointers;
        void allocate(int channels, std::size_t frames);
        [[nodiscard]] float* const* data() const { return pointers.data(); }
        [[nodiscard]] int channels() const { return static_cast<int>(pointers.size()); }
    };
    enum class SpeedMode { bypass, engaged, leaving };

    std::uint32_t render(float* const* planes, std::uint32_t frames, bool padWithSilence) noexcept override;
    std::uint32_t drain(float* const* planes, std::uint32_t frames) noexcept override;
    [[nodiscard]] std::uint32_t supplyEpoch() const noexcept override { return node_.supplyEpoch(); }
    void waitForSupply(std::uint32_t seen) const noexcept override { node_.waitForSupply(seen); }
    void notifySupply() noexcept override { node_.notifySupply(); }

    std::uint32_t renderBlock(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullMixer(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullVarispeed(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullBypass(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullResampled(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullNode(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    bool engage() noexcept;
    void finishLeaving() noexcept;
    void releaseResampler() noexcept;
    void remember(float* const* planes, std::uint32_t frames) noexcept;
    void applyRatio(double ratio) noexcept;
    [[nodiscard]] double currentRatio() const noexcept;

    std::unique_ptr<AudioOutput> output_;
    ResamplerFactory resamplerFactory_;
    GraphVarispeed varispeed_; // before the node, whose completion thread recycles its resamplers
    GraphPlayerNode node_;
    std::optional<AudioFormat> format_;
    std::optional<OutputConfiguration> configuration_;
    bool running_ = false;

    // Render-thread state, set up by `connect` while the output is stopped.
    int discChannels_ = 0;
    int outChannels_ = 0;
    std::size_t slewFrames_ = 0;
    Planes nodeScratch_; // node output feeding the varispeed's resampler
    std::uint32_t scratchOffset_ = 0;
    std::uint32_t scratchFrames_ = 0;
    Planes mixScratch_;   // varispeed output when the channel map must copy
    Planes convertInput_; // mixer output feeding the output-rate converter
    std::uint32_t convertOffset_ = 0;
    std::uint32_t convertFrames_ = 0;
    Planes discard_;    // where priming output goes
    Planes history_;    // the last frames that passed the bypass, to prime the resampler
    Planes pendingRaw_; // frames read ahead when leaving the resampler, played next
    std::uint32_t pendingRawOffset_ = 0;
    std::uint32_t pendingRawFrames_ = 0;
    std::unique_ptr<Resampler> converter_;
    SpeedMode mode_ = SpeedMode::bypass;
    GraphVarispeed::Slot* active_ = nullptr;
    std::uint32_t seenFlush_ = 0;
    std::size_t primingLeft_ = 0;
    // The resampler's ratio as it slews, followed so that leaving knows how much it holds.
    double ratioFrom_ = 1;
    double ratioTo_ = 1;
    std::size_t slewDone_ = 0;
    double consumed_ = 0;      // input frames fed to the active resampler
    double inputPosition_ = 0; // input frame that its next output frame matches
    std::size_t leavingLeft_ = 0;
    bool draining_ = false;
    bool heardSinceFlush_ = false; // any audio came from the node since connect or the last stop
};

} // namespace lorvan

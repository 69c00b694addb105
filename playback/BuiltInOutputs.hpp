#pragma once

#include "playback/AudioOutput.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace lorvan {

/// Plays to nowhere at the pace of a steady clock, in its own thread: what a listener without
/// a sound device gets, with the position and the meters moving as they would. While there is
/// nothing to play (paused, stopped) it sleeps instead of ticking.
class NullAudioOutput final : public AudioOutput {
public:
    /// The longest tick `setBlockDuration` takes.
    static constexpr std::chrono::milliseconds longestPeriod{250};

    /// `period` is how much audio each tick renders until `setBlockDuration` says otherwise.
    explicit NullAudioOutput(std::chrono::milliseconds period = std::chrono::milliseconds(40));
    ~NullAudioOutput() override;

    [[nodiscard]] std::string name() const override { return "null"; }
    OutputConfiguration configure(double sampleRate, int channels) override;
    void start(AudioRenderSource& source) override;
    void stop() noexcept override;
    /// From the next tick on; clamped to 1 ms ... `longestPeriod`. Any thread.
    void setBlockDuration(std::chrono::milliseconds duration) override;

private:
    void run(AudioRenderSource& source);

    std::atomic<std::chrono::milliseconds::rep> period_;
    OutputConfiguration configuration_;
    AudioRenderSource* source_ = nullptr; // while started
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};

/// Pulls rendered audio as fast as the pipeline supplies it and hands it to a sink, on its own
/// thread. It never renders silence: when nothing is scheduled it waits for more. Used to
/// write a disc to a file and to measure the graph.
///
/// Writing exactly the disc: start the engine, play, and once the last buffer's completion
/// has run call `finish()`; the output renders whatever is still scheduled, lets the varispeed
/// give up the frames it holds, and stops. `waitUntilFinished()` returns after the last
/// frame went to the sink.
class OfflineAudioOutput final : public AudioOutput {
public:
    /// Called on the output's thread with `channels` planes of `frames` frames.
    using Sink = std::function<void(const float* const* planes, int channels, std::uint32_t frames)>;

    explicit OfflineAudioOutput(Sink sink, std::uint32_t blockFrames = 4096);
    ~OfflineAudioOutput() override;

    [[nodiscard]] std::string name() const override { return "offline"; }
    OutputConfiguration configure(double sampleRate, int channels) override;
    void start(AudioRenderSource& source) override;
    void stop() noexcept override;

    /// No more audio will be scheduled: render the rest, then stop. Any thread.
    void finish();
    /// Returns once the output finished (or was stopped); rethrows what the sink threw.
    void waitUntilFinished();
    [[nodiscard]] std::uint64_t framesDelivered() const { return delivered_.load(std::memory_order_acquire); }

private:
    void run(AudioRenderSource& source);

    Sink sink_;
    std::uint32_t blockFrames_;
    OutputConfiguration configuration_;
    std::atomic<AudioRenderSource*> source_{nullptr};
    std::atomic<bool> finishing_{false};
    std::atomic<bool> stopping_{false};
    std::atomic<std::uint64_t> delivered_{0};
    std::mutex doneMutex_;
    std::condition_variable doneChanged_;
    bool done_ = true;
    std::exception_ptr failure_;
    std::thread thread_;
};

/// Renders only when a test asks, on the test's thread, like a device callback would.
class ManualAudioOutput final : public AudioOutput {
public:
    /// `channels` 0 keeps the disc's channel count; `sampleRate` 0 keeps the disc's rate.
    explicit ManualAudioOutput(int channels = 0, double sampleRate = 0);

    [[nodiscard]] std::string name() const override { return "manual"; }
    OutputConfiguration configure(double sampleRate, int channels) override;
    void start(AudioRenderSource& source) override;
    void stop() noexcept override;

    /// Renders `frames` frames, silence included, one vector per channel, as a device would.
    /// Throws std::logic_error while the output is not started.
    std::vector<std::vector<float>> pull(std::uint32_t frames);
    /// Renders at most `frames` frames of scheduled audio, no silence.
    std::vector<std::vector<float>> pullAvailable(std::uint32_t frames);
    /// Lets the varispeed give up what it holds (the end of the audio).
    std::vector<std::vector<float>> drain(std::uint32_t frames);
    [[nodiscard]] bool isStarted() const { return source_.load(std::memory_order_acquire) != nullptr; }
    [[nodiscard]] const OutputConfiguration& configuration() const { return configuration_; }

private:
    std::vector<std::vector<float>> renderWith(std::uint32_t frames, int mode);

    int channels_;
    double sampleRate_;
    OutputConfiguration configuration_;
    std::atomic<AudioRenderSource*> source_{nullptr};
};

} // namespace lorvan

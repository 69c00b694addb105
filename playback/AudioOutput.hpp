#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace lorvan {

/// What an output runs at once it has been configured.
struct OutputConfiguration {
    double sampleRate = 0;
    int channels = 0;
};

/// The rendering side of the audio graph, as an output driver sees it.
class AudioRenderSource {
public:
    virtual ~AudioRenderSource() = default;

    /// Real-time safe: never locks, allocates, logs or calls user code. Writes `frames` frames
    /// into `planes` (one plane per output channel). With `padWithSilence` the whole request is
    /// always filled (silence where nothing is scheduled or the node is paused); without it only
    /// the scheduled audio is rendered, and the count returned may be smaller, even 0.
    virtual std::uint32_t render(float* const* planes, std::uint32_t frames,
                                 bool padWithSilence) noexcept = 0;
    /// Once no more audio will be scheduled: renders what is still held inside the graph (the
    /// varispeed's filter). Returns 0 when nothing is left. Same thread as `render`.
    virtual std::uint32_t drain(float* const* planes, std::uint32_t frames) noexcept = 0;

    /// A counter that moves whenever more audio may have become available (a buffer scheduled,
    /// play, stop). A driver that must not render silence reads it before rendering and waits
    /// for it to move when nothing came.
    [[nodiscard]] virtual std::uint32_t supplyEpoch() const noexcept = 0;
    virtual void waitForSupply(std::uint32_t seenEpoch) const noexcept = 0;
    /// Moves the counter and wakes every waiter; any thread.
    virtual void notifySupply() noexcept = 0;
};

/// Something that pulls rendered audio out of the graph: a sound device, a clock, a file writer
/// or a test.
///
/// Threading: `configure`, `start` and `stop` come from the engine's owner (main thread).
class AudioOutput {
public:
    virtual ~AudioOutput() = default;

    [[nodiscard]] virtual std::string name() const = 0;
    /// Chooses the format for audio of `sampleRate` Hz and `channels` channels: the same rate
    /// whenever the output accepts it (the graph converts otherwise). Throws AudioEngineError.
    virtual OutputConfiguration configure(double sampleRate, int channels) = 0;
    /// Starts pulling from `source`, which stays valid until `stop` returns. Throws AudioEngineError.
    virtual void start(AudioRenderSource& source) = 0;
    /// Returns once the output no longer calls into the source. Harmless when not started.
    virtual void stop() noexcept = 0;
    /// How much audio to render at a time, for an output that keeps its own clock; a device's
    /// driver decides for itself. Takes effect from the next block.
    virtual void setBlockDuration(std::chrono::milliseconds /*duration*/) {}
};

} // namespace lorvan

#pragma once

#include "playback/AudioEngine.hpp"
#include "playback/GraphPlanes.hpp"
#include "playback/GraphPlayerNode.hpp"
#include "playback/GraphResamplerPair.hpp"

#include <atomic>
#include <cstdint>

namespace lorvan {

/// The varispeed's control side: the rate, and the two resamplers that the render side takes
/// turns with. Any thread.
class GraphVarispeed final : public AudioVarispeed {
public:
    [[nodiscard]] float rate() const override { return rate_.load(std::memory_order_acquire); }
    void setRate(float rate) override;

    /// Called on the control thread after the rate or the graph changed: returns the resamplers
    /// that the render thread has let go of to a clean state.
    void recycle() { resamplers_.recycle(); }

private:
    friend class VarispeedStage;
    std::atomic<float> rate_{1.0F};
    ResamplerPair resamplers_;
};

/// The varispeed's audio side, between the player node and the mixer. At rate 1.0 the node's
/// samples pass bit for bit; at any other rate they go through a variable-ratio resampler whose
/// ratio slides over 50 ms, primed with the audio that just played when it is engaged and
/// emptied through a filled filter when it is left, so neither change clicks.
///
/// Threads. `connect` runs on the control thread while the output is stopped; everything else
/// on the render thread, without locks or allocations.
class VarispeedStage {
public:
    /// The largest block `pull` is asked for.
    static constexpr std::uint32_t maximumBlock = 4096;

    VarispeedStage(GraphPlayerNode& node, GraphVarispeed& control)
        : node_(node)
        , control_(control) {}

    /// Sizes the stage for the disc's format and gives the control side fresh resamplers from
    /// `factory` (none when it is empty: the stage then always passes audio through).
    void connect(int channels, double sampleRate, const ResamplerFactory& factory);

    /// Writes up to `frames` (at most `maximumBlock`) frames of the disc's channels, then pads
    /// with silence to `frames` when `pad`. Returns how many it wrote, padding included.
    std::uint32_t pull(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    /// While set, the resampler gives out what it holds instead of waiting for more audio, and
    /// the stage is not engaged anew: the end of the disc is being drained.
    void setDraining(bool draining) noexcept { draining_ = draining; }

private:
    enum class Mode { bypass, engaged, leaving };

    std::uint32_t pullBypass(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullResampled(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullNode(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    bool engage() noexcept;
    void finishLeaving() noexcept;
    void releaseResampler() noexcept;
    void remember(float* const* planes, std::uint32_t frames) noexcept;
    void applyRatio(double ratio) noexcept;
    [[nodiscard]] double currentRatio() const noexcept;

    GraphPlayerNode& node_;
    GraphVarispeed& control_;

    int channels_ = 0;
    std::size_t slewFrames_ = 0;
    graph::Planes nodeScratch_; // node output feeding the resampler
    std::uint32_t scratchOffset_ = 0;
    std::uint32_t scratchFrames_ = 0;
    graph::Planes discard_;    // where priming output goes
    graph::Planes history_;    // the last frames that passed the bypass, to prime the resampler
    graph::Planes pendingRaw_; // frames read ahead when leaving the resampler, played next
    std::uint32_t pendingRawOffset_ = 0;
    std::uint32_t pendingRawFrames_ = 0;
    Mode mode_ = Mode::bypass;
    Resampler* active_ = nullptr;
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

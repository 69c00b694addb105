#pragma once

#include "playback/AudioEngine.hpp"
#include "playback/AudioOutput.hpp"
#include "playback/GraphPlanes.hpp"
#include "playback/GraphPlayerNode.hpp"
#include "playback/GraphResamplerPair.hpp"
#include "playback/GraphVarispeed.hpp"

#include <cstdint>
#include <memory>
#include <optional>

namespace lorvan {

/// The audio graph: player node -> varispeed -> main mixer -> output.
///
/// The mixer maps the disc's channels onto the output's (mono to every speaker; otherwise
/// channel by channel, silence for extra speakers) and converts to the output's rate with a
/// fixed-ratio resampler when the output cannot run at the disc's rate; when the node discards
/// its audio (`stop`), what that resampler holds is discarded too. At rate 1.0 and volume 1.0,
/// with the output at the disc's rate and channel count, samples pass bit for bit.
class GraphAudioEngine final : public AudioEngine, private AudioRenderSource {
public:
    /// The largest block the graph renders at once; longer requests are split.
    static constexpr std::uint32_t maximumBlock = VarispeedStage::maximumBlock;

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
    void setOutputBlockDuration(std::chrono::milliseconds duration) override {
        output_->setBlockDuration(duration);
    }

    [[nodiscard]] AudioOutput& output() { return *output_; }
    /// The output's format since the last `connect`.
    [[nodiscard]] std::optional<OutputConfiguration> outputConfiguration() const { return configuration_; }

private:
    std::uint32_t render(float* const* planes, std::uint32_t frames, bool padWithSilence) noexcept override;
    std::uint32_t drain(float* const* planes, std::uint32_t frames) noexcept override;
    [[nodiscard]] std::uint32_t supplyEpoch() const noexcept override { return node_.supplyEpoch(); }
    void waitForSupply(std::uint32_t seen) const noexcept override { node_.waitForSupply(seen); }
    void notifySupply() noexcept override { node_.notifySupply(); }

    std::uint32_t renderBlock(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    std::uint32_t pullMixer(float* const* planes, std::uint32_t frames, bool pad) noexcept;
    void discardConvertedAudio() noexcept;

    std::unique_ptr<AudioOutput> output_;
    ResamplerFactory resamplerFactory_;
    // Before the node, whose completion thread recycles their resamplers.
    GraphVarispeed varispeed_;
    ResamplerPair converters_;
    GraphPlayerNode node_;
    VarispeedStage speed_{node_, varispeed_};
    std::optional<AudioFormat> format_;
    std::optional<OutputConfiguration> configuration_;
    bool running_ = false;

    // Render-thread state, set up by `connect` while the output is stopped.
    int discChannels_ = 0;
    int outChannels_ = 0;
    graph::Planes mixScratch_;   // varispeed output when the channel map must copy
    graph::Planes convertInput_; // mixer output feeding the output-rate converter
    std::uint32_t convertOffset_ = 0;
    std::uint32_t convertFrames_ = 0;
    bool converting_ = false;
    Resampler* converter_ = nullptr;
    std::uint32_t converterFlush_ = 0; // the node's flush generation the converter's audio is from
};

} // namespace lorvan

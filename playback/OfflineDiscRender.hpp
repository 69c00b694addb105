#pragma once

#include "core/LocalizedError.hpp"
#include "disc/AudioDisc.hpp"
#include "playback/AudioEngine.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/PlaybackStallWatchdog.hpp"
#include "playback/Resampler.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace lorvan {

/// An engine that reports every consumed buffer to an observer once the player's own handler
/// has seen it, and just before: how the offline render knows that the disc's last frame has
/// gone to the output. Wraps a `GraphAudioEngine`.
class ObservedAudioEngine final : public AudioEngine {
public:
    /// `beforeCompletion` and `afterCompletion` run on the completion thread around each handler,
    /// with the buffer that was consumed or discarded.
    using Observer = std::function<void(const PCMBuffer& buffer)>;

    ObservedAudioEngine(std::unique_ptr<AudioEngine> inner, Observer beforeCompletion,
                        Observer afterCompletion);
    ~ObservedAudioEngine() override;

    [[nodiscard]] AudioPlayerNode& playerNode() override { return node_; }
    [[nodiscard]] AudioVarispeed& varispeed() override { return inner_->varispeed(); }
    void connect(const AudioFormat& format) override { inner_->connect(format); }
    void start() override { inner_->start(); }
    void stop() override { inner_->stop(); }
    [[nodiscard]] bool isRunning() const override { return inner_->isRunning(); }
    void setOutputBlockDuration(std::chrono::milliseconds duration) override {
        inner_->setOutputBlockDuration(duration);
    }
    [[nodiscard]] AudioEngine& inner() { return *inner_; }

private:
    class Node final : public AudioPlayerNode {
    public:
        explicit Node(ObservedAudioEngine& engine)
            : engine_(engine) {}
        void scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer,
                            DataConsumedHandler dataConsumed) override;
        void play() override { engine_.inner_->playerNode().play(); }
        void pause() override { engine_.inner_->playerNode().pause(); }
        void stop() override { engine_.inner_->playerNode().stop(); }
        [[nodiscard]] bool isPlaying() const override { return engine_.inner_->playerNode().isPlaying(); }
        [[nodiscard]] float volume() const override { return engine_.inner_->playerNode().volume(); }
        void setVolume(float volume) override { engine_.inner_->playerNode().setVolume(volume); }

    private:
        ObservedAudioEngine& engine_;
    };

    Observer before_;
    Observer after_;
    Node node_{*this};
    std::unique_ptr<AudioEngine> inner_;
};

/// The disc could not be rendered to its end.
class DiscRenderError : public LocalizedError {
public:
    enum class Kind { readFailed };
    DiscRenderError(Kind kind, std::int64_t frame);
    [[nodiscard]] std::string typeName() const override { return "DiscRenderError"; }
    [[nodiscard]] std::string kindName() const override { return "readFailed"; }
    [[nodiscard]] std::optional<std::string> errorDescription() const override;
    [[nodiscard]] std::optional<std::string> failureReason() const override;
    [[nodiscard]] std::int64_t frame() const { return frame_; }

private:
    std::int64_t frame_;
};

struct DiscRenderOptions {
    float rate = 1.0F;
    /// Set: the amplifier is on at this volume.
    std::optional<float> volume;
    /// Set: a seek to this disc frame starts playback instead of `play` (track 1, INDEX 01).
    std::optional<std::int64_t> startFrame;
    std::uint32_t blockFrames = 4096;
    /// How long the read-ahead may stay empty with nothing scheduled before the render gives up.
    std::chrono::milliseconds stallTimeout = PlaybackStallWatchdog::defaultTimeout;
};

struct DiscRenderResult {
    std::uint64_t frames = 0;
    double sampleRate = 0;
    int channels = 0;
};

/// Plays `disc` with the real player, its real reader and scheduler queues and the graph engine,
/// on the offline output, from `play` (or the seek) to the end of the disc with repeat off, and
/// hands every rendered block to `sink` on the output's thread. The user's settings are not
/// touched. Returns once the last frame went to the sink and everything has been torn down.
///
/// Throws what the engine or the sink threw, and `DiscRenderError` when a read failed and the
/// player could not go on (the player has printed the read error).
DiscRenderResult renderDisc(AudioDisc disc, ResamplerFactory resamplers, const OfflineAudioOutput::Sink& sink,
                            const DiscRenderOptions& options = {});

} // namespace lorvan

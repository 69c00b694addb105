#pragma once

#include "disc/PCMBuffer.hpp"
#include "playback/WorkQueue.hpp"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace lorvan {

/// The volume shown by the dial and the stereo peak levels of what has just been played, for
/// the level meters. The volume itself belongs to the player node; this mirrors it for display.
///
/// Threading: `measure` runs on the engine's completion thread; resets on the scheduler queue,
/// the completion thread or the main thread; `setPlaybackVolume` on any of them. The `ui...`
/// values and their callbacks live on the main thread only: every change reaches them through
/// the main-thread executor, holding the amplifier weakly.
class AudioAmplifier : public std::enable_shared_from_this<AudioAmplifier> {
public:
    /// Buffers measured per publication: 40 ms of audio with 20 ms buffers.
    static constexpr int buffersPerRefresh = 2;
    /// Meter steps of 1/20.
    static constexpr double levelSteps = 20.0;

    [[nodiscard]] static std::shared_ptr<AudioAmplifier>
    create(std::shared_ptr<MainThreadExecutor> mainThread);

    /// Mirrors the node's volume and publishes it to `uiPlaybackVolume`.
    void setPlaybackVolume(float volume);
    [[nodiscard]] float playbackVolume() const;

    /// `resetVolume`: the mirrored volume goes back to 1.0. `resetLevels`: counters, raw and
    /// discrete levels go to 0; a meter that was not at 0 is published.
    void reset(bool resetVolume, bool resetLevels);

    /// Records the peaks of a buffer that has just been played at `volume`; every second buffer
    /// the loudest peaks of the pair, scaled by the volume, are published in steps of 0.05.
    void measure(const PCMBuffer& buffer, float volume);

    [[nodiscard]] double leftChannelAudioLevel() const;
    [[nodiscard]] double rightChannelAudioLevel() const;
    [[nodiscard]] double discreteLeftChannelAudioLevel() const;
    [[nodiscard]] double discreteRightChannelAudioLevel() const;

    /// Main thread.
    [[nodiscard]] double uiLeftChannelAudioLevel() const { return uiLeftChannelAudioLevel_; }
    [[nodiscard]] double uiRightChannelAudioLevel() const { return uiRightChannelAudioLevel_; }
    [[nodiscard]] float uiPlaybackVolume() const { return uiPlaybackVolume_; }
    /// Main thread; each is called after its value changed.
    std::function<void(double)> onUiLeftChannelAudioLevelChanged;
    std::function<void(double)> onUiRightChannelAudioLevelChanged;
    std::function<void(float)> onUiPlaybackVolumeChanged;

    /// Largest absolute sample of channel 0 and of channel 1 (channel 0 again for mono) over the
    /// buffer's frames; both 0 without frames.
    [[nodiscard]] static std::pair<double, double> peaks(const PCMBuffer& buffer);

private:
    explicit AudioAmplifier(std::shared_ptr<MainThreadExecutor> mainThread);
    void publishLevels();
    void publishVolume();

    std::shared_ptr<MainThreadExecutor> mainThread_;

    double uiLeftChannelAudioLevel_ = 0.0;
    double uiRightChannelAudioLevel_ = 0.0;
    float uiPlaybackVolume_ = 1.0F;

    mutable std::mutex mutex_;
    float playbackVolume_ = 1.0F;
    double leftChannelAudioLevel_ = 0.0;
    double discreteLeftChannelAudioLevel_ = 0.0;
    double rightChannelAudioLevel_ = 0.0;
    double discreteRightChannelAudioLevel_ = 0.0;
    int refreshCounter_ = 0;
    std::vector<std::pair<double, double>> peaksDuringRefreshCount_;
};

} // namespace lorvan

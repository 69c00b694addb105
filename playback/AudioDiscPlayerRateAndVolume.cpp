// Varispeed rate and playback volume: both live in the engine's nodes; the player validates,
// logs and reports them.

#include "core/LogEntry.hpp"
#include "playback/AudioDiscPlayer.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace lorvan {

namespace {

[[nodiscard]] std::string shortestDecimal(float value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

} // namespace

// MARK: - Rate

float AudioDiscPlayer::playbackRate() const {
    return audioVarispeedNode_.rate();
}

void AudioDiscPlayer::setPlaybackRate(float rate) {
    if (rate == audioVarispeedNode_.rate()) return;
    // The wording of both warnings is the one users have always seen, missing word included.
    if (rate < minimumRate)
        LogEntry::warning(shortestDecimal(rate) +
                          " is a value too low for playback rate. It must between 0.25 and 4.0.")
            .print();
    else if (rate > maximumRate)
        LogEntry::warning(shortestDecimal(rate) +
                          " is a value too high for playback rate. It must between 0.25 and 4.0.")
            .print();
    audioVarispeedNode_.setRate(std::clamp(rate, minimumRate, maximumRate));
    char formatted[32];
    std::snprintf(formatted, sizeof formatted, "%.2f", static_cast<double>(audioVarispeedNode_.rate()));
    log("New playback rate", formatted);
    const bool newBeat = rate == newBeatRate;
    newBeatMode_.store(newBeat);
    if (onNewBeatModeChanged) onNewBeatModeChanged(newBeat);
    if (onPlaybackRateChanged) onPlaybackRateChanged(audioVarispeedNode_.rate());
}

void AudioDiscPlayer::increaseSpeed() {
    setPlaybackRate((std::round(playbackRate() * 100.0F) + 5.0F) / 100.0F);
}

void AudioDiscPlayer::decreaseSpeed() {
    setPlaybackRate((std::round(playbackRate() * 100.0F) - 5.0F) / 100.0F);
}

void AudioDiscPlayer::resetSpeed() {
    if (playbackRate() != 1.0F) setPlaybackRate(1.0F);
}

void AudioDiscPlayer::toggleBeat() {
    setPlaybackRate(playbackRate() == newBeatRate ? 1.0F : newBeatRate);
}

void AudioDiscPlayer::setRateControlsAreActive(bool active) {
    rateControlsAreActive_.store(active);
    if (onRateControlsActiveChanged) onRateControlsActiveChanged(active);
    if (!active) setPlaybackRate(1.0F);
}

float AudioDiscPlayer::rateForSliderPosition(double x) {
    constexpr double trackWidth = 228.0;
    const double rate = std::round((x / trackWidth * 3.75 + 0.25) * 20.0) / 20.0;
    return static_cast<float>(std::clamp(rate, 0.25, 4.0));
}

// MARK: - Volume

float AudioDiscPlayer::volume() const {
    return audioPlayerNode_.volume();
}

void AudioDiscPlayer::setVolume(float volume) {
    // With the amplifier off the node plays at full volume and nothing else can be asked for.
    if (!amplifierIsActive_.load() && volume != 1.0F) return;
    if (volume < 0.0F) {
        LogEntry::warning("Playback volume can't be below 0.0.").print();
        volume = 0.0F;
    } else if (volume > 1.0F) {
        LogEntry::warning("Playback volume can't be above 1.0.").print();
        volume = 1.0F;
    }
    audioPlayerNode_.setVolume(volume);
    // Also taken when muting, so unmuting finds 0 here and restores full volume.
    volumeBeforeMute_.store(audioPlayerNode_.volume());
    amplifier_->setPlaybackVolume(audioPlayerNode_.volume());
}

void AudioDiscPlayer::increaseVolume() {
    setVolume(audioPlayerNode_.volume() + 0.05F);
}

void AudioDiscPlayer::decreaseVolume() {
    setVolume(audioPlayerNode_.volume() - 0.05F);
}

void AudioDiscPlayer::toggleMute() {
    if (!amplifierIsActive_.load()) return;
    if (audioPlayerNode_.volume() == 0.0F) {
        const float before = volumeBeforeMute_.load();
        setVolume(before == 0.0F ? 1.0F : before);
    } else {
        setVolume(0.0F);
    }
}

void AudioDiscPlayer::setAmplifierIsActive(bool active) {
    amplifierIsActive_.store(active);
    audioEngine_->setOutputBlockDuration(active ? meteredOutputBlock : unmeteredOutputBlock);
    if (onAmplifierActiveChanged) onAmplifierActiveChanged(active);
    if (!active) setVolume(1.0F);
}

} // namespace lorvan

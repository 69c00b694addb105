#include "playback/AudioAmplifier.hpp"

#include <algorithm>
#include <cmath>

namespace lorvan {

std::shared_ptr<AudioAmplifier> AudioAmplifier::create(std::shared_ptr<MainThreadExecutor> mainThread) {
    return std::shared_ptr<AudioAmplifier>(new AudioAmplifier(std::move(mainThread)));
}

AudioAmplifier::AudioAmplifier(std::shared_ptr<MainThreadExecutor> mainThread)
    : mainThread_(std::move(mainThread)) {
    peaksDuringRefreshCount_.reserve(buffersPerRefresh);
}

void AudioAmplifier::setPlaybackVolume(float volume) {
    {
        std::lock_guard lock(mutex_);
        playbackVolume_ = volume;
    }
    publishVolume();
}

float AudioAmplifier::playbackVolume() const {
    std::lock_guard lock(mutex_);
    return playbackVolume_;
}

void AudioAmplifier::reset(bool resetVolume, bool resetLevels) {
    if (resetVolume) setPlaybackVolume(1.0F);
    if (!resetLevels) return;
    bool changed = false;
    {
        std::lock_guard lock(mutex_);
        refreshCounter_ = 0;
        peaksDuringRefreshCount_.clear();
        leftChannelAudioLevel_ = 0.0;
        rightChannelAudioLevel_ = 0.0;
        changed = discreteLeftChannelAudioLevel_ != 0.0 || discreteRightChannelAudioLevel_ != 0.0;
        discreteLeftChannelAudioLevel_ = 0.0;
        discreteRightChannelAudioLevel_ = 0.0;
    }
    if (changed) publishLevels();
}

std::pair<double, double> AudioAmplifier::peaks(const PCMBuffer& buffer) {
    const std::uint32_t frames = buffer.frameLength();
    if (frames == 0 || buffer.channelCount() < 1) return {0.0, 0.0};
    const auto peakOf = [frames](const float* samples) {
        float peak = 0.0F;
        for (std::uint32_t i = 0; i < frames; ++i)
            peak = std::max(peak, std::fabs(samples[i]));
        return static_cast<double>(peak);
    };
    const double left = peakOf(buffer.channelData(0));
    const double right = buffer.channelCount() > 1 ? peakOf(buffer.channelData(1)) : left;
    return {left, right};
}

void AudioAmplifier::measure(const PCMBuffer& buffer, float volume) {
    const auto peak = peaks(buffer);
    bool changed = false;
    {
        std::lock_guard lock(mutex_);
        ++refreshCounter_;
        peaksDuringRefreshCount_.push_back(peak);
        if (refreshCounter_ < buffersPerRefresh) return;
        double maxLeft = 0.0;
        double maxRight = 0.0;
        for (const auto& [left, right] : peaksDuringRefreshCount_) {
            maxLeft = std::max(maxLeft, left);
            maxRight = std::max(maxRight, right);
        }
        // Linear peaks in steps of 0.05, no decibels and no decay: the meter jumps with the music.
        const double discreteLeft = std::round(volume * maxLeft * levelSteps) / levelSteps;
        const double discreteRight = std::round(volume * maxRight * levelSteps) / levelSteps;
        leftChannelAudioLevel_ = maxLeft;
        rightChannelAudioLevel_ = maxRight;
        if (discreteLeft != discreteLeftChannelAudioLevel_) {
            discreteLeftChannelAudioLevel_ = discreteLeft;
            changed = true;
        }
        if (discreteRight != discreteRightChannelAudioLevel_) {
            discreteRightChannelAudioLevel_ = discreteRight;
            changed = true;
        }
        refreshCounter_ = 0;
        peaksDuringRefreshCount_.clear();
    }
    if (changed) publishLevels();
}

double AudioAmplifier::leftChannelAudioLevel() const {
    std::lock_guard lock(mutex_);
    return leftChannelAudioLevel_;
}

double AudioAmplifier::rightChannelAudioLevel() const {
    std::lock_guard lock(mutex_);
    return rightChannelAudioLevel_;
}

double AudioAmplifier::discreteLeftChannelAudioLevel() const {
    std::lock_guard lock(mutex_);
    return discreteLeftChannelAudioLevel_;
}

double AudioAmplifier::discreteRightChannelAudioLevel() const {
    std::lock_guard lock(mutex_);
    return discreteRightChannelAudioLevel_;
}

// The hops below publish the newest stored value when they run rather than the value at the
// time of posting: measurement and resets come from different threads, and the meters must
// settle on what was stored last.

void AudioAmplifier::publishLevels() {
    mainThread_->post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const double left = self->discreteLeftChannelAudioLevel();
        const double right = self->discreteRightChannelAudioLevel();
        if (left != self->uiLeftChannelAudioLevel_) {
            self->uiLeftChannelAudioLevel_ = left;
            if (self->onUiLeftChannelAudioLevelChanged) self->onUiLeftChannelAudioLevelChanged(left);
        }
        if (right != self->uiRightChannelAudioLevel_) {
            self->uiRightChannelAudioLevel_ = right;
            if (self->onUiRightChannelAudioLevelChanged) self->onUiRightChannelAudioLevelChanged(right);
        }
    });
}

void AudioAmplifier::publishVolume() {
    mainThread_->post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const float volume = self->playbackVolume();
        if (volume == self->uiPlaybackVolume_) return;
        self->uiPlaybackVolume_ = volume;
        if (self->onUiPlaybackVolumeChanged) self->onUiPlaybackVolumeChanged(volume);
    });
}

} // namespace lorvan

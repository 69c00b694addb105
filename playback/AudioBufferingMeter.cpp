#include "playback/AudioBufferingMeter.hpp"

#include "core/LogEntry.hpp"

#include <cmath>
#include <string>

namespace lorvan {

std::shared_ptr<AudioBufferingMeter>
AudioBufferingMeter::create(std::shared_ptr<MainThreadExecutor> mainThread) {
    return std::shared_ptr<AudioBufferingMeter>(new AudioBufferingMeter(std::move(mainThread)));
}

AudioBufferingMeter::AudioBufferingMeter(std::shared_ptr<MainThreadExecutor> mainThread)
    : mainThread_(std::move(mainThread)) {}

void AudioBufferingMeter::update(long bufferCount) {
    const double level = static_cast<double>(bufferCount) / capacityInBuffers;
    // std::round rounds half away from zero, which is what the gauge's steps are defined with.
    const double discrete = std::round(level * 10.0) / 10.0;
    {
        std::lock_guard lock(mutex_);
        level_ = level;
        if (discrete == discreteLevel_) return;
        discreteLevel_ = discrete;
    }
    log("Buffering Level", std::to_string(static_cast<long>(discrete * 100.0)) + " %");
    publish();
}

double AudioBufferingMeter::level() const {
    std::lock_guard lock(mutex_);
    return level_;
}

double AudioBufferingMeter::discreteLevel() const {
    std::lock_guard lock(mutex_);
    return discreteLevel_;
}

void AudioBufferingMeter::publish() {
    // The hop reads the newest step when it runs: updates from different threads may post in
    // any order, and the gauge must end on the last stored value, not the last posted one.
    mainThread_->post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const double latest = self->discreteLevel();
        if (latest == self->displayLevel_) return;
        self->displayLevel_ = latest;
        if (self->onDisplayLevelChanged) self->onDisplayLevelChanged(latest);
    });
}

} // namespace lorvan

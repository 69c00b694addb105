#include "playback/DeviceOrNullOutput.hpp"

#include "core/LogEntry.hpp"
#include "playback/AudioEngine.hpp"

namespace lorvan {

DeviceOrNullOutput::DeviceOrNullOutput(std::unique_ptr<DeviceOutput> device, std::function<void()> deviceLost,
                                       std::chrono::milliseconds watchInterval)
    : watchInterval_(watchInterval)
    , device_(std::move(device))
    , deviceLost_(std::move(deviceLost)) {}

DeviceOrNullOutput::~DeviceOrNullOutput() {
    stop();
}

void DeviceOrNullOutput::warnNoDevice(const std::string& reason) {
    LogEntry::warning("No sound device could be opened, playing to the null output: " + reason).print();
}

std::string DeviceOrNullOutput::name() const {
    std::lock_guard lock(mutex_);
    return current().name();
}

const AudioOutput& DeviceOrNullOutput::current() const {
    return device_ ? static_cast<const AudioOutput&>(*device_) : null_;
}

AudioOutput& DeviceOrNullOutput::current() {
    return device_ ? static_cast<AudioOutput&>(*device_) : null_;
}

OutputConfiguration DeviceOrNullOutput::configure(double sampleRate, int channels) {
    if (device_) {
        try {
            configuration_ = device_->configure(sampleRate, channels);
            return configuration_;
        } catch (const AudioEngineError& error) {
            fallBack(error.what());
        }
    }
    configuration_ = null_.configure(sampleRate, channels);
    return configuration_;
}

void DeviceOrNullOutput::start(AudioRenderSource& source) {
    if (device_) {
        try {
            device_->start(source);
            watch(source);
            return;
        } catch (const AudioEngineError& error) {
            fallBack(error.what());
        }
    }
    startNull(source);
}

void DeviceOrNullOutput::startNull(AudioRenderSource& source) {
    // The graph renders at the format it was sized for, the device's when it got that far: the
    // null output takes it as it is.
    null_.configure(configuration_.sampleRate, configuration_.channels);
    null_.start(source);
}

void DeviceOrNullOutput::stop() noexcept {
    {
        std::lock_guard lock(mutex_);
        watching_ = false;
    }
    watchWake_.notify_all();
    if (watcher_.joinable()) watcher_.join();
    std::lock_guard lock(mutex_);
    current().stop();
}

void DeviceOrNullOutput::fallBack(const std::string& reason) {
    warnNoDevice(reason);
    std::lock_guard lock(mutex_);
    device_.reset();
}

void DeviceOrNullOutput::watch(AudioRenderSource& source) {
    watching_ = true;
    watcher_ = std::thread([this, &source] {
        std::unique_lock lock(mutex_);
        while (watching_) {
            watchWake_.wait_for(lock, watchInterval_, [this] { return !watching_; });
            if (!watching_ || !device_->lost()) continue;
            device_->abandon();
            lostDevice_ = std::move(device_);
            LogEntry::warning("The sound device went away, playing on to the null output").print();
            startNull(source);
            if (deviceLost_) deviceLost_();
            return;
        }
    });
}

} // namespace lorvan

#pragma once

#include "playback/AudioOutput.hpp"
#include "playback/BuiltInOutputs.hpp"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace lorvan {

/// A sound device: an output that can go away while it plays (unplugged, or its sound server
/// ended).
class DeviceOutput : public AudioOutput {
public:
    /// True once a started stream has stopped without being asked. Any thread.
    [[nodiscard]] virtual bool lost() const noexcept = 0;
    /// Gives up a lost stream without touching it again (a sound library may not survive
    /// cleaning up after a server that has gone); `stop` and the destructor then do nothing.
    virtual void abandon() noexcept = 0;
};

/// The device while it works; the null output from the first failure on, with a warning in the
/// console log. A device that cannot be configured or started leaves the null output to play
/// at the format the graph was sized for; a device that goes away while it plays hands the same
/// source over to the null output, and playback carries on at the clock's pace.
///
/// Threading: as AudioOutput. `deviceLost` runs on the output's watcher thread.
class DeviceOrNullOutput final : public AudioOutput {
public:
    /// Devices report going away only by no longer running, so a started device is looked at
    /// every `watchInterval`.
    DeviceOrNullOutput(std::unique_ptr<DeviceOutput> device, std::function<void()> deviceLost,
                       std::chrono::milliseconds watchInterval = std::chrono::milliseconds(250));
    ~DeviceOrNullOutput() override;
    DeviceOrNullOutput(const DeviceOrNullOutput&) = delete;
    DeviceOrNullOutput& operator=(const DeviceOrNullOutput&) = delete;

    /// The device's name while it plays, then the null output's.
    [[nodiscard]] std::string name() const override;
    OutputConfiguration configure(double sampleRate, int channels) override;
    void start(AudioRenderSource& source) override;
    void stop() noexcept override;
    /// For the null output, now or once it takes over.
    void setBlockDuration(std::chrono::milliseconds duration) override { null_.setBlockDuration(duration); }

    /// The warning for a device that could not be opened, with `reason`.
    static void warnNoDevice(const std::string& reason);

private:
    [[nodiscard]] const AudioOutput& current() const;
    AudioOutput& current();
    void fallBack(const std::string& reason);
    void startNull(AudioRenderSource& source);
    void watch(AudioRenderSource& source);

    std::chrono::milliseconds watchInterval_;
    mutable std::mutex mutex_;
    std::condition_variable watchWake_;
    bool watching_ = false;
    std::thread watcher_;
    std::unique_ptr<DeviceOutput> device_;
    std::function<void()> deviceLost_;
    OutputConfiguration configuration_;
    /// Kept, never cleaned up (see `DeviceOutput::abandon`); there is no device after it.
    std::unique_ptr<DeviceOutput> lostDevice_;
    NullAudioOutput null_;
};

} // namespace lorvan

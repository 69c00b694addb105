#pragma once

#include "playback/DeviceOrNullOutput.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorvan::platform {

/// An output device through PortAudio: the user's (a running JACK server's, else the system's
/// default, ALSA's, which leads to PulseAudio or PipeWire on a desktop), or one named. It opens at
/// the disc's rate when the device accepts it, otherwise at the device's own rate (the graph
/// converts), always with at least two channels so that a mono disc reaches both speakers.
class PortAudioOutput final : public DeviceOutput {
public:
    /// Throws AudioEngineError (outputUnavailable) when PortAudio finds no output device, or
    /// none named `deviceName` (one of `outputDeviceNames()`; empty for the default).
    explicit PortAudioOutput(const std::optional<std::string>& deviceName = std::nullopt);
    ~PortAudioOutput() override;
    PortAudioOutput(const PortAudioOutput&) = delete;
    PortAudioOutput& operator=(const PortAudioOutput&) = delete;

    [[nodiscard]] std::string name() const override { return "device"; }
    OutputConfiguration configure(double sampleRate, int channels) override;
    void start(AudioRenderSource& source) override;
    void stop() noexcept override;

    /// A started stream that PortAudio no longer reports active. Any thread.
    [[nodiscard]] bool lost() const noexcept override;
    /// PortAudio's clean-up of a stream whose sound server has gone aborts the process: the
    /// stream and PortAudio stay allocated until the process ends.
    void abandon() noexcept override;

private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
    OutputConfiguration configuration_;
};

enum class OutputChoice { device, null };

/// The output for playing: the sound device (the default one, or `deviceName`), or the null
/// output with a warning in the console log when no device can be opened (now or when the
/// engine connects later). A device that goes away while playing hands over to the null
/// output with a warning, and then `deviceLost` runs on the thread that noticed.
[[nodiscard]] std::unique_ptr<AudioOutput>
makePlaybackOutput(OutputChoice choice, const std::optional<std::string>& deviceName = {},
                   std::function<void()> deviceLost = {});

/// The names of PortAudio's output devices, in its order, each once; empty when PortAudio
/// cannot start. Any thread, though not while another PortAudio call runs.
[[nodiscard]] std::vector<std::string> outputDeviceNames();

} // namespace lorvan::platform

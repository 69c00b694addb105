#include "platform/PortAudioOutput.hpp"

#include "core/LogEntry.hpp"
#include "playback/AudioEngine.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/DeviceOrNullOutput.hpp"

#include <algorithm>
#include <alsa/asoundlib.h>
#include <atomic>
#include <jack/jack.h>
#include <portaudio.h>

namespace lorvan::platform {

namespace {

AudioEngineError unavailable(const std::string& what, PaError error) {
    return AudioEngineError(AudioEngineError::Kind::outputUnavailable, what + ": " + Pa_GetErrorText(error));
}

int renderCallback(const void* /*input*/, void* output, unsigned long frames,
                   const PaStreamCallbackTimeInfo* /*time*/, PaStreamCallbackFlags /*flags*/, void* context) {
    auto* source = static_cast<AudioRenderSource*>(context);
    (void)source->render(static_cast<float* const*>(output), static_cast<std::uint32_t>(frames), true);
    return paContinue;
}

// While PortAudio probes its host APIs, ALSA describes every card it cannot find and JACK every
// server it cannot reach, straight to standard error, in the middle of the console log. The
// outcome is what matters, and our own warning states it.
void ignoreAlsaMessage(const char*, int, const char*, int, const char*, ...) {}
void ignoreJackMessage(const char*) {}

void quietenHostLibraries() {
    snd_lib_error_set_handler(ignoreAlsaMessage);
    jack_set_error_function(ignoreJackMessage);
    jack_set_info_function(ignoreJackMessage);
}

// The device the user's sound goes to. PortAudio's own default is ALSA's default device, which
// follows the desktop: PulseAudio or PipeWire when one runs, else the sound card. A user who runs
// a JACK server wants sound there, and PortAudio's JACK host API lists devices only while a
// server is reachable; ALSA's "jack" plugin device would reach it too, but only on fixed ports.
PaDeviceIndex userOutputDevice() {
    if (const PaHostApiIndex jack = Pa_HostApiTypeIdToHostApiIndex(paJACK); jack >= 0)
        if (const auto* api = Pa_GetHostApiInfo(jack);
            api != nullptr && api->defaultOutputDevice != paNoDevice)
            return api->defaultOutputDevice;
    return Pa_GetDefaultOutputDevice();
}

} // namespace

struct PortAudioOutput::Stream {
    PaStream* stream = nullptr;
    PaStreamParameters parameters{};
    double sampleRate = 0;
    std::atomic<bool> running{false};
    bool abandoned = false;
};

namespace {

/// PortAudio's output devices by index; call between Pa_Initialize and Pa_Terminate.
template <typename Visit> void forEachOutputDevice(Visit visit) {
    const PaDeviceIndex count = Pa_GetDeviceCount();
    for (PaDeviceIndex device = 0; device < count; ++device)
        if (const auto* info = Pa_GetDeviceInfo(device); info != nullptr && info->maxOutputChannels > 0)
            if (!visit(device, std::string(info->name))) return;
}

} // namespace

PortAudioOutput::PortAudioOutput(const std::optional<std::string>& deviceName)
    : stream_(std::make_unique<Stream>()) {
    quietenHostLibraries();
    if (const auto error = Pa_Initialize(); error != paNoError)
        throw unavailable("Couldn't start PortAudio", error);
    PaDeviceIndex device = paNoDevice;
    if (deviceName) {
        forEachOutputDevice([&](PaDeviceIndex index, const std::string& name) {
            if (name == *deviceName) device = index;
            return device == paNoDevice;
        });
    } else {
        device = userOutputDevice();
    }
    if (device == paNoDevice) {
        Pa_Terminate();
        throw AudioEngineError(AudioEngineError::Kind::outputUnavailable,
                               deviceName ? "There is no output device named '" + *deviceName + "'"
                                          : std::string("There is no default output device"));
    }
    stream_->parameters.device = device;
}

std::vector<std::string> outputDeviceNames() {
    quietenHostLibraries();
    if (Pa_Initialize() != paNoError) return {};
    std::vector<std::string> names;
    forEachOutputDevice([&](PaDeviceIndex, const std::string& name) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
        return true;
    });
    Pa_Terminate();
    return names;
}

PortAudioOutput::~PortAudioOutput() {
    if (stream_->abandoned) return;
    stop();
    if (stream_->stream != nullptr) Pa_CloseStream(stream_->stream);
    Pa_Terminate();
}

OutputConfiguration PortAudioOutput::configure(double sampleRate, int channels) {
    stop();
    if (stream_->stream != nullptr) {
        Pa_CloseStream(stream_->stream);
        stream_->stream = nullptr;
    }
    const auto* info = Pa_GetDeviceInfo(stream_->parameters.device);
    if (info == nullptr || info->maxOutputChannels <= 0)
        throw AudioEngineError(AudioEngineError::Kind::outputUnavailable,
                               "The output device has no channels");
    auto& parameters = stream_->parameters;
    parameters.channelCount = std::min(std::max(channels, 2), info->maxOutputChannels);
    parameters.sampleFormat = paFloat32 | paNonInterleaved;
    // Sound for listening, not for playing along: a quarter of a second of buffer goes unnoticed
    // on pause and rides out the scheduling delays of a busy machine. PortAudio's default for ALSA
    // devices is a few tens of milliseconds, which a sound server's client on a loaded desktop
    // underruns over and over, falling seconds behind the audio (5 s of it took 33 s through
    // PulseAudio on a busy two-core machine; with this buffer, 5.5 s).
    parameters.suggestedLatency = std::max(info->defaultHighOutputLatency, 0.25);
    parameters.hostApiSpecificStreamInfo = nullptr;
    double rate = sampleRate;
    if (Pa_IsFormatSupported(nullptr, &parameters, rate) != paFormatIsSupported)
        rate = info->defaultSampleRate;
    // The callback gets whatever block size suits the device; the graph splits it as needed.
    if (const auto error = Pa_OpenStream(&stream_->stream, nullptr, &parameters, rate,
                                         paFramesPerBufferUnspecified, paNoFlag, renderCallback, nullptr);
        error != paNoError) {
        stream_->stream = nullptr;
        throw unavailable("Couldn't open the output device", error);
    }
    // The stream was opened only to prove the format; `start` reopens it with the source.
    Pa_CloseStream(stream_->stream);
    stream_->stream = nullptr;
    stream_->sampleRate = rate;
    configuration_ = {rate, parameters.channelCount};
    const auto* hostAPI = Pa_GetHostApiInfo(info->hostApi);
    log("Sound device", std::string(info->name) + " (" + (hostAPI ? hostAPI->name : "?") + "), " +
                            std::to_string(static_cast<long>(rate)) + " Hz");
    return configuration_;
}

void PortAudioOutput::start(AudioRenderSource& source) {
    if (stream_->running) return;
    if (configuration_.sampleRate <= 0)
        throw AudioEngineError(AudioEngineError::Kind::notConnected, "The output device is not configured");
    if (const auto error = Pa_OpenStream(&stream_->stream, nullptr, &stream_->parameters, stream_->sampleRate,
                                         paFramesPerBufferUnspecified, paNoFlag, renderCallback, &source);
        error != paNoError) {
        stream_->stream = nullptr;
        throw unavailable("Couldn't open the output device", error);
    }
    if (const auto error = Pa_StartStream(stream_->stream); error != paNoError) {
        Pa_CloseStream(stream_->stream);
        stream_->stream = nullptr;
        throw unavailable("Couldn't start the output device", error);
    }
    stream_->running = true;
}

bool PortAudioOutput::lost() const noexcept {
    return stream_->running.load() && Pa_IsStreamActive(stream_->stream) != 1;
}

void PortAudioOutput::abandon() noexcept {
    stream_->abandoned = true;
    stream_->running = false;
}

void PortAudioOutput::stop() noexcept {
    if (!stream_->running) return;
    // Pa_StopStream returns after the last callback has finished.
    Pa_StopStream(stream_->stream);
    Pa_CloseStream(stream_->stream);
    stream_->stream = nullptr;
    stream_->running = false;
}

std::unique_ptr<AudioOutput> makePlaybackOutput(OutputChoice choice,
                                                const std::optional<std::string>& deviceName,
                                                std::function<void()> deviceLost) {
    if (choice == OutputChoice::null) return std::make_unique<NullAudioOutput>();
    try {
        return std::make_unique<DeviceOrNullOutput>(std::make_unique<PortAudioOutput>(deviceName),
                                                    std::move(deviceLost));
    } catch (const AudioEngineError& error) {
        DeviceOrNullOutput::warnNoDevice(error.what());
        return std::make_unique<NullAudioOutput>();
    }
}

} // namespace lorvan::platform

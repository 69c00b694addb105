#include "CliSupport.hpp"
#include "Commands.hpp"
#include "PlaybackSupport.hpp"
#include "RenderOutput.hpp"
#include "app/session/DiscOpening.hpp"
#include "core/ConsoleLog.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/OfflineDiscRender.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

namespace lorvan::cli {
namespace {

struct RenderArguments {
    std::string path;
    std::string output;
    std::optional<float> rate;
    std::optional<float> volume;
    std::string format;
};

std::optional<platform::AudioFileEncoding> encodingFor(const std::filesystem::path& output) {
    std::string extension = output.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".wav") return platform::AudioFileEncoding::wave;
    if (extension == ".flac") return platform::AudioFileEncoding::flac;
    return std::nullopt;
}

/// What the source holds: 16 bits stay 16, up to 24 stay 24, anything else (lossy, 32-bit) is
/// kept as float where the container can hold it.
platform::PCMSampleFormat defaultFormat(const AudioDisc& disc, platform::AudioFileEncoding encoding) {
    const auto bits = disc.data->audioFiles().front()->bitDepth();
    if (bits && *bits <= 16) return platform::PCMSampleFormat::s16;
    if (bits && *bits <= 24) return platform::PCMSampleFormat::s24;
    return encoding == platform::AudioFileEncoding::wave ? platform::PCMSampleFormat::f32
                                                         : platform::PCMSampleFormat::s24;
}

int usage(const std::string& message) {
    std::fprintf(stderr, "lorvan-cli render: %s\n", message.c_str());
    return exitUsage;
}

std::string duration(std::uint64_t frames, double rate) {
    const auto seconds = static_cast<std::uint64_t>(static_cast<double>(frames) / rate);
    char text[32];
    std::snprintf(text, sizeof text, "%02llu:%02llu:%02llu", static_cast<unsigned long long>(seconds / 3600),
                  static_cast<unsigned long long>(seconds / 60 % 60),
                  static_cast<unsigned long long>(seconds % 60));
    return text;
}

int runRender(const RenderArguments& arguments) {
    const std::filesystem::path output(arguments.output);
    const auto encoding = encodingFor(output);
    if (!encoding) return usage("-o: the output file must end in .wav or .flac");
    std::optional<platform::PCMSampleFormat> format;
    if (arguments.format == "s16") format = platform::PCMSampleFormat::s16;
    if (arguments.format == "s24") format = platform::PCMSampleFormat::s24;
    if (arguments.format == "f32") format = platform::PCMSampleFormat::f32;
    if (format == platform::PCMSampleFormat::f32 && *encoding == platform::AudioFileEncoding::flac)
        return usage("--format f32: FLAC holds integer samples only; use s16 or s24");
    for (const auto& [name, value] :
         {std::pair{"--rate", arguments.rate}, std::pair{"--volume", arguments.volume}})
        if (value)
            if (auto message = checkFinite(name, *value)) return usage(*message);

    try {
        AudioDisc disc = openDisc(arguments.path);
        const AudioFormat source = disc.data->audioFiles().front()->processingFormat();
        const platform::PCMSampleFormat chosen = format.value_or(defaultFormat(disc, *encoding));
        std::vector<std::filesystem::path> inputs{disc.source.url.path()};
        for (const auto& file : disc.data->audioFiles())
            inputs.push_back(file->url().path());
        // Nothing is opened for writing before the output is known not to be one of the inputs;
        // the target itself is only replaced once the render has succeeded.
        RenderOutput safe(output, inputs);
        DiscRenderResult result;
        {
            platform::AudioStreamWriter writer(safe.temporaryPath(), *encoding,
                                               static_cast<int>(source.sampleRate), source.channelsPerFrame,
                                               chosen);
            DiscRenderOptions options;
            options.rate = arguments.rate.value_or(1.0F);
            options.volume = arguments.volume;
            result = renderDisc(
                std::move(disc), platform::soxrResamplerFactory(),
                [&writer](const float* const* planes, int channels, std::uint32_t frames) {
                    writer.write(planes, channels, frames);
                },
                options);
            writer.finish();
        }
        safe.commit();
        ConsoleLog::write("");
        std::printf("Rendered %llu frames (%s) to %s\n", static_cast<unsigned long long>(result.frames),
                    duration(result.frames, result.sampleRate).c_str(), output.string().c_str());
        std::fflush(stdout);
        return exitSuccess;
    } catch (const LocalizedError& error) {
        return reportRefusal(error, false);
    } catch (const std::exception& error) {
        ConsoleLog::write("");
        std::printf("Couldn't render the disc: %s\n", oneLine(error.what()).c_str());
        std::fflush(stdout);
        return exitRefused;
    }
}

} // namespace

void addRenderCommand(CLI::App& app, int& status) {
    auto* command = app.add_subcommand(
        "render", "Play a disc from its start to its end into a WAVE or FLAC file, as fast as possible");
    auto arguments = std::make_shared<RenderArguments>();
    command->add_option("PATH", arguments->path, "A cue sheet file or a folder of audio files")->required();
    command->add_option("-o,--output", arguments->output, "The file to write: OUT.wav or OUT.flac")
        ->required();
    command->add_option("--rate", arguments->rate, "Playback rate, 0.25 to 4.0 (pitch follows)")
        ->check(nonEmptyNumber());
    command->add_option("--volume", arguments->volume, "Volume 0 to 1, through the amplifier")
        ->check(nonEmptyNumber());
    command
        ->add_option("--format", arguments->format, "Sample format: s16, s24 or f32 (default: the source's)")
        ->check(CLI::IsMember({"s16", "s24", "f32"}));
    command->callback([arguments, &status] { status = runRender(*arguments); });
}

} // namespace lorvan::cli

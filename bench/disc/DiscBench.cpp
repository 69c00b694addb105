#include "core/ConsoleLog.hpp"
#include "disc/AudioDisc.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "platform/PlatformDiscServices.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <random>

namespace lorvan {
namespace {

namespace fs = std::filesystem;

constexpr int rate = 44100;
constexpr std::int64_t longDiscFrames = std::int64_t{rate} * 60 * 74;

// Fixtures are made once and kept in the temporary folder between runs.
fs::path fixtures() {
    const fs::path folder = fs::temp_directory_path() / "lorvan-bench-disc";
    fs::create_directories(folder);
    return folder;
}

// Music-like material: a few drifting partials and a little noise, so FLAC works as hard as
// on a real rip.
void produce(std::int64_t first, std::span<std::int32_t> out, std::uint32_t seed) {
    std::minstd_rand noise(seed + static_cast<std::uint32_t>(first));
    for (std::size_t i = 0; i < out.size() / 2; ++i) {
        const double t = static_cast<double>(first + static_cast<std::int64_t>(i)) / rate;
        const double f = 220.0 * (1.0 + 0.5 * std::sin(t * 0.05 + seed));
        const double v = 0.4 * std::sin(2 * std::numbers::pi * f * t) +
                         0.2 * std::sin(2 * std::numbers::pi * 1.5 * f * t) +
                         0.05 * (static_cast<double>(noise() % 2001) / 1000.0 - 1.0);
        out[2 * i] = static_cast<std::int32_t>(v * 32767 * 0.9);
        out[2 * i + 1] = static_cast<std::int32_t>(v * 32767 * 0.8);
    }
}

const fs::path& longDisc() {
    static const fs::path path = [] {
        const fs::path file = fixtures() / "74 minutes.flac";
        if (!fs::exists(file)) {
            const fs::path partial = fixtures() / "74 minutes.partial.flac";
            platform::writeAudioFile(
                partial, platform::AudioFileEncoding::flac, rate, 2, 16, longDiscFrames,
                [](std::int64_t first, std::span<std::int32_t> out) { produce(first, out, 1); });
            fs::rename(partial, file);
        }
        return file;
    }();
    return path;
}

const fs::path& folderOf99() {
    static const fs::path path = [] {
        const fs::path folder = fixtures() / "99 tracks";
        if (!fs::exists(folder / "99.flac")) {
            fs::create_directories(folder);
            for (int track = 1; track <= 99; ++track) {
                char name[16];
                std::snprintf(name, sizeof name, "%02d.flac", track);
                platform::writeAudioFile(
                    folder / name, platform::AudioFileEncoding::flac, rate, 2, 16,
                    std::int64_t{588} * 75 * 20,
                    [track](std::int64_t first, std::span<std::int32_t> out) {
                        produce(first, out, static_cast<std::uint32_t>(track));
                    },
                    {{"title", std::string("Track ") + name}, {"artist", "Bench"}, {"album", "Ninety-Nine"}});
            }
        }
        return folder;
    }();
    return path;
}

void quietLog() {
    static std::FILE* null = std::fopen("/dev/null", "w");
    ConsoleLog::setOutput(null);
}

// FFmpeg alone: demux and decode every packet, no conversion, no copy.
void BM_DecodeWithFFmpegOnly(benchmark::State& state) {
    const std::string path = longDisc().string();
    for (auto _ : state) {
        AVFormatContext* format = nullptr;
        if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) state.SkipWithError("open");
        avformat_find_stream_info(format, nullptr);
        const AVCodec* codec = nullptr;
        const int stream = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
        AVCodecContext* context = avcodec_alloc_context3(codec);
        avcodec_parameters_to_context(context, format->streams[stream]->codecpar);
        avcodec_open2(context, codec, nullptr);
        AVPacket* packet = av_packet_alloc();
        AVFrame* frame = av_frame_alloc();
        std::int64_t frames = 0;
        while (av_read_frame(format, packet) >= 0) {
            if (packet->stream_index == stream && avcodec_send_packet(context, packet) >= 0)
                while (avcodec_receive_frame(context, frame) >= 0)
                    frames += frame->nb_samples;
            av_packet_unref(packet);
        }
        avcodec_send_packet(context, nullptr);
        while (avcodec_receive_frame(context, frame) >= 0)
            frames += frame->nb_samples;
        benchmark::DoNotOptimize(frames);
        if (frames != longDiscFrames) state.SkipWithError("short decode");
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&context);
        avformat_close_input(&format);
    }
    state.counters["xRealtime"] = benchmark::Counter(static_cast<double>(longDiscFrames) / rate,
                                                     benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_DecodeWithFFmpegOnly)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

// The player's way: a whole 74-minute disc through newPCMBuffer, 882 frames (20 ms) at a time.
void BM_ReadDiscBufferByBuffer(benchmark::State& state) {
    quietLog();
    for (auto _ : state) {
        auto data = AudioDiscData::create({Url::fileURL(longDisc())}, 0, platform::openFFmpegAudioFile);
        std::int64_t frame = 0;
        while (frame < data->totalFrameCount())
            frame += data->newPCMBuffer(frame, 882)->frameLength();
        benchmark::DoNotOptimize(frame);
    }
    state.counters["xRealtime"] = benchmark::Counter(static_cast<double>(longDiscFrames) / rate,
                                                     benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ReadDiscBufferByBuffer)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

// What `lorvan-cli info` does on a folder of 99 FLAC files, warm: open, measure, tag, identify, tabulate.
void BM_InfoFolderOf99Flac(benchmark::State& state) {
    quietLog();
    const Url folder = Url::fileURL(folderOf99());
    const AudioDiscServices services = platform::audioDiscServices();
    (void)AudioDisc::fromDirectory(folder, services); // warm the file cache
    for (auto _ : state)
        benchmark::DoNotOptimize(AudioDisc::fromDirectory(folder, services).tracks.size());
}
BENCHMARK(BM_InfoFolderOf99Flac)->Unit(benchmark::kMillisecond);

// A random seek anywhere in the 74-minute FLAC file, then one 882-frame buffer.
void BM_RandomSeekAndRead(benchmark::State& state) {
    quietLog();
    auto data = AudioDiscData::create({Url::fileURL(longDisc())}, 0, platform::openFFmpegAudioFile);
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> start(0, data->totalFrameCount() - 882);
    for (auto _ : state)
        benchmark::DoNotOptimize(data->newPCMBuffer(start(random), 882)->frameLength());
}
BENCHMARK(BM_RandomSeekAndRead)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace lorvan

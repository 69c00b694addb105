// How long a seek takes to reach the output: from `seekToFrame` on the main thread to the
// first rendered block that starts with the seek's frame, while the disc is playing. The player
// runs on its real reader and scheduler threads and reads a FLAC file with the real decoder; a
// probe output pulls 1 ms blocks (a device pulls at its own period, which adds up to one
// period on top).

#include "core/ConsoleLog.hpp"
#include "cuesheet/CueSheet.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ManualExecutors.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <random>
#include <thread>

namespace lorvan {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int rate = 44100;
constexpr std::int64_t discFrames = std::int64_t{rate} * 60 * 10;
constexpr std::uint32_t probeFrames = 44;
constexpr std::size_t signature = 16;

// Ten minutes of drifting partials and noise, written once into the temporary folder.
fs::path cueSheet() {
    const fs::path folder = fs::temp_directory_path() / "lorvan-bench-playback";
    const fs::path sheet = folder / "seek.cue";
    if (fs::exists(sheet)) return sheet;
    fs::create_directories(folder);
    platform::writeAudioFile(folder / "seek.flac", platform::AudioFileEncoding::flac, rate, 2, 16, discFrames,
                             [](std::int64_t first, std::span<std::int32_t> out) {
                                 std::minstd_rand noise(static_cast<std::uint32_t>(first) + 1);
                                 for (std::size_t i = 0; i < out.size() / 2; ++i) {
                                     const double t =
                                         static_cast<double>(first + static_cast<std::int64_t>(i)) / rate;
                                     const double f = 220.0 * (1.0 + 0.5 * std::sin(t * 0.05));
                                     const double v =
                                         0.4 * std::sin(2 * std::numbers::pi * f * t) +
                                         0.05 * (static_cast<double>(noise() % 2001) / 1000.0 - 1.0);
                                     out[2 * i] = static_cast<std::int32_t>(v * 30000);
                                     out[2 * i + 1] = static_cast<std::int32_t>(v * 26000);
                                 }
                             });
    std::ofstream(sheet) << "FILE \"seek.flac\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                            "  TRACK 02 AUDIO\n    INDEX 01 05:00:00\n";
    return sheet;
}

/// Pulls like a device with a 1 ms period and notes when a block starts with the expected samples.
class ProbeOutput final : public AudioOutput {
public:
    [[nodiscard]] std::string name() const override { return "probe"; }
    OutputConfiguration configure(double sampleRate, int channels) override { return {sampleRate, channels}; }
    void start(AudioRenderSource& source) override {
        running_.store(true);
        thread_ = std::thread([this, &source] {
            std::vector<float> left(probeFrames);
            std::vector<float> right(probeFrames);
            float* planes[2] = {left.data(), right.data()};
            while (running_.load()) {
                const std::uint32_t got = source.render(planes, probeFrames, false);
                if (got >= signature && armed_.load(std::memory_order_acquire) &&
                    std::equal(left.begin(), left.begin() + signature, expected_.begin())) {
                    arrival_ = Clock::now();
                    armed_.store(false, std::memory_order_release);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    void stop() noexcept override {
        running_.store(false);
        if (thread_.joinable()) thread_.join();
    }
    /// Main thread, before the seek.
    void expect(std::vector<float> first) {
        expected_ = std::move(first);
        armed_.store(true, std::memory_order_release);
    }
    [[nodiscard]] bool waiting() const { return armed_.load(std::memory_order_acquire); }
    [[nodiscard]] Clock::time_point arrival() const { return arrival_; }

private:
    std::atomic<bool> running_{false};
    std::atomic<bool> armed_{false};
    std::vector<float> expected_;
    Clock::time_point arrival_;
    std::thread thread_;
};

void BM_SeekToOutputWhilePlaying(benchmark::State& state) {
    ConsoleLog::discard();
    const fs::path sheet = cueSheet();
    const auto reference = platform::openFFmpegAudioFile(Url::fileURL(sheet.parent_path() / "seek.flac"));
    auto probe = std::make_unique<ProbeOutput>();
    ProbeOutput& output = *probe;
    auto engine = std::make_shared<GraphAudioEngine>(std::move(probe), platform::soxrResamplerFactory());
    const auto mainThread = std::make_shared<ManualMainThreadExecutor>();
    auto player = AudioDiscPlayer::create({engine,
                                           std::make_shared<ThreadSerialQueue>("populateDequeQueue"),
                                           std::make_shared<ThreadSerialQueue>("scheduleBufferQueue"),
                                           mainThread,
                                           std::make_shared<InMemoryUserDefaults>(),
                                           {}});
    engine.reset();
    player->load(AudioDisc::fromCueSheet(CueSheet(Url::fileURL(sheet)), platform::audioDiscServices()), true);

    std::mt19937_64 random(11);
    PCMBuffer buffer(reference->processingFormat(), signature);
    double worst = 0;
    for (auto _ : state) {
        const std::int64_t target =
            std::uniform_int_distribution<std::int64_t>(0, discFrames - rate * 10)(random);
        reference->setFramePosition(target);
        reference->read(buffer, signature);
        output.expect({buffer.channelData(0), buffer.channelData(0) + signature});
        const auto start = Clock::now();
        player->seekToFrame(target, true);
        while (output.waiting()) {
            mainThread->runAll();
            std::this_thread::yield();
        }
        const double seconds = std::chrono::duration<double>(output.arrival() - start).count();
        worst = std::max(worst, seconds);
        state.SetIterationTime(seconds);
        mainThread->runAll();
    }
    state.counters["worst_ms"] = worst * 1000;
    player->insertDisc(std::nullopt);
    const std::weak_ptr<AudioDiscPlayer> weak = player;
    player.reset();
    while (!weak.expired())
        mainThread->runAll();
}

BENCHMARK(BM_SeekToOutputWhilePlaying)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(200);

} // namespace
} // namespace lorvan

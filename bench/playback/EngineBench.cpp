// Renders ten seconds of stereo 44.1 kHz audio, scheduled as the player does in 20 ms buffers,
// through the offline output. The time per iteration divided by ten is the CPU time that one
// second of real-time playback costs at that rate.
#include "platform/SoxrResampler.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/GraphAudioEngine.hpp"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace lorvan {
namespace {

constexpr double sampleRate = 44100;
constexpr std::uint32_t bufferFrames = 882; // 20 ms, the player's buffer
constexpr int seconds = 10;

std::vector<std::shared_ptr<const PCMBuffer>> makeBuffers() {
    std::vector<std::shared_ptr<const PCMBuffer>> buffers;
    const auto count = static_cast<int>(sampleRate * seconds / bufferFrames);
    for (int index = 0; index < count; ++index) {
        auto buffer = std::make_shared<PCMBuffer>(AudioFormat::processing(sampleRate, 2), bufferFrames);
        buffer->setFrameLength(bufferFrames);
        for (int channel = 0; channel < 2; ++channel)
            for (std::uint32_t frame = 0; frame < bufferFrames; ++frame)
                buffer->channelData(channel)[frame] =
                    0.5F * static_cast<float>(std::sin(2 * std::numbers::pi * (440.0 + channel * 110) *
                                                       (index * bufferFrames + frame) / sampleRate));
        buffers.push_back(std::move(buffer));
    }
    return buffers;
}

void renderThroughOffline(benchmark::State& state, float rate) {
    const auto buffers = makeBuffers();
    std::uint64_t frames = 0;
    for (auto _ : state) {
        std::atomic<std::uint64_t> rendered{0};
        auto offline =
            std::make_unique<OfflineAudioOutput>([&](const float* const* planes, int, std::uint32_t count) {
                benchmark::DoNotOptimize(planes[0][0]);
                rendered.fetch_add(count, std::memory_order_relaxed);
            });
        auto* output = offline.get();
        GraphAudioEngine engine(std::move(offline), platform::soxrResamplerFactory());
        engine.connect(AudioFormat::processing(sampleRate, 2));
        engine.varispeed().setRate(rate);
        // Scheduled before the start, so the clock measures rendering rather than scheduling.
        for (const auto& buffer : buffers)
            engine.playerNode().scheduleBuffer(buffer, {});
        engine.playerNode().play();
        engine.start();
        output->finish();
        output->waitUntilFinished();
        engine.stop();
        frames += rendered.load();
    }
    state.counters["audio_s_per_iteration"] = seconds;
    state.counters["frames"] =
        benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kAvgIterations);
}

void BM_RenderTenSecondsAtRate1(benchmark::State& state) {
    renderThroughOffline(state, 1.0F);
}
void BM_RenderTenSecondsAtRate1_05(benchmark::State& state) {
    renderThroughOffline(state, 1.05F);
}

BENCHMARK(BM_RenderTenSecondsAtRate1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RenderTenSecondsAtRate1_05)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
} // namespace lorvan

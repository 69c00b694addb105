#include "EngineTestSupport.hpp"
#include "platform/SoxrResampler.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <thread>

namespace lorvan {
namespace {

using test::append;
using test::CompletionLog;
using test::ManualEngine;
using test::Planes;
using test::signature;
using test::signatureBuffer;

/// Schedules buffers of odd lengths holding `signature` frames 0..total; returns their count.
int scheduleOddBuffers(GraphPlayerNode& node, CompletionLog& log, int channels, std::int64_t total,
                       std::uint32_t seed = 7) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::uint32_t> length(1, 997);
    std::int64_t frame = 0;
    int index = 0;
    while (frame < total) {
        const auto frames =
            static_cast<std::uint32_t>(std::min<std::int64_t>(length(random) | 1U, total - frame));
        node.scheduleBuffer(signatureBuffer(channels, frame, frames), log.handler(index++));
        frame += frames;
    }
    return index;
}

void expectSignature(const Planes& planes, std::int64_t firstFrame, std::size_t frames, float gain = 1.0F) {
    for (std::size_t channel = 0; channel < planes.size(); ++channel) {
        ASSERT_GE(planes[channel].size(), frames);
        for (std::size_t frame = 0; frame < frames; ++frame) {
            const float expected =
                signature(static_cast<int>(channel), firstFrame + static_cast<std::int64_t>(frame));
            if (gain == 1.0F) {
                ASSERT_EQ(planes[channel][frame], expected) << "channel " << channel << " frame " << frame;
            } else {
                ASSERT_EQ(planes[channel][frame], expected * gain)
                    << "channel " << channel << " frame " << frame;
            }
        }
    }
}

TEST(EngineGraphTest, PassesManyOddBuffersGaplessAndBitExact) {
    CompletionLog log;
    ManualEngine rig(2);
    constexpr std::int64_t total = 44100 * 2 + 17;
    const int buffers = scheduleOddBuffers(rig.node(), log, 2, total);
    rig.node().play();
    Planes rendered;
    // Odd pull sizes, so that buffer and pull boundaries never line up.
    for (std::uint32_t pull = 333; rendered.empty() || rendered[0].size() < static_cast<std::size_t>(total);
         pull = pull % 1500 + 211) {
        const auto block = rig.output->pullAvailable(pull);
        ASSERT_FALSE(block[0].empty()) << "ran dry after " << rendered[0].size();
        append(rendered, block);
    }
    ASSERT_EQ(rendered[0].size(), static_cast<std::size_t>(total));
    expectSignature(rendered, 0, total);
    EXPECT_TRUE(rig.output->pullAvailable(100)[0].empty()) << "nothing left, so nothing rendered";

    ASSERT_TRUE(log.waitFor(static_cast<std::size_t>(buffers)));
    std::vector<int> expected(static_cast<std::size_t>(buffers));
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(log.order(), expected);
    for (const auto& thread : log.threads())
        EXPECT_NE(thread, std::this_thread::get_id());
    // A buffer stops counting once its handler has returned, a moment after it logged itself.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (rig.node().pendingCount() != 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(rig.node().pendingCount(), 0U);
}

TEST(EngineGraphTest, DeviceStylePullsPadWithSilenceOnlyAfterTheAudio) {
    CompletionLog log;
    ManualEngine rig(2);
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 300), log.handler(0));
    rig.node().play();
    const auto block = rig.output->pull(512);
    ASSERT_EQ(block[0].size(), 512U);
    expectSignature(block, 0, 300);
    for (int channel = 0; channel < 2; ++channel)
        for (std::size_t frame = 300; frame < 512; ++frame)
            EXPECT_EQ(block[channel][frame], 0.0F);
}

TEST(EngineGraphTest, VolumeScalesEverySampleAndZeroSilences) {
    CompletionLog log;
    ManualEngine rig(2);
    rig.node().setVolume(0.5F);
    EXPECT_EQ(rig.node().volume(), 0.5F);
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 1000), log.handler(0));
    rig.node().scheduleBuffer(signatureBuffer(2, 1000, 1000), log.handler(1));
    rig.node().play();
    expectSignature(rig.output->pullAvailable(1000), 0, 1000, 0.5F);
    rig.node().setVolume(0.0F);
    const auto silent = rig.output->pullAvailable(1000);
    ASSERT_EQ(silent[0].size(), 1000U);
    for (const auto& plane : silent)
        EXPECT_TRUE(std::all_of(plane.begin(), plane.end(), [](float sample) { return sample == 0.0F; }));
}

TEST(EngineGraphTest, PauseHoldsThePositionAndPlayResumesAtTheNextFrame) {
    CompletionLog log;
    ManualEngine rig(2);
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 2000), log.handler(0));
    rig.node().play();
    expectSignature(rig.output->pull(700), 0, 700);
    rig.node().pause();
    EXPECT_FALSE(rig.node().isPlaying());
    const auto paused = rig.output->pull(900);
    for (const auto& plane : paused)
        EXPECT_TRUE(std::all_of(plane.begin(), plane.end(), [](float sample) { return sample == 0.0F; }));
    EXPECT_TRUE(rig.output->pullAvailable(100)[0].empty());
    EXPECT_EQ(log.count(), 0U) << "a paused buffer is still scheduled";
    rig.node().play();
    expectSignature(rig.output->pull(1300), 700, 1300);
    ASSERT_TRUE(log.waitFor(1));
}

TEST(EngineGraphTest, StopDiscardsEverythingAndHasRunTheHandlersInOrderWhenItReturns) {
    CompletionLog log;
    ManualEngine rig(2);
    for (int index = 0; index < 10; ++index)
        rig.node().scheduleBuffer(signatureBuffer(2, index * 500, 500), log.handler(index));
    rig.node().play();
    (void)rig.output->pull(1250); // two buffers done, the third half played
    rig.node().stop();
    EXPECT_EQ(log.count(), 10U) << "stop returns after the discarded buffers' handlers";
    EXPECT_EQ(log.order(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(rig.node().pendingCount(), 0U);
    EXPECT_FALSE(rig.node().isPlaying());

    // Stopped, and nothing of the discarded audio comes back.
    rig.node().play();
    EXPECT_TRUE(rig.output->pullAvailable(500)[0].empty());
    rig.node().scheduleBuffer(signatureBuffer(2, 90000, 400), log.handler(10));
    expectSignature(rig.output->pullAvailable(400), 90000, 400);
}

TEST(EngineGraphTest, StopReturnsWhenNothingRendersAndWhenCalledFromAHandler) {
    // Declared before the engine: its destruction runs the handlers of what is left.
    CompletionLog log;
    CompletionLog after;
    std::vector<int> seen;
    std::mutex seenMutex;
    ManualEngine rig(2);
    rig.engine->stop(); // the output no longer pulls at all
    for (int index = 0; index < 5; ++index)
        rig.node().scheduleBuffer(signatureBuffer(2, 0, 100), log.handler(index));
    rig.node().play();
    rig.node().stop();
    EXPECT_EQ(log.count(), 5U);

    // A handler that stops the node: the rest of the discarded handlers still run, in order.
    rig.engine->start();
    auto record = [&](int index) {
        std::lock_guard lock(seenMutex);
        seen.push_back(index);
    };
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 10), [&] {
        record(0);
        rig.node().stop();
        record(100);
    });
    for (int index = 1; index < 4; ++index)
        rig.node().scheduleBuffer(signatureBuffer(2, 0, 10), [&, index] { record(index); });
    rig.node().play();
    (void)rig.output->pull(10);
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 1), after.handler(0));
    rig.node().stop(); // orders after the handler above, whichever finished first
    std::lock_guard lock(seenMutex);
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 100}));
}

TEST(EngineGraphTest, MonoDiscReachesBothSpeakers) {
    CompletionLog log;
    ManualEngine rig(1, 2);
    rig.node().scheduleBuffer(signatureBuffer(1, 0, 777), log.handler(0));
    rig.node().play();
    const auto block = rig.output->pullAvailable(1000);
    ASSERT_EQ(block.size(), 2U);
    ASSERT_EQ(block[0].size(), 777U);
    for (std::size_t frame = 0; frame < 777; ++frame) {
        ASSERT_EQ(block[0][frame], signature(0, static_cast<std::int64_t>(frame)));
        ASSERT_EQ(block[1][frame], block[0][frame]);
    }
}

TEST(EngineGraphTest, ConvertsToTheOutputRateWithoutChangingThePitch) {
    CompletionLog log;
    ManualEngine rig(2, 2, 48000);
    ASSERT_EQ(rig.engine->outputConfiguration()->sampleRate, 48000);
    for (int index = 0; index < 10; ++index)
        rig.node().scheduleBuffer(test::sineBuffer(2, index * 4410, 4410, 441), log.handler(index));
    rig.node().play();
    const auto block = rig.output->pull(48000);
    ASSERT_EQ(block[0].size(), 48000U);
    // 441 Hz for one second crosses zero upwards 441 times, whatever the rate it is played at.
    int crossings = 0;
    for (std::size_t frame = 1; frame < block[0].size(); ++frame)
        if (block[0][frame - 1] < 0 && block[0][frame] >= 0) ++crossings;
    EXPECT_NEAR(crossings, 441, 3);
}

/// The largest step between neighbouring samples.
float largestStep(const std::vector<float>& samples, std::size_t from = 1) {
    float largest = 0;
    for (std::size_t frame = std::max<std::size_t>(from, 1); frame < samples.size(); ++frame)
        largest = std::max(largest, std::abs(samples[frame] - samples[frame - 1]));
    return largest;
}

TEST(EngineVarispeedTest, RateChangesAreSmoothAndRateOneIsBitExactAgain) {
    CompletionLog log;
    ManualEngine rig(2);
    constexpr std::uint32_t chunk = 4410;
    constexpr int chunks = 60;
    for (int index = 0; index < chunks; ++index)
        rig.node().scheduleBuffer(test::sineBuffer(2, index * chunk, chunk, 220), log.handler(index));
    rig.node().play();
    Planes rendered;
    const std::vector<std::pair<std::size_t, float>> changes{
        {10000, 1.5F}, {30000, 0.75F}, {50000, 1.0F}, {60000, 1.25F}, {70000, 1.0F}};
    std::size_t nextChange = 0;
    while (rendered.empty() || rendered[0].size() < 150000) {
        if (nextChange < changes.size() &&
            (!rendered.empty() && rendered[0].size() >= changes[nextChange].first))
            rig.engine->varispeed().setRate(changes[nextChange++].second);
        append(rendered, rig.output->pull(512));
    }
    EXPECT_EQ(rig.engine->varispeed().rate(), 1.0F);
    // A 220 Hz sine at 0.5 moves at most 0.0157 per frame, 0.0235 at rate 1.5: a click or a
    // dropped stretch jumps further.
    EXPECT_LT(largestStep(rendered[0]), 0.03F);
    EXPECT_LT(largestStep(rendered[1]), 0.03F);

    // Back at 1.0 the varispeed is bypassed: the last frames are source frames, bit for bit.
    const auto& left = rendered[0];
    const std::vector<float> tail(left.end() - 2000, left.end());
    auto source = test::sineBuffer(1, 0, chunk * chunks, 220);
    const float* samples = source->channelData(0);
    const auto* found = std::search(samples, samples + source->frameLength(), tail.begin(), tail.end());
    EXPECT_NE(found, samples + source->frameLength()) << "the tail is not a run of source frames";
}

TEST(EngineVarispeedTest, DoubleRateHalvesTheDurationThroughTheOfflineOutput) {
    std::vector<float> left;
    CompletionLog log;
    auto offline =
        std::make_unique<OfflineAudioOutput>([&](const float* const* planes, int, std::uint32_t frames) {
            left.insert(left.end(), planes[0], planes[0] + frames);
        });
    auto* output = offline.get();
    GraphAudioEngine engine(std::move(offline), platform::soxrResamplerFactory());
    engine.connect(AudioFormat::processing(44100, 2));
    engine.varispeed().setRate(2.0F);
    for (int index = 0; index < 20; ++index)
        engine.playerNode().scheduleBuffer(test::sineBuffer(2, index * 4410, 4410, 220), log.handler(index));
    engine.start();
    engine.playerNode().play();
    ASSERT_TRUE(log.waitFor(20));
    output->finish();
    output->waitUntilFinished();
    EXPECT_NEAR(static_cast<double>(left.size()), 44100.0, 441.0);
    // Twice as fast: the 220 Hz tone comes out at 440 Hz.
    int crossings = 0;
    for (std::size_t frame = 1; frame < left.size(); ++frame)
        if (left[frame - 1] < 0 && left[frame] >= 0) ++crossings;
    EXPECT_NEAR(crossings, 440, 3);
    EXPECT_LT(largestStep(left, 200), 0.035F);
}

TEST(EngineGraphTest, ConnectRejectsFormatsItCannotPlayAndStartNeedsAConnection) {
    auto manual = std::make_unique<ManualAudioOutput>();
    GraphAudioEngine engine(std::move(manual), platform::soxrResamplerFactory());
    try {
        engine.start();
        FAIL() << "started without a connection";
    } catch (const AudioEngineError& error) {
        EXPECT_EQ(error.kind(), AudioEngineError::Kind::notConnected);
    }
    EXPECT_FALSE(engine.isRunning());
    EXPECT_THROW(engine.connect(AudioFormat::processing(44100, 0)), AudioEngineError);
    engine.connect(AudioFormat::processing(44100, 2));
    engine.start();
    EXPECT_TRUE(engine.isRunning());
    engine.stop();
    EXPECT_FALSE(engine.isRunning());
}

} // namespace
} // namespace lorvan

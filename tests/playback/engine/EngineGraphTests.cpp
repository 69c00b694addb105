#include "EngineTestSupport.hpp"
#include "platform/SoxrResampler.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <ranges>
#include <thread>

namespace lorvan::test {
namespace {

TEST(EngineGraphTest, PassesManyOddBuffersGaplessAndBitExactWithTheirCompletionsInOrderOffThisThread) {
    ManualEngine rig(2);
    constexpr std::int64_t total = 44100 * 2 + 17;
    std::mt19937 random(7);
    for (std::int64_t frame = 0; frame < total;) {
        const auto odd = std::uniform_int_distribution<std::uint32_t>(1, 997)(random) | 1U;
        const auto frames = static_cast<std::uint32_t>(std::min<std::int64_t>(odd, total - frame));
        rig.schedule(frame, frames);
        frame += frames;
    }
    rig.node().play();
    Planes rendered;
    // Odd pull sizes, so that buffer and pull boundaries never line up.
    for (std::uint32_t pull = 333; rendered.empty() || rendered[0].size() < static_cast<std::size_t>(total);
         pull = pull % 1500 + 211) {
        const auto block = rig.output->pullAvailable(pull);
        ASSERT_FALSE(block[0].empty()) << "ran dry";
        append(rendered, block);
    }
    ASSERT_EQ(rendered[0].size(), static_cast<std::size_t>(total));
    expectSignature(rendered, 0, total);
    EXPECT_TRUE(rig.output->pullAvailable(100)[0].empty()) << "nothing left, so nothing rendered";

    ASSERT_TRUE(rig.log.waitFor(static_cast<std::size_t>(rig.scheduled)));
    std::vector<int> expected(static_cast<std::size_t>(rig.scheduled));
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(rig.log.order(), expected);
    EXPECT_EQ(std::ranges::count(rig.log.threads(), std::this_thread::get_id()), 0);
    // A buffer stops counting once its handler has returned, a moment after it logged itself.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (rig.node().pendingCount() != 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(rig.node().pendingCount(), 0U);
}

TEST(EngineGraphTest, DevicePullsPadWithSilenceWhilePausedAndAfterTheAudioAndPlayResumesAtTheNextFrame) {
    ManualEngine rig(2);
    rig.schedule(0, 2000);
    rig.node().play();
    expectSignature(rig.output->pull(700), 0, 700);
    rig.node().pause();
    EXPECT_FALSE(rig.node().isPlaying());
    expectSilence(rig.output->pull(900));
    EXPECT_TRUE(rig.output->pullAvailable(100)[0].empty());
    EXPECT_EQ(rig.log.order().size(), 0U) << "a paused buffer is still scheduled";
    rig.node().play();
    const auto block = rig.output->pull(1600);
    ASSERT_EQ(block[0].size(), 1600U);
    expectSignature(block, 700, 1300);
    expectSilence(block, 1300);
    ASSERT_TRUE(rig.log.waitFor(1));
}

TEST(EngineGraphTest, StopDiscardsEverythingAndHasRunTheHandlersInOrderWhenItReturns) {
    ManualEngine rig(2);
    for (int index = 0; index < 10; ++index)
        rig.schedule(index * 500, 500);
    rig.node().play();
    (void)rig.output->pull(1250); // two buffers done, the third half played
    rig.node().stop();
    EXPECT_EQ(rig.log.order(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}))
        << "stop returns after the discarded buffers' handlers";
    EXPECT_EQ(rig.node().pendingCount(), 0U);
    EXPECT_FALSE(rig.node().isPlaying());

    // Stopped, and nothing of the discarded audio comes back.
    rig.node().play();
    EXPECT_TRUE(rig.output->pullAvailable(500)[0].empty());
    rig.schedule(90000, 400);
    expectSignature(rig.output->pullAvailable(400), 90000, 400);
}

TEST(EngineGraphTest, StopReturnsWhenNothingRendersAndWhenCalledFromAHandler) {
    // Declared before the engine: its destruction runs the handlers of what is left.
    CompletionLog seen;
    ManualEngine rig(2);
    rig.engine->stop(); // the output no longer pulls at all
    for (int index = 0; index < 5; ++index)
        rig.schedule(0, 100);
    rig.node().play();
    rig.node().stop();
    EXPECT_EQ(rig.log.order().size(), 5U);

    // A handler that stops the node: the rest of the discarded handlers still run, in order.
    rig.engine->start();
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 10), [&] {
        seen.handler(0)();
        rig.node().stop();
        seen.handler(100)();
    });
    for (int index = 1; index < 4; ++index)
        rig.node().scheduleBuffer(signatureBuffer(2, 0, 10), seen.handler(index));
    rig.node().play();
    (void)rig.output->pull(10);
    rig.node().scheduleBuffer(signatureBuffer(2, 0, 1), rig.log.handler(99));
    rig.node().stop(); // orders after the handler above, whichever finished first
    EXPECT_EQ(seen.order(), (std::vector<int>{0, 1, 2, 3, 100}));
}

TEST(EngineGraphTest, AMonoDiscReachesBothSpeakersAndAnotherOutputRateKeepsThePitch) {
    ManualEngine mono(1, 2);
    mono.schedule(0, 777);
    mono.node().play();
    const auto block = mono.output->pullAvailable(1000);
    ASSERT_EQ(block.size(), 2U);
    ASSERT_EQ(block[0].size(), 777U);
    expectSignature({block[0]}, 0, 777);
    EXPECT_EQ(block[1], block[0]);

    ManualEngine rig(2, 2, 48000);
    for (int index = 0; index < 10; ++index)
        rig.node().scheduleBuffer(sineBuffer(2, index * 4410, 4410, 441), rig.log.handler(index));
    rig.node().play();
    const auto resampled = rig.output->pull(48000);
    ASSERT_EQ(resampled[0].size(), 48000U);
    // 441 Hz for one second crosses zero upwards 441 times, whatever the rate it is played at.
    int crossings = 0;
    for (std::size_t frame = 1; frame < resampled[0].size(); ++frame)
        if (resampled[0][frame - 1] < 0 && resampled[0][frame] >= 0) ++crossings;
    EXPECT_NEAR(crossings, 441, 3);
}

TEST(EngineGraphTest, HandlersOfOneRenderedBlockKnowWhetherMoreFollow) {
    std::vector<bool> follows; // before the engine, whose handlers write it
    ManualEngine rig(2);
    for (int index = 0; index < 3; ++index)
        rig.node().scheduleBuffer(signatureBuffer(2, index * 100, 100), [&, index] {
            follows.push_back(rig.node().moreHandlersFollow());
            rig.log.handler(index)();
        });
    rig.node().play();
    (void)rig.output->pull(300); // all three finish in one block
    ASSERT_TRUE(rig.log.waitFor(3));
    EXPECT_EQ(follows, (std::vector<bool>{true, true, false}));
}

TEST(EngineGraphTest, AStopDiscardsWhatTheOutputRateConverterHolds) {
    ManualEngine rig(2, 2, 48000);
    rig.schedule(0, 44100);
    rig.node().play();
    ASSERT_EQ(rig.output->pull(4800)[0].size(), 4800U);
    rig.node().stop(); // a seek: the converter's filter still holds the audio before it
    rig.node().scheduleBuffer(sineBuffer(2, 0, 44100, 0), rig.log.handler(1)); // silence
    rig.node().play();
    const auto after = rig.output->pull(4800);
    ASSERT_EQ(after[0].size(), 4800U);
    expectSilence(after);
}

float largestStep(const std::vector<float>& samples) {
    std::vector<float> steps(samples.size());
    std::adjacent_difference(samples.begin(), samples.end(), steps.begin());
    return std::ranges::max(steps | std::views::drop(1) |
                            std::views::transform([](float d) { return std::abs(d); }));
}

TEST(EngineVarispeedTest, RateChangesAreSmoothAndRateOneIsBitExactAgain) {
    ManualEngine rig(2);
    constexpr std::uint32_t chunk = 4410;
    constexpr int chunks = 60;
    for (int index = 0; index < chunks; ++index)
        rig.node().scheduleBuffer(sineBuffer(2, index * chunk, chunk, 220), rig.log.handler(index));
    rig.node().play();
    Planes rendered;
    const std::vector<std::pair<std::size_t, float>> changes{
        {10000, 1.5F}, {30000, 0.75F}, {50000, 1.0F}, {60000, 1.25F}, {70000, 1.0F}};
    std::size_t nextChange = 0;
    while (rendered.empty() || rendered[0].size() < 150000) {
        if (nextChange < changes.size() && !rendered.empty() &&
            rendered[0].size() >= changes[nextChange].first)
            rig.engine->varispeed().setRate(changes[nextChange++].second);
        append(rendered, rig.output->pull(512));
    }
    EXPECT_EQ(rig.engine->varispeed().rate(), 1.0F);
    // A 220 Hz sine at 0.5 moves at most 0.0157 per frame, 0.0235 at rate 1.5: a click or a
    // dropped stretch jumps further.
    EXPECT_LT(largestStep(rendered[0]), 0.03F);
    EXPECT_LT(largestStep(rendered[1]), 0.03F);

    // Back at 1.0 the varispeed is bypassed: the last frames are source frames, bit for bit.
    const std::vector<float> tail(rendered[0].end() - 2000, rendered[0].end());
    auto source = sineBuffer(1, 0, chunk * chunks, 220);
    const float* samples = source->channelData(0);
    const auto* found = std::search(samples, samples + source->frameLength(), tail.begin(), tail.end());
    EXPECT_NE(found, samples + source->frameLength()) << "the tail is not a run of source frames";
}

} // namespace
} // namespace lorvan::test

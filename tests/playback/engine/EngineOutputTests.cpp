#include "EngineTestSupport.hpp"
#include "platform/PortAudioOutput.hpp"
#include "platform/SoxrResampler.hpp"
#include "support/TestSupport.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace lorvan {
namespace {

using test::CompletionLog;
using test::signatureBuffer;

/// An engine on the offline output whose sink collects what it is given.
struct OfflineRig {
    OfflineRig() {
        auto offline = std::make_unique<OfflineAudioOutput>(
            [this](const float* const* planes, int count, std::uint32_t frames) {
                std::lock_guard lock(mutex);
                collected.resize(static_cast<std::size_t>(count));
                for (std::size_t channel = 0; channel < collected.size(); ++channel)
                    collected[channel].insert(collected[channel].end(), planes[channel],
                                              planes[channel] + frames);
                changed.notify_all();
            },
            1000);
        output = offline.get();
        engine = std::make_unique<GraphAudioEngine>(std::move(offline), platform::soxrResamplerFactory());
        engine->connect(AudioFormat::processing(44100, 2));
    }
    bool waitForFrames(std::size_t frames) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30),
                                [&] { return !collected.empty() && collected[0].size() >= frames; });
    }
    // Before the engine, whose output thread writes them until the engine is gone.
    std::mutex mutex;
    std::condition_variable changed;
    test::Planes collected;
    OfflineAudioOutput* output;
    std::unique_ptr<GraphAudioEngine> engine;
};

TEST(EngineOfflineOutputTest, DeliversExactlyTheScheduledAudioAndWaitsInsteadOfRenderingSilence) {
    CompletionLog log;
    OfflineRig rig;
    rig.engine->start();
    rig.engine->playerNode().play();
    // Nothing scheduled yet: the output waits, it does not fill the gap.
    std::int64_t frame = 0;
    int index = 0;
    const auto schedule = [&](std::initializer_list<std::uint32_t> lengths) {
        for (std::uint32_t frames : lengths) {
            rig.engine->playerNode().scheduleBuffer(signatureBuffer(2, frame, frames), log.handler(index++));
            frame += frames;
        }
    };
    schedule({881U, 1U, 2000U});
    ASSERT_TRUE(rig.waitForFrames(static_cast<std::size_t>(frame)));
    ASSERT_TRUE(log.waitFor(3));
    // The pipeline ran dry here; the next buffers follow without anything in between.
    schedule({3U, 4410U, 97U});
    ASSERT_TRUE(log.waitFor(6));
    rig.output->finish();
    rig.output->waitUntilFinished();
    EXPECT_EQ(rig.output->framesDelivered(), static_cast<std::uint64_t>(frame));
    std::lock_guard lock(rig.mutex);
    ASSERT_EQ(rig.collected[0].size(), static_cast<std::size_t>(frame));
    test::expectSignature(rig.collected, 0, static_cast<std::size_t>(frame));
}

TEST(EngineOfflineOutputTest, FinishWithNothingScheduledEndsAtOnceAndSinkFailuresReachTheCaller) {
    OfflineRig rig;
    rig.engine->start();
    rig.output->finish();
    rig.output->waitUntilFinished();
    EXPECT_EQ(rig.output->framesDelivered(), 0U);
    rig.engine->stop();

    CompletionLog log;
    auto failing = std::make_unique<OfflineAudioOutput>(
        [](const float* const*, int, std::uint32_t) { throw std::runtime_error("disk full"); });
    auto* output = failing.get();
    GraphAudioEngine engine(std::move(failing), platform::soxrResamplerFactory());
    engine.connect(AudioFormat::processing(44100, 2));
    engine.playerNode().scheduleBuffer(signatureBuffer(2, 0, 100), log.handler(0));
    engine.start();
    engine.playerNode().play();
    EXPECT_THROW(output->waitUntilFinished(), std::runtime_error);
}

TEST(EngineNullOutputTest, PlaysThroughTheScheduledAudioOnItsClock) {
    CompletionLog log;
    auto null = std::make_unique<NullAudioOutput>(std::chrono::milliseconds(5));
    GraphAudioEngine engine(std::move(null), platform::soxrResamplerFactory());
    engine.connect(AudioFormat::processing(44100, 1));
    EXPECT_EQ(engine.outputConfiguration()->channels, 2) << "a mono disc still goes to two speakers";
    for (int index = 0; index < 4; ++index)
        engine.playerNode().scheduleBuffer(signatureBuffer(1, index * 441, 441), log.handler(index));
    engine.start();
    engine.playerNode().play();
    ASSERT_TRUE(log.waitFor(4));
    EXPECT_EQ(log.order(), (std::vector<int>{0, 1, 2, 3}));
    engine.stop();
    engine.start();
    engine.stop();
}

TEST(EnginePlaybackOutputTest, DeviceChoiceFallsBackToTheNullOutputWithAWarning) {
    test::CapturedLog captured;
    EXPECT_EQ(platform::makePlaybackOutput(platform::OutputChoice::null)->name(), "null");
    auto output = platform::makePlaybackOutput(platform::OutputChoice::device);
    GraphAudioEngine engine(std::move(output), platform::soxrResamplerFactory());
    engine.connect(AudioFormat::processing(44100, 2));
    engine.start(); // never throws: the null output takes over when the device fails
    const auto name = engine.output().name();
    if (name == "null") {
        EXPECT_TRUE(captured.contains("No sound device could be opened")) << captured.text();
    } else {
        EXPECT_EQ(name, "device");
    }
    engine.stop();
}

// Scheduling on one thread, rendering on another, stop and play from a third: every handler
// runs exactly once, in scheduling order, never on the render thread; ThreadSanitizer is silent.
TEST(EngineConcurrencyTest, ScheduleRenderAndStopOnThreeThreads) {
    constexpr int buffers = 3000;
    CompletionLog log;
    OfflineRig rig;
    std::atomic<bool> scheduling{true};
    rig.engine->start();
    rig.engine->playerNode().play();
    std::thread scheduler([&] {
        for (int index = 0; index < buffers; ++index)
            rig.engine->playerNode().scheduleBuffer(signatureBuffer(2, index, 17 + index % 50),
                                                    log.handler(index));
        scheduling = false;
    });
    std::thread controller([&] {
        std::mt19937 random(3);
        while (scheduling) {
            switch (random() % 4) {
            case 0:
                rig.engine->playerNode().stop();
                break;
            case 1:
                rig.engine->playerNode().pause();
                break;
            case 2:
                rig.engine->varispeed().setRate(random() % 2 == 0 ? 1.0F : 1.25F);
                break;
            default:
                rig.engine->playerNode().play();
                break;
            }
            (void)rig.engine->playerNode().isPlaying();
            std::this_thread::yield();
        }
    });
    scheduler.join();
    controller.join();
    rig.engine->playerNode().stop();
    rig.output->finish();
    rig.output->waitUntilFinished();
    std::vector<int> expected(buffers);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(log.order(), expected);
    EXPECT_EQ(rig.engine->playerNode().pendingCount(), 0U);
}

} // namespace
} // namespace lorvan

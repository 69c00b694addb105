#include "EngineTestSupport.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/DeviceOrNullOutput.hpp"
#include "support/TestSupport.hpp"

#include <atomic>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <numeric>
#include <random>
#include <tuple>
#include <thread>
#include <vector>

namespace lorvan::test {
namespace {

// What the offline output delivers, and that it waits for audio instead of rendering silence,
// is compared sample for sample by the end-to-end renders of the integration tests.

/// An engine on the offline output, connected and started, its player node playing.
std::unique_ptr<GraphAudioEngine> offlineEngine(std::unique_ptr<OfflineAudioOutput> output) {
    auto engine = std::make_unique<GraphAudioEngine>(std::move(output), platform::soxrResamplerFactory());
    engine->connect(AudioFormat::processing(44100, 2));
    engine->start();
    engine->playerNode().play();
    return engine;
}

TEST(EngineOfflineOutputTest, FinishWithNothingScheduledEndsAtOnceAndSinkFailuresReachTheCaller) {
    auto quiet = std::make_unique<OfflineAudioOutput>([](const float* const*, int, std::uint32_t) {});
    auto* output = quiet.get();
    const auto engine = offlineEngine(std::move(quiet));
    output->finish();
    output->waitUntilFinished();
    EXPECT_EQ(output->framesDelivered(), 0U);

    CompletionLog log;
    auto failing = std::make_unique<OfflineAudioOutput>(
        [](const float* const*, int, std::uint32_t) { throw std::runtime_error("disk full"); });
    output = failing.get();
    const auto failingEngine = offlineEngine(std::move(failing));
    failingEngine->playerNode().scheduleBuffer(signatureBuffer(2, 0, 100), log.handler(0));
    EXPECT_THROW(output->waitUntilFinished(), std::runtime_error);
}

// The null output plays on its own clock, which sleeps while there is nothing to play (a paused
// player costs nothing); audio scheduled, play and stop each wake it.
TEST(EngineNullOutputTest, PlaysOnItsClockSleepsWithNothingToPlayAndWakesForAudioPlayAndStop) {
    CompletionLog log;
    GraphAudioEngine engine(std::make_unique<NullAudioOutput>(std::chrono::milliseconds(5)),
                            platform::soxrResamplerFactory());
    engine.connect(AudioFormat::processing(44100, 1));
    EXPECT_EQ(engine.outputConfiguration()->channels, 2) << "a mono disc still goes to two speakers";
    engine.start();
    GraphPlayerNode& node = engine.playerNode();
    node.play();
    std::this_thread::sleep_for(std::chrono::milliseconds(30)); // let it find nothing and sleep
    for (int index = 0; index < 3; ++index)
        node.scheduleBuffer(signatureBuffer(1, index * 441, 441), log.handler(index));
    ASSERT_TRUE(log.waitFor(3)) << "scheduled audio wakes the sleeping clock";

    node.pause();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    node.scheduleBuffer(signatureBuffer(1, 1, 441), log.handler(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(log.order(), (std::vector<int>{0, 1, 2})) << "nothing plays while paused";
    node.play();
    ASSERT_TRUE(log.waitFor(4)) << "play wakes it";

    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    engine.stop(); // while it sleeps: returns instead of hanging
    EXPECT_EQ(log.order(), (std::vector<int>{0, 1, 2, 3}));
    engine.start();
    engine.stop();
}

/// Audio without end, recording how many frames each render asked for.
class EndlessSource final : public AudioRenderSource {
public:
    std::uint32_t render(float* const*, std::uint32_t frames, bool) noexcept override {
        std::lock_guard lock(mutex_);
        requests_.push_back(frames);
        changed_.notify_all();
        return frames;
    }
    std::uint32_t drain(float* const*, std::uint32_t) noexcept override { return 0; }
    [[nodiscard]] std::uint32_t supplyEpoch() const noexcept override { return 0; }
    void waitForSupply(std::uint32_t) const noexcept override {}
    void notifySupply() noexcept override {}

    /// Waits for a render of `frames` frames; false after a second without one.
    bool waitForRequestOf(std::uint32_t frames) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(1), [&] {
            return !requests_.empty() && requests_.back() == frames;
        });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::uint32_t> requests_;
};

TEST(EngineNullOutputTest, RendersBlocksOfTheDurationAskedForFromTheNextTickOn) {
    NullAudioOutput output(std::chrono::milliseconds(5));
    output.configure(4000, 2);
    EndlessSource source;
    output.start(source);
    EXPECT_TRUE(source.waitForRequestOf(20));
    output.setBlockDuration(std::chrono::milliseconds(12));
    EXPECT_TRUE(source.waitForRequestOf(48));
    output.setBlockDuration(std::chrono::seconds(2));
    EXPECT_TRUE(source.waitForRequestOf(1000)) << "at most a quarter of a second";
    output.stop();
}

/// A sound device that fails where it is told to, and otherwise opens at 48 kHz and pulls
/// nothing (as a stalled one would), until the test says it has gone away.
class FailingDevice final : public DeviceOutput {
public:
    enum class Fails { never, configuring, starting };
    struct Record {
        std::atomic<bool> lost{false};
        std::atomic<bool> abandoned{false};
        std::atomic<int> stops{0};
    };

    FailingDevice(Fails fails, std::shared_ptr<Record> record)
        : fails_(fails)
        , record_(std::move(record)) {}

    [[nodiscard]] std::string name() const override { return "device"; }
    OutputConfiguration configure(double, int channels) override {
        if (fails_ == Fails::configuring)
            throw AudioEngineError(AudioEngineError::Kind::outputUnavailable, "no card here");
        return {48000, channels};
    }
    void start(AudioRenderSource&) override {
        if (fails_ == Fails::starting)
            throw AudioEngineError(AudioEngineError::Kind::outputUnavailable, "the server went away");
    }
    void stop() noexcept override {
        if (!record_->abandoned) ++record_->stops;
    }
    [[nodiscard]] bool lost() const noexcept override { return record_->lost; }
    void abandon() noexcept override { record_->abandoned = true; }

private:
    Fails fails_;
    std::shared_ptr<Record> record_;
};

/// An engine on a failing device behind the fallback, started, with three buffers scheduled.
struct FallbackEngine {
    explicit FallbackEngine(FailingDevice::Fails fails)
        : engine(std::make_unique<DeviceOrNullOutput>(
                     std::make_unique<FailingDevice>(fails, record), [this] { ++lostReports; },
                     std::chrono::milliseconds(10)),
                 platform::soxrResamplerFactory()) {
        engine.connect(AudioFormat::processing(44100, 2));
        engine.start();
        engine.playerNode().play();
        for (int index = 0; index < 3; ++index)
            engine.playerNode().scheduleBuffer(signatureBuffer(2, index * 441, 441), log.handler(index));
    }
    std::shared_ptr<FailingDevice::Record> record = std::make_shared<FailingDevice::Record>();
    std::atomic<int> lostReports{0};
    CompletionLog log;
    GraphAudioEngine engine;
};

// Whatever the device does, the disc plays: the null output takes over at the format the graph
// was sized for (the device's 48 kHz once it was configured, else the disc's own rate).
TEST(EngineDeviceFallbackTest, ADeviceThatCannotOpenLeavesTheNullOutputToPlay) {
    for (const auto& [fails, rate, reason] :
         {std::tuple(FailingDevice::Fails::configuring, 44100.0, "no card here"),
          std::tuple(FailingDevice::Fails::starting, 48000.0, "the server went away")}) {
        CapturedLog captured;
        FallbackEngine playing(fails);
        EXPECT_EQ(playing.engine.outputConfiguration()->sampleRate, rate);
        EXPECT_EQ(playing.engine.output().name(), "null");
        EXPECT_TRUE(captured.contains(std::string("No sound device could be opened, playing to the null output: ") +
                                      reason))
            << captured.text();
        EXPECT_TRUE(playing.log.waitFor(3)) << reason << ": the null output plays the scheduled audio";
        playing.engine.stop();
    }
}

TEST(EngineDeviceFallbackTest, ADeviceThatGoesAwayIsLeftAloneAndTheNullOutputPlaysOn) {
    CapturedLog captured;
    FallbackEngine playing(FailingDevice::Fails::never);
    EXPECT_EQ(playing.engine.output().name(), "device");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(playing.log.order().empty()) << "the device pulls nothing";
    playing.record->lost = true;
    EXPECT_TRUE(playing.log.waitFor(3)) << "the null output plays on from where the device stopped";
    EXPECT_EQ(playing.engine.output().name(), "null");
    EXPECT_TRUE(playing.record->abandoned);
    EXPECT_EQ(playing.lostReports, 1);
    EXPECT_EQ(captured.count("The sound device went away, playing on to the null output"), 1U);
    playing.engine.stop();
    EXPECT_EQ(playing.record->stops, 0) << "a device that went away is never touched again";
}

// Scheduling on one thread, rendering on another, stop and play from a third: every handler
// runs exactly once, in scheduling order; ThreadSanitizer is silent.
TEST(EngineConcurrencyTest, ScheduleRenderAndStopOnThreeThreads) {
    constexpr int buffers = 3000;
    CompletionLog log;
    auto offline = std::make_unique<OfflineAudioOutput>([](const float* const*, int, std::uint32_t) {}, 1000);
    auto* output = offline.get();
    const auto engine = offlineEngine(std::move(offline));
    GraphPlayerNode& node = engine->playerNode();
    std::atomic<bool> scheduling{true};
    std::thread scheduler([&] {
        for (int index = 0; index < buffers; ++index)
            node.scheduleBuffer(signatureBuffer(2, index, 17 + index % 50), log.handler(index));
        scheduling = false;
    });
    std::thread controller([&] {
        std::mt19937 random(3);
        const std::vector<std::function<void()>> operations{
            [&] { node.stop(); }, [&] { node.pause(); }, [&] { node.play(); },
            [&] { engine->varispeed().setRate(random() % 2 == 0 ? 1.0F : 1.25F); }};
        while (scheduling) {
            operations[random() % operations.size()]();
            (void)node.isPlaying();
            std::this_thread::yield();
        }
    });
    scheduler.join();
    controller.join();
    node.stop();
    output->finish();
    output->waitUntilFinished();
    std::vector<int> expected(buffers);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(log.order(), expected);
    EXPECT_EQ(node.pendingCount(), 0U);
}

} // namespace
} // namespace lorvan::test

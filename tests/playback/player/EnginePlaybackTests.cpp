// The player on the real engine graph: the manual output renders what a listener would hear,
// the executors are the deterministic ones in the gapless and seek tests and real threads in
// the transport run.

#include "PlayerTestSupport.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ManualExecutors.hpp"
#include "playback/ThreadSerialQueue.hpp"
#include "support/TestSupport.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;
using Planes = std::vector<std::vector<float>>;

struct GraphHarness {
    explicit GraphHarness(std::shared_ptr<SerialQueue> populateQueue = nullptr,
                          std::shared_ptr<SerialQueue> scheduleQueue = nullptr) {
        auto manual = std::make_unique<ManualAudioOutput>();
        output = manual.get();
        engine = std::make_shared<GraphAudioEngine>(std::move(manual), platform::soxrResamplerFactory());
        populate = populateQueue ? std::move(populateQueue) : manualPopulate;
        schedule = scheduleQueue ? std::move(scheduleQueue) : manualSchedule;
        player = AudioDiscPlayer::create(
            {engine, populate, schedule, mainThread, std::make_shared<InMemoryUserDefaults>(), {}});
    }
    ~GraphHarness() {
        if (player) player->insertDisc(std::nullopt);
        mainThread->runAll();
    }

    void pump() {
        while (manualPopulate->runAll() + manualSchedule->runAll() + mainThread->runAll() > 0) {
        }
    }

    /// Renders until the player stops by itself; fails instead of hanging when nothing can
    /// move any more.
    Planes renderToTheEnd() {
        Planes heard;
        while (player->state() != State::stopped) {
            pump();
            Planes block = output->pullAvailable(4096);
            if (!block.empty() && !block[0].empty()) {
                append(heard, block);
                continue;
            }
            // Everything scheduled has been rendered: let its completions arrive.
            while (engine->playerNode().pendingCount() > 0)
                std::this_thread::yield();
            pump();
            if (player->state() == State::stopped) break;
            if (output->pullAvailable(1).at(0).empty() && manualPopulate->pendingCount() == 0 &&
                manualSchedule->pendingCount() == 0 && mainThread->pendingCount() == 0) {
                ADD_FAILURE() << "playback stalled at frame " << player->discFramePosition();
                break;
            }
        }
        return heard;
    }

    static void append(Planes& to, const Planes& from) {
        to.resize(from.size());
        for (std::size_t channel = 0; channel < from.size(); ++channel)
            to[channel].insert(to[channel].end(), from[channel].begin(), from[channel].end());
    }

    ManualAudioOutput* output = nullptr;
    std::shared_ptr<GraphAudioEngine> engine;
    std::shared_ptr<ManualSerialQueue> manualPopulate = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualSerialQueue> manualSchedule = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<SerialQueue> populate;
    std::shared_ptr<SerialQueue> schedule;
    std::shared_ptr<ManualMainThreadExecutor> mainThread = std::make_shared<ManualMainThreadExecutor>();
    std::shared_ptr<AudioDiscPlayer> player;
};

std::vector<float> discFrames(std::int64_t first, std::int64_t end, std::int64_t artificialPregap,
                              bool left) {
    std::vector<float> frames;
    for (std::int64_t frame = first; frame < end; ++frame) {
        const float value = frame < artificialPregap ? 0.0F : frameSample(frame);
        frames.push_back(left ? value : -value);
    }
    return frames;
}

TEST(EnginePlaybackTest, PlayRendersFromIndex01ToTheLastFrameBitForBit) {
    GraphHarness h;
    // Track pregaps inside the previous files, files of lengths no buffer divides.
    const std::int64_t pregap = 300;
    const std::int64_t total = pregap + 40'001 + 30'007 + 25'013;
    h.player->load(
        makeDisc({40'001, 30'007, 25'013},
                 {{0, 0, 0}, {1'000, 0, 1}, {38'000, 1, 0}, {40'301, 1, 1}, {69'000, 2, 0}, {72'000, 2, 1}},
                 static_cast<std::uint32_t>(pregap)),
        true);
    const Planes heard = h.renderToTheEnd();
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[0], discFrames(1'000, total, pregap, true));
    EXPECT_EQ(heard[1], discFrames(1'000, total, pregap, false));
    EXPECT_EQ(h.player->state(), State::stopped);
    EXPECT_EQ(h.player->discFramePosition(), 1'000) << "back at the start after the end of the disc";
}

TEST(EnginePlaybackTest, SeeksReachTheOutputWithTheExactFrame) {
    GraphHarness h;
    const std::int64_t total = 200'000;
    h.player->load(makeDisc({120'000, 80'000}, {{0, 0, 1}, {120'000, 1, 1}}), false);
    h.player->seekToFrame(119'999, false);
    h.pump();
    Planes first = h.output->pullAvailable(3'000);
    EXPECT_EQ(first[0], discFrames(119'999, 122'999, 0, true)) << "across the file boundary without a gap";

    // A seek while audio is scheduled and partly rendered: nothing of the old position is heard.
    h.player->seekToFrame(7'777, false);
    h.pump();
    Planes second = h.output->pullAvailable(2'000);
    EXPECT_EQ(second[0], discFrames(7'777, 9'777, 0, true));

    h.player->seekToFrame(total - 100, false);
    const Planes rest = h.renderToTheEnd();
    EXPECT_EQ(rest[0], discFrames(total - 100, total, 0, true));
}

TEST(EnginePlaybackTest, OpeningACueSheetLoadsItsDiscAndAFailureKeepsTheDiscInPlace) {
    TemporaryDirectory directory;
    constexpr std::int64_t frames = 588 * 40;
    std::vector<std::int32_t> samples;
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        samples.push_back(static_cast<std::int32_t>(frame % 20'000));
        samples.push_back(-static_cast<std::int32_t>(frame % 20'000));
    }
    platform::writeAudioFile(directory.path() / "disc.wav", platform::AudioFileEncoding::wave, 44100, 2, 16,
                             samples);
    const auto sheet =
        directory.write("disc.cue", "FILE \"disc.wav\" WAVE\n"
                                    "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                                    "  TRACK 02 AUDIO\n    INDEX 00 00:00:10\n    INDEX 01 00:00:20\n");
    GraphHarness h;
    const AudioDiscServices services = platform::audioDiscServices();
    h.player->openCueSheet(Url::fileURL(sheet), false, services);
    ASSERT_NE(h.player->disc(), nullptr);
    EXPECT_EQ(h.player->disc()->tracks.size(), 2U);
    EXPECT_EQ(h.player->state(), State::stopped);
    EXPECT_TRUE(h.engine->isRunning());

    h.player->nextTrack();
    h.player->nextTrack();
    h.pump();
    EXPECT_EQ(h.player->discFramePosition(), 20 * 588);
    const Planes heard = h.output->pullAvailable(10);
    EXPECT_EQ(heard[0].at(0), static_cast<float>(20 * 588) / 32'768.0F) << "16-bit samples, read exactly";

    const auto disc = h.player->disc();
    EXPECT_ANY_THROW(h.player->openCueSheet(Url::fileURL(directory.path() / "missing.cue"), true, services));
    EXPECT_EQ(h.player->disc(), disc);
    EXPECT_EQ(h.player->state(), State::playing);
}

// Real queues, a device thread pulling all the time, and random transport on this thread as
// the main thread: checks the player's invariants and gives ThreadSanitizer every path.
TEST(EnginePlaybackTest, RandomTransportWithRealThreadsKeepsItsInvariants) {
    GraphHarness h(std::make_shared<ThreadSerialQueue>("populateDequeQueue"),
                   std::make_shared<ThreadSerialQueue>("scheduleBufferQueue"));
    const std::int64_t total = 3 * 44'100;
    std::atomic<std::int64_t> lowest{0};
    std::atomic<std::int64_t> highest{0};
    h.player->onPositionsChanged = [&](bool, bool, double, std::int64_t frame, auto...) {
        std::int64_t seen = lowest.load();
        while (frame < seen && !lowest.compare_exchange_weak(seen, frame)) {
        }
        seen = highest.load();
        while (frame > seen && !highest.compare_exchange_weak(seen, frame)) {
        }
    };
    h.player->load(makeDisc({44'100, 2 * 44'100},
                            {{0, 0, 1}, {20'000, 0, 2}, {40'000, 1, 0}, {44'100, 1, 1}, {100'000, 2, 1}}),
                   false);

    std::atomic<bool> running{true};
    std::atomic<std::uint64_t> pulls{0};
    std::thread device([&] {
        while (running.load()) {
            (void)h.output->pull(441);
            pulls.fetch_add(1);
        }
    });

    std::mt19937 random(4);
    const auto frameIn = [&] { return std::uniform_int_distribution<std::int64_t>(-10, total + 10)(random); };
    for (int step = 0; step < 400; ++step) {
        switch (std::uniform_int_distribution<int>(0, 12)(random)) {
        case 0:
            h.player->play();
            break;
        case 1:
            h.player->playPause();
            break;
        case 2:
            if (h.player->state() != State::stopped) h.player->stopEject();
            break;
        case 3:
            h.player->seekToFrame(frameIn(), step % 2 == 0);
            break;
        case 4:
            h.player->nextTrack();
            break;
        case 5:
            h.player->previousTrack();
            break;
        case 6:
            h.player->nextChapter();
            break;
        case 7:
            h.player->previousChapter();
            break;
        case 8:
            h.player->toggleShuffle();
            break;
        case 9:
            h.player->setRepeatMode(static_cast<AudioDiscPlayer::RepeatMode>(step % 3));
            break;
        case 10:
            h.player->setPlaybackRate(static_cast<float>(step % 9) * 0.5F);
            break;
        case 11:
            h.player->setAmplifierIsActive(step % 3 != 0);
            h.player->setVolume(static_cast<float>(step % 5) * 0.25F);
            break;
        default: {
            // Let some audio play.
            const auto target = pulls.load() + 20;
            while (pulls.load() < target) {
                h.mainThread->runAll();
                std::this_thread::yield();
            }
        }
        }
        h.mainThread->runAll();
        const State state = h.player->state();
        EXPECT_EQ(state == State::playing, h.engine->playerNode().isPlaying()) << "step " << step;
        const auto position = h.player->discFramePosition();
        EXPECT_GE(position, 0);
        EXPECT_LE(position, total);
        EXPECT_LT(h.player->currentCueIndex(), 5);
        EXPECT_LE(h.player->currentlyScheduledBuffers(), AudioDiscPlayer::schedulingLimit);
    }
    running.store(false);
    device.join();
    h.player->stopEject();
    h.player->stopEject();
    h.mainThread->runAll();
    EXPECT_EQ(h.player->disc(), nullptr);
    EXPECT_GE(lowest.load(), 0);
    EXPECT_LE(highest.load(), total);
}

} // namespace
} // namespace lorvan::test

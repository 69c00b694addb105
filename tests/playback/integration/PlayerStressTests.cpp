// Thousands of random transport operations on the real player while the offline output renders
// everything it is given, from the demo disc's real files: the invariants must hold after every
// operation, under ASan and TSan too.

#include "IntegrationSupport.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ManualExecutors.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <atomic>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;

/// What the output thread and the player's reports saw; checked at the end.
struct Seen {
    std::atomic<std::uint64_t> frames{0}, badSamples{0}, positionReports{0}, badPositions{0}, badTracks{0};
};

TEST(PlayerStress, RandomTransportInterleavedWithOfflineRenderingKeepsTheInvariants) {
    TemporaryDirectory directory;
    const auto cueSheet = writeDemoDisc(directory.path(), true);
    const AudioDisc reference = assembleDisc(cueSheet);
    const std::int64_t total = reference.data->totalFrameCount();
    const auto trackCount = static_cast<long>(reference.tracks.size());

    // Everything the handlers and the sink capture outlives the player and its engine.
    const auto seen = std::make_shared<Seen>();
    const auto mainThread = std::make_shared<ManualMainThreadExecutor>();
    auto output = std::make_unique<OfflineAudioOutput>(
        [seen](const float* const* planes, int channels, std::uint32_t frames) {
            for (int c = 0; c < channels; ++c)
                for (std::uint32_t i = 0; i < frames; ++i)
                    if (!std::isfinite(planes[c][i]) || std::fabs(planes[c][i]) > 2.0F)
                        seen->badSamples.fetch_add(1);
            seen->frames.fetch_add(frames);
        },
        1024);
    auto engine = std::make_shared<GraphAudioEngine>(std::move(output), platform::soxrResamplerFactory());
    const GraphPlayerNode& node = engine->playerNode(); // the player owns the engine from here on
    auto player = AudioDiscPlayer::create({engine, std::make_shared<ThreadSerialQueue>("populateDequeQueue"),
                                           std::make_shared<ThreadSerialQueue>("scheduleBufferQueue"),
                                           mainThread, std::make_shared<InMemoryUserDefaults>(), nullptr});
    engine.reset();

    std::optional<State> reportedState;
    int stateReports = 0;
    player->onPlayerStateChanged = [&](State state) {
        reportedState = state;
        ++stateReports;
    };
    player->onPositionsChanged = [&](bool, bool inPlayer, double normalized, std::int64_t frame, auto...) {
        seen->positionReports.fetch_add(1);
        if (inPlayer && (frame < 0 || frame > total || normalized < 0.0 || normalized > 1.0))
            seen->badPositions.fetch_add(1);
    };
    player->onCurrentTrackIndexChanged = [&](std::optional<long> track) {
        if (track && (*track < 0 || *track >= trackCount)) seen->badTracks.fetch_add(1);
    };
    player->load(assembleDisc(cueSheet), false);

    std::mt19937 random(20261121);
    const auto pick = [&](int last) { return std::uniform_int_distribution<int>(0, last)(random); };
    const auto frameIn = [&] {
        return std::uniform_int_distribution<std::int64_t>(-1000, total + 1000)(random);
    };
    const std::vector<std::function<void()>> operations{
        [&] { player->play(); },
        [&] { player->play(); },
        [&] { player->playPause(); },
        [&] { player->stopEject(); }, // stopped: ejects, and the disc goes back in below
        [&] { player->seekToFrame(frameIn(), pick(1) == 0); },
        [&] { player->seekToFrame(frameIn(), pick(1) == 0); },
        [&] { player->goToTrack(pick(4) - 1, pick(3) - 1, pick(1) == 0); },
        [&] { player->nextTrack(); },
        [&] { player->previousTrack(); },
        [&] { player->nextChapter(); },
        [&] { player->previousChapter(); },
        [&] { player->toggleShuffle(); },
        [&] { player->setRepeatMode(static_cast<AudioDiscPlayer::RepeatMode>(pick(2))); },
        [&] { player->setPlaybackRate(std::uniform_real_distribution<float>(0.1F, 5.0F)(random)); },
        [&] { pick(1) == 0 ? player->resetSpeed() : player->toggleBeat(); },
        [&] {
            player->setAmplifierIsActive(pick(1) == 0);
            player->setVolume(std::uniform_real_distribution<float>(-0.5F, 1.5F)(random));
        },
        [&] { player->toggleMute(); },
        [&] { player->setPlaybackTimecodeMode(static_cast<AudioDiscPlayer::PlaybackTimecodeMode>(pick(3))); },
        [&] {
            if (pick(9) == 0) player->load(assembleDisc(cueSheet), pick(1) == 0);
        },
        [&] {
            // Let the output render a little of whatever is playing.
            const std::uint64_t before = seen->frames.load();
            for (int spin = 0;
                 spin < 2000 && seen->frames.load() == before && player->state() == State::playing; ++spin)
                std::this_thread::yield();
        },
    };
    for (int step = 0; step < 3000; ++step) {
        SCOPED_TRACE(step);
        operations[static_cast<std::size_t>(pick(static_cast<int>(operations.size()) - 1))]();
        mainThread->runAll();
        if (!player->disc()) player->load(assembleDisc(cueSheet), false);

        ASSERT_EQ(reportedState, player->state()) << "the last state reported is the state";
        ASSERT_EQ(player->state() == State::playing, node.isPlaying())
            << "the node plays exactly while playing";
        const std::int64_t position = player->discFramePosition();
        ASSERT_TRUE(position >= 0 && position <= total) << position;
        ASSERT_LT(player->currentCueIndex(), static_cast<long>(reference.cues.size()));
        const auto track = player->currentTrackIndex().value_or(0);
        ASSERT_TRUE(track >= 0 && track < trackCount) << track;
        const float rate = player->playbackRate();
        ASSERT_TRUE(rate >= AudioDiscPlayer::minimumRate && rate <= AudioDiscPlayer::maximumRate) << rate;
        ASSERT_TRUE(player->volume() >= 0.0F && player->volume() <= 1.0F) << player->volume();
        ASSERT_LE(player->dequeCount(), AudioDiscPlayer::readAheadLimit);
        ASSERT_LE(player->currentlyScheduledBuffers(), AudioDiscPlayer::schedulingLimit);
    }

    // Eject mid-buffer, then let go of the player while its queues may still hold it.
    player->insertDisc(std::nullopt);
    const std::weak_ptr<AudioDiscPlayer> weak = player;
    player.reset();
    while (!weak.expired() || mainThread->pendingCount() > 0)
        mainThread->runAll();

    EXPECT_GT(seen->frames.load(), 0u);
    EXPECT_EQ(seen->badSamples.load(), 0u);
    EXPECT_GT(seen->positionReports.load(), 0u);
    EXPECT_EQ(seen->badPositions.load(), 0u);
    EXPECT_EQ(seen->badTracks.load(), 0u);
    EXPECT_GT(stateReports, 100);
}

} // namespace
} // namespace lorvan::test

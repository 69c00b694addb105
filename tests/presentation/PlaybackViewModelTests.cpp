// The view model on the real player: the graph engine on the manual output, the deterministic
// queues and main thread (with its manual clock), and the demo disc written by lorvan-cli.
//
// The demo disc, in frames: a 2 s artificial pregap (0), track 1 at 88200, track 2's INDEX 00 at
// 485100 and INDEX 01 at 529200, track 3 at 970200 with INDEX 02 at 1190700, the end at 1411200.
// A buffer is 882 frames, so track 2's one-second pregap is exactly 50 buffers.

#include "core/ConsoleLog.hpp"
#include "presentation/PlaybackDisplayState.hpp"
#include "presentation/PlaybackViewModel.hpp"
#include "support/PlayerRig.hpp"
#include "support/TestSupport.hpp"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

namespace lorvan {
namespace {

// The player logs every step of the read-ahead; nothing here reads the log.
class QuietLog : public testing::Environment {
public:
    void SetUp() override { ConsoleLog::discard(); }
};
[[maybe_unused]] const auto* const quietLog = testing::AddGlobalTestEnvironment(new QuietLog);

using namespace std::chrono_literals;
using State = AudioDiscPlayer::State;
using Mode = AudioDiscPlayer::PlaybackTimecodeMode;

constexpr std::int64_t buffer = 882;
constexpr std::int64_t track1 = 88200;
constexpr std::int64_t track2Pregap = 485100;
constexpr std::int64_t track2 = 529200;
constexpr std::int64_t track3 = 970200;
constexpr std::int64_t discEnd = 1411200;

class PlaybackViewModelTest : public testing::Test {
protected:
    void SetUp() override {
        const auto made = test::runProcess(LORVAN_CLI, "demo --dir " + test::shellQuoted(directory.path()));
        ASSERT_EQ(made.status, 0) << made.out;
        progressSubscription = viewModel->progress().progress.subscribe(
            [this](const PlaybackProgress& progress) { published.push_back(progress); });
        updatesSubscription = viewModel->updated.subscribe([this](std::uint64_t) { ++updates; });
        rig.load(directory.path() / "Lorvan Demo.cue");
    }

    void pump() { rig.pump(); }
    void settle() { rig.settle(); }
    void play(long buffers) { rig.play(buffers); }
    [[nodiscard]] const PlaybackProgress& progress() const { return viewModel->progress().progress.value(); }
    [[nodiscard]] DisplayState display() const { return displayState(*viewModel); }
    /// The status line, the time and its label, as in "TRACK 02 INDEX 00 -0:01 PREGAP".
    [[nodiscard]] std::string screen() const {
        const DisplayState shown = display();
        return shown.statusLeft + " " + shown.statusRight + " " + shown.time + " " + shown.timeLabel;
    }

    test::TemporaryDirectory directory;
    test::PlayerRig rig;
    std::shared_ptr<ManualMainThreadExecutor>& mainThread = rig.mainThread;
    ManualAudioOutput*& output = rig.output;
    std::shared_ptr<AudioDiscPlayer>& player = rig.player;
    std::optional<PlaybackViewModel>& viewModel = rig.viewModel;
    Published<PlaybackProgress>::Subscription progressSubscription;
    Published<std::uint64_t>::Subscription updatesSubscription;
    std::vector<PlaybackProgress> published;
    int updates = 0;
};

TEST_F(PlaybackViewModelTest,
       ManyCompletionsInOneIntervalPublishOnceWithTheNewestPositionAndNothingWhileIdle) {
    player->seekToFrame(track1, false);
    settle();
    published.clear();

    play(1);
    pump();
    ASSERT_EQ(published.size(), 1u) << "the first change after a quiet interval is published at once";
    EXPECT_EQ(published.back().discFramePosition, track1 + buffer);

    play(5);
    pump();
    mainThread->advance(PlaybackViewModel::steadyPositionInterval - 1ms);
    EXPECT_EQ(published.size(), 1u) << "steady play waits the longer interval, and five completions one";
    mainThread->advance(1ms);
    ASSERT_EQ(published.size(), 2u);
    EXPECT_EQ(published.back().discFramePosition, track1 + 6 * buffer)
        << "the newest position, not the first";
    EXPECT_EQ(player->discFramePosition(), track1 + 6 * buffer);
    EXPECT_FALSE(published.back().jumped) << "steady play is no jump";

    // Anything besides the position shortens the longer interval again: the repeat button
    // answers within a display frame, carrying the position that moved on meanwhile.
    play(1);
    player->setRepeatMode(RepeatMode::disc);
    pump();
    mainThread->advance(PlaybackViewModel::publicationInterval - 1ms);
    EXPECT_EQ(published.size(), 2u);
    mainThread->advance(1ms);
    ASSERT_EQ(published.size(), 3u);
    EXPECT_EQ(viewModel->repeatMode.value(), RepeatMode::disc);
    EXPECT_EQ(published.back().discFramePosition, track1 + 7 * buffer);

    // Nothing changes while the output pulls nothing: one last look at the gate, then no timer.
    mainThread->advance(PlaybackViewModel::steadyPositionInterval);
    EXPECT_EQ(mainThread->delayedCount(), 0u);
    const int updatesBefore = updates;
    mainThread->advance(10s);
    EXPECT_EQ(published.size(), 3u);
    EXPECT_EQ(updates, updatesBefore);

    // Paused: the meters fall and the state changes once, and then nothing ticks.
    player->playPause();
    settle();
    EXPECT_EQ(viewModel->state.value(), State::paused);
    const auto publishedWhilePaused = published.size();
    const int updatesWhilePaused = updates;
    mainThread->advance(10s);
    pump();
    EXPECT_EQ(published.size(), publishedWhilePaused);
    EXPECT_EQ(updates, updatesWhilePaused);
    EXPECT_EQ(mainThread->delayedCount(), 0u);
    EXPECT_EQ(mainThread->pendingCount(), 0u);
}

TEST_F(PlaybackViewModelTest, TheShownSecondTurningOverIsPublishedWithinADisplayFrame) {
    // 0.94 s into track 1: three buffers short of the second turning to 0:01.
    player->seekToFrame(track1 + 44100 - 3 * buffer, false);
    settle();
    play(1);
    pump();
    published.clear();

    play(1); // 0:00.98, still 0:00
    pump();
    mainThread->advance(PlaybackViewModel::publicationInterval);
    EXPECT_TRUE(published.empty()) << "within a second, steady play waits the longer interval";

    play(1); // exactly 0:01.00
    pump();
    mainThread->advance(PlaybackViewModel::publicationInterval - 1ms);
    EXPECT_TRUE(published.empty());
    mainThread->advance(1ms);
    ASSERT_EQ(published.size(), 1u) << "the seconds turn over on time";
    EXPECT_EQ(published.back().trackElapsedFrames, 44100);
    EXPECT_EQ(display().time, "0:01");
    EXPECT_FALSE(published.back().jumped);
}

TEST_F(PlaybackViewModelTest, AJumpSurvivesBeingCoalescedWithSteadyPlayAndAnIdenticalSeekStillCounts) {
    player->seekToFrame(track1, false);
    settle();
    play(1);
    pump(); // published at once; the gate is now closed for an interval
    published.clear();

    player->seekToFrame(track3, false);
    play(3);
    pump();
    EXPECT_TRUE(published.empty());
    mainThread->advance(PlaybackViewModel::publicationInterval);
    ASSERT_EQ(published.size(), 1u);
    EXPECT_TRUE(published.back().jumped) << "steady play after the seek must not hide it";
    EXPECT_EQ(published.back().discFramePosition, track3 + 3 * buffer);

    mainThread->advance(PlaybackViewModel::publicationInterval);
    play(1);
    pump();
    ASSERT_EQ(published.size(), 2u);
    EXPECT_FALSE(published.back().jumped) << "the jump was announced once";

    // Paused, a seek to where the player already is changes no value, yet it is a jump.
    player->playPause();
    settle();
    published.clear();
    player->seekToFrame(player->discFramePosition(), false);
    settle();
    ASSERT_EQ(published.size(), 1u);
    EXPECT_TRUE(published.back().jumped);
    EXPECT_EQ(viewModel->state.value(), State::paused);
}

TEST_F(PlaybackViewModelTest, ThePregapCountsUpToIndex01WithNegativeTimesAndIndex00ToTheLastFrameBeforeIt) {
    // Steady play across track 1's end into track 2's pregap, then across INDEX 01.
    player->seekToFrame(track2Pregap - 2 * buffer, false);
    settle();
    // {buffers played, the screen}: the last buffer of track 1; the first frame of the pregap,
    // where the time is already track 2's, counted from its INDEX 01; one buffer before INDEX 01,
    // still negative though under a second; INDEX 01 itself.
    for (const auto& [buffers, shown] :
         std::vector<std::pair<long, std::string>>{{1, "TRACK 01 INDEX 01 0:08 TRACK"},
                                                   {1, "TRACK 02 INDEX 00 -0:01 PREGAP"},
                                                   {49, "TRACK 02 INDEX 00 -0:00 PREGAP"},
                                                   {1, "TRACK 02 INDEX 01 0:00 TRACK"}}) {
        play(buffers);
        settle();
        EXPECT_EQ(screen(), shown);
    }
    EXPECT_EQ(progress().discFramePosition, track2);
}

TEST_F(PlaybackViewModelTest, TheFourModesShowThePlayersTimesTruncatedToTheSecond) {
    // 1.5 s into track 2: every time is half a second past a whole one.
    player->seekToFrame(track2 + 66150, false);
    settle();
    EXPECT_DOUBLE_EQ(progress().normalizedDiscPosition,
                     static_cast<double>(track2 + 66150) / static_cast<double>(discEnd));
    EXPECT_DOUBLE_EQ(progress().seconds(progress().trackElapsedFrames), 1.5);

    for (const auto& [mode, shown] :
         std::vector<std::pair<Mode, std::string>>{{Mode::trackRemainingTime, "-0:08 TRACK REMAIN"},
                                                   {Mode::discElapsedTime, "0:11 DISC"},
                                                   {Mode::discRemainingTime, "-0:18 DISC REMAIN"},
                                                   {Mode::trackElapsedTime, "0:01 TRACK"}}) {
        player->setPlaybackTimecodeMode(mode);
        settle();
        EXPECT_EQ(viewModel->timecodeMode.value(), mode);
        EXPECT_EQ(screen(), "TRACK 02 INDEX 01 " + shown);
    }

    // In the first track's artificial pregap the disc's own time is negative too.
    player->goToTrack(0, 0, false);
    player->setPlaybackTimecodeMode(Mode::discElapsedTime);
    settle();
    EXPECT_EQ(screen(), "TRACK 01 INDEX 00 -0:02 DISC") << "the disc's time is shown, not the track's pregap";
}

TEST_F(PlaybackViewModelTest, TheDiscItsTracksAndTheDisplaysTextsComeFromTheInsertedDisc) {
    const DiscSummary& disc = viewModel->disc.value();
    ASSERT_NE(disc.disc, nullptr);
    EXPECT_EQ(disc.disc, player->disc());
    EXPECT_EQ(disc.title, "Lorvan Demo Disc");
    EXPECT_EQ(disc.performer, "The Lorvan Ensemble");
    EXPECT_DOUBLE_EQ(disc.sampleRate, 44100.0);
    EXPECT_EQ(disc.totalFrames, discEnd);
    ASSERT_EQ(disc.tracks.size(), 3u);
    EXPECT_EQ(disc.tracks[1], (TrackSummary{2, "A Minor Walk", "Lorvan Strings", 441000, 44100, track2}));
    EXPECT_EQ(disc.tracks[0].pregapFrames, track1) << "the artificial pregap is track 1's";
    EXPECT_EQ(disc.tracks[2].pregapFrames, 0);
    std::vector<double> markers;
    for (const std::int64_t frame :
         {std::int64_t{0}, track1, track2Pregap, track2, track3, std::int64_t{1190700}})
        markers.push_back(static_cast<double>(frame) / static_cast<double>(discEnd));
    EXPECT_EQ(disc.cueMarkers, markers);
    EXPECT_EQ(viewModel->playbackSequence.value(), (std::vector<long>{0, 1, 2}));

    // Inserted and not yet played: the player reports no chapter, the display its resting place.
    EXPECT_EQ(viewModel->state.value(), State::stopped);
    EXPECT_EQ(viewModel->currentTrackIndex.value(), 0);
    EXPECT_EQ(viewModel->currentChapter.value(), std::nullopt);
    EXPECT_EQ(screen(), "TRACK 01 INDEX 01 0:00 TRACK");
    EXPECT_EQ(display().title, "Morning Arpeggios");
    EXPECT_EQ(display().subtitle, "The Lorvan Ensemble \u00B7 Lorvan Demo Disc");
    EXPECT_EQ(display().cueMarkers, markers);

    player->goToTrack(2, 2, false);
    settle();
    EXPECT_EQ(screen(), "TRACK 03 INDEX 02 0:05 TRACK");
    EXPECT_EQ(display().title, "Two Moods");
    EXPECT_EQ(viewModel->state.value(), State::playing);

    // Stop, then eject: the display says there is no disc, and the faces lose the disc's tracks.
    player->stopEject();
    settle();
    EXPECT_EQ(viewModel->state.value(), State::stopped);
    EXPECT_TRUE(published.back().jumped) << "a stop returns to the start";
    player->stopEject();
    settle();
    EXPECT_EQ(viewModel->disc.value(), DiscSummary{});
    EXPECT_EQ(viewModel->currentTrackIndex.value(), std::nullopt);
    EXPECT_EQ(viewModel->playbackSequence.value(), std::vector<long>{});
    EXPECT_FALSE(progress().discInPlayer);
    const DisplayState empty = display();
    EXPECT_EQ(empty.statusLeft, "NO DISC");
    EXPECT_EQ(empty.time, "");
    EXPECT_EQ(empty.title, "");
    EXPECT_TRUE(empty.cueMarkers.empty());
}

TEST_F(PlaybackViewModelTest, MetersMoveOnlyWithTheAmplifierOnAndTheVolumeIsThePlayersNotTheDials) {
    player->seekToFrame(track2 + 10 * 44100 / 2, false); // the middle of track 2: music playing
    settle();
    play(10);
    settle();
    EXPECT_EQ(viewModel->levelLeft.value(), 0.0) << "the amplifier is off";
    EXPECT_EQ(viewModel->levelRight.value(), 0.0);

    player->setAmplifierIsActive(true);
    play(10);
    settle();
    const double left = viewModel->levelLeft.value();
    EXPECT_GT(left, 0.0);
    EXPECT_GT(viewModel->levelRight.value(), 0.0);
    EXPECT_TRUE(viewModel->amplifier.value());
    EXPECT_EQ(display().levelLeft, left);

    // Off again: the amplifier keeps its last levels, the meters fall to rest.
    player->setAmplifierIsActive(false);
    settle();
    ASSERT_GT(player->amplifier().uiLeftChannelAudioLevel(), 0.0);
    EXPECT_EQ(viewModel->levelLeft.value(), 0.0);
    EXPECT_EQ(viewModel->levelRight.value(), 0.0);
    EXPECT_EQ(display().levelLeft, 0.0);

    // A seek flushes the node, which sets the amplifier's dial back to 1.0; the volume stays.
    player->setAmplifierIsActive(true);
    player->setVolume(0.5F);
    player->seekToFrame(track3, false);
    settle();
    ASSERT_FLOAT_EQ(player->amplifier().uiPlaybackVolume(), 1.0F);
    EXPECT_FLOAT_EQ(viewModel->volume.value(), 0.5F);
    EXPECT_FALSE(viewModel->muted.value());
    player->toggleMute();
    settle();
    EXPECT_TRUE(viewModel->muted.value());
    EXPECT_FLOAT_EQ(viewModel->volume.value(), 0.0F);
}

TEST_F(PlaybackViewModelTest, SettingsArePublishedOnceEachAndOnlyWhenTheyChange) {
    std::vector<float> rates;
    std::vector<bool> newBeats;
    auto rateSubscription = viewModel->rate.subscribe([&](float rate) { rates.push_back(rate); });
    auto beatSubscription = viewModel->newBeat.subscribe([&](bool on) { newBeats.push_back(on); });
    player->toggleBeat();
    player->setRepeatMode(AudioDiscPlayer::RepeatMode::disc);
    player->toggleShuffle();
    player->setRateControlsAreActive(true);
    settle();
    EXPECT_EQ(rates, std::vector<float>{AudioDiscPlayer::newBeatRate});
    EXPECT_EQ(newBeats, std::vector<bool>{true});
    EXPECT_EQ(viewModel->repeatMode.value(), AudioDiscPlayer::RepeatMode::disc);
    EXPECT_TRUE(viewModel->shuffle.value());
    EXPECT_TRUE(viewModel->rateControlsShown.value());
    EXPECT_EQ(viewModel->playbackSequence.value(), player->playbackSequence());

    // The player reports the chapter again on every seek; the same value is not published again.
    player->goToTrack(1, 1, false);
    settle();
    std::vector<std::optional<long>> chapters;
    auto chapterSubscription = viewModel->currentChapter.subscribe(
        [&](std::optional<long> chapter) { chapters.push_back(chapter); });
    player->seekToFrame(track2 + 44100, false);
    settle();
    EXPECT_TRUE(chapters.empty());
    player->toggleBeat();
    settle();
    EXPECT_EQ(rates, (std::vector<float>{AudioDiscPlayer::newBeatRate, 1.0F}));
}

TEST_F(PlaybackViewModelTest, TheViewModelMayGoFirstWhileThePlayerPlaysOn) {
    player->seekToFrame(track1, false);
    settle();
    play(1);
    // A publication is waiting on the main thread when the view model goes.
    ASSERT_GT(mainThread->pendingCount(), 0u);
    progressSubscription.cancel();
    updatesSubscription.cancel();
    viewModel.reset();
    pump();
    play(5);
    mainThread->advance(1s);
    pump();
    EXPECT_EQ(player->discFramePosition(), track1 + 6 * buffer);
    EXPECT_EQ(player->state(), State::playing);
}

} // namespace
} // namespace lorvan

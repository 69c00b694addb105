// The player's state machine, transport, navigation, repeat, shuffle and positions, on a
// node whose buffers the test consumes by hand.

#include "PlayerTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;
using RepeatMode = AudioDiscPlayer::RepeatMode;
using TimecodeMode = AudioDiscPlayer::PlaybackTimecodeMode;
using ::testing::ElementsAre;

// Two files, four tracks. Track 1 has a pregap, track 2 three chapters and no pregap, track 3
// a pregap that starts exactly at the second file, track 4 a single index.
constexpr std::int64_t total = 250'000;
AudioDisc standardDisc() {
    return makeDisc({100'000, 150'000}, {{0, 0, 0},
                                         {2'000, 0, 1},
                                         {60'000, 1, 1},
                                         {80'000, 1, 2},
                                         {90'000, 1, 3},
                                         {100'000, 2, 0},
                                         {103'000, 2, 1},
                                         {180'000, 3, 1}});
}

/// Everything the player reports, as text, in order.
struct Recorder {
    explicit Recorder(AudioDiscPlayer& player) {
        player.onPlayerStateChanged = [this](State state) {
            events.push_back("state " + std::to_string(static_cast<int>(state)));
        };
        player.onCurrentTrackIndexChanged = [this](std::optional<long> track) {
            events.push_back("track " + (track ? std::to_string(*track) : std::string("-")));
        };
        player.onCurrentChapterChanged = [this](std::optional<long> chapter) {
            events.push_back("chapter " + (chapter ? std::to_string(*chapter) : std::string("-")));
        };
        player.onPositionsChanged = [this](bool seeking, bool inPlayer, double, std::int64_t frame,
                                           std::int64_t, std::int64_t, std::int64_t, std::int64_t) {
            events.push_back(std::string(seeking ? "seek " : "positions ") + (inPlayer ? "" : "empty ") +
                             std::to_string(frame));
        };
        player.onRepeatModeChanged = [this](RepeatMode mode) {
            events.push_back("repeat " + std::string(AudioDiscPlayer::rawValue(mode)));
        };
        player.onShuffleChanged = [this](bool on) { events.push_back(on ? "shuffle on" : "shuffle off"); };
        player.onPlaybackMainTimecodeModeChanged = [this](TimecodeMode mode) {
            events.push_back("mode " + std::to_string(static_cast<int>(mode)));
        };
        player.onNewDiscInserted = [this](const std::optional<AudioDisc>& disc) {
            events.push_back(disc ? "inserted" : "ejected");
        };
        player.onPlaybackSequenceChanged = [this] { events.push_back("sequence"); };
    }
    [[nodiscard]] long count(const std::string& event) const {
        return std::count(events.begin(), events.end(), event);
    }
    std::vector<std::string> events;
};

class PlayerTest : public ::testing::Test {
protected:
    void insert(AudioDisc disc = standardDisc()) {
        h.player->insertDisc(std::move(disc));
        h.pump();
    }
    AudioDiscPlayer& player() { return *h.player; }
    PlayerHarness h;
};

// MARK: - Types and construction

TEST(PlayerTypesTest, RepeatModesRoundTripThroughTheirPersistedText) {
    EXPECT_EQ(AudioDiscPlayer::rawValue(RepeatMode::none), "None");
    EXPECT_EQ(AudioDiscPlayer::rawValue(RepeatMode::track), "Current Track");
    EXPECT_EQ(AudioDiscPlayer::rawValue(RepeatMode::disc), "Entire Disc");
    for (RepeatMode mode : {RepeatMode::none, RepeatMode::track, RepeatMode::disc})
        EXPECT_EQ(AudioDiscPlayer::repeatMode(AudioDiscPlayer::rawValue(mode)), mode);
    EXPECT_EQ(AudioDiscPlayer::repeatMode("entire disc"), std::nullopt);
    EXPECT_EQ(description(AudioDiscPlayerError::noError), "No Error");
    EXPECT_EQ(description(AudioDiscPlayerError::dummy), "Dummy");
}

TEST(PlayerTypesTest, ConstructionReadsThePersistedRepeatModeAndStartsEmpty) {
    PlayerHarness fresh;
    EXPECT_EQ(fresh.player->repeatMode(), RepeatMode::none);

    auto defaults = std::make_shared<InMemoryUserDefaults>();
    defaults->setString("selectedRepeatMode", "Entire Disc");
    auto player = AudioDiscPlayer::create(
        {fresh.engine, fresh.populate, fresh.scheduler, fresh.mainThread, defaults, {}});
    EXPECT_EQ(player->repeatMode(), RepeatMode::disc);
    EXPECT_EQ(player->state(), State::stopped);
    EXPECT_EQ(player->disc(), nullptr);
    EXPECT_EQ(player->currentTrackIndex(), std::nullopt);
    EXPECT_EQ(player->currentChapter(), std::nullopt);
    EXPECT_TRUE(player->playbackSequence().empty());
    EXPECT_FLOAT_EQ(player->volumeBeforeMute(), 1.0F);
    EXPECT_FALSE(player->shuffle() || player->newBeatMode() || player->amplifierIsActive() ||
                 player->rateControlsAreActive());

    defaults->setString("selectedRepeatMode", "Sometimes");
    auto unknown = AudioDiscPlayer::create(
        {fresh.engine, fresh.populate, fresh.scheduler, fresh.mainThread, defaults, {}});
    EXPECT_EQ(unknown->repeatMode(), RepeatMode::none);
}

// MARK: - Insert, load, eject

TEST_F(PlayerTest, InsertStopsAtTheFirstTrackIndex01AndReportsInOrder) {
    h.defaults->setString("selectedRepeatMode", "Current Track");
    Recorder recorder(player());
    insert();

    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_EQ(player().discFramePosition(), 2'000);
    EXPECT_EQ(player().currentCueIndex(), 1);
    EXPECT_EQ(player().currentTrackIndex(), 0);
    EXPECT_EQ(player().currentChapter(), std::nullopt);
    EXPECT_EQ(player().repeatMode(), RepeatMode::track);
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(player().positions().discPlaybackFramePosition, 0);
    EXPECT_FALSE(h.node().playing);
    EXPECT_TRUE(h.node().scheduled.empty());
    EXPECT_EQ(player().dequeCount(), 0);

    EXPECT_THAT(recorder.events, ElementsAre("mode 0", "state 0", "repeat Current Track", "shuffle off",
                                             "mode 0", "positions 2000", "track 0", "chapter -", "sequence",
                                             "track 0", "positions 2000", "inserted"));
}

TEST_F(PlayerTest, InsertClearsTheLastFrameFlagAndShuffle) {
    insert();
    player().setRepeatMode(RepeatMode::disc);
    player().toggleShuffle();
    ASSERT_TRUE(player().shuffle());
    insert();
    EXPECT_FALSE(player().shuffle());
    EXPECT_EQ(player().repeatMode(), RepeatMode::none) << "the persisted mode, not the one set";
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3));
}

TEST_F(PlayerTest, LoadConnectsTheGraphInTheProcessingFormatAndStartsTheEngine) {
    player().load(standardDisc(), false);
    h.pump();
    ASSERT_TRUE(h.engine->connectedFormat);
    EXPECT_EQ(h.engine->connectedFormat->sampleRate, 44100);
    EXPECT_EQ(h.engine->connectedFormat->channelsPerFrame, 2);
    EXPECT_TRUE(h.engine->connectedFormat->isProcessingFormat());
    EXPECT_TRUE(h.engine->running);
    EXPECT_EQ(player().state(), State::stopped);

    player().load(standardDisc(), true);
    h.pump();
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().discFramePosition(), 2'000);
}

TEST_F(PlayerTest, AnEngineThatCannotStartReachesTheCaller) {
    h.engine->failStart = true;
    EXPECT_THROW(player().load(standardDisc(), true), AudioEngineError);
    EXPECT_EQ(player().state(), State::stopped);
}

TEST_F(PlayerTest, StopEjectStopsWhilePlayingThenEjects) {
    player().load(standardDisc(), true);
    h.consume(3);
    ASSERT_EQ(player().state(), State::playing);

    player().stopEject();
    h.pump();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_NE(player().disc(), nullptr);
    EXPECT_EQ(player().discFramePosition(), 2'000);
    EXPECT_TRUE(h.node().scheduled.empty()) << "a stop does not read ahead";

    Recorder recorder(player());
    player().stopEject();
    h.pump();
    EXPECT_EQ(player().disc(), nullptr);
    EXPECT_FALSE(h.engine->running);
    EXPECT_EQ(player().currentTrackIndex(), std::nullopt);
    EXPECT_TRUE(player().playbackSequence().empty());
    EXPECT_EQ(recorder.count("positions empty 0"), 1);
    EXPECT_EQ(recorder.events.back(), "ejected");

    // Without a disc every operation is a no-op.
    player().play();
    player().nextTrack();
    player().previousTrack();
    player().nextChapter();
    player().previousChapter();
    player().toggleShuffle();
    player().seekToFrame(10, true);
    h.pump();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_FALSE(player().shuffle());
}

// MARK: - Transport

TEST_F(PlayerTest, PlayPauseCyclesAndPausingResetsTheMetersOnTheSchedulerQueue) {
    insert(makeDisc({100'000, 150'000}, {{0, 0, 0}, {2'000, 0, 1}, {60'000, 1, 1}}, 0, nullptr,
                    [](int, std::int64_t) { return 0.5F; }));
    player().setAmplifierIsActive(true);
    Recorder recorder(player());
    player().playPause();
    h.consume(4);
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_TRUE(h.node().playing);
    EXPECT_EQ(player().discFramePosition(), 2'000 + 4 * 882);
    EXPECT_GT(player().amplifier().discreteLeftChannelAudioLevel(), 0.0);

    player().playPause();
    EXPECT_EQ(player().state(), State::paused);
    EXPECT_FALSE(h.node().playing);
    EXPECT_EQ(h.scheduler->pending.size(), 1U) << "the level reset waits behind scheduling";
    h.pump();
    EXPECT_EQ(player().amplifier().discreteLeftChannelAudioLevel(), 0.0);
    EXPECT_EQ(player().amplifier().uiLeftChannelAudioLevel(), 0.0);

    player().play();
    EXPECT_EQ(player().state(), State::playing) << "play resumes a pause";
    EXPECT_TRUE(h.node().playing);
    const int stops = h.node().stopCount;
    player().play();
    EXPECT_EQ(h.node().stopCount, stops) << "play while playing does nothing";
    EXPECT_EQ(recorder.count("state 2"), 1);
    EXPECT_EQ(recorder.count("state 1"), 2);
}

TEST_F(PlayerTest, SeeksClampOutOfRangeFramesToZero) {
    insert();
    for (std::int64_t frame : {std::int64_t{-1}, total, total + 5}) {
        player().seekToFrame(frame, false);
        h.pump();
        EXPECT_EQ(player().discFramePosition(), 0) << frame;
        EXPECT_EQ(player().currentCueIndex(), 0);
    }
    player().seekToFrame(total - 1, false);
    EXPECT_EQ(player().discFramePosition(), total - 1);
    EXPECT_EQ(player().currentCueIndex(), 7);
}

TEST_F(PlayerTest, SeekFromStoppedPlaysWhilePausedKeepsThePauseUnlessForced) {
    insert();
    Recorder recorder(player());
    player().seekToFrame(85'000, false);
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_THAT(std::vector<std::string>(recorder.events.begin(), recorder.events.begin() + 5),
                ElementsAre("track 1", "positions 85000", "seek 85000", "chapter 2", "track 1"));
    EXPECT_EQ(player().currentCueIndex(), 3);
    EXPECT_EQ(player().currentChapter(), 2);

    player().playPause();
    player().seekToFrame(120'000, false);
    h.pump();
    EXPECT_EQ(player().state(), State::paused);
    EXPECT_FALSE(h.node().playing);
    EXPECT_EQ(h.node().scheduled.size(), 148U) << "the read-ahead restarts while paused, up to the end";
    EXPECT_EQ(h.node().scheduled.front().buffer->channelData(0)[0], frameSample(120'000));

    player().seekToFrame(130'000, true);
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_TRUE(h.node().playing);
}

TEST_F(PlayerTest, PositionsCountNegativeInsidePregapsAndCountDownAfterIndex01) {
    insert();
    player().seekToFrame(0, false);
    auto p = player().positions();
    EXPECT_TRUE(p.discInPlayer);
    EXPECT_EQ(p.discPlaybackFramePosition, -2'000);
    EXPECT_EQ(p.discPlaybackCountdownFramePosition, -2'000 - 248'000);
    EXPECT_EQ(p.currentTrackFramePosition, -2'000);
    EXPECT_EQ(p.currentTrackCountdownFramePosition, 0) << "pregap: track position plus pregap length";
    EXPECT_DOUBLE_EQ(p.normalizedDiscPosition, 0.0);

    player().seekToFrame(101'000, false);
    p = player().positions();
    EXPECT_EQ(player().currentTrackIndex(), 2);
    EXPECT_EQ(player().currentChapter(), 0);
    EXPECT_EQ(p.currentTrackFramePosition, -2'000);
    EXPECT_EQ(p.currentTrackCountdownFramePosition, 1'000);

    player().seekToFrame(150'000, false);
    p = player().positions();
    EXPECT_EQ(p.currentTrackFramePosition, 47'000);
    EXPECT_EQ(p.currentTrackCountdownFramePosition, 47'000 - 77'000);
    EXPECT_EQ(p.discPlaybackFramePosition, 148'000);
    EXPECT_EQ(p.discPlaybackCountdownFramePosition, 148'000 - 248'000);
    EXPECT_DOUBLE_EQ(p.normalizedDiscPosition, 150'000.0 / 250'000.0);
}

TEST_F(PlayerTest, TimecodeModeChangesRedrawPositionsOnlyWhenNotStopped) {
    insert();
    Recorder recorder(player());
    player().setPlaybackTimecodeMode(TimecodeMode::discRemainingTime);
    EXPECT_THAT(recorder.events, ElementsAre("mode 3"));
    EXPECT_EQ(player().playbackTimecodeMode(), TimecodeMode::discRemainingTime);

    player().play();
    recorder.events.clear();
    player().setPlaybackTimecodeMode(TimecodeMode::trackRemainingTime);
    EXPECT_THAT(recorder.events, ElementsAre("mode 1", "positions 2000"));

    player().stopEject();
    EXPECT_EQ(player().playbackTimecodeMode(), TimecodeMode::trackElapsedTime) << "a stop resets the mode";
}

// MARK: - Navigation

TEST_F(PlayerTest, GoToTrackFindsTheCueBearingTheChapter) {
    insert();
    player().goToTrack(1, 3, false);
    EXPECT_EQ(player().discFramePosition(), 90'000);
    player().goToTrack(2, 0, false);
    EXPECT_EQ(player().discFramePosition(), 100'000);
    player().goToTrack(3, 2, false);
    player().goToTrack(4, 1, false);
    player().goToTrack(-1, 1, false);
    EXPECT_EQ(player().discFramePosition(), 100'000) << "missing chapters and tracks do nothing";
}

TEST_F(PlayerTest, SequenceIndicesEndAtTheLastEntryButStayAtTheFirst) {
    insert();
    EXPECT_EQ(player().nextSequenceIndex(1), 2);
    EXPECT_EQ(player().nextSequenceIndex(3), std::nullopt);
    EXPECT_EQ(player().previousSequenceIndex(2), 1);
    EXPECT_EQ(player().previousSequenceIndex(0), 0);
    EXPECT_EQ(player().nextSequenceIndex(4), std::nullopt);
    EXPECT_EQ(player().previousSequenceIndex(-1), std::nullopt);

    player().setRepeatMode(RepeatMode::disc);
    EXPECT_EQ(player().nextSequenceIndex(3), 0);
    EXPECT_EQ(player().previousSequenceIndex(0), 3);

    player().setRepeatMode(RepeatMode::track);
    EXPECT_EQ(player().nextSequenceIndex(1), 1);
    EXPECT_EQ(player().previousSequenceIndex(1), 1);
}

TEST_F(PlayerTest, NextTrackStartsFromStoppedAndHonoursRepeatAtTheLastEntry) {
    insert();
    player().nextTrack();
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().discFramePosition(), 2'000) << "from stopped: the first entry";
    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 60'000);
    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 103'000) << "lands on INDEX 01, never on a pregap";
    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 180'000);

    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 180'000) << "repeat none ends at the last entry";

    player().setRepeatMode(RepeatMode::track);
    player().seekToFrame(200'000, false);
    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 180'000) << "repeat track restarts the track";

    player().setRepeatMode(RepeatMode::disc);
    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 2'000) << "repeat disc wraps to the first entry";
    EXPECT_EQ(player().currentPlaybackSequenceIndex(), 0);
}

TEST_F(PlayerTest, PreviousTrackRestartsFromTheGoldenRatioInSeconds) {
    insert();
    player().previousTrack();
    EXPECT_EQ(player().state(), State::playing) << "from stopped: plays the current entry";
    EXPECT_EQ(player().discFramePosition(), 2'000);

    const std::int64_t threshold = player().restartThresholdFrames();
    EXPECT_EQ(threshold, 71'355) << "44100 x 1.618033988749895, truncated";

    player().seekToFrame(103'000 + threshold, false);
    player().previousTrack();
    EXPECT_EQ(player().discFramePosition(), 103'000);

    player().seekToFrame(103'000 + threshold - 1, false);
    player().previousTrack();
    EXPECT_EQ(player().discFramePosition(), 60'000);

    player().seekToFrame(101'000, false);
    player().previousTrack();
    EXPECT_EQ(player().discFramePosition(), 60'000) << "inside a pregap the position is negative";

    player().seekToFrame(5'000, false);
    player().previousTrack();
    EXPECT_EQ(player().discFramePosition(), 2'000) << "at the first entry with repeat none: restart";

    player().setRepeatMode(RepeatMode::disc);
    player().seekToFrame(5'000, false);
    player().previousTrack();
    EXPECT_EQ(player().discFramePosition(), 180'000) << "repeat disc wraps to the last entry";
}

TEST_F(PlayerTest, ChapterNavigationStaysInsideTheTrack) {
    insert();
    player().goToTrack(1, 1, false);
    player().previousChapter();
    EXPECT_EQ(player().discFramePosition(), 60'000) << "no pregap before chapter 1: nothing";
    player().nextChapter();
    EXPECT_EQ(player().discFramePosition(), 80'000);
    player().nextChapter();
    EXPECT_EQ(player().discFramePosition(), 90'000);
    player().nextChapter();
    EXPECT_EQ(player().discFramePosition(), 90'000) << "the last chapter has no next";
    player().previousChapter();
    EXPECT_EQ(player().discFramePosition(), 80'000);

    player().goToTrack(2, 1, false);
    player().previousChapter();
    EXPECT_EQ(player().discFramePosition(), 100'000) << "chapter 0 is the pregap";
    player().previousChapter();
    EXPECT_EQ(player().discFramePosition(), 100'000);
    player().nextChapter();
    EXPECT_EQ(player().discFramePosition(), 103'000);
    player().nextChapter();
    EXPECT_EQ(player().discFramePosition(), 103'000);
}

// MARK: - Playing across boundaries

TEST_F(PlayerTest, ConsumedBuffersAdvanceCueTrackAndChapterAcrossBoundaries) {
    insert();
    player().seekToFrame(60'000 - 3 * 882, false);
    Recorder recorder(player());
    h.consume(3);
    EXPECT_EQ(player().discFramePosition(), 60'000);
    EXPECT_EQ(player().currentCueIndex(), 2);
    EXPECT_EQ(player().currentTrackIndex(), 1);
    EXPECT_EQ(player().currentChapter(), 1);
    EXPECT_EQ(player().currentPlaybackSequenceIndex(), 1);
    EXPECT_THAT(recorder.events, ElementsAre("positions 58236", "positions 59118", "positions 60000",
                                             "track 1", "chapter 1", "track 1"));

    // A cue boundary inside the same track moves only the chapter.
    player().seekToFrame(80'000 - 100, false);
    h.consume(1);
    EXPECT_EQ(player().currentCueIndex(), 3);
    EXPECT_EQ(player().currentChapter(), 2);
    EXPECT_EQ(player().currentTrackIndex(), 1);
}

TEST_F(PlayerTest, RepeatTrackReturnsToIndex01AtTheTrackBoundary) {
    insert();
    player().setRepeatMode(RepeatMode::track);
    player().seekToFrame(100'000 - 882, false);
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 60'000) << "back to the start of track 2";
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().currentCueIndex(), 2);
    EXPECT_EQ(h.node().scheduled.front().buffer->channelData(0)[0], frameSample(60'000));
}

// MARK: - End of disc

class EndOfDiscTest : public PlayerTest {
protected:
    void playToTheEnd() {
        player().seekToFrame(total - 2'000, false);
        h.consume(10);
    }
};

TEST_F(EndOfDiscTest, WithoutRepeatTheDiscStopsAtTheStart) {
    insert();
    Recorder recorder(player());
    playToTheEnd();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_EQ(player().discFramePosition(), 2'000);
    EXPECT_TRUE(h.node().scheduled.empty());
    EXPECT_EQ(recorder.events.back(), "state 0");
    EXPECT_FALSE(player().hasReachedEndOfPlaylist()) << "stored only, never driven";
}

TEST_F(EndOfDiscTest, RepeatDiscStartsOverAndRepeatTrackReplaysTheLastTrack) {
    insert();
    player().setRepeatMode(RepeatMode::disc);
    playToTheEnd();
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().discFramePosition(), 2'000 + 7 * 882) << "restarted at INDEX 01 and kept playing";

    player().setRepeatMode(RepeatMode::track);
    playToTheEnd();
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().currentTrackIndex(), 3);
    EXPECT_EQ(player().discFramePosition(), 180'000 + 7 * 882);
}

TEST_F(EndOfDiscTest, TheLastFrameConsumedWhilePausedStopsEveryLaterResume) {
    insert();
    player().seekToFrame(total - 2 * 882, false);
    h.pump();
    ASSERT_EQ(h.node().scheduled.size(), 2U);
    h.node().consumeOne();
    h.pump();
    player().playPause();
    // The engine reports the last buffer just after the pause.
    h.node().consumeOne();
    h.pump();
    EXPECT_TRUE(player().lastFrameReachedWhilePaused());
    EXPECT_EQ(player().state(), State::paused);
    EXPECT_EQ(player().discFramePosition(), total);

    player().playPause();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_EQ(player().discFramePosition(), 2'000);

    // The flag stays until the next insert: a later pause and resume stops again.
    player().play();
    h.consume(2);
    player().playPause();
    player().playPause();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_TRUE(player().lastFrameReachedWhilePaused());

    insert();
    EXPECT_FALSE(player().lastFrameReachedWhilePaused());
    player().play();
    player().playPause();
    player().playPause();
    EXPECT_EQ(player().state(), State::playing);
}

// MARK: - Shuffle

struct RecordingRandom {
    std::vector<std::pair<std::size_t, std::size_t>> calls;
    std::function<std::size_t(std::size_t, std::size_t)> pick;
};

class ShuffleTest : public ::testing::Test {
protected:
    ShuffleTest()
        : random(std::make_shared<RecordingRandom>())
        , h([random = random](std::size_t first, std::size_t last) {
            random->calls.emplace_back(first, last);
            return random->pick ? random->pick(first, last) : last;
        }) {
        h.player->insertDisc(standardDisc());
        h.pump();
    }
    AudioDiscPlayer& player() { return *h.player; }
    std::shared_ptr<RecordingRandom> random;
    PlayerHarness h;
};

TEST_F(ShuffleTest, FisherYatesDrawsFromEachPositionToTheEnd) {
    player().toggleShuffle();
    EXPECT_TRUE(player().shuffle());
    EXPECT_THAT(random->calls, ElementsAre(std::pair<std::size_t, std::size_t>{0, 3},
                                           std::pair<std::size_t, std::size_t>{1, 3},
                                           std::pair<std::size_t, std::size_t>{2, 3}));
    EXPECT_THAT(player().playbackSequence(), ElementsAre(3, 0, 1, 2));

    player().toggleShuffle();
    EXPECT_FALSE(player().shuffle());
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3)) << "turning off sorts";
    EXPECT_EQ(random->calls.size(), 3U) << "sorting draws nothing";
}

TEST_F(ShuffleTest, IdentityDrawsKeepTheOrderAndStoppedStaysStopped) {
    random->pick = [](std::size_t first, std::size_t) { return first; };
    Recorder recorder(player());
    player().toggleShuffle();
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_EQ(player().discFramePosition(), 2'000);
    EXPECT_EQ(recorder.count("state 0"), 1);
    EXPECT_EQ(recorder.count("shuffle on"), 1);
    EXPECT_EQ(recorder.count("sequence"), 1);
}

TEST_F(ShuffleTest, TogglingWhilePlayingJumpsToTheFirstEntryOfTheNewOrder) {
    player().seekToFrame(70'000, false);
    player().toggleShuffle();
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().discFramePosition(), 180'000);
    EXPECT_EQ(player().currentPlaybackSequenceIndex(), 0);
    EXPECT_EQ(player().currentTrackIndex(), 3);
}

TEST_F(ShuffleTest, TogglingWhilePausedRepositionsAndStaysPaused) {
    player().seekToFrame(70'000, false);
    player().playPause();
    Recorder recorder(player());
    player().toggleShuffle();
    h.pump();
    EXPECT_EQ(player().state(), State::paused);
    EXPECT_EQ(player().discFramePosition(), 180'000);
    EXPECT_EQ(recorder.count("state 0"), 0) << "a pause is never reported as a stop";
    EXPECT_EQ(recorder.events.back(), "state 2");
    ASSERT_FALSE(h.node().scheduled.empty());
    player().playPause();
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 180'000 + 882);
}

TEST_F(ShuffleTest, ShuffledPlaybackFollowsTheSequenceAndEndsAfterItsLastEntry) {
    player().toggleShuffle(); // 3, 0, 1, 2
    player().play();
    EXPECT_EQ(player().discFramePosition(), 180'000);
    player().goToTrack(0, 1, false);
    ASSERT_EQ(player().currentPlaybackSequenceIndex(), 1);

    player().seekToFrame(60'000 - 882, false);
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 60'000) << "the next entry is track 2";
    EXPECT_EQ(player().currentPlaybackSequenceIndex(), 2);

    player().seekToFrame(100'000 - 882, false);
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 103'000) << "track 3 at INDEX 01, skipping its pregap";
    EXPECT_EQ(player().currentPlaybackSequenceIndex(), 3);

    player().seekToFrame(180'000 - 882, false);
    h.consume(1);
    EXPECT_EQ(player().state(), State::stopped) << "the last entry ended with repeat none";
    EXPECT_EQ(player().discFramePosition(), 180'000);
}

TEST_F(ShuffleTest, ShuffledRepeatDiscGoesBackToTheFirstEntryWithoutReshuffling) {
    player().toggleShuffle();
    player().setRepeatMode(RepeatMode::disc);
    player().play();
    player().goToTrack(2, 1, false);
    player().seekToFrame(180'000 - 882, false);
    h.consume(1);
    EXPECT_EQ(player().state(), State::playing);
    EXPECT_EQ(player().discFramePosition(), 180'000);
    EXPECT_EQ(random->calls.size(), 3U);

    // At the end of the disc, the entry after track 4 (the first) is track 1.
    player().seekToFrame(total - 882, false);
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 2'000);
}

TEST(ShuffleDefaultSourceTest, ShufflesIntoAPermutation) {
    PlayerHarness h;
    std::vector<CueSpec> cues;
    for (long track = 0; track < 20; ++track)
        cues.push_back({track * 1'000, track, 1});
    h.player->insertDisc(makeDisc({20'000}, cues));
    h.player->toggleShuffle();
    auto sequence = h.player->playbackSequence();
    std::sort(sequence.begin(), sequence.end());
    std::vector<long> expected(20);
    std::iota(expected.begin(), expected.end(), 0L);
    EXPECT_EQ(sequence, expected);
}

// MARK: - Lifetime

TEST(PlayerLifetimeTest, QueuedWorkAndCompletionsOutliveThePlayerHarmlessly) {
    PlayerHarness h;
    h.player->insertDisc(standardDisc());
    h.player->play();
    h.populate->drain();
    h.scheduler->drain();
    ASSERT_FALSE(h.node().scheduled.empty());
    h.player->fill();
    h.player->schedule();
    std::weak_ptr<AudioDiscPlayer> weak = h.player;
    h.player.reset();
    EXPECT_TRUE(weak.expired());
    h.pump();
    while (h.node().consumeOne()) {
    }
    h.pump();
    EXPECT_TRUE(h.node().scheduled.empty());
}

} // namespace
} // namespace lorvan::test

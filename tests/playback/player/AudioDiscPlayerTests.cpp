// The player's state machine, transport, navigation, repeat, shuffle and positions, on a
// node whose buffers the test consumes by hand.

#include "PlayerTestSupport.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
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
        const auto text = [](std::optional<long> index) { return index ? std::to_string(*index) : "-"; };
        player.onPlayerStateChanged = [this](State state) { add("state ", static_cast<int>(state)); };
        player.onCurrentTrackIndexChanged = [=, this](std::optional<long> track) {
            add("track ", text(track));
        };
        player.onCurrentChapterChanged = [=, this](std::optional<long> chapter) {
            add("chapter ", text(chapter));
        };
        player.onPositionsChanged = [this](bool seeking, bool inPlayer, double, std::int64_t frame, auto...) {
            add(std::string(seeking ? "seek " : "positions ") + (inPlayer ? "" : "empty "), frame);
        };
        player.onRepeatModeChanged = [this](RepeatMode mode) {
            add("repeat ", std::string(AudioDiscPlayer::rawValue(mode)));
        };
        player.onShuffleChanged = [this](bool on) { add("shuffle ", on ? "on" : "off"); };
        player.onPlaybackMainTimecodeModeChanged = [this](TimecodeMode mode) {
            add("mode ", static_cast<int>(mode));
        };
        player.onNewDiscInserted = [this](const std::optional<AudioDisc>& disc) {
            events.emplace_back(disc ? "inserted" : "ejected");
        };
        player.onPlaybackSequenceChanged = [this] { events.emplace_back("sequence"); };
    }
    void add(const std::string& name, const std::string& value) { events.push_back(name + value); }
    void add(const std::string& name, std::int64_t value) { add(name, std::to_string(value)); }
    [[nodiscard]] long count(const std::string& event) const { return std::ranges::count(events, event); }
    std::vector<std::string> events;
};

class PlayerTest : public ::testing::Test {
protected:
    void insert(AudioDisc disc = standardDisc()) { h.insert(std::move(disc)); }
    AudioDiscPlayer& player() { return *h.player; }
    /// Every shuffling draw, each of which takes the last index: 0, 1, 2, 3 shuffles to 3, 0, 1, 2.
    std::vector<std::pair<std::size_t, std::size_t>> draws;
    PlayerHarness h{[this](std::size_t first, std::size_t last) {
        draws.emplace_back(first, last);
        return last;
    }};
};

// MARK: - Construction, insert, load, eject

TEST_F(PlayerTest, StartsEmptyWithTheRepeatModeReadFromItsPersistedText) {
    EXPECT_EQ(player().repeatMode(), RepeatMode::none) << "nothing persisted";
    EXPECT_EQ(player().disc(), nullptr);
    EXPECT_EQ(player().currentTrackIndex(), std::nullopt);
    EXPECT_TRUE(player().playbackSequence().empty());

    const std::vector<std::pair<std::string, RepeatMode>> persisted{{"None", RepeatMode::none},
                                                                    {"Current Track", RepeatMode::track},
                                                                    {"Entire Disc", RepeatMode::disc},
                                                                    {"entire disc", RepeatMode::none},
                                                                    {"Sometimes", RepeatMode::none}};
    for (const auto& [text, mode] : persisted) {
        SCOPED_TRACE(text);
        auto defaults = std::make_shared<InMemoryUserDefaults>();
        defaults->setString("selectedRepeatMode", text);
        EXPECT_EQ(AudioDiscPlayer::create({h.engine, h.populate, h.scheduler, h.mainThread, defaults, {}})
                      ->repeatMode(),
                  mode);
    }
    for (RepeatMode mode : {RepeatMode::none, RepeatMode::track, RepeatMode::disc})
        EXPECT_EQ(AudioDiscPlayer::repeatMode(AudioDiscPlayer::rawValue(mode)), mode);
}

TEST_F(PlayerTest, InsertStopsAtTheFirstTrackIndex01ReportsInOrderAndForgetsThePreviousModes) {
    h.defaults->setString("selectedRepeatMode", "Current Track");
    Recorder recorder(player());
    insert();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_EQ(player().discFramePosition(), 2'000);
    EXPECT_EQ(player().currentCueIndex(), 1);
    EXPECT_EQ(player().positions().discPlaybackFramePosition, 0);
    EXPECT_FALSE(h.node().playing);
    EXPECT_TRUE(h.node().scheduled.empty());
    EXPECT_EQ(player().dequeCount(), 0);
    EXPECT_THAT(recorder.events, ElementsAre("mode 0", "state 0", "repeat Current Track", "shuffle off",
                                             "mode 0", "positions 2000", "track 0", "chapter -", "sequence",
                                             "track 0", "positions 2000", "inserted"));

    player().setRepeatMode(RepeatMode::disc);
    player().toggleShuffle();
    ASSERT_TRUE(player().shuffle());
    insert();
    EXPECT_FALSE(player().shuffle());
    EXPECT_EQ(player().repeatMode(), RepeatMode::track) << "the persisted mode, not the one set";
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

    // An engine that cannot start reaches the caller, and nothing plays.
    h.engine->failStart = true;
    EXPECT_THROW(player().load(standardDisc(), true), AudioEngineError);
    EXPECT_EQ(player().state(), State::stopped);
}

TEST_F(PlayerTest, OpeningACueSheetLoadsItsDiscAndAFailureKeepsTheDiscInPlace) {
    TemporaryDirectory directory;
    const std::vector<std::int32_t> samples(2 * 588 * 40, 0);
    platform::writeAudioFile(directory.path() / "disc.wav", platform::AudioFileEncoding::wave, 44100, 2, 16,
                             samples);
    const auto sheet =
        directory.write("disc.cue", "FILE \"disc.wav\" WAVE\n"
                                    "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                                    "  TRACK 02 AUDIO\n    INDEX 00 00:00:10\n    INDEX 01 00:00:20\n");
    const AudioDiscServices services = platform::audioDiscServices();
    player().openCueSheet(Url::fileURL(sheet), false, services);
    ASSERT_NE(player().disc(), nullptr);
    EXPECT_EQ(player().disc()->tracks.size(), 2U);
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_TRUE(h.engine->running);

    player().nextTrack();
    player().nextTrack();
    EXPECT_EQ(player().discFramePosition(), 20 * 588) << "track 2 at INDEX 01";

    const auto disc = player().disc();
    EXPECT_ANY_THROW(player().openCueSheet(Url::fileURL(directory.path() / "missing.cue"), true, services));
    EXPECT_EQ(player().disc(), disc);
    EXPECT_EQ(player().state(), State::playing);
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

// MARK: - Transport and positions

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

TEST_F(PlayerTest, TrackAndChapterNavigationFromEachPlaceUnderEachRepeatMode) {
    using Action = std::function<void(AudioDiscPlayer&)>;
    const Action next = [](AudioDiscPlayer& p) { p.nextTrack(); };
    const Action previous = [](AudioDiscPlayer& p) { p.previousTrack(); };
    const Action nextChapter = [](AudioDiscPlayer& p) { p.nextChapter(); };
    const Action previousChapter = [](AudioDiscPlayer& p) { p.previousChapter(); };
    const auto goTo = [](long track, long chapter) -> Action {
        return [=](AudioDiscPlayer& p) { p.goToTrack(track, chapter, false); };
    };
    constexpr std::int64_t stopped = -1;
    constexpr std::int64_t threshold = 71'355; // 44100 × the golden ratio in seconds, truncated
    struct Row {
        RepeatMode repeat;
        std::int64_t from;
        Action action;
        std::int64_t expected;
        const char* why;
    };
    const std::vector<Row> table{
        {RepeatMode::none, stopped, next, 2'000, "from stopped: the first entry"},
        {RepeatMode::none, stopped, previous, 2'000, "from stopped: plays the current entry"},
        {RepeatMode::none, 5'000, next, 60'000, ""},
        {RepeatMode::none, 60'000, next, 103'000, "lands on INDEX 01, never on a pregap"},
        {RepeatMode::none, 103'000, next, 180'000, ""},
        {RepeatMode::none, 200'000, next, 200'000, "repeat none ends at the last entry"},
        {RepeatMode::track, 200'000, next, 180'000, "repeat track restarts the track"},
        {RepeatMode::disc, 200'000, next, 2'000, "repeat disc wraps to the first entry"},
        {RepeatMode::none, 103'000 + threshold, previous, 103'000, "from the threshold on: restart"},
        {RepeatMode::none, 103'000 + threshold - 1, previous, 60'000, "before it: the previous track"},
        {RepeatMode::none, 101'000, previous, 60'000, "inside a pregap the position is negative"},
        {RepeatMode::none, 5'000, previous, 2'000, "at the first entry with repeat none: restart"},
        {RepeatMode::disc, 5'000, previous, 180'000, "repeat disc wraps to the last entry"},
        {RepeatMode::track, 110'000, previous, 103'000, "repeat track never leaves the track"},
        {RepeatMode::none, 60'000, previousChapter, 60'000, "no pregap before chapter 1: nothing"},
        {RepeatMode::none, 60'000, nextChapter, 80'000, ""},
        {RepeatMode::none, 80'000, nextChapter, 90'000, ""},
        {RepeatMode::none, 90'000, nextChapter, 90'000, "the last chapter has no next"},
        {RepeatMode::none, 90'000, previousChapter, 80'000, ""},
        {RepeatMode::none, 103'000, previousChapter, 100'000, "chapter 0 is the pregap"},
        {RepeatMode::none, 100'000, previousChapter, 100'000, "nothing before the pregap"},
        {RepeatMode::none, 100'000, nextChapter, 103'000, ""},
        {RepeatMode::none, 103'000, nextChapter, 103'000, "chapter navigation stays inside the track"},
        {RepeatMode::none, 2'000, goTo(1, 3), 90'000, "the cue bearing the chapter"},
        {RepeatMode::none, 2'000, goTo(2, 0), 100'000, ""},
        {RepeatMode::none, 90'000, goTo(3, 2), 90'000, "a missing chapter does nothing"},
        {RepeatMode::none, 90'000, goTo(4, 1), 90'000, "a missing track does nothing"},
        {RepeatMode::none, 90'000, goTo(-1, 1), 90'000, ""},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(std::string(AudioDiscPlayer::rawValue(row.repeat)) + " from " +
                     std::to_string(row.from) + ": " + row.why);
        insert();
        player().setRepeatMode(row.repeat);
        if (row.from != stopped) player().seekToFrame(row.from, false);
        row.action(player());
        EXPECT_EQ(player().discFramePosition(), row.expected);
        EXPECT_EQ(player().state(), State::playing);
    }
    EXPECT_EQ(player().restartThresholdFrames(), threshold);
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

TEST_F(PlayerTest, TrackAndDiscEndsFollowRepeatAndTheShuffledSequence) {
    struct Row {
        bool shuffle; // 3, 0, 1, 2
        RepeatMode repeat;
        std::int64_t from;
        long buffers;
        State state;
        std::int64_t expected;
        const char* why;
    };
    const std::vector<Row> table{
        {false, RepeatMode::none, total - 2'000, 10, State::stopped, 2'000, "the disc stops at the start"},
        {false, RepeatMode::disc, total - 2'000, 10, State::playing, 2'000 + 7 * 882, "starts over"},
        {false, RepeatMode::track, total - 2'000, 10, State::playing, 180'000 + 7 * 882, "replays track 4"},
        {false, RepeatMode::track, 100'000 - 882, 1, State::playing, 60'000, "back to track 2's INDEX 01"},
        {true, RepeatMode::none, 60'000 - 882, 1, State::playing, 60'000, "track 1 is followed by track 2"},
        {true, RepeatMode::none, 100'000 - 882, 1, State::playing, 103'000, "track 3 skipping its pregap"},
        {true, RepeatMode::none, 180'000 - 882, 1, State::stopped, 180'000, "the last entry ends the disc"},
        {true, RepeatMode::disc, 180'000 - 882, 1, State::playing, 180'000, "back to the first entry"},
        {true, RepeatMode::disc, total - 882, 1, State::playing, 2'000, "track 4 is followed by track 1"},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(std::string(row.shuffle ? "shuffled, " : "") +
                     std::string(AudioDiscPlayer::rawValue(row.repeat)) + ": " + row.why);
        insert();
        player().setRepeatMode(row.repeat);
        if (row.shuffle) player().toggleShuffle();
        draws.clear();
        player().seekToFrame(row.from, false);
        h.consume(row.buffers);
        EXPECT_EQ(player().state(), row.state);
        EXPECT_EQ(player().discFramePosition(), row.expected);
        EXPECT_TRUE(draws.empty()) << "never shuffled again";
        EXPECT_FALSE(player().hasReachedEndOfPlaylist()) << "stored only, never driven";
        if (row.state == State::stopped)
            EXPECT_TRUE(h.node().scheduled.empty());
        else
            EXPECT_EQ(h.node().scheduled.front().buffer->channelData(0)[0], frameSample(row.expected));
    }
}

TEST_F(PlayerTest, TheLastFrameConsumedWhilePausedStopsEveryLaterResume) {
    insert();
    player().seekToFrame(total - 2 * 882, false);
    h.pump();
    ASSERT_EQ(h.node().scheduled.size(), 2U);
    h.consume(1);
    player().playPause();
    // The engine reports the last buffer just after the pause.
    h.consume(1);
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

TEST_F(PlayerTest, ShuffleDrawsFromEachPositionToTheEndAndTurningItOffSorts) {
    insert();
    player().toggleShuffle();
    EXPECT_TRUE(player().shuffle());
    using Draw = std::pair<std::size_t, std::size_t>;
    EXPECT_THAT(draws, ElementsAre(Draw{0, 3}, Draw{1, 3}, Draw{2, 3}));
    EXPECT_THAT(player().playbackSequence(), ElementsAre(3, 0, 1, 2));

    player().toggleShuffle();
    EXPECT_FALSE(player().shuffle());
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(draws.size(), 3U) << "sorting draws nothing";
}

TEST_F(PlayerTest, TogglingShuffleMovesToTheNewFirstEntryAndKeepsTheState) {
    Recorder recorder(player());
    for (const State before : {State::stopped, State::playing, State::paused}) {
        SCOPED_TRACE(static_cast<int>(before));
        insert();
        if (before != State::stopped) player().seekToFrame(70'000, false);
        if (before == State::paused) player().playPause();
        recorder.events.clear();
        player().toggleShuffle();
        h.pump();
        EXPECT_EQ(player().state(), before);
        EXPECT_EQ(player().discFramePosition(), 180'000);
        EXPECT_EQ(player().currentTrackIndex(), 3);
        EXPECT_EQ(player().currentPlaybackSequenceIndex(), 0);
        EXPECT_EQ(recorder.count("sequence"), 1);
        EXPECT_EQ(recorder.count("state 0"), before == State::stopped ? 1 : 0) << "a pause is never a stop";
        EXPECT_EQ(h.node().scheduled.empty(), before == State::stopped) << "read ahead unless stopped";
    }
    player().playPause();
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 180'000 + 882) << "the pause resumes at the new first entry";
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

// The player's state machine, transport, navigation, repeat, shuffle and positions, on a
// node whose buffers the test consumes by hand.

#include "PlayerTestSupport.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "support/TestSupport.hpp"

#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;
using RepeatMode = AudioDiscPlayer::RepeatMode;
using TimecodeMode = AudioDiscPlayer::PlaybackTimecodeMode;
using Action = std::function<void(AudioDiscPlayer&)>;
using ::testing::ElementsAre;

// Two files, four tracks. Track 1 has a pregap, track 2 three chapters and no pregap, track 3
// a pregap that starts exactly at the second file, track 4 a single index.
constexpr std::int64_t total = 250'000;
const std::vector<TestCue> standardCues{{0, 0, 0},      {2'000, 0, 1},   {60'000, 1, 1},  {80'000, 1, 2},
                                        {90'000, 1, 3}, {100'000, 2, 0}, {103'000, 2, 1}, {180'000, 3, 1}};
AudioDisc standardDisc() {
    return makeDisc({100'000, 150'000}, standardCues);
}

/// Everything the player reports, as text, in order.
struct Recorder {
    explicit Recorder(AudioDiscPlayer& player) {
        player.onPlayerStateChanged = [this](State state) { add("state ", static_cast<int>(state)); };
        player.onCurrentTrackIndexChanged = [this](auto track) { add("track ", text(track)); };
        player.onCurrentChapterChanged = [this](auto chapter) { add("chapter ", text(chapter)); };
        player.onPositionsChanged = [this](bool seeking, bool inPlayer, double, std::int64_t frame, auto...) {
            add(std::string(seeking ? "seek " : "positions ") + (inPlayer ? "" : "empty "), frame);
        };
        player.onRepeatModeChanged = [this](auto mode) { add("repeat ", AudioDiscPlayer::rawValue(mode)); };
        player.onShuffleChanged = [this](bool on) { add("shuffle ", on ? "on" : "off"); };
        player.onPlaybackMainTimecodeModeChanged = [this](auto mode) {
            add("mode ", static_cast<int>(mode));
        };
        player.onNewDiscInserted = [this](const auto& disc) { add(disc ? "inserted" : "ejected"); };
        player.onPlaybackSequenceChanged = [this] { add("sequence"); };
    }
    static std::string text(std::optional<long> index) { return index ? std::to_string(*index) : "-"; }
    void add(std::string_view name, std::string_view value = {}) {
        events.push_back(std::string(name) += value);
    }
    void add(std::string_view name, std::int64_t value) { add(name, std::to_string(value)); }
    [[nodiscard]] long count(const std::string& event) const { return std::ranges::count(events, event); }
    std::vector<std::string> events;
};

class PlayerTest : public ::testing::Test {
protected:
    void insert(AudioDisc disc = standardDisc()) { h.insert(std::move(disc)); }
    AudioDiscPlayer& player() { return *h.player; }
    /// The state and the frame, as in "playing 2000"; flags a node that disagrees with the state.
    std::string status() {
        static constexpr std::array names{"stopped", "playing", "paused"};
        const bool agree = (player().state() == State::playing) == h.node().playing;
        return std::string(names.at(static_cast<std::size_t>(player().state()))) +
               (agree ? " " : " (node differs) ") + std::to_string(player().discFramePosition());
    }
    /// Where on the disc the player is, as in "cue 2 track 1 chapter 1".
    std::string place() {
        return "cue " + std::to_string(player().currentCueIndex()) + " track " +
               Recorder::text(player().currentTrackIndex()) + " chapter " +
               Recorder::text(player().currentChapter());
    }
    /// Every shuffling draw, each of which takes the last index: 0, 1, 2, 3 shuffles to 3, 0, 1, 2.
    std::vector<std::pair<std::size_t, std::size_t>> draws;
    PlayerHarness h{[this](std::size_t first, std::size_t last) {
        draws.emplace_back(first, last);
        return last;
    }};
};

TEST_F(PlayerTest, StartsEmptyWithTheRepeatModeReadFromItsPersistedText) {
    EXPECT_EQ(player().repeatMode(), RepeatMode::none) << "nothing persisted";
    EXPECT_EQ(player().disc(), nullptr);
    using enum RepeatMode;
    for (const auto& [text, mode] : std::vector<std::pair<std::string, RepeatMode>>{{"None", none},
                                                                                    {"Current Track", track},
                                                                                    {"Entire Disc", disc},
                                                                                    {"entire disc", none},
                                                                                    {"Sometimes", none}}) {
        auto defaults = std::make_shared<InMemoryUserDefaults>();
        defaults->setString("selectedRepeatMode", text);
        const auto created =
            AudioDiscPlayer::create({h.engine, h.populate, h.scheduler, h.mainThread, defaults, nullptr});
        EXPECT_EQ(created->repeatMode(), mode) << text;
        EXPECT_EQ(AudioDiscPlayer::repeatMode(AudioDiscPlayer::rawValue(mode)), mode);
    }
}

TEST_F(PlayerTest, InsertStopsAtTheFirstTrackIndex01ReportsInOrderAndForgetsThePreviousModes) {
    h.defaults->setString("selectedRepeatMode", "Current Track");
    Recorder recorder(player());
    insert();
    EXPECT_EQ(status(), "stopped 2000");
    EXPECT_EQ(player().currentCueIndex(), 1);
    EXPECT_EQ(player().positions().discPlaybackFramePosition, 0);
    EXPECT_TRUE(h.node().scheduled.empty());
    EXPECT_EQ(player().dequeCount(), 0);
    EXPECT_THAT(recorder.events, ElementsAre("mode 0", "state 0", "repeat Current Track", "shuffle off",
                                             "mode 0", "positions 2000", "track 0", "chapter -", "sequence",
                                             "track 0", "positions 2000", "inserted"));

    player().setRepeatMode(RepeatMode::disc);
    player().toggleShuffle();
    insert();
    EXPECT_FALSE(player().shuffle());
    EXPECT_EQ(player().repeatMode(), RepeatMode::track) << "the persisted mode, not the one set";
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3));
}

TEST_F(PlayerTest, LoadingConnectsTheGraphStartsTheEngineAndAFailedOpenKeepsTheDiscInPlace) {
    TemporaryDirectory directory;
    platform::writeAudioFile(directory.path() / "disc.wav", platform::AudioFileEncoding::wave, 44100, 2, 16,
                             std::vector<std::int32_t>(2 * 588 * 40, 0));
    const auto sheet =
        directory.write("disc.cue", "FILE \"disc.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                                    "  TRACK 02 AUDIO\n    INDEX 00 00:00:10\n    INDEX 01 00:00:20\n");
    const AudioDiscServices services = platform::audioDiscServices();
    player().openCueSheet(Url::fileURL(sheet), false, services);
    ASSERT_NE(player().disc(), nullptr);
    EXPECT_EQ(player().disc()->tracks.size(), 2U);
    EXPECT_EQ(h.engine->connectedFormat, AudioFormat::processing(44100, 2));
    EXPECT_TRUE(h.engine->running);
    EXPECT_EQ(status(), "stopped 0");

    player().load(standardDisc(), true);
    EXPECT_EQ(status(), "playing 2000");
    const auto disc = player().disc();
    EXPECT_ANY_THROW(player().openCueSheet(Url::fileURL(directory.path() / "missing.cue"), false, services));
    EXPECT_EQ(player().disc(), disc);
    EXPECT_EQ(status(), "playing 2000");
}

TEST_F(PlayerTest, StopEjectStopsWhilePlayingThenEjects) {
    player().load(standardDisc(), true);
    h.consume(3);
    player().stopEject();
    h.pump();
    EXPECT_EQ(status(), "stopped 2000");
    EXPECT_NE(player().disc(), nullptr);
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
    for (const auto action :
         {&AudioDiscPlayer::play, &AudioDiscPlayer::nextTrack, &AudioDiscPlayer::previousTrack,
          &AudioDiscPlayer::nextChapter, &AudioDiscPlayer::previousChapter, &AudioDiscPlayer::toggleShuffle})
        (player().*action)();
    player().seekToFrame(10, true);
    h.pump();
    EXPECT_EQ(player().state(), State::stopped);
    EXPECT_FALSE(player().shuffle());
}

TEST_F(PlayerTest, PlayPauseCyclesAndPausingResetsTheMetersOnTheSchedulerQueue) {
    insert(makeDisc({100'000, 150'000}, {{0, 0, 0}, {2'000, 0, 1}, {60'000, 1, 1}}, 0, 0.5F));
    player().setAmplifierIsActive(true);
    Recorder recorder(player());
    player().playPause();
    h.consume(4);
    EXPECT_EQ(status(), "playing 5528");
    EXPECT_GT(player().amplifier().discreteLeftChannelAudioLevel(), 0.0);

    player().playPause();
    EXPECT_EQ(status(), "paused 5528");
    EXPECT_EQ(h.scheduler->pendingCount(), 1U) << "the level reset waits behind scheduling";
    h.pump();
    EXPECT_EQ(player().amplifier().discreteLeftChannelAudioLevel(), 0.0);
    EXPECT_EQ(player().amplifier().uiLeftChannelAudioLevel(), 0.0);

    player().play();
    EXPECT_EQ(status(), "playing 5528") << "play resumes a pause";
    const int stops = h.node().stopCount;
    player().play();
    EXPECT_EQ(h.node().stopCount, stops) << "play while playing does nothing";
    EXPECT_EQ(recorder.count("state 2"), 1);
    EXPECT_EQ(recorder.count("state 1"), 2);
}

TEST_F(PlayerTest, SeekFromStoppedPlaysWhilePausedKeepsThePauseUnlessForced) {
    insert();
    Recorder recorder(player());
    player().seekToFrame(85'000, false);
    EXPECT_EQ(status(), "playing 85000");
    EXPECT_EQ(place(), "cue 3 track 1 chapter 2");
    EXPECT_THAT(std::vector<std::string>(recorder.events.begin(), recorder.events.begin() + 5),
                ElementsAre("track 1", "positions 85000", "seek 85000", "chapter 2", "track 1"));

    player().playPause();
    player().seekToFrame(120'000, false);
    h.pump();
    EXPECT_EQ(status(), "paused 120000");
    EXPECT_EQ(h.node().scheduled.size(), 148U) << "the read-ahead restarts while paused, up to the end";
    EXPECT_EQ(h.node().scheduled.front().buffer->channelData(0)[0], frameSample(120'000));

    player().seekToFrame(130'000, true);
    EXPECT_EQ(status(), "playing 130000");
}

TEST_F(PlayerTest, PositionsCountNegativeInsidePregapsAndCountDownAfterIndex01AndSeeksOutOfRangeGoToZero) {
    insert();
    // {seek to, track, its countdown, disc, its countdown}: inside a pregap the track countdown
    // is the track position plus the pregap's length.
    for (const auto& [frame, track, trackLeft, disc, discLeft] :
         std::vector<std::array<std::int64_t, 5>>{{0, -2'000, 0, -2'000, -250'000},
                                                  {101'000, -2'000, 1'000, 99'000, -149'000},
                                                  {150'000, 47'000, -30'000, 148'000, -100'000},
                                                  {total - 1, 69'999, -1, 247'999, -1},
                                                  {-1, -2'000, 0, -2'000, -250'000},
                                                  {total, -2'000, 0, -2'000, -250'000}}) {
        SCOPED_TRACE(frame);
        player().seekToFrame(frame, false);
        const auto landed = frame < 0 || frame >= total ? 0 : frame;
        const auto p = player().positions();
        EXPECT_TRUE(p.discInPlayer);
        EXPECT_EQ(std::tuple(player().discFramePosition(), p.currentTrackFramePosition,
                             p.currentTrackCountdownFramePosition, p.discPlaybackFramePosition,
                             p.discPlaybackCountdownFramePosition),
                  std::tuple(landed, track, trackLeft, disc, discLeft));
        EXPECT_DOUBLE_EQ(p.normalizedDiscPosition, static_cast<double>(landed) / total);
    }
}

TEST_F(PlayerTest, TimecodeModeChangesRedrawPositionsOnlyWhenNotStopped) {
    insert();
    Recorder recorder(player());
    player().setPlaybackTimecodeMode(TimecodeMode::discRemainingTime);
    EXPECT_THAT(recorder.events, ElementsAre("mode 3"));

    player().play();
    recorder.events.clear();
    player().setPlaybackTimecodeMode(TimecodeMode::trackRemainingTime);
    EXPECT_THAT(recorder.events, ElementsAre("mode 1", "positions 2000"));

    player().stopEject();
    EXPECT_EQ(player().playbackTimecodeMode(), TimecodeMode::trackElapsedTime) << "a stop resets the mode";
}

TEST_F(PlayerTest, TrackAndChapterNavigationFromEachPlaceUnderEachRepeatMode) {
    const Action next = &AudioDiscPlayer::nextTrack, previous = &AudioDiscPlayer::previousTrack;
    const Action nextChapter = &AudioDiscPlayer::nextChapter,
                 previousChapter = &AudioDiscPlayer::previousChapter;
    const auto goTo = [](long track, long chapter) -> Action {
        return [=](AudioDiscPlayer& p) { p.goToTrack(track, chapter, false); };
    };
    constexpr std::int64_t stopped = -1;
    constexpr std::int64_t threshold = 71'355; // 44100 × the golden ratio in seconds, truncated
    using enum RepeatMode;
    using Row = std::tuple<RepeatMode, std::int64_t, Action, std::int64_t, const char*>;
    // {repeat mode, from (or stopped), action, the frame it lands on, why}
    const std::vector<Row> table{
        {none, stopped, next, 2'000, "from stopped: the first entry"},
        {none, stopped, previous, 2'000, "from stopped: plays the current entry"},
        {none, 5'000, next, 60'000, ""},
        {none, 60'000, next, 103'000, "lands on INDEX 01, never on a pregap"},
        {none, 200'000, next, 200'000, "repeat none ends at the last entry"},
        {track, 200'000, next, 180'000, "repeat track restarts the track"},
        {disc, 200'000, next, 2'000, "repeat disc wraps to the first entry"},
        {none, 103'000 + threshold, previous, 103'000, "from the threshold on: restart"},
        {none, 103'000 + threshold - 1, previous, 60'000, "before it: the previous track"},
        {none, 101'000, previous, 60'000, "inside a pregap the position is negative"},
        {none, 5'000, previous, 2'000, "at the first entry with repeat none: restart"},
        {disc, 5'000, previous, 180'000, "repeat disc wraps to the last entry"},
        {track, 110'000, previous, 103'000, "repeat track never leaves the track"},
        {none, 60'000, previousChapter, 60'000, "no pregap before chapter 1: nothing"},
        {none, 60'000, nextChapter, 80'000, ""},
        {none, 90'000, nextChapter, 90'000, "the last chapter has no next"},
        {none, 90'000, previousChapter, 80'000, ""},
        {none, 103'000, previousChapter, 100'000, "chapter 0 is the pregap"},
        {none, 100'000, previousChapter, 100'000, "nothing before the pregap"},
        {none, 100'000, nextChapter, 103'000, ""},
        {none, 103'000, nextChapter, 103'000, "chapter navigation stays inside the track"},
        {none, 2'000, goTo(1, 3), 90'000, "the cue bearing the chapter"},
        {none, 2'000, goTo(2, 0), 100'000, ""},
        {none, 90'000, goTo(3, 2), 90'000, "a missing chapter does nothing"},
        {none, 90'000, goTo(4, 1), 90'000, "a missing track does nothing"},
        {none, 90'000, goTo(-1, 1), 90'000, ""},
    };
    for (const auto& [repeat, from, action, expected, why] : table) {
        SCOPED_TRACE(std::string(AudioDiscPlayer::rawValue(repeat)) + " from " + std::to_string(from) + ": " +
                     why);
        insert();
        player().setRepeatMode(repeat);
        if (from != stopped) player().seekToFrame(from, false);
        action(player());
        EXPECT_EQ(status(), "playing " + std::to_string(expected));
    }
    EXPECT_EQ(player().restartThresholdFrames(), threshold);
}

TEST_F(PlayerTest, ConsumedBuffersAdvanceCueTrackAndChapterAcrossBoundaries) {
    insert();
    player().seekToFrame(60'000 - 3 * 882, false);
    Recorder recorder(player());
    h.consume(3);
    EXPECT_EQ(status(), "playing 60000");
    EXPECT_EQ(place(), "cue 2 track 1 chapter 1");
    EXPECT_EQ(player().currentPlaybackSequenceIndex(), 1);
    EXPECT_THAT(recorder.events, ElementsAre("positions 58236", "positions 59118", "positions 60000",
                                             "track 1", "chapter 1", "track 1"));
    // A cue boundary inside the same track moves only the chapter.
    player().seekToFrame(80'000 - 100, false);
    h.consume(1);
    EXPECT_EQ(place(), "cue 3 track 1 chapter 2");
}

TEST_F(PlayerTest, TrackAndDiscEndsFollowRepeatAndTheShuffledSequence) {
    using enum RepeatMode;
    using enum State;
    using Row = std::tuple<bool, RepeatMode, std::int64_t, long, State, std::int64_t, const char*>;
    // {shuffled (3, 0, 1, 2), repeat mode, from, buffers consumed, the state and frame reached, why}
    const std::vector<Row> table{
        {false, none, total - 2'000, 10, stopped, 2'000, "the disc stops at the start"},
        {false, disc, total - 2'000, 10, playing, 2'000 + 7 * 882, "starts over"},
        {false, track, total - 2'000, 10, playing, 180'000 + 7 * 882, "replays track 4"},
        {false, track, 100'000 - 882, 1, playing, 60'000, "back to track 2's INDEX 01"},
        {true, none, 60'000 - 882, 1, playing, 60'000, "track 1 is followed by track 2"},
        {true, none, 100'000 - 882, 1, playing, 103'000, "track 3 skipping its pregap"},
        {true, none, 180'000 - 882, 1, stopped, 180'000, "the last entry ends the disc"},
        {true, disc, 180'000 - 882, 1, playing, 180'000, "back to the first entry"},
        {true, disc, total - 882, 1, playing, 2'000, "track 4 is followed by track 1"},
    };
    for (const auto& [shuffle, repeat, from, buffers, state, expected, why] : table) {
        SCOPED_TRACE(std::string(shuffle ? "shuffled, " : "") +
                     std::string(AudioDiscPlayer::rawValue(repeat)) + ": " + why);
        insert();
        player().setRepeatMode(repeat);
        if (shuffle) player().toggleShuffle();
        draws.clear();
        player().seekToFrame(from, false);
        h.consume(buffers);
        EXPECT_EQ(player().state(), state);
        EXPECT_EQ(player().discFramePosition(), expected);
        EXPECT_TRUE(draws.empty()) << "never shuffled again";
        EXPECT_FALSE(player().hasReachedEndOfPlaylist()) << "stored only, never driven";
        if (state == stopped)
            EXPECT_TRUE(h.node().scheduled.empty());
        else
            EXPECT_EQ(h.node().scheduled.front().buffer->channelData(0)[0], frameSample(expected));
    }
}

TEST_F(PlayerTest, TheLastFrameConsumedWhilePausedStopsEveryLaterResume) {
    insert();
    player().seekToFrame(total - 2 * 882, false);
    h.consume(1);
    ASSERT_EQ(h.node().scheduled.size(), 1U);
    player().playPause();
    // The engine reports the last buffer just after the pause.
    h.consume(1);
    EXPECT_TRUE(player().lastFrameReachedWhilePaused());
    EXPECT_EQ(status(), "paused 250000");
    player().playPause();
    EXPECT_EQ(status(), "stopped 2000");

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

TEST_F(PlayerTest, ShuffleDrawsToTheEndMovesToTheNewFirstEntryKeepingTheStateAndTurningItOffSorts) {
    Recorder recorder(player());
    for (const State before : {State::stopped, State::playing, State::paused}) {
        SCOPED_TRACE(static_cast<int>(before));
        insert();
        if (before != State::stopped) player().seekToFrame(70'000, false);
        if (before == State::paused) player().playPause();
        recorder.events.clear();
        draws.clear();
        player().toggleShuffle();
        h.pump();
        using Draw = std::pair<std::size_t, std::size_t>;
        EXPECT_THAT(draws, ElementsAre(Draw{0, 3}, Draw{1, 3}, Draw{2, 3}));
        EXPECT_THAT(player().playbackSequence(), ElementsAre(3, 0, 1, 2));
        EXPECT_EQ(std::tuple(player().state(), player().discFramePosition(), player().currentTrackIndex(),
                             player().currentPlaybackSequenceIndex()),
                  std::tuple(before, 180'000, 3, 0));
        EXPECT_EQ(recorder.count("sequence"), 1);
        EXPECT_EQ(recorder.count("state 0"), before == State::stopped ? 1 : 0) << "a pause is never a stop";
        EXPECT_EQ(h.node().scheduled.empty(), before == State::stopped) << "read ahead unless stopped";
    }
    player().playPause();
    h.consume(1);
    EXPECT_EQ(player().discFramePosition(), 180'000 + 882) << "the pause resumes at the new first entry";

    player().toggleShuffle();
    EXPECT_FALSE(player().shuffle());
    EXPECT_THAT(player().playbackSequence(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(draws.size(), 3U) << "sorting draws nothing";
}

} // namespace
} // namespace lorvan::test

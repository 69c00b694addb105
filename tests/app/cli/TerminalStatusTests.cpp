// The play command's keys and status screen, on a real player with the deterministic
// executors and the manual output, over the demo disc written by lorvan-cli.

#include "app/cli/TerminalStatus.hpp"
#include "support/PlayerRig.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan::cli {
namespace {

using testing::HasSubstr;
using State = AudioDiscPlayer::State;
using std::chrono::milliseconds;

class TerminalStatus : public testing::Test {
protected:
    void SetUp() override {
        const auto made = test::runProcess(LORVAN_CLI, "demo --dir " + test::shellQuoted(directory.path()));
        ASSERT_EQ(made.status, 0) << made.out;
        rig.load(directory.path() / "Lorvan Demo.cue");
        keys.emplace(*player);
    }
    /// The bytes arrive `after` the previous ones.
    KeyAction press(std::string_view bytes, milliseconds after = milliseconds(5)) {
        now += after;
        const KeyAction action = keys->feed(bytes, now);
        rig.pump();
        return action;
    }

    test::TemporaryDirectory directory;
    test::PlayerRig rig;
    std::shared_ptr<AudioDiscPlayer>& player = rig.player;
    std::optional<PlaybackViewModel>& viewModel = rig.viewModel;
    std::optional<KeyInterpreter> keys;
    KeyInterpreter::Clock::time_point now{};
};

TEST_F(TerminalStatus, KeysDriveTheTransportAndEscapeSequencesMayArriveInPieces) {
    EXPECT_EQ(press("x"), KeyAction::none);
    EXPECT_EQ(player->state(), State::stopped) << "unknown keys do nothing";
    EXPECT_EQ(press(" "), KeyAction::none);
    EXPECT_EQ(player->state(), State::playing);
    EXPECT_EQ(player->currentTrackIndex(), 0);

    press("n");
    EXPECT_EQ(player->currentTrackIndex(), 1);
    const std::int64_t atTrack2 = player->discFramePosition();

    // Right arrow, split where a slow terminal might split it: nothing happens until it is whole.
    press("\x1b");
    press("[");
    EXPECT_EQ(player->discFramePosition(), atTrack2);
    press("C");
    EXPECT_EQ(player->discFramePosition(), atTrack2 + 10 * 44100);
    press("\x1b[D\x1b[D"); // two left arrows in one read
    EXPECT_EQ(player->discFramePosition(), atTrack2 - 10 * 44100);

    // Ten seconds stay within the disc: a seek outside it would start the disc over at frame 0.
    const std::int64_t last = player->disc()->data->totalFrameCount() - 1;
    player->seekToFrame(last - 44100 * 3, true);
    rig.pump();
    press("\x1b[C");
    EXPECT_EQ(player->discFramePosition(), last) << "forward near the end goes to the end";
    player->seekToFrame(44100 * 3, true);
    rig.pump();
    press("\x1b[D");
    EXPECT_EQ(player->discFramePosition(), 0);

    press("rr");
    EXPECT_EQ(player->repeatMode(), AudioDiscPlayer::RepeatMode::disc);
    press("t");
    EXPECT_EQ(player->playbackTimecodeMode(), AudioDiscPlayer::PlaybackTimecodeMode::trackRemainingTime);
    press("b");
    EXPECT_TRUE(player->newBeatMode());
    EXPECT_FLOAT_EQ(player->playbackRate(), 0.8F);
    press("0");
    EXPECT_FLOAT_EQ(player->playbackRate(), 1.0F);
    press("a-");
    EXPECT_TRUE(player->amplifierIsActive());
    EXPECT_LT(player->volume(), 1.0F);
    press("m");
    EXPECT_EQ(player->volume(), 0.0F);

    press(" ");
    EXPECT_EQ(player->state(), State::paused);
    press("s");
    EXPECT_EQ(player->state(), State::stopped);
    EXPECT_NE(player->disc(), nullptr) << "the first stop keeps the disc";
    EXPECT_EQ(press("s"), KeyAction::ejectAndQuit);
    EXPECT_EQ(player->disc(), nullptr);
}

TEST_F(TerminalStatus, AnEscapeLeftWithoutItsRestIsALoneEscapeAfterItsTimeout) {
    player->goToTrack(0, 1, true);
    rig.pump();
    // Esc, then a second later '[' and 'n': those are keys of their own, not the rest of a
    // sequence that swallows them.
    press("\x1b");
    press("[n", milliseconds(1000));
    EXPECT_EQ(player->currentTrackIndex(), 1) << "n was read as a key";
    EXPECT_FALSE(keys->waiting());

    // Within the timeout the pieces still make one key...
    const std::int64_t at = player->discFramePosition();
    press("\x1b");
    press("[", KeyInterpreter::escapeTimeout - milliseconds(1));
    EXPECT_TRUE(keys->waiting());
    press("C", KeyInterpreter::escapeTimeout - milliseconds(1));
    EXPECT_EQ(player->discFramePosition(), at + 10 * 44100);

    // ...and an escape left alone is given up by expire once its time is over, not before.
    press("\x1b[");
    EXPECT_EQ(keys->expire(now + KeyInterpreter::escapeTimeout - milliseconds(1)), KeyAction::none);
    EXPECT_TRUE(keys->waiting());
    EXPECT_EQ(keys->expire(now + KeyInterpreter::escapeTimeout), KeyAction::none);
    EXPECT_FALSE(keys->waiting());
    press("n");
    EXPECT_EQ(player->currentTrackIndex(), 2);

    // Quit ends the read: the keys after it in the same read are not applied.
    press("\x1b");
    EXPECT_EQ(press("q p", milliseconds(500)), KeyAction::quit);
    EXPECT_EQ(player->currentTrackIndex(), 2) << "p after q went back a track";
}

TEST_F(TerminalStatus, ScreenShowsWhatTheDisplayShowsThenTheDiscTheMetersAndTheSettings) {
    // One second before track 2's INDEX 01, inside its INDEX 00 pregap.
    player->goToTrack(1, 0, true);
    player->setRepeatMode(AudioDiscPlayer::RepeatMode::track);
    rig.settle();
    // A log line (or a title) from the user's files must not retitle or clear the terminal.
    const std::deque<std::string> log{"\x1b]0;retitled\a\x1b[2Jcleared"};
    std::string screen = statusScreen(*viewModel, log, 80);
    EXPECT_THAT(screen, HasSubstr("▶ Playing   TRACK 02  INDEX 00   -0:01  PREGAP\x1b[K\r\n"
                                  "A Minor Walk — Lorvan Strings · Lorvan Demo Disc\x1b[K\r\n"));
    EXPECT_THAT(screen, HasSubstr("●"));
    EXPECT_THAT(screen, HasSubstr("Rate 1.00x   Volume 100 % (amplifier off)   Repeat track   Shuffle off"));
    EXPECT_THAT(screen, HasSubstr("\\x1B]0;retitled\\x07\\x1B[2Jcleared"));
    for (const char* sent : {"\x1b]", "\x1b[2J", "\a"})
        EXPECT_EQ(screen.find(sent), std::string::npos) << "sent to the terminal: " << sent + 1;

    // The screen reads the view model, which publishes on the main thread: a change the player
    // made a moment ago shows once it is published.
    player->setAmplifierIsActive(true);
    player->toggleMute();
    player->setPlaybackTimecodeMode(AudioDiscPlayer::PlaybackTimecodeMode::discRemainingTime);
    EXPECT_THAT(statusScreen(*viewModel, {}, 80), HasSubstr("(amplifier off)"));
    rig.settle();
    screen = statusScreen(*viewModel, {}, 80);
    EXPECT_THAT(screen, HasSubstr("TRACK 02  INDEX 00   -0:21  DISC REMAIN"));
    EXPECT_THAT(screen, HasSubstr("Volume   0 % (muted)"));

    player->stopEject();
    player->stopEject();
    rig.settle();
    EXPECT_EQ(statusScreen(*viewModel, log, 80), "■ No disc\x1b[K");
}

/// The screen's lines, each without its clearing to the end of the line.
std::vector<std::string> screenLines(const std::string& screen) {
    std::vector<std::string> lines;
    for (std::size_t from = 0;;) {
        const std::size_t end = screen.find("\x1b[K", from);
        if (end == std::string::npos) break;
        lines.push_back(screen.substr(from, end - from));
        from = end + 3;
        if (screen.compare(from, 2, "\r\n") == 0) from += 2;
    }
    return lines;
}

int columns(const std::string& text) {
    return static_cast<int>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

TEST_F(TerminalStatus, ANarrowOrLowTerminalGetsCutLinesWithStateTimeAndTrackFirst) {
    player->goToTrack(1, 0, true);
    rig.settle();
    const std::deque<std::string> log{"⦿ the first log line, long enough to wrap a narrow pane",
                                      "⦿ the second log line"};
    for (const auto& [width, height] : {std::pair{20, 5}, std::pair{60, 8}, std::pair{17, 2}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        const std::string screen = statusScreen(*viewModel, log, width, height);
        const auto lines = screenLines(screen);
        ASSERT_EQ(static_cast<int>(lines.size()), height) << "the first lines, no more than fit";
        EXPECT_EQ(screen.substr(screen.size() - 3), "\x1b[K") << "no line break after the last: no scrolling";
        for (const auto& text : lines)
            EXPECT_LE(columns(text), width) << text;
        // 60 columns hold the whole status line; fewer get the short one.
        EXPECT_EQ(lines[0], width == 60
                                ? "▶ Playing   TRACK 02  INDEX 00   -0:01  PREGAP"
                                : std::string("▶ -0:01  TRACK 02  INDEX 00  PREGAP").substr(0, width + 2));
    }
    // Where everything fits, the status line is as it always was and the log is all there.
    const auto wide = screenLines(statusScreen(*viewModel, log, 120, 40));
    EXPECT_EQ(wide.front(), "▶ Playing   TRACK 02  INDEX 00   -0:01  PREGAP");
    EXPECT_EQ(wide.back(), "⦿ the second log line");
    EXPECT_EQ(columns(wide[2]), 102) << "the disc bar takes the width up to 100 cells";
    // A cut never splits a character, and a line break in a title does not break the screen.
    const auto cut = screenLines(statusScreen(*viewModel, {"ab\ncd·ef"}, 6, 40));
    EXPECT_EQ(cut.back(), "ab cd·");
}

} // namespace
} // namespace lorvan::cli

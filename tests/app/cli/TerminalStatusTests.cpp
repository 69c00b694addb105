// The play command's keys and status screen, on a real player with the deterministic
// executors and the manual output, over the demo disc written by lorvan-cli.

#include "app/cli/TerminalStatus.hpp"
#include "cuesheet/CueSheet.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ManualExecutors.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan::cli {
namespace {

using testing::HasSubstr;
using State = AudioDiscPlayer::State;

class TerminalStatus : public testing::Test {
protected:
    void SetUp() override {
        const auto made = test::runProcess(LORVAN_CLI, "demo --dir " + test::shellQuoted(directory.path()));
        ASSERT_EQ(made.status, 0) << made.out;
        auto engine = std::make_shared<GraphAudioEngine>(std::make_unique<ManualAudioOutput>(),
                                                         platform::soxrResamplerFactory());
        player = AudioDiscPlayer::create(
            {engine, reader, scheduler, mainThread, std::make_shared<InMemoryUserDefaults>(), {}});
        player->load(AudioDisc::fromCueSheet(CueSheet(Url::fileURL(directory.path() / "Lorvan Demo.cue")),
                                             platform::audioDiscServices()),
                     false);
        keys.emplace(*player);
    }
    void TearDown() override {
        if (player) player->insertDisc(std::nullopt);
        pump();
    }
    void pump() {
        while (reader->runAll() + scheduler->runAll() + mainThread->runAll() > 0) {
        }
    }
    KeyAction press(std::string_view bytes) {
        const KeyAction action = keys->feed(bytes);
        pump();
        return action;
    }

    test::TemporaryDirectory directory;
    std::shared_ptr<ManualSerialQueue> reader = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualSerialQueue> scheduler = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualMainThreadExecutor> mainThread = std::make_shared<ManualMainThreadExecutor>();
    std::shared_ptr<AudioDiscPlayer> player;
    std::optional<KeyInterpreter> keys;
};

TEST_F(TerminalStatus, KeysDriveTheTransportAndEscapeSequencesMayArriveInPieces) {
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

TEST_F(TerminalStatus, QuitStopsAtTheKeyAndIgnoresWhatFollows) {
    EXPECT_EQ(press("q n"), KeyAction::quit);
    EXPECT_EQ(player->state(), State::stopped) << "keys after q are not applied";
    EXPECT_EQ(press("x"), KeyAction::none) << "unknown keys do nothing";
}

TEST_F(TerminalStatus, ScreenShowsThePregapAsNegativeTimeAndTheDiscWithItsCues) {
    // One second before track 2's INDEX 01, inside its INDEX 00 pregap.
    player->goToTrack(1, 0, true);
    pump();
    const std::string screen = statusScreen(*player, {"⦿ a log line"}, 80);
    EXPECT_THAT(screen, HasSubstr("▶ Playing   Track 02  Index 00   -00:01.00  (track elapsed)"));
    EXPECT_THAT(screen, HasSubstr("●"));
    EXPECT_THAT(screen, HasSubstr("Rate 1.00x   Volume 100 % (amplifier off)   Repeat none   Shuffle off"));
    EXPECT_THAT(screen, HasSubstr("⦿ a log line"));
    EXPECT_EQ(timeText(44100 * 61 + 441, 44100), " 01:01.01");
    EXPECT_EQ(timeText(0, 0), " 00:00.00") << "no rate: no division by zero";
}

} // namespace
} // namespace lorvan::cli

// The watchdog that notices a pipeline run dry, on the player driven by hand and on a clock the
// test moves: the end of a disc the reader cannot finish, and a read that keeps failing.

#include "PlayerTestSupport.hpp"
#include "playback/PlaybackStallWatchdog.hpp"

#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

using Clock = std::chrono::steady_clock;
using Stall = PlaybackStallWatchdog::Stall;
using std::chrono::milliseconds;

constexpr std::int64_t total = 200'000;

class StallWatchdogTest : public ::testing::Test {
protected:
    StallWatchdogTest() { h.insert(makeDisc({100'000, 100'000}, {{0, 0, 1}, {100'000, 1, 1}})); }

    /// Looks at the player `after` the start of the test's clock.
    std::optional<Stall> look(milliseconds after, bool progressed = false) {
        return watchdog.check(*h.player, start + after, progressed);
    }

    PlayerHarness h;
    PlaybackStallWatchdog watchdog{milliseconds(3000)};
    const Clock::time_point start = Clock::now();
};

TEST_F(StallWatchdogTest, AReaderStoppedAtTheLastFrameEndsTheDiscAfterTheTimeoutUnlessSomethingMoves) {
    // The reader's bound is the last frame: from there nothing is read, and nothing completes.
    h.player->seekToFrame(total - 1, true);
    h.pump();
    ASSERT_EQ(h.player->currentlyScheduledBuffers(), 0);
    ASSERT_EQ(h.player->state(), AudioDiscPlayer::State::playing);
    const Stall ended{Stall::Kind::discEnded, total - 1};

    EXPECT_EQ(look(milliseconds(0)), std::nullopt) << "the first look only starts the clock";
    // A buffer consumed since the last look counts, though nothing is scheduled now.
    EXPECT_EQ(look(milliseconds(2000), true), std::nullopt);
    EXPECT_EQ(look(milliseconds(4999)), std::nullopt);
    EXPECT_EQ(look(milliseconds(5000)), ended);
    // Reported once; the timeout starts over from the report.
    EXPECT_EQ(look(milliseconds(5001)), std::nullopt);
    EXPECT_EQ(look(milliseconds(7999)), std::nullopt);
    EXPECT_EQ(look(milliseconds(8000)), ended);
    // Paused at the end: waiting is what the user asked for.
    h.player->playPause();
    EXPECT_EQ(look(milliseconds(10'000)), std::nullopt);
    h.player->playPause();
    EXPECT_EQ(look(milliseconds(12'999)), std::nullopt);
    EXPECT_EQ(look(milliseconds(13'000)), ended);
    // Stopped, and without a disc.
    h.player->stopEject();
    EXPECT_EQ(look(milliseconds(20'000)), std::nullopt);
    h.player->stopEject();
    ASSERT_FALSE(h.player->disc());
    EXPECT_EQ(look(milliseconds(30'000)), std::nullopt);
}

TEST_F(StallWatchdogTest, AReadThatKeepsFailingIsReportedWhereTheReaderStoppedOnlyOnceAllIsPlayed) {
    CapturedLog log;
    h.file(1).failing = true;
    h.player->seekToFrame(100'000 - 3 * 882, true);
    h.pump();
    // The pass reads three buffers, then fails: with nothing else scheduled, no consumed buffer
    // will come to move them on, so the failed pass itself has to hand them to the node.
    EXPECT_EQ(h.player->currentlyScheduledBuffers(), 3);
    EXPECT_EQ(h.player->dequeCount(), 0);

    // While the buffers read before the failure are still to be played, nothing is dry, however
    // long it takes.
    EXPECT_EQ(look(milliseconds(0)), std::nullopt);
    EXPECT_EQ(look(milliseconds(10'000)), std::nullopt);
    EXPECT_EQ(h.consume(), 3);
    EXPECT_EQ(look(milliseconds(12'999)), std::nullopt) << "three seconds from the last busy look";
    EXPECT_EQ(look(milliseconds(13'000)), (Stall{Stall::Kind::readFailed, 100'000}));
}

} // namespace
} // namespace lorvan::test

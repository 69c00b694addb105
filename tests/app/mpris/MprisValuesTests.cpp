// The arithmetic of media-control positions, on summaries built by hand.

#include "app/mpris/MprisValues.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

/// Three tracks at 44.1 kHz: track 1 with a 2 s pregap from 0, track 2 with a 1 s pregap
/// (INDEX 00 at 485100), track 3 without one; 1411200 frames in all.
DiscSummary summary() {
    DiscSummary disc;
    disc.sampleRate = 44100;
    disc.totalFrames = 1411200;
    disc.tracks = {TrackSummary{1, "", "", 396900, 88200, 88200},
                   TrackSummary{2, "", "", 441000, 44100, 529200},
                   TrackSummary{3, "", "", 441000, 0, 970200}};
    return disc;
}

TEST(MprisValuesTest, AFrameReadAsMicrosecondsAndWrittenBackIsTheSameFrameAtEveryRate) {
    for (const double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
        for (std::int64_t frame = 0; frame < 20'000; ++frame)
            ASSERT_EQ(mpris::framesAt(mpris::microseconds(frame, rate), rate), frame) << rate;
        // Far into a long disc too: 80 minutes.
        const std::int64_t late = static_cast<std::int64_t>(rate) * 4800 + 7;
        EXPECT_EQ(mpris::framesAt(mpris::microseconds(late, rate), rate), late) << rate;
    }
    // Rounded down to the microsecond: one frame at 44.1 kHz is 22.67 µs.
    EXPECT_EQ(mpris::microseconds(1, 44100), 22);
    EXPECT_EQ(mpris::microseconds(44100, 44100), 1'000'000);
    EXPECT_EQ(mpris::framesAt(23, 44100), 2) << "the first frame at or after 23 µs";
    EXPECT_EQ(mpris::microseconds(100, 0), 0);
    EXPECT_EQ(mpris::framesAt(100, 0), 0);
}

TEST(MprisValuesTest, TracksRunFromTheirFirstCueToTheNextTracksFirstCueAndPregapsCountUp) {
    const DiscSummary disc = summary();
    EXPECT_EQ(mpris::trackSpan(disc, 0)->firstFrame, 0);
    EXPECT_EQ(mpris::trackSpan(disc, 0)->lengthFrames, 485100) << "to track 2's INDEX 00";
    EXPECT_EQ(mpris::trackSpan(disc, 1)->firstFrame, 485100);
    EXPECT_EQ(mpris::trackSpan(disc, 1)->lengthFrames, 485100);
    EXPECT_EQ(mpris::trackSpan(disc, 2)->lengthFrames, 441000) << "the last track to the end of the disc";
    EXPECT_FALSE(mpris::trackSpan(disc, 3));
    EXPECT_FALSE(mpris::trackSpan(disc, -1));
    EXPECT_FALSE(mpris::trackSpan(DiscSummary{}, 0));

    PlaybackProgress progress;
    progress.discInPlayer = true;
    progress.trackElapsedFrames = -44100; // track 2's INDEX 00
    EXPECT_EQ(mpris::positionFrames(disc, 1, progress), 0);
    progress.trackElapsedFrames = -1;
    EXPECT_EQ(mpris::positionFrames(disc, 1, progress), 44099);
    progress.trackElapsedFrames = 0;
    EXPECT_EQ(mpris::positionFrames(disc, 1, progress), 44100);
    progress.trackElapsedFrames = 10;
    EXPECT_EQ(mpris::positionFrames(disc, 2, progress), 10) << "no pregap";
    EXPECT_EQ(mpris::positionFrames(disc, std::nullopt, progress), 0);
    progress.discInPlayer = false;
    EXPECT_EQ(mpris::positionFrames(disc, 1, progress), 0);
}

TEST(MprisValuesTest, TrackIdsAreObjectPathsOfOurOwnWithoutDashes) {
    const auto id = Uuid::parse("0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9");
    ASSERT_TRUE(id);
    EXPECT_EQ(mpris::trackObjectPath(*id, 12), "/app/lorvan/disc/0A1B2C3D4E5F4061827394A5B6C7D8E9/track/12");
}

} // namespace
} // namespace lorvan

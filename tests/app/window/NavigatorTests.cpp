#include "WindowTestSupport.hpp"
#include "app/window/DiscNavigator.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

using window::NavigatorGeometry;

// A 74-minute disc has 195,804,000 frames: a fraction k / total multiplied back by total lands a
// hair below k for many k, and a plain truncation then seeks one frame early.
TEST(NavigatorGeometryTest, FractionsOfFramesMapBackToThoseFrames) {
    for (const std::int64_t total : {std::int64_t{1'323'000}, std::int64_t{195'804'000}, std::int64_t{3}}) {
        long checked = 0;
        for (std::int64_t frame = 0; frame < total; frame += std::max<std::int64_t>(1, total / 99'991)) {
            const double p = static_cast<double>(frame) / static_cast<double>(total);
            ASSERT_EQ(NavigatorGeometry::frameAtFraction(p, total), frame) << "total " << total;
            if (frame > 0) {
                ASSERT_EQ(NavigatorGeometry::frameAtFraction(std::nextafter(p, 0.0), total), frame - 1);
            }
            ++checked;
        }
        EXPECT_GT(checked, 2);
    }
    // Half a frame truncates; the ends and nonsense stay on the disc.
    EXPECT_EQ(NavigatorGeometry::frameAtFraction(2.5 / 4.0, 4), 2);
    EXPECT_EQ(NavigatorGeometry::frameAtFraction(1.0, 4), 3);
    EXPECT_EQ(NavigatorGeometry::frameAtFraction(1.5, 4), 3);
    EXPECT_EQ(NavigatorGeometry::frameAtFraction(-0.25, 4), 0);
    EXPECT_EQ(NavigatorGeometry::frameAtFraction(std::nan(""), 4), 0);
    EXPECT_EQ(NavigatorGeometry::frameAtFraction(0.5, 0), 0);
}

TEST(NavigatorGeometryTest, ClicksOnDrawnTicksChooseTheirFrames) {
    const std::int64_t total = 195'804'000;
    for (const double width : {572.0, 1000.0, 333.0})
        for (std::int64_t frame = 1; frame < total; frame += 1'960'011) {
            const double x = NavigatorGeometry::xOfFrame(frame, total, 14.0, width);
            ASSERT_EQ(NavigatorGeometry::frameAtX(x, total, 14.0, width), frame);
            ASSERT_LT(NavigatorGeometry::frameAtX(std::nextafter(x, 0.0), total, 14.0, width), frame);
        }
    EXPECT_EQ(NavigatorGeometry::frameAtX(-5, total, 14.0, 572.0), 0);
    EXPECT_EQ(NavigatorGeometry::frameAtX(9999, total, 14.0, 572.0), total - 1);
}

// Paused, so that seeks keep the pause and the position stays where a click put it.
TEST(DiscNavigatorTest, ClicksSeekExactlyToTrackAndPregapBoundariesAndThePlayedPartEndsAtTheCursor) {
    WindowFixture f;
    f.openDemo();
    f.trigger("playPause");
    ASSERT_EQ(f.player().state(), AudioDiscPlayer::State::paused);
    f.window->resize(600, 512);
    f.window->show();
    window::DiscNavigator& navigator = f.window->navigator();
    const QRectF bar = navigator.barRect();
    const auto disc = f.player().disc();
    ASSERT_TRUE(disc);
    const auto clickAt = [&](double x) { click(navigator, QPointF(x, bar.center().y())); };
    int pregaps = 0;
    for (const AudioCue& cue : disc->cues) {
        if (cue.keyFrame == 0) continue;
        SCOPED_TRACE("track " + std::to_string(cue.trackIndex + 1) + " index " + std::to_string(cue.chapter));
        clickAt(navigator.xOfFrame(cue.keyFrame));
        EXPECT_EQ(f.player().discFramePosition(), cue.keyFrame);
        EXPECT_EQ(f.player().currentTrackIndex(), cue.trackIndex);
        EXPECT_EQ(f.player().currentChapter(), cue.chapter);
        clickAt(std::nextafter(navigator.xOfFrame(cue.keyFrame), 0.0));
        EXPECT_LT(f.player().discFramePosition(), cue.keyFrame);
        if (cue.chapter != 0) continue;
        // Hovering names the place under the pointer: inside a pregap the time counts up to INDEX 01.
        ++pregaps;
        const std::string text = NavigatorGeometry::hoverText(*disc, cue.keyFrame);
        const std::string expected =
            "Track " + std::to_string(cue.trackIndex + 1) + " \u00B7 Index 00 \u00B7 -0:0";
        EXPECT_NE(text.find(expected), std::string::npos) << text;
    }
    EXPECT_GE(pregaps, 1) << "the demo disc has a pregap to click on";
    EXPECT_EQ(f.player().state(), AudioDiscPlayer::State::paused);

    // The played part is lit up to the cursor and no further, wherever the music has moved it.
    // Probed inside track 2, away from every tick and pregap of the demo disc.
    const auto colourAt = [&](double fraction) {
        const QImage image = navigator.grab().toImage();
        return image.pixelColor(static_cast<int>(bar.left() + fraction * bar.width()),
                                static_cast<int>(bar.center().y()));
    };
    navigator.setPosition(0.0);
    const QColor toCome = colourAt(0.45);
    EXPECT_EQ(colourAt(0.55), toCome);
    navigator.setPosition(0.5);
    const QColor played = colourAt(0.45);
    EXPECT_NE(played, toCome) << "lit as played";
    EXPECT_EQ(colourAt(0.55), toCome) << "past the cursor";
    navigator.setPosition(0.6);
    EXPECT_EQ(colourAt(0.55), played) << "passed by the cursor";
    navigator.setPosition(0.4);
    EXPECT_EQ(colourAt(0.45), toCome) << "a seek back leaves it to come again";
}

} // namespace
} // namespace lorvan::test

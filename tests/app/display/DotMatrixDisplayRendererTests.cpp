#include "app/display/DotMatrixDisplayRenderer.hpp"

#include <QGuiApplication>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

namespace lorvan {
namespace {

template <typename Set> DisplayState stateWith(Set set) {
    DisplayState state;
    set(state);
    return state;
}
DisplayState titled(std::string title) {
    return stateWith([&](DisplayState& s) { s.title = std::move(title); });
}

class DisplayRenderer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // Fonts (the seven-segment face) need a GUI application; offscreen needs no display.
        static int argc = 1;
        static char name[] = "lorvan_display_tests";
        static char* argv[] = {name, nullptr};
        if (!QCoreApplication::instance()) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
            application = std::make_unique<QGuiApplication>(argc, argv);
        }
    }

    // Qt must be torn down while it is still running, not by a static destructor at exit.
    static void TearDownTestSuite() { application.reset(); }

    /// The theme with nothing drawn over or around the dots, so that pixels can be predicted.
    static LCTheme bare(LCBuiltInTheme builtIn) {
        LCTheme theme = themeOf(builtIn);
        theme.haloOpacityA = theme.haloOpacityB = 0;
        theme.topBorderShadowSize = theme.bottomBorderShadowSize = 0;
        theme.glassReflectColor = Color::clear();
        theme.overallBlur = 0;
        return theme;
    }

    QColor pixelAt(const QImage& image, long column, long row) const {
        return image.pixelColor(DotMatrixDisplayRenderer::dotCenter(geometry, column, row));
    }

    static void expectColor(const QColor& actual, const Color& expected, int tolerance = 1) {
        EXPECT_NEAR(actual.red(), expected.red * 255, tolerance + 0.5);
        EXPECT_NEAR(actual.green(), expected.green * 255, tolerance + 0.5);
        EXPECT_NEAR(actual.blue(), expected.blue * 255, tolerance + 0.5);
    }

    static inline std::unique_ptr<QGuiApplication> application;
    DisplayGeometry geometry;
    DisplayLayout layout = DotMatrixDisplayRenderer::layout(geometry);
    DotMatrixRasterizer rasterizer{UnifontGlyphs::shared(), DisplayFont::defaultFont()};
    DotMatrixDisplayRenderer renderer{rasterizer};
};

TEST_F(DisplayRenderer, DrawsAtTheRequestedSizeAndScale) {
    EXPECT_EQ(layout.columns, 400);
    EXPECT_EQ(layout.rows, 182);
    EXPECT_EQ(renderer.render({}, themeOf(LCBuiltInTheme::vhs), 1).size(), QSize(1200, 548));

    const DisplayGeometry small{.width = 301, .height = 100, .scale = 1};
    EXPECT_EQ(renderer.render({}, themeOf(LCBuiltInTheme::vhs), 1, small).size(), QSize(301, 100));
    EXPECT_EQ(DotMatrixDisplayRenderer::layout(small).columns, 200);

    // Nothing to draw into is not an error.
    const DisplayState state = titled("x");
    EXPECT_FALSE(renderer.render(state, themeOf(LCBuiltInTheme::vhs), 1, {.width = 0, .height = 0}).isNull());

    // Nonsense from a window is drawn as something sensible, never as a crash.
    const DisplayGeometry nonsense{
        .width = 1e12, .height = std::nan(""), .scale = -3, .dotSize = 0, .horizontalPadding = -5};
    const QImage clamped = renderer.render(state, themeOf(LCBuiltInTheme::vhs), std::nan(""), nonsense);
    EXPECT_LE(clamped.width(), 8192);
    EXPECT_GE(clamped.height(), 1);
    EXPECT_TRUE(renderer.usesSevenSegmentFont()) << "DSEG7 from fonts-dseg is installed";
}

TEST_F(DisplayRenderer, LitDotsCarryTheDigitColour) {
    const DisplayState state = titled("\u2588\u2588"); // full blocks: every dot of two cells lit
    for (const auto builtIn : {LCBuiltInTheme::amber, LCBuiltInTheme::lcd, LCBuiltInTheme::synthwave,
                               LCBuiltInTheme::vhs, LCBuiltInTheme::winamp}) {
        SCOPED_TRACE(std::string(rawValue(builtIn)));
        const LCTheme theme = bare(builtIn);
        const QImage image = renderer.render(state, theme, 1);
        expectColor(pixelAt(image, layout.title.x() + 1, layout.title.y() + 5), theme.digits);
        expectColor(pixelAt(image, layout.title.x() + 17, layout.title.y() + 15), theme.digits);

        // With the theme's glass and glow the dot keeps the digit colour (a blurred theme softens it).
        if (themeOf(builtIn).overallBlur > 0) continue;
        const QImage full = renderer.render(state, themeOf(builtIn), 1);
        expectColor(pixelAt(full, layout.title.x() + 4, layout.title.y() + 8), theme.digits, 24);
    }
}

TEST_F(DisplayRenderer, UnlitDotsShowTheMatrixAtItsOffOpacity) {
    const LCTheme theme = bare(LCBuiltInTheme::amber);
    const QImage image = renderer.render({}, theme, 1);
    const QPoint dot = DotMatrixDisplayRenderer::dotCenter(geometry, 100, 80);
    const QColor onDot = image.pixelColor(dot);
    const QColor inGap = image.pixelColor(dot + QPoint(1, 0)); // the gap after the dot: background only
    const double off = theme.offOpacity;
    EXPECT_NEAR(onDot.redF(), inGap.redF() * (1 - off) + theme.matrix.red * off, 2.0 / 255);
    EXPECT_NEAR(onDot.greenF(), inGap.greenF() * (1 - off) + theme.matrix.green * off, 2.0 / 255);
    EXPECT_NEAR(onDot.blueF(), inGap.blueF() * (1 - off) + theme.matrix.blue * off, 2.0 / 255);
    EXPECT_NE(onDot, inGap);

    // Without the matrix effect there are neither unlit dots nor gaps between lit ones.
    LCTheme solid = theme;
    solid.matrixEffect = false;
    const QImage solidImage = renderer.render(titled("\u2588"), solid, 1);
    const QPoint lit =
        DotMatrixDisplayRenderer::dotCenter(geometry, layout.title.x() + 2, layout.title.y() + 4);
    expectColor(solidImage.pixelColor(lit + QPoint(1, 0)), theme.digits);
    const QImage blank = renderer.render({}, solid, 1);
    EXPECT_EQ(blank.pixelColor(dot), blank.pixelColor(dot + QPoint(1, 0)));
}

TEST_F(DisplayRenderer, MetersTakeTheirColoursFromTheThemesMaps) {
    const LCTheme theme = bare(LCBuiltInTheme::vhs);
    const QImage image = renderer.render(stateWith([](DisplayState& s) {
                                             s.levelLeft = 1.0;
                                             s.levelRight = 0.35;
                                             s.buffering = 0.7;
                                         }),
                                         theme, 1);

    // 20 segments after the channel letter; 10 after "BUF".
    const auto segmentDot = [](const QRect& box, long labelWidth, long segments, long index) {
        const double pitch = static_cast<double>(box.width() - labelWidth) / static_cast<double>(segments);
        return QPoint(int(box.x() + labelWidth + std::lround(index * pitch) + 1), box.y() + 6);
    };
    const auto at = [&](QPoint dot) { return pixelAt(image, dot.x(), dot.y()); };
    expectColor(at(segmentDot(layout.leftMeter, 13, 20, 19)), theme.volumeColorMap.colors.back());
    expectColor(at(segmentDot(layout.leftMeter, 13, 20, 0)), theme.volumeColorMap.colors.front());
    expectColor(at(segmentDot(layout.rightMeter, 13, 20, 6)), theme.volumeColorMap.segmentColor(6, 20));
    const QColor unlit = at(segmentDot(layout.rightMeter, 13, 20, 19));
    EXPECT_GT(std::abs(unlit.red() - theme.volumeColorMap.colors.back().red * 255), 60)
        << "segment 20 is off at 0.35";

    expectColor(at(segmentDot(layout.bufferingMeter, 31, 10, 0)), theme.bufferColorMap.colors[0]);
    expectColor(at(segmentDot(layout.bufferingMeter, 31, 10, 6)), theme.bufferColorMap.colors[6]);
    const QColor bufferOff = at(segmentDot(layout.bufferingMeter, 31, 10, 7));
    EXPECT_GT(std::abs(bufferOff.green() - theme.bufferColorMap.colors[7].green * 255), 60);
}

TEST_F(DisplayRenderer, ProgressBarShowsCursorAndCueMarkers) {
    const LCTheme theme = bare(LCBuiltInTheme::synthwave); // distinct bar, cursor and marker colours
    // Out-of-range markers are left out.
    const QImage image = renderer.render(stateWith([](DisplayState& s) {
                                             s.progress = 0.5;
                                             s.cueMarkers = {0.25, 2.0, std::nan("")};
                                         }),
                                         theme, 1);
    const QRect bar = layout.progressBar;
    const long cursor = bar.x() + std::lround(0.5 * (bar.width() - 2));
    expectColor(pixelAt(image, cursor, bar.y() + 1), theme.cursor);
    expectColor(pixelAt(image, bar.x() + 10, bar.y() + 4), theme.progressBar);
    const long marker = bar.x() + std::lround(0.25 * (bar.width() - 1));
    expectColor(pixelAt(image, marker, bar.y()), theme.navigatorMarker);
    expectColor(pixelAt(image, marker, bar.y() + 8), theme.navigatorMarker);
    const QColor unplayed = pixelAt(image, bar.x() + bar.width() - 10, bar.y() + 4);
    EXPECT_GT(std::abs(unplayed.green() - theme.progressBar.green * 255), 60)
        << "the rest of the bar is unlit";
}

TEST_F(DisplayRenderer, TimeIsSetInSevenSegmentDigits) {
    const LCTheme theme = bare(LCBuiltInTheme::amber);
    const auto litDots = [&](const std::string& time) {
        const QImage image = renderer.render(stateWith([&](DisplayState& s) { s.time = time; }), theme, 1);
        long count = 0;
        for (int y = layout.time.top(); y <= layout.time.bottom(); ++y)
            for (int x = layout.time.left(); x <= layout.time.right(); ++x) {
                const QColor c = pixelAt(image, x, y);
                count += std::abs(c.red() - 255) <= 1 && std::abs(c.green() - 170) <= 1 && c.blue() <= 1;
            }
        return count;
    };
    const long minus = litDots("-");
    const long eight = litDots("8");
    EXPECT_EQ(litDots(""), 0);
    EXPECT_GT(minus, 10);
    EXPECT_GT(eight, 4 * minus) << "an 8 lights all seven segments, a minus only one";
    EXPECT_GT(litDots("-0:02"), eight);
}

TEST_F(DisplayRenderer, BrightnessAndHaloChangeTheGlow) {
    const DisplayState state = titled("\u2588\u2588\u2588");
    const LCTheme& amber = themeOf(LCBuiltInTheme::amber);
    const auto luminance = [](const QColor& c) {
        return 0.2126 * c.redF() + 0.7152 * c.greenF() + 0.0722 * c.blueF();
    };

    const QImage bright = renderer.render(state, amber, 1.0);
    const QImage dim = renderer.render(state, amber, 0.1);
    const long x = layout.title.x() + 4, y = layout.title.y() + 8;
    EXPECT_LT(luminance(pixelAt(dim, x, y)), 0.5 * luminance(pixelAt(bright, x, y)));

    // Two dots below the text the halo makes the screen glow in the digit colour.
    const QImage noHalo = renderer.render(state, bare(LCBuiltInTheme::amber), 1.0);
    LCTheme shadowless = bare(LCBuiltInTheme::amber);
    shadowless.haloOpacityA = amber.haloOpacityA;
    shadowless.haloOpacityB = amber.haloOpacityB;
    const QImage halo = renderer.render(state, shadowless, 1.0);
    const QPoint below =
        DotMatrixDisplayRenderer::dotCenter(geometry, x, layout.title.y() + 18) + QPoint(2, 0);
    EXPECT_GT(halo.pixelColor(below).red(), noHalo.pixelColor(below).red() + 20);
    EXPECT_GE(halo.pixelColor(below).red(), halo.pixelColor(below).blue());
}

/// Frames of playback whose changed regions touch and overlap: the time next to a full buffering
/// meter, meters jumping from empty to full, the cursor across a cue marker, texts that change.
std::vector<DisplayState> playbackSequence() {
    std::vector<DisplayState> states;
    DisplayState s = DisplayState::typical();
    states.push_back(s);
    s.time = "-0:01";
    s.levelLeft = 0.36;
    states.push_back(s);
    s.time = "88:88";
    s.buffering = 1.0;
    s.levelLeft = 1.0;
    s.levelRight = 0.0;
    states.push_back(s);
    s.time = "0:00";
    s.timeLabel = "";
    s.statusLeft = "TRACK 03";
    s.progress = 0.24;
    s.levelRight = 1.0;
    s.buffering = 0.0;
    states.push_back(s);
    s.title = "x";
    s.subtitle.clear();
    s.cueMarkers = {0.5};
    s.progress = 0.5;
    s.levelLeft = 0.05;
    states.push_back(s);
    return states;
}

TEST_F(DisplayRenderer, PartialFramesHaveThePixelsOfWholeFrames) {
    // Amber and Warm Amber glow wide, LCD's halo is offset, Apple ][ and VHS blur the whole
    // picture, Thermal starts its maps near black; scale 1.25 puts the grid between pixels.
    for (const auto builtIn : {LCBuiltInTheme::amber, LCBuiltInTheme::lcd, LCBuiltInTheme::appleII,
                               LCBuiltInTheme::vhs, LCBuiltInTheme::thermal}) {
        for (const DisplayGeometry g :
             {DisplayGeometry{}, DisplayGeometry{.width = 571, .height = 260.5, .scale = 1.25},
              DisplayGeometry{.scale = 1}}) {
            SCOPED_TRACE(std::string(rawValue(builtIn)) + " at scale " + std::to_string(g.scale));
            const LCTheme& theme = themeOf(builtIn);
            DotMatrixDisplayRenderer incremental(rasterizer);
            QImage previous;
            for (const DisplayState& state : playbackSequence()) {
                SCOPED_TRACE("time " + state.time);
                const std::vector<QRect> changed = incremental.update(state, theme, 0.8, g);
                DotMatrixDisplayRenderer fresh(rasterizer);
                const QImage whole = fresh.render(state, theme, 0.8, g);
                ASSERT_EQ(incremental.image(), whole);
                if (!previous.isNull()) {
                    // Outside the reported rectangles nothing moved, so a view repaints only those:
                    // the previous frame with those rectangles copied in is the whole new frame.
                    ASSERT_FALSE(changed.empty());
                    long area = 0;
                    QImage patched = previous;
                    for (const QRect& rect : changed) {
                        area += long(rect.width()) * rect.height();
                        const QRect inside = rect & whole.rect();
                        for (int y = inside.top(); y <= inside.bottom(); ++y)
                            for (int x = inside.left(); x <= inside.right(); ++x)
                                patched.setPixel(x, y, whole.pixel(x, y));
                    }
                    EXPECT_LT(area, long(whole.width()) * whole.height()) << "a partial frame";
                    ASSERT_EQ(patched, whole);
                }
                previous = whole;
            }
        }
    }
}

TEST_F(DisplayRenderer, AStateThatDrawsTheSameDotsChangesNothingAndAThemeOrSizeRedrawsAll) {
    const LCTheme& amber = themeOf(LCBuiltInTheme::amber);
    DisplayState state = DisplayState::typical();
    EXPECT_TRUE(renderer.wouldChange(state, amber, 1)) << "nothing drawn yet";
    const std::vector<QRect> first = renderer.update(state, amber, 1);
    EXPECT_EQ(first, std::vector<QRect>{QRect(0, 0, 1200, 548)});
    EXPECT_FALSE(renderer.wouldChange(state, amber, 1));
    EXPECT_TRUE(renderer.update(state, amber, 1).empty());

    // 0.8 lights 16 of 20 segments, and so do 0.79 and 0.824; 0.826 lights 17.
    state.levelRight = 0.79;
    EXPECT_FALSE(renderer.wouldChange(state, amber, 1));
    state.levelRight = 0.824;
    EXPECT_TRUE(renderer.update(state, amber, 1).empty());
    state.levelRight = 0.826;
    EXPECT_TRUE(renderer.wouldChange(state, amber, 1));
    const std::vector<QRect> changed = renderer.update(state, amber, 1);
    ASSERT_FALSE(changed.empty());
    // The 17th segment and its glow, far from the time and the title.
    const QPoint segment = DotMatrixDisplayRenderer::dotCenter(
        geometry, layout.rightMeter.x() + 13 + std::lround(16 * (layout.rightMeter.width() - 13) / 20.0) + 2,
        layout.rightMeter.y() + 6);
    const QPoint titleDot =
        DotMatrixDisplayRenderer::dotCenter(geometry, layout.title.x() + 2, layout.title.y() + 2);
    EXPECT_TRUE(
        std::any_of(changed.begin(), changed.end(), [&](const QRect& r) { return r.contains(segment); }));
    EXPECT_TRUE(
        std::none_of(changed.begin(), changed.end(), [&](const QRect& r) { return r.contains(titleDot); }));
    EXPECT_FALSE(renderer.wouldChange(state, amber, 1));

    // A new theme, brightness, size or scale redraws everything, as a fresh renderer would.
    struct Change {
        const char* what;
        LCBuiltInTheme theme;
        double brightness;
        DisplayGeometry geometry;
    };
    for (const Change& c : {Change{"theme", LCBuiltInTheme::lcdBlue, 1, {}},
                            Change{"brightness", LCBuiltInTheme::lcdBlue, 0.3, {}},
                            Change{"size", LCBuiltInTheme::lcdBlue, 0.3, {.width = 500}},
                            Change{"scale", LCBuiltInTheme::lcdBlue, 0.3, {.width = 500, .scale = 1}},
                            Change{"back", LCBuiltInTheme::amber, 1, {}}}) {
        SCOPED_TRACE(c.what);
        const LCTheme& theme = themeOf(c.theme);
        EXPECT_TRUE(renderer.wouldChange(state, theme, c.brightness, c.geometry));
        const std::vector<QRect> redrawn = renderer.update(state, theme, c.brightness, c.geometry);
        EXPECT_EQ(redrawn, std::vector<QRect>{renderer.image().rect()});
        DotMatrixDisplayRenderer fresh(rasterizer);
        EXPECT_EQ(renderer.image(), fresh.render(state, theme, c.brightness, c.geometry));
        EXPECT_FALSE(renderer.wouldChange(state, theme, c.brightness, c.geometry));
    }
}

} // namespace
} // namespace lorvan

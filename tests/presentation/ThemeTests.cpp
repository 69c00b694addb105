#include "presentation/LCBuiltInTheme.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace lorvan {
namespace {

// The names are what the settings store and the themes command lists, in byte order.
TEST(LCBuiltInTheme, TwentyEightThemesInNameOrderFoundByTheirExactName) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < allBuiltInThemes.size(); ++i) {
        const auto theme = allBuiltInThemes[i];
        EXPECT_EQ(static_cast<std::size_t>(theme), i);
        names.emplace_back(rawValue(theme));
        EXPECT_EQ(builtInThemeFromRawValue(names.back()), theme);
    }
    EXPECT_EQ(names.size(), 28u);
    EXPECT_TRUE(std::adjacent_find(names.begin(), names.end(), std::greater_equal<>()) == names.end())
        << "strictly ascending, so no name twice";
    for (const char* near : {"vhs", "VHS ", "appleII", ""})
        EXPECT_EQ(builtInThemeFromRawValue(near), std::nullopt) << near;
}

bool isFraction(double v) { return std::isfinite(v) && v >= 0 && v <= 1; }
bool isSize(double v) { return std::isfinite(v) && v >= 0 && v <= 64; }

TEST(LCBuiltInTheme, EveryThemeFillsEveryFieldWithValidValues) {
    std::set<std::vector<double>> distinctLooks;
    for (const auto builtIn : allBuiltInThemes) {
        const std::string name(rawValue(builtIn));
        const LCTheme& t = themeOf(builtIn);
        EXPECT_GE(t.backgroundColors.size(), 2u) << name;
        for (const auto& c : t.backgroundColors)
            EXPECT_TRUE(c.isValid()) << name << ": background";
        std::size_t field = 0;
        for (const Color& c :
             {t.matrix, t.matrixHalo, t.digits, t.digitsHalo, t.slider, t.sliderHalo, t.progressBar, t.cursor,
              t.cursorHalo, t.navigatorMarker, t.navigatorMarkerHalo, t.navigatorHighlightBackground, t.error,
              t.topBorderShadowColor, t.bottomBorderShadowColor, t.glassReflectColor, t.accentColor,
              t.highlightedViewBackground, t.highlightedViewPrimary, t.highlightedViewSecondary,
              t.hoveredTrackHighlight})
            EXPECT_TRUE(c.isValid()) << name << ": colour field " << field++;
        for (double v : {t.offOpacity, t.haloOpacityA, t.haloOpacityB})
            EXPECT_TRUE(isFraction(v)) << name;
        for (double v :
             {t.haloRadiusA, t.haloRadiusB, t.topBorderShadowSize, t.bottomBorderShadowSize, t.overallBlur})
            EXPECT_TRUE(isSize(v)) << name;
        EXPECT_LE(t.haloRadiusA, t.haloRadiusB) << name << ": the inner glow is the tighter one";
        EXPECT_TRUE(std::isfinite(t.haloX) && std::abs(t.haloX) <= 8) << name;
        EXPECT_TRUE(std::isfinite(t.haloY) && std::abs(t.haloY) <= 8) << name;
        EXPECT_GT(t.digits.alpha, 0.9) << name << ": lit characters are opaque";

        for (const ColorMap* map : {&t.bufferColorMap, &t.volumeColorMap}) {
            EXPECT_GE(map->colors.size(), 2u) << name;
            EXPECT_TRUE(map->name.has_value()) << name;
            for (const auto& c : map->colors)
                EXPECT_TRUE(c.isValid()) << name;
        }

        // Text must stand out from the screen behind it, whichever way round the theme is.
        EXPECT_GT(std::abs(toOKLab(t.digits).l - toOKLab(t.backgroundColors.front()).l), 0.3)
            << name << ": text contrast";

        distinctLooks.insert({t.digits.red, t.digits.green, t.digits.blue, t.backgroundColors.back().red,
                              t.backgroundColors.back().green, t.backgroundColors.back().blue});
    }
    EXPECT_EQ(distinctLooks.size(), 28u) << "no two themes look alike";
}

TEST(LCBuiltInTheme, LcdsAreLightScreensAndPhosphorsDarkOnes) {
    // Backlit LCDs are light screens with dark segments; phosphors are the other way round.
    for (const auto lcd : {LCBuiltInTheme::lcd, LCBuiltInTheme::lcdBlue, LCBuiltInTheme::lcdCyan,
                           LCBuiltInTheme::lcdGreen, LCBuiltInTheme::lcdNewton, LCBuiltInTheme::lcdOrange}) {
        const LCTheme& t = themeOf(lcd);
        EXPECT_LT(toOKLab(t.digits).l, toOKLab(t.backgroundColors.front()).l) << rawValue(lcd);
    }
    for (const auto phosphor : {LCBuiltInTheme::amber, LCBuiltInTheme::appleII, LCBuiltInTheme::pipBoy,
                                LCBuiltInTheme::radiumDial, LCBuiltInTheme::warmAmber}) {
        const LCTheme& t = themeOf(phosphor);
        EXPECT_GT(toOKLab(t.digits).l, toOKLab(t.backgroundColors.front()).l) << rawValue(phosphor);
    }
}

} // namespace
} // namespace lorvan

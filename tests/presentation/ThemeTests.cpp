#include "presentation/LCBuiltInTheme.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace lorvan {
namespace {

TEST(LCBuiltInTheme, OffersTwentyEightThemesInOrder) {
    const std::vector<std::string> expected{"Amber",
                                            "Amplifier",
                                            "Aperture Science",
                                            "Apple ][",
                                            "CDDA",
                                            "Copper",
                                            "Electric Blue",
                                            "Emergency Light",
                                            "Film noir",
                                            "Flynn (from PCalc)",
                                            "GG",
                                            "LCD",
                                            "LCD Blue Backlit",
                                            "LCD Cyan Backlit",
                                            "LCD Green Backlit",
                                            "LCD Newton",
                                            "LCD Orange Backlit",
                                            "Lumon Terminal Pro",
                                            "Marine",
                                            "Pip-Boy",
                                            "Radium Dial",
                                            "Synthwave",
                                            "Thermal",
                                            "VHS",
                                            "Viridis",
                                            "WarGames",
                                            "Warm Amber",
                                            "Winamp"};
    std::vector<std::string> names;
    for (const auto theme : allBuiltInThemes)
        names.emplace_back(rawValue(theme));
    EXPECT_EQ(names, expected);
    for (std::size_t i = 0; i < allBuiltInThemes.size(); ++i)
        EXPECT_EQ(static_cast<std::size_t>(allBuiltInThemes[i]), i);
}

TEST(LCBuiltInTheme, IsFoundByItsExactDisplayName) {
    for (const auto theme : allBuiltInThemes)
        EXPECT_EQ(builtInThemeFromRawValue(rawValue(theme)), theme);
    EXPECT_EQ(builtInThemeFromRawValue("LCD Newton"), LCBuiltInTheme::lcdNewton);
    EXPECT_EQ(builtInThemeFromRawValue("Apple ]["), LCBuiltInTheme::appleII);
    EXPECT_EQ(builtInThemeFromRawValue("vhs"), std::nullopt);
    EXPECT_EQ(builtInThemeFromRawValue("VHS "), std::nullopt);
    EXPECT_EQ(builtInThemeFromRawValue("appleII"), std::nullopt);
    EXPECT_EQ(builtInThemeFromRawValue(""), std::nullopt);

    std::unordered_set<LCBuiltInTheme> hashed(allBuiltInThemes.begin(), allBuiltInThemes.end());
    EXPECT_EQ(hashed.size(), 28u);
}

TEST(LCBuiltInTheme, ThemesAreBuiltOnceAndShared) {
    const LCTheme& first = themeOf(LCBuiltInTheme::synthwave);
    EXPECT_EQ(&first, &themeOf(LCBuiltInTheme::synthwave));
    EXPECT_NE(&first, &themeOf(LCBuiltInTheme::vhs));
}

void expectValid(const Color& color, const std::string& theme, const char* field) {
    EXPECT_TRUE(color.isValid()) << theme << ": " << field;
}

bool isFraction(double v) {
    return std::isfinite(v) && v >= 0 && v <= 1;
}
bool isSize(double v) {
    return std::isfinite(v) && v >= 0 && v <= 64;
}

TEST(LCBuiltInTheme, EveryThemeFillsEveryFieldWithValidValues) {
    std::set<std::vector<double>> distinctLooks;
    for (const auto builtIn : allBuiltInThemes) {
        const std::string name(rawValue(builtIn));
        const LCTheme& t = themeOf(builtIn);
        EXPECT_GE(t.backgroundColors.size(), 2u) << name;
        for (const auto& c : t.backgroundColors)
            expectValid(c, name, "backgroundColors");
#define LORVAN_EXPECT_COLOR(field) expectValid(t.field, name, #field)
        LORVAN_EXPECT_COLOR(matrix);
        LORVAN_EXPECT_COLOR(matrixHalo);
        LORVAN_EXPECT_COLOR(digits);
        LORVAN_EXPECT_COLOR(digitsHalo);
        LORVAN_EXPECT_COLOR(slider);
        LORVAN_EXPECT_COLOR(sliderHalo);
        LORVAN_EXPECT_COLOR(progressBar);
        LORVAN_EXPECT_COLOR(cursor);
        LORVAN_EXPECT_COLOR(cursorHalo);
        LORVAN_EXPECT_COLOR(navigatorMarker);
        LORVAN_EXPECT_COLOR(navigatorMarkerHalo);
        LORVAN_EXPECT_COLOR(navigatorHighlightBackground);
        LORVAN_EXPECT_COLOR(error);
        LORVAN_EXPECT_COLOR(topBorderShadowColor);
        LORVAN_EXPECT_COLOR(bottomBorderShadowColor);
        LORVAN_EXPECT_COLOR(glassReflectColor);
        LORVAN_EXPECT_COLOR(accentColor);
        LORVAN_EXPECT_COLOR(highlightedViewBackground);
        LORVAN_EXPECT_COLOR(highlightedViewPrimary);
        LORVAN_EXPECT_COLOR(highlightedViewSecondary);
        LORVAN_EXPECT_COLOR(hoveredTrackHighlight);
#undef LORVAN_EXPECT_COLOR
        for (double v : {t.offOpacity, t.haloOpacityA, t.haloOpacityB})
            EXPECT_TRUE(isFraction(v)) << name;
        for (double v :
             {t.haloRadiusA, t.haloRadiusB, t.topBorderShadowSize, t.bottomBorderShadowSize, t.overallBlur})
            EXPECT_TRUE(isSize(v)) << name;
        EXPECT_LE(t.haloRadiusA, t.haloRadiusB) << name << ": the inner glow is the tighter one";
        EXPECT_TRUE(std::isfinite(t.haloX) && std::abs(t.haloX) <= 8) << name;
        EXPECT_TRUE(std::isfinite(t.haloY) && std::abs(t.haloY) <= 8) << name;
        EXPECT_GT(t.digits.alpha, 0.9) << name << ": lit characters are opaque";

        EXPECT_GE(t.bufferColorMap.colors.size(), 2u) << name;
        EXPECT_GE(t.volumeColorMap.colors.size(), 2u) << name;
        EXPECT_TRUE(t.bufferColorMap.name.has_value()) << name;
        EXPECT_TRUE(t.volumeColorMap.name.has_value()) << name;
        for (const auto& c : t.volumeColorMap.colors)
            EXPECT_TRUE(c.isValid()) << name;

        const auto haloGeometry = t.haloGeometry();
        EXPECT_EQ(haloGeometry, (LCHaloGeometry{t.haloX, t.haloY, t.haloRadiusA, t.haloOpacityA,
                                                t.haloRadiusB, t.haloOpacityB}));
        const LCHalo halo = t.halo(t.digitsHalo);
        EXPECT_EQ(halo.color, t.digitsHalo);
        EXPECT_EQ(halo.radiusB, t.haloRadiusB);

        // Text must stand out from the screen behind it, whichever way round the theme is.
        EXPECT_GT(std::abs(toOKLab(t.digits).l - toOKLab(t.backgroundColors.front()).l), 0.3)
            << name << ": text contrast";

        distinctLooks.insert({t.digits.red, t.digits.green, t.digits.blue, t.backgroundColors.back().red,
                              t.backgroundColors.back().green, t.backgroundColors.back().blue});
    }
    EXPECT_EQ(distinctLooks.size(), 28u) << "no two themes look alike";
}

TEST(LCBuiltInTheme, AmberIsTheCalibratedPhosphor) {
    const LCTheme& t = themeOf(LCBuiltInTheme::amber);
    const Color main = Color::rgb(0xFFAA00);
    for (const Color& c : {t.matrix, t.matrixHalo, t.digits, t.digitsHalo, t.slider, t.sliderHalo, t.cursor,
                           t.cursorHalo, t.navigatorMarker, t.navigatorMarkerHalo})
        EXPECT_EQ(c, main);
    EXPECT_TRUE(t.matrixEffect);
    ASSERT_EQ(t.backgroundColors.size(), 2u);
    EXPECT_EQ(t.backgroundColors[0], Color::black());
    EXPECT_EQ(t.backgroundColors[1], Color::black().mixed(main, 0.81));
    EXPECT_EQ(t.error, (Color{1.0, 1.0, 0.2, 1}));
    EXPECT_EQ(t.offOpacity, 0.12);
    EXPECT_EQ(t.haloGeometry(), (LCHaloGeometry{0, 0, 4.0, 0.21, 16.0, 0.81}));
    EXPECT_EQ(t.topBorderShadowColor, Color::black(0.35));
    EXPECT_EQ(t.bottomBorderShadowColor, Color::black(0.35));
    EXPECT_EQ(t.topBorderShadowSize, 24.0);
    EXPECT_EQ(t.bottomBorderShadowSize, 24.0);
    EXPECT_EQ(t.overallBlur, 0);
    EXPECT_EQ(t.highlightedViewSecondary, Color::black().mixed(main, 0.2));
}

TEST(LCBuiltInTheme, ThemesUseTheMapsTheyAreNamedAfter) {
    EXPECT_EQ(themeOf(LCBuiltInTheme::viridis).volumeColorMap, ColorMap(ColorMap::Preset::viridis));
    EXPECT_EQ(themeOf(LCBuiltInTheme::thermal).volumeColorMap, ColorMap(ColorMap::Preset::inferno));
    EXPECT_EQ(themeOf(LCBuiltInTheme::synthwave).volumeColorMap, ColorMap(ColorMap::Preset::synthwave));
    EXPECT_EQ(themeOf(LCBuiltInTheme::filmNoir).volumeColorMap, ColorMap(ColorMap::Preset::grayscale));

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

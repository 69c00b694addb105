#include "presentation/Color.hpp"
#include "presentation/ColorMap.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

void expectColor(const Color& actual, const Color& expected, double tolerance = 1e-6) {
    EXPECT_NEAR(actual.red, expected.red, tolerance);
    EXPECT_NEAR(actual.green, expected.green, tolerance);
    EXPECT_NEAR(actual.blue, expected.blue, tolerance);
    EXPECT_NEAR(actual.alpha, expected.alpha, tolerance);
}

TEST(Color, ReadsHexComponentsAsFractions) {
    expectColor(Color::rgb(0xFFAA00), {1.0, 170.0 / 255, 0, 1});
    expectColor(Color::rgb(0x27A372, 0.5), {39.0 / 255, 163.0 / 255, 114.0 / 255, 0.5});
    expectColor(Color::rgb(0x123456).withAlpha(0.25), {0x12 / 255.0, 0x34 / 255.0, 0x56 / 255.0, 0.25});
    EXPECT_TRUE(Color::rgb(0xFFFFFF).isValid());
    EXPECT_FALSE((Color{1.2, 0, 0, 1}.isValid()));
    EXPECT_FALSE((Color{0, 0, 0, -0.1}.isValid()));
    EXPECT_FALSE((Color{0, std::nan(""), 0, 1}.isValid()));
}

// Reference values from Ottosson's published OKLab conversion.
TEST(Color, ConvertsToOKLab) {
    for (const auto& [hex, l, a, b] :
         {std::tuple{0xFFFFFFu, 1.0, 0.0, 0.0}, {0xFF0000u, 0.62796, 0.22486, 0.12585},
          {0x0000FFu, 0.45201, -0.03246, -0.31153}, {0x000000u, 0.0, 0.0, 0.0}}) {
        const OKLab lab = toOKLab(Color::rgb(hex));
        EXPECT_NEAR(lab.l, l, 1e-4) << std::hex << hex;
        EXPECT_NEAR(lab.a, a, 1e-4) << std::hex << hex;
        EXPECT_NEAR(lab.b, b, 1e-4) << std::hex << hex;
    }

    for (const std::uint32_t hex : {0xFFAA00u, 0x27A372u, 0x808080u, 0x0A14A0u})
        expectColor(fromOKLab(toOKLab(Color::rgb(hex))), Color::rgb(hex), 1e-6);
}

TEST(Color, MixesInOKLab) {
    const Color amber = Color::rgb(0xFFAA00);
    expectColor(Color::black().mixed(amber, 0), Color::black());
    expectColor(Color::black().mixed(amber, 1), amber, 1e-6);
    expectColor(Color::black().mixed(amber, 7), amber, 1e-6); // clamped

    // Halfway from black to white is OKLab lightness 0.5: sRGB 0.3885 (99 of 255), far from
    // the 0.5 of a plain sRGB mix and the 0.735 of a linear-light mix.
    const Color grey = Color::black().mixed(Color::white(), 0.5);
    expectColor(grey, {0.38857, 0.38857, 0.38857, 1}, 1e-4);

    // Black 20 % towards amber keeps the amber hue at a fifth of its OKLab lightness.
    const Color dim = Color::black().mixed(amber, 0.2);
    const OKLab dimLab = toOKLab(dim), amberLab = toOKLab(amber);
    for (const auto& [dimmed, full] : {std::pair{dimLab.l, amberLab.l}, {dimLab.a, amberLab.a}, {dimLab.b, amberLab.b}})
        EXPECT_NEAR(dimmed, 0.2 * full, 1e-6);

    const Color halfClear = Color::white(0).mixed(Color::white(1), 0.25);
    EXPECT_NEAR(halfClear.alpha, 0.25, 1e-12);
}

// The meters light one entry per segment, so the sizes count; the perceptual maps are checked
// at their ends against the published data.
TEST(ColorMap, PresetsHaveTheirSizesAndValidEntries) {
    using P = ColorMap::Preset;
    for (const auto& [preset, size] :
         {std::pair{P::grayscale, 2u}, {P::audioBuffering, 10u}, {P::vintageAudioLoudness, 20u},
          {P::pureRGBAudioLoudness, 20u}, {P::audioLoudness, 10u}, {P::synthwave, 12u}, {P::magma, 256u},
          {P::inferno, 256u}, {P::plasma, 256u}, {P::viridis, 256u}}) {
        const ColorMap map(preset);
        EXPECT_EQ(map.colors.size(), size) << map.name.value_or("unnamed");
        for (const auto& c : map.colors)
            EXPECT_TRUE(c.isValid()) << map.name.value_or("unnamed");
    }

    const ColorMap magma(P::magma);
    expectColor(magma.colors.front(), {0.001462, 0.000466, 0.013866, 1});
    expectColor(magma.colors.back(), {0.987053, 0.991438, 0.749504, 1});
    expectColor(ColorMap(P::inferno).colors.back(), {0.988362, 0.998364, 0.644924, 1});
    expectColor(ColorMap(P::plasma).colors.front(), {0.050383, 0.029803, 0.527975, 1});
    expectColor(ColorMap(P::viridis).colors.front(), {0.267004, 0.004874, 0.329415, 1});
    expectColor(ColorMap(P::viridis).colors.back(), {0.993248, 0.906157, 0.143936, 1});

    EXPECT_NE(ColorMap(P::audioLoudness), ColorMap(P::audioBuffering));
    EXPECT_NE(ColorMap(P::audioLoudness), ColorMap(std::nullopt, ColorMap(P::audioLoudness).colors));
}

TEST(ColorMap, MetersPickEntriesByLevel) {
    const ColorMap loudness(ColorMap::Preset::audioLoudness); // green ×7, yellow, orange, red
    // Levels out of range, not a number included, take the nearer end.
    for (const auto& [level, hex] : {std::pair{0.0, 0x27A372}, {0.69, 0x27A372}, {0.7, 0xE5BE5C}, {0.95, 0xE64242},
                                     {1.0, 0xE64242}, {42.0, 0xE64242}, {-1.0, 0x27A372}, {std::nan(""), 0x27A372}})
        EXPECT_EQ(loudness.colorAt(level), Color::rgb(hex)) << level;

    // One entry per segment when the counts match; even sampling otherwise.
    const ColorMap vintage(ColorMap::Preset::vintageAudioLoudness);
    for (std::size_t i = 0; i < 20; ++i)
        EXPECT_EQ(vintage.segmentColor(i, 20), vintage.colors[i]);
    const ColorMap viridis(ColorMap::Preset::viridis);
    EXPECT_EQ(viridis.segmentColor(0, 4), viridis.colors[32]);
    EXPECT_EQ(viridis.segmentColor(3, 4), viridis.colors[224]);
    EXPECT_EQ(ColorMap(std::nullopt, {}).colorAt(0.5), Color::clear());

    // Two entries make a ramp: grey halfway, the ends at the ends.
    const ColorMap grayscale(ColorMap::Preset::grayscale);
    expectColor(grayscale.colorAt(0), Color::black());
    expectColor(grayscale.colorAt(1), Color::white(), 1e-6);
    EXPECT_NEAR(grayscale.colorAt(0.5).red, 0.38857, 1e-4);
    EXPECT_LT(grayscale.segmentColor(3, 10).red, grayscale.segmentColor(4, 10).red);
}

} // namespace
} // namespace lorvan

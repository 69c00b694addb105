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
    const OKLab white = toOKLab(Color::white());
    EXPECT_NEAR(white.l, 1.0, 1e-4);
    EXPECT_NEAR(white.a, 0.0, 1e-4);
    EXPECT_NEAR(white.b, 0.0, 1e-4);
    const OKLab red = toOKLab(Color::rgb(0xFF0000));
    EXPECT_NEAR(red.l, 0.62796, 1e-4);
    EXPECT_NEAR(red.a, 0.22486, 1e-4);
    EXPECT_NEAR(red.b, 0.12585, 1e-4);
    const OKLab blue = toOKLab(Color::rgb(0x0000FF));
    EXPECT_NEAR(blue.l, 0.45201, 1e-4);
    EXPECT_NEAR(blue.a, -0.03246, 1e-4);
    EXPECT_NEAR(blue.b, -0.31153, 1e-4);
    const OKLab black = toOKLab(Color::black());
    EXPECT_NEAR(black.l, 0.0, 1e-9);

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
    EXPECT_NEAR(grey.red, 0.38857, 1e-4);
    EXPECT_NEAR(grey.green, grey.red, 1e-6);
    EXPECT_NEAR(grey.blue, grey.red, 1e-6);

    // Black 20 % towards amber keeps the amber hue at a fifth of its OKLab lightness.
    const Color dim = Color::black().mixed(amber, 0.2);
    const OKLab dimLab = toOKLab(dim), amberLab = toOKLab(amber);
    EXPECT_NEAR(dimLab.l, 0.2 * amberLab.l, 1e-6);
    EXPECT_NEAR(dimLab.a, 0.2 * amberLab.a, 1e-6);
    EXPECT_NEAR(dimLab.b, 0.2 * amberLab.b, 1e-6);
    EXPECT_GT(dim.red, dim.green);
    EXPECT_NEAR(dim.blue, 0, 0.01);

    const Color halfClear = Color::white(0).mixed(Color::white(1), 0.25);
    EXPECT_NEAR(halfClear.alpha, 0.25, 1e-12);
}

TEST(ColorMap, PresetsHaveTheirNamesSizesAndEntries) {
    using P = ColorMap::Preset;
    struct Expected {
        P preset;
        const char* name;
        std::size_t size;
    };
    for (const auto& e :
         {Expected{P::grayscale, "Grayscale", 2}, Expected{P::audioBuffering, "Lorvan audio buffering", 10},
          Expected{P::vintageAudioLoudness, "Vintage audio loudness", 20},
          Expected{P::pureRGBAudioLoudness, "Pure RGB audio loudness", 20},
          Expected{P::audioLoudness, "Lorvan audio loudness", 10},
          Expected{P::synthwave, "Lorvan Synthwave", 12}, Expected{P::magma, "Magma", 256},
          Expected{P::inferno, "Inferno", 256}, Expected{P::plasma, "Plasma", 256},
          Expected{P::viridis, "Viridis", 256}}) {
        const ColorMap map(e.preset);
        EXPECT_EQ(map.name, e.name);
        EXPECT_EQ(map.colors.size(), e.size) << e.name;
        for (const auto& c : map.colors)
            EXPECT_TRUE(c.isValid()) << e.name;
        EXPECT_EQ(map, ColorMap(e.preset));
    }

    const ColorMap magma(P::magma);
    expectColor(magma.colors.front(), {0.001462, 0.000466, 0.013866, 1});
    expectColor(magma.colors.back(), {0.987053, 0.991438, 0.749504, 1});
    expectColor(ColorMap(P::inferno).colors.back(), {0.988362, 0.998364, 0.644924, 1});
    expectColor(ColorMap(P::plasma).colors.front(), {0.050383, 0.029803, 0.527975, 1});
    expectColor(ColorMap(P::viridis).colors.front(), {0.267004, 0.004874, 0.329415, 1});
    expectColor(ColorMap(P::viridis).colors.back(), {0.993248, 0.906157, 0.143936, 1});

    const ColorMap buffering(P::audioBuffering);
    EXPECT_EQ(buffering.colors[0], Color::rgb(0xE64242));
    EXPECT_EQ(buffering.colors[2], Color::rgb(0xE5BE5C));
    EXPECT_EQ(buffering.colors[9], Color::rgb(0x27A372));
    const ColorMap vintage(P::vintageAudioLoudness);
    EXPECT_EQ(vintage.colors[13], Color::rgb(0x33FF33));
    EXPECT_EQ(vintage.colors[14], Color::rgb(0xFFFF33));
    EXPECT_EQ(vintage.colors[17], Color::rgb(0xFFAA00));
    EXPECT_EQ(vintage.colors[19], Color::rgb(0xFF1A1A));
    EXPECT_EQ(ColorMap(P::pureRGBAudioLoudness).colors[16], Color::rgb(0xFF7F00));
    EXPECT_EQ(ColorMap(P::synthwave).colors[11], Color::rgb(0xFF7AF3));
    EXPECT_EQ(ColorMap(P::grayscale).colors, (std::vector<Color>{Color::black(), Color::white()}));

    EXPECT_NE(ColorMap(P::audioLoudness), ColorMap(P::audioBuffering));
    EXPECT_NE(ColorMap(P::audioLoudness), ColorMap(std::nullopt, ColorMap(P::audioLoudness).colors));
}

TEST(ColorMap, MetersPickEntriesByLevel) {
    const ColorMap loudness(ColorMap::Preset::audioLoudness); // green ×7, yellow, orange, red
    EXPECT_EQ(loudness.colorAt(0), Color::rgb(0x27A372));
    EXPECT_EQ(loudness.colorAt(0.69), Color::rgb(0x27A372));
    EXPECT_EQ(loudness.colorAt(0.7), Color::rgb(0xE5BE5C));
    EXPECT_EQ(loudness.colorAt(0.95), Color::rgb(0xE64242));
    EXPECT_EQ(loudness.colorAt(1), Color::rgb(0xE64242));
    EXPECT_EQ(loudness.colorAt(42), Color::rgb(0xE64242));
    EXPECT_EQ(loudness.colorAt(-1), Color::rgb(0x27A372));
    EXPECT_EQ(loudness.colorAt(std::nan("")), Color::rgb(0x27A372));

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

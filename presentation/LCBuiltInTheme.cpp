#include "presentation/LCBuiltInTheme.hpp"

#include "core/FatalError.hpp"

#include <algorithm>
#include <utility>

namespace lorvan {
namespace {

using Preset = ColorMap::Preset;

constexpr std::array<std::pair<LCBuiltInTheme, std::string_view>, 28> displayNames{{
    {LCBuiltInTheme::amber, "Amber"},
    {LCBuiltInTheme::amplifier, "Amplifier"},
    {LCBuiltInTheme::apertureScience, "Aperture Science"},
    {LCBuiltInTheme::appleII, "Apple ]["},
    {LCBuiltInTheme::cdda, "CDDA"},
    {LCBuiltInTheme::copper, "Copper"},
    {LCBuiltInTheme::electricBlue, "Electric Blue"},
    {LCBuiltInTheme::emergencyLight, "Emergency Light"},
    {LCBuiltInTheme::filmNoir, "Film noir"},
    {LCBuiltInTheme::flynn, "Flynn (from PCalc)"},
    {LCBuiltInTheme::gg, "GG"},
    {LCBuiltInTheme::lcd, "LCD"},
    {LCBuiltInTheme::lcdBlue, "LCD Blue Backlit"},
    {LCBuiltInTheme::lcdCyan, "LCD Cyan Backlit"},
    {LCBuiltInTheme::lcdGreen, "LCD Green Backlit"},
    {LCBuiltInTheme::lcdNewton, "LCD Newton"},
    {LCBuiltInTheme::lcdOrange, "LCD Orange Backlit"},
    {LCBuiltInTheme::lumon, "Lumon Terminal Pro"},
    {LCBuiltInTheme::marine, "Marine"},
    {LCBuiltInTheme::pipBoy, "Pip-Boy"},
    {LCBuiltInTheme::radiumDial, "Radium Dial"},
    {LCBuiltInTheme::synthwave, "Synthwave"},
    {LCBuiltInTheme::thermal, "Thermal"},
    {LCBuiltInTheme::vhs, "VHS"},
    {LCBuiltInTheme::viridis, "Viridis"},
    {LCBuiltInTheme::warGames, "WarGames"},
    {LCBuiltInTheme::warmAmber, "Warm Amber"},
    {LCBuiltInTheme::winamp, "Winamp"},
}};

/// A glowing one-colour display (phosphor, VFD, LED), calibrated on the amber tube: black fading
/// into a dim glow of the main colour, unlit dots barely visible, a tight and a wide halo.
LCTheme emissive(Color main) {
    LCTheme t;
    t.backgroundColors = {Color::black(), Color::black().mixed(main, 0.81)};
    t.matrix = t.matrixHalo = main;
    t.matrixEffect = true;
    t.digits = t.digitsHalo = main;
    t.slider = t.sliderHalo = main;
    t.progressBar = main;
    t.cursor = t.cursorHalo = main;
    t.navigatorMarker = t.navigatorMarkerHalo = main;
    t.navigatorHighlightBackground = main.withAlpha(0.2);
    t.error = {1.0, 1.0, 0.2, 1};
    t.offOpacity = 0.12;
    t.haloRadiusA = 4.0;
    t.haloOpacityA = 0.21;
    t.haloRadiusB = 16.0;
    t.haloOpacityB = 0.81;
    t.haloX = t.haloY = 0;
    t.topBorderShadowColor = t.bottomBorderShadowColor = Color::black(0.35);
    t.topBorderShadowSize = t.bottomBorderShadowSize = 24.0;
    t.glassReflectColor = Color::white(0.06);
    t.overallBlur = 0;
    t.accentColor = main;
    t.highlightedViewBackground = Color::black().mixed(main, 0.35);
    t.highlightedViewPrimary = main;
    t.highlightedViewSecondary = Color::black().mixed(main, 0.2);
    t.hoveredTrackHighlight = main.withAlpha(0.12);
    t.bufferColorMap = ColorMap(Preset::audioBuffering);
    t.volumeColorMap = ColorMap(Preset::vintageAudioLoudness);
    return t;
}

/// A transmissive LCD: a lit backlight (`top` to `bottom`) with dark `ink` segments that cast a
/// faint shadow down and to the right instead of glowing.
LCTheme backlit(Color top, Color bottom, Color ink) {
    LCTheme t;
    t.backgroundColors = {top, bottom};
    t.matrix = ink;
    t.matrixHalo = ink.withAlpha(0.5);
    t.matrixEffect = true;
    t.digits = ink;
    t.digitsHalo = ink.withAlpha(0.6);
    t.slider = ink;
    t.sliderHalo = ink.withAlpha(0.6);
    t.progressBar = ink;
    t.cursor = ink;
    t.cursorHalo = ink.withAlpha(0.6);
    t.navigatorMarker = ink;
    t.navigatorMarkerHalo = ink.withAlpha(0.6);
    t.navigatorHighlightBackground = ink.withAlpha(0.15);
    t.error = Color::rgb(0xB00000);
    t.offOpacity = 0.07;
    t.haloRadiusA = 1.0;
    t.haloOpacityA = 0.3;
    t.haloRadiusB = 3.0;
    t.haloOpacityB = 0.12;
    t.haloX = 1.0;
    t.haloY = 1.5;
    t.topBorderShadowColor = Color::black(0.3);
    t.topBorderShadowSize = 18.0;
    t.bottomBorderShadowColor = Color::black(0.2);
    t.bottomBorderShadowSize = 12.0;
    t.glassReflectColor = Color::white(0.16);
    t.overallBlur = 0;
    t.accentColor = bottom.mixed(ink, 0.3);
    t.highlightedViewBackground = top.mixed(ink, 0.15);
    t.highlightedViewPrimary = ink;
    t.highlightedViewSecondary = top.mixed(ink, 0.6);
    t.hoveredTrackHighlight = ink.withAlpha(0.08);
    t.bufferColorMap = ColorMap(Preset::audioBuffering);
    t.volumeColorMap = ColorMap(Preset::audioLoudness);
    return t;
}

LCTheme make(LCBuiltInTheme which) {
    using T = LCBuiltInTheme;
    switch (which) {
    case T::amber:
        return emissive(Color::rgb(0xFFAA00));
    case T::amplifier: { // the lamp-lit cream face of an amplifier's VU meters, red peak zone
        LCTheme t = backlit(Color::rgb(0xF7E7B4), Color::rgb(0xE3BF74), Color::rgb(0x1C150C));
        t.progressBar = Color::rgb(0x1C150C);
        t.cursor = Color::rgb(0xC8201A);
        t.cursorHalo = Color::rgb(0xC8201A, 0.6);
        t.navigatorMarker = Color::rgb(0xC8201A);
        t.navigatorMarkerHalo = Color::rgb(0xC8201A, 0.6);
        t.glassReflectColor = Color::white(0.22);
        t.topBorderShadowColor = Color::rgb(0x3A2000, 0.35);
        t.bottomBorderShadowColor = Color::rgb(0x3A2000, 0.3);
        t.volumeColorMap = ColorMap(Preset::vintageAudioLoudness);
        return t;
    }
    case T::apertureScience: { // clinical white test chamber, orange and blue portals
        LCTheme t = backlit(Color::rgb(0xF6F7F8), Color::rgb(0xD9DDE0), Color::rgb(0x2A2D30));
        t.progressBar = Color::rgb(0xFF8A00);
        t.cursor = Color::rgb(0x0A8FE0);
        t.cursorHalo = Color::rgb(0x0A8FE0, 0.8);
        t.navigatorMarker = Color::rgb(0xFF8A00);
        t.navigatorMarkerHalo = Color::rgb(0xFF8A00, 0.6);
        t.slider = Color::rgb(0x0A8FE0);
        t.accentColor = Color::rgb(0x0A8FE0);
        t.error = Color::rgb(0xE0301E);
        t.haloX = 0.5;
        t.haloY = 1.0;
        t.offOpacity = 0.05;
        return t;
    }
    case T::appleII: { // P1 green phosphor monitor
        LCTheme t = emissive(Color::rgb(0x41FF2A));
        t.backgroundColors = {Color::rgb(0x000000), Color::rgb(0x041A04)};
        t.offOpacity = 0.1;
        t.overallBlur = 0.4;
        return t;
    }
    case T::cdda: { // silver lettering over the iridescent shimmer of a disc
        LCTheme t = emissive(Color::rgb(0xE9EEF4));
        t.backgroundColors = {Color::rgb(0x161821), Color::rgb(0x2C1E3A), Color::rgb(0x123040),
                              Color::rgb(0x2F3A20)};
        t.progressBar = Color::rgb(0xB8C6D8);
        t.cursor = Color::rgb(0x7FE7FF);
        t.cursorHalo = Color::rgb(0x7FE7FF);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0xFFB7F0);
        t.haloOpacityB = 0.35;
        t.offOpacity = 0.08;
        t.glassReflectColor = Color::white(0.12);
        t.volumeColorMap = ColorMap(Preset::plasma);
        return t;
    }
    case T::copper: {
        LCTheme t = emissive(Color::rgb(0xE08A5A));
        t.backgroundColors = {Color::rgb(0x0F0705), Color::rgb(0x3A1C10)};
        t.progressBar = Color::rgb(0xB86B43);
        t.haloOpacityB = 0.55;
        t.volumeColorMap = ColorMap(Preset::vintageAudioLoudness);
        return t;
    }
    case T::electricBlue: {
        LCTheme t = emissive(Color::rgb(0x2E9BFF));
        t.backgroundColors = {Color::rgb(0x01030C), Color::rgb(0x061A3D)};
        t.offOpacity = 0.15;
        t.haloOpacityA = 0.35;
        t.error = Color::rgb(0xFF5A7A);
        t.volumeColorMap = ColorMap(Preset::pureRGBAudioLoudness);
        return t;
    }
    case T::emergencyLight: {
        LCTheme t = emissive(Color::rgb(0xFF2414));
        t.backgroundColors = {Color::rgb(0x080000), Color::rgb(0x2A0200)};
        t.offOpacity = 0.14;
        t.haloOpacityA = 0.3;
        t.error = Color::rgb(0xFFFFFF);
        return t;
    }
    case T::filmNoir: {
        LCTheme t = emissive(Color::rgb(0xEDEDED));
        t.backgroundColors = {Color::rgb(0x050505), Color::rgb(0x2A2A2A)};
        t.haloOpacityB = 0.4;
        t.offOpacity = 0.1;
        t.error = Color::rgb(0xFFFFFF);
        t.glassReflectColor = Color::white(0.1);
        t.bufferColorMap = ColorMap(Preset::grayscale);
        t.volumeColorMap = ColorMap(Preset::grayscale);
        return t;
    }
    case T::flynn: { // the light-cycle cyan of a glowing grid
        LCTheme t = emissive(Color::rgb(0x6FF3FF));
        t.backgroundColors = {Color::rgb(0x000305), Color::rgb(0x04202A)};
        t.haloRadiusA = 5.0;
        t.haloOpacityA = 0.45;
        t.progressBar = Color::rgb(0xFFFFFF);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0xFF9B2E);
        t.error = Color::rgb(0xFF9B2E);
        return t;
    }
    case T::gg: { // a pocket console's pea-green screen in four shades
        LCTheme t = backlit(Color::rgb(0x9BBC0F), Color::rgb(0x8BAC0F), Color::rgb(0x0F380F));
        t.progressBar = Color::rgb(0x306230);
        t.offOpacity = 0.1;
        t.matrixEffect = true;
        t.glassReflectColor = Color::white(0.08);
        // Meters in shades from ink to paper, like everything else on that screen.
        t.volumeColorMap = ColorMap(Preset::grayscale);
        return t;
    }
    case T::lcd: // reflective grey-green, no backlight
        return backlit(Color::rgb(0xC6CCB4), Color::rgb(0xA9B198), Color::rgb(0x1B2016));
    case T::lcdBlue:
        return backlit(Color::rgb(0x4C8DFF), Color::rgb(0x1F55D6), Color::rgb(0x06123A));
    case T::lcdCyan:
        return backlit(Color::rgb(0x6CF2FA), Color::rgb(0x22C3D6), Color::rgb(0x032A31));
    case T::lcdGreen: { // green meters would vanish into a green backlight
        LCTheme t = backlit(Color::rgb(0x63F0A0), Color::rgb(0x25C46E), Color::rgb(0x03240F));
        t.volumeColorMap = ColorMap(Preset::grayscale);
        return t;
    }
    case T::lcdNewton: { // the handheld's blue-black ink on grey-green glass
        LCTheme t = backlit(Color::rgb(0xA9B6A0), Color::rgb(0x8E9C88), Color::rgb(0x17202E));
        t.haloX = 1.5;
        t.haloY = 2.0;
        t.haloOpacityA = 0.22;
        return t;
    }
    case T::lcdOrange:
        return backlit(Color::rgb(0xFFB347), Color::rgb(0xF2861A), Color::rgb(0x2B1200));
    case T::lumon: { // an office terminal's pale cyan on deep blue-black glass
        LCTheme t = emissive(Color::rgb(0xD2F4F7));
        t.backgroundColors = {Color::rgb(0x07162A), Color::rgb(0x0D2A44)};
        t.haloRadiusB = 10.0;
        t.haloOpacityB = 0.25;
        t.offOpacity = 0.09;
        t.progressBar = Color::rgb(0x5FB8C4);
        t.volumeColorMap = ColorMap(Preset::audioLoudness);
        return t;
    }
    case T::marine: { // white on deep navy, like a ship's instruments
        LCTheme t = emissive(Color::rgb(0xE4F1FF));
        t.backgroundColors = {Color::rgb(0x0B3D6E), Color::rgb(0x041C38)};
        t.progressBar = Color::rgb(0x5CC8E6);
        t.cursor = t.cursorHalo = Color::rgb(0xFFD24A);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0xFFD24A);
        t.haloOpacityB = 0.3;
        t.offOpacity = 0.1;
        t.volumeColorMap = ColorMap(Preset::audioLoudness);
        return t;
    }
    case T::pipBoy: { // wrist computer: mint phosphor behind curved, dusty glass
        LCTheme t = emissive(Color::rgb(0x1BFF80));
        t.backgroundColors = {Color::rgb(0x021A0C), Color::rgb(0x0A3A1C)};
        t.offOpacity = 0.18;
        t.haloOpacityB = 0.6;
        t.glassReflectColor = Color::rgb(0xC8FFD8, 0.1);
        t.volumeColorMap = ColorMap(Preset::vintageAudioLoudness);
        return t;
    }
    case T::radiumDial: { // luminous paint on a watch dial: pale yellow-green, soft and wide
        LCTheme t = emissive(Color::rgb(0xC9FF7A));
        t.backgroundColors = {Color::rgb(0x020301), Color::rgb(0x10160A)};
        t.haloRadiusA = 6.0;
        t.haloOpacityA = 0.4;
        t.haloRadiusB = 22.0;
        t.offOpacity = 0.06;
        return t;
    }
    case T::synthwave: {
        LCTheme t = emissive(Color::rgb(0xFF4FE6));
        t.backgroundColors = {Color::rgb(0x12002A), Color::rgb(0x3B0A5E), Color::rgb(0x8A1A6B)};
        t.progressBar = Color::rgb(0xF7C80C);
        t.cursor = t.cursorHalo = Color::rgb(0x1BE6FF);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0x1BE6FF);
        t.slider = t.sliderHalo = Color::rgb(0x1BE6FF);
        t.haloOpacityA = 0.35;
        t.offOpacity = 0.14;
        t.error = Color::rgb(0xF7C80C);
        t.glassReflectColor = Color::rgb(0xFFB0F0, 0.08);
        t.bufferColorMap = ColorMap(Preset::synthwave);
        t.volumeColorMap = ColorMap(Preset::synthwave);
        return t;
    }
    case T::thermal: { // a heat camera: inferno hues, white-hot text
        LCTheme t = emissive(Color::rgb(0xFCFFA4));
        t.backgroundColors = {Color::rgb(0x000004), Color::rgb(0x0C0618), Color::rgb(0x1E0A30)};
        t.progressBar = Color::rgb(0xF98E09);
        t.cursor = t.cursorHalo = Color::rgb(0xFFFFFF);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0xE35933);
        t.haloOpacityB = 0.45;
        t.offOpacity = 0.1;
        t.bufferColorMap = ColorMap(Preset::inferno);
        t.volumeColorMap = ColorMap(Preset::inferno);
        return t;
    }
    case T::vhs: { // a video recorder's on-screen display: white on flat blue, slightly soft
        LCTheme t = emissive(Color::rgb(0xF4F6FF));
        t.backgroundColors = {Color::rgb(0x1020C8), Color::rgb(0x0A14A0)};
        t.matrix = t.matrixHalo = Color::rgb(0xC8D0FF);
        t.offOpacity = 0.08;
        t.haloRadiusA = 2.0;
        t.haloOpacityA = 0.35;
        t.haloRadiusB = 8.0;
        t.haloOpacityB = 0.25;
        t.haloX = 1.0;
        t.haloY = 0;
        t.progressBar = Color::rgb(0x00E5FF);
        t.cursor = t.cursorHalo = Color::rgb(0xFFFF55);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0xFFFF55);
        t.error = Color::rgb(0xFF5555);
        t.topBorderShadowColor = t.bottomBorderShadowColor = Color::black(0.3);
        t.glassReflectColor = Color::white(0.08);
        t.overallBlur = 0.5;
        t.highlightedViewBackground = Color::rgb(0x2A3AE0);
        t.highlightedViewSecondary = Color::rgb(0x1020C8).mixed(Color::white(), 0.5);
        t.bufferColorMap = ColorMap(Preset::audioBuffering);
        t.volumeColorMap = ColorMap(Preset::pureRGBAudioLoudness);
        return t;
    }
    case T::viridis: {
        LCTheme t = emissive(Color::rgb(0xFDE725));
        t.backgroundColors = {Color::rgb(0x08040C), Color::rgb(0x1C0A2C), Color::rgb(0x10202E)};
        t.progressBar = Color::rgb(0x35B779);
        t.cursor = t.cursorHalo = Color::rgb(0x6ECE58);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0x21918C);
        t.haloOpacityB = 0.4;
        t.offOpacity = 0.1;
        t.bufferColorMap = ColorMap(Preset::viridis);
        t.volumeColorMap = ColorMap(Preset::viridis);
        return t;
    }
    case T::warGames: { // a war-room terminal: icy blue-white on black
        LCTheme t = emissive(Color::rgb(0xBFE4FF));
        t.backgroundColors = {Color::rgb(0x000000), Color::rgb(0x050A14)};
        t.progressBar = Color::rgb(0xFF3030);
        t.cursor = t.cursorHalo = Color::rgb(0xFF3030);
        t.navigatorMarker = t.navigatorMarkerHalo = Color::rgb(0xFF3030);
        t.haloOpacityB = 0.5;
        t.offOpacity = 0.07;
        t.error = Color::rgb(0xFF3030);
        t.volumeColorMap = ColorMap(Preset::pureRGBAudioLoudness);
        return t;
    }
    case T::warmAmber: {
        LCTheme t = emissive(Color::rgb(0xFF7A1A));
        t.backgroundColors = {Color::black(), Color::black().mixed(Color::rgb(0xFF7A1A), 0.3)};
        t.haloRadiusA = 5.0;
        t.haloOpacityA = 0.3;
        return t;
    }
    case T::winamp: { // a classic media player skin: crisp LCD green, no glow to speak of
        LCTheme t = emissive(Color::rgb(0x00E800));
        t.backgroundColors = {Color::rgb(0x000000), Color::rgb(0x16161E)};
        t.matrixEffect = false;
        t.haloRadiusA = 1.0;
        t.haloOpacityA = 0.2;
        t.haloRadiusB = 4.0;
        t.haloOpacityB = 0.1;
        t.offOpacity = 0.0;
        t.progressBar = Color::rgb(0xD6B84A);
        t.cursor = t.cursorHalo = Color::rgb(0xE0E0E0);
        t.error = Color::rgb(0xFF4040);
        t.volumeColorMap = ColorMap(Preset::pureRGBAudioLoudness);
        return t;
    }
    }
    fatalError("unknown built-in theme");
}

template <std::size_t... I> const LCTheme& cached(LCBuiltInTheme which, std::index_sequence<I...>) {
    const LCTheme* found = nullptr;
    // One function-local static per case: a theme is built the first time it is asked for.
    ((static_cast<std::size_t>(which) == I ? (void)(found = &[]() -> const LCTheme& {
         static const LCTheme theme = make(allBuiltInThemes[I]);
         return theme;
     }())
                                           : (void)0),
     ...);
    if (!found) fatalError("unknown built-in theme");
    return *found;
}

} // namespace

std::string_view rawValue(LCBuiltInTheme theme) {
    for (const auto& [which, name] : displayNames)
        if (which == theme) return name;
    fatalError("unknown built-in theme");
}

std::optional<LCBuiltInTheme> builtInThemeFromRawValue(std::string_view displayName) {
    const auto it = std::find_if(displayNames.begin(), displayNames.end(),
                                 [&](const auto& entry) { return entry.second == displayName; });
    if (it == displayNames.end()) return std::nullopt;
    return it->first;
}

const LCTheme& themeOf(LCBuiltInTheme theme) {
    return cached(theme, std::make_index_sequence<allBuiltInThemes.size()>{});
}

} // namespace lorvan

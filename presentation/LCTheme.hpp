#pragma once

#include "presentation/Color.hpp"
#include "presentation/ColorMap.hpp"

#include <vector>

namespace lorvan {

/// Where and how strongly a glow is drawn: two blurred layers, A (tight) and B (wide), each with
/// its radius in points and its opacity, both offset by (`x`, `y`) points.
struct LCHaloGeometry {
    double x = 0;
    double y = 0;
    double radiusA = 0;
    double opacityA = 0;
    double radiusB = 0;
    double opacityB = 0;

    friend bool operator==(const LCHaloGeometry&, const LCHaloGeometry&) = default;
};

/// A glow of one colour with the geometry of `LCHaloGeometry`.
struct LCHalo {
    Color color;
    double x = 0;
    double y = 0;
    double radiusA = 0;
    double opacityA = 0;
    double radiusB = 0;
    double opacityB = 0;

    LCHalo() = default;
    LCHalo(Color haloColor, const LCHaloGeometry& geometry)
        : color(haloColor)
        , x(geometry.x)
        , y(geometry.y)
        , radiusA(geometry.radiusA)
        , opacityA(geometry.opacityA)
        , radiusB(geometry.radiusB)
        , opacityB(geometry.opacityB) {}

    friend bool operator==(const LCHalo&, const LCHalo&) = default;
};

/// Everything the display and its surroundings take their look from. Numbers are in points or
/// are 0...1 fractions; colours carry their opacity.
struct LCTheme {
    std::vector<Color> backgroundColors;
    Color matrix;
    Color matrixHalo;
    bool matrixEffect = true;
    Color digits;
    Color digitsHalo;
    Color slider;
    Color sliderHalo;
    Color progressBar;
    Color cursor;
    Color cursorHalo;
    Color navigatorMarker;
    Color navigatorMarkerHalo;
    Color navigatorHighlightBackground;
    Color error;
    double offOpacity = 0;
    double haloRadiusA = 0;
    double haloOpacityA = 0;
    double haloRadiusB = 0;
    double haloOpacityB = 0;
    double haloX = 0;
    double haloY = 0;
    Color topBorderShadowColor;
    double topBorderShadowSize = 0;
    Color bottomBorderShadowColor;
    double bottomBorderShadowSize = 0;
    Color glassReflectColor;
    double overallBlur = 0;
    Color accentColor;
    Color highlightedViewBackground;
    Color highlightedViewPrimary;
    Color highlightedViewSecondary;
    Color hoveredTrackHighlight;
    ColorMap bufferColorMap{ColorMap::Preset::audioBuffering};
    ColorMap volumeColorMap{ColorMap::Preset::audioLoudness};

    [[nodiscard]] LCHaloGeometry haloGeometry() const {
        return {haloX, haloY, haloRadiusA, haloOpacityA, haloRadiusB, haloOpacityB};
    }
    /// The theme's glow geometry in `color`.
    [[nodiscard]] LCHalo halo(const Color& color) const { return {color, haloGeometry()}; }

    friend bool operator==(const LCTheme&, const LCTheme&) = default;
};

} // namespace lorvan

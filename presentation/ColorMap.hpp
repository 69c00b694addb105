#pragma once

#include "presentation/Color.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace lorvan {

/// A named list of colours indexed by level, lowest level first: a meter colours each of its
/// segments with the entry at that segment's level.
struct ColorMap {
    enum class Preset {
        grayscale,
        audioBuffering,
        vintageAudioLoudness,
        pureRGBAudioLoudness,
        audioLoudness,
        synthwave,
        magma,
        inferno,
        plasma,
        viridis,
    };

    std::optional<std::string> name;
    std::vector<Color> colors;

    ColorMap(std::optional<std::string> mapName, std::vector<Color> mapColors);
    /// The preset's map. Every call returns an equal value.
    explicit ColorMap(Preset preset);

    /// The colour for `level` (0 = lowest, 1 = highest; clamped). With n entries the levels are
    /// cut into n equal bands, so a 20-segment meter on a 20-entry map gets one entry per segment
    /// and a 10-segment meter on a 256-entry map samples it evenly. A two-entry map is a ramp
    /// between its ends, mixed in OKLab, rather than two halves.
    [[nodiscard]] Color colorAt(double level) const;

    /// The colour of segment `index` of a meter with `segmentCount` segments (lowest first),
    /// taken at the segment's centre.
    [[nodiscard]] Color segmentColor(std::size_t index, std::size_t segmentCount) const;

    friend bool operator==(const ColorMap&, const ColorMap&) = default;
};

} // namespace lorvan

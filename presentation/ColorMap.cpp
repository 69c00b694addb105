#include "presentation/ColorMap.hpp"

#include "core/FatalError.hpp"
#include "presentation/ColorMapTables.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <utility>

namespace lorvan {
namespace {

/// Builds a list from runs of (hex colour, count).
std::vector<Color> runs(std::initializer_list<std::pair<std::uint32_t, int>> parts) {
    std::vector<Color> colors;
    for (const auto& [hex, count] : parts)
        colors.insert(colors.end(), static_cast<std::size_t>(count), Color::rgb(hex));
    return colors;
}

std::vector<Color> table(const std::array<std::array<double, 3>, 256>& entries) {
    std::vector<Color> colors;
    colors.reserve(entries.size());
    for (const auto& e : entries)
        colors.push_back({e[0], e[1], e[2], 1});
    return colors;
}

ColorMap makePreset(ColorMap::Preset preset) {
    using P = ColorMap::Preset;
    switch (preset) {
    case P::grayscale:
        return {"Grayscale", {Color::black(), Color::white()}};
    case P::audioBuffering:
        return {"Lorvan audio buffering", runs({{0xE64242, 1}, {0xE66900, 1}, {0xE5BE5C, 1}, {0x27A372, 7}})};
    case P::vintageAudioLoudness:
        return {"Vintage audio loudness",
                runs({{0x33FF33, 14}, {0xFFFF33, 2}, {0xFFAA00, 2}, {0xFF1A1A, 2}})};
    case P::pureRGBAudioLoudness:
        return {"Pure RGB audio loudness",
                runs({{0x00FF00, 14}, {0xFFFF00, 2}, {0xFF7F00, 2}, {0xFF0000, 2}})};
    case P::audioLoudness:
        return {"Lorvan audio loudness", runs({{0x27A372, 7}, {0xE5BE5C, 1}, {0xE66900, 1}, {0xE64242, 1}})};
    case P::synthwave:
        return {"Lorvan Synthwave", runs({{0xF7C80C, 1},
                                          {0xF75A0C, 1},
                                          {0xD23434, 1},
                                          {0xC6015F, 1},
                                          {0x940466, 1},
                                          {0x63076E, 1},
                                          {0x16013E, 1},
                                          {0x18376F, 1},
                                          {0x196FA0, 1},
                                          {0x1BA5D1, 1},
                                          {0x8EE4FF, 1},
                                          {0xFF7AF3, 1}})};
    case P::magma:
        return {"Magma", table(colormaptables::magma)};
    case P::inferno:
        return {"Inferno", table(colormaptables::inferno)};
    case P::plasma:
        return {"Plasma", table(colormaptables::plasma)};
    case P::viridis:
        return {"Viridis", table(colormaptables::viridis)};
    }
    fatalError("unknown colour map preset");
}

} // namespace

ColorMap::ColorMap(std::optional<std::string> mapName, std::vector<Color> mapColors)
    : name(std::move(mapName))
    , colors(std::move(mapColors)) {}

ColorMap::ColorMap(Preset preset)
    : ColorMap(makePreset(preset)) {}

Color ColorMap::colorAt(double level) const {
    if (colors.empty()) return Color::clear();
    const double clamped = std::isfinite(level) ? std::clamp(level, 0.0, 1.0) : 0.0;
    if (colors.size() == 2) return colors[0].mixed(colors[1], clamped);
    const auto last = colors.size() - 1;
    return colors[std::min(last, static_cast<std::size_t>(clamped * static_cast<double>(colors.size())))];
}

Color ColorMap::segmentColor(std::size_t index, std::size_t segmentCount) const {
    if (segmentCount == 0) return colorAt(0);
    return colorAt((static_cast<double>(index) + 0.5) / static_cast<double>(segmentCount));
}

} // namespace lorvan

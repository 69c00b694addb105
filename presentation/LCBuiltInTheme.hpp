#pragma once

#include "presentation/LCTheme.hpp"

#include <array>
#include <functional>
#include <optional>
#include <string_view>

namespace lorvan {

/// The themes that ship with Lorvan, in the order they are offered. A case is shown, stored and
/// restored by its display name (`rawValue`), matched exactly.
enum class LCBuiltInTheme {
    amber,
    amplifier,
    apertureScience,
    appleII,
    cdda,
    copper,
    electricBlue,
    emergencyLight,
    filmNoir,
    flynn,
    gg,
    lcd,
    lcdBlue,
    lcdCyan,
    lcdGreen,
    lcdNewton,
    lcdOrange,
    lumon,
    marine,
    pipBoy,
    radiumDial,
    synthwave,
    thermal,
    vhs,
    viridis,
    warGames,
    warmAmber,
    winamp,
};

inline constexpr std::array<LCBuiltInTheme, 28> allBuiltInThemes{
    LCBuiltInTheme::amber,
    LCBuiltInTheme::amplifier,
    LCBuiltInTheme::apertureScience,
    LCBuiltInTheme::appleII,
    LCBuiltInTheme::cdda,
    LCBuiltInTheme::copper,
    LCBuiltInTheme::electricBlue,
    LCBuiltInTheme::emergencyLight,
    LCBuiltInTheme::filmNoir,
    LCBuiltInTheme::flynn,
    LCBuiltInTheme::gg,
    LCBuiltInTheme::lcd,
    LCBuiltInTheme::lcdBlue,
    LCBuiltInTheme::lcdCyan,
    LCBuiltInTheme::lcdGreen,
    LCBuiltInTheme::lcdNewton,
    LCBuiltInTheme::lcdOrange,
    LCBuiltInTheme::lumon,
    LCBuiltInTheme::marine,
    LCBuiltInTheme::pipBoy,
    LCBuiltInTheme::radiumDial,
    LCBuiltInTheme::synthwave,
    LCBuiltInTheme::thermal,
    LCBuiltInTheme::vhs,
    LCBuiltInTheme::viridis,
    LCBuiltInTheme::warGames,
    LCBuiltInTheme::warmAmber,
    LCBuiltInTheme::winamp,
};

/// The display name, e.g. "Apple ][" for `appleII`.
[[nodiscard]] std::string_view rawValue(LCBuiltInTheme theme);

/// The case whose display name is exactly `displayName`, if any ("vhs" finds nothing).
[[nodiscard]] std::optional<LCBuiltInTheme> builtInThemeFromRawValue(std::string_view displayName);

/// The theme's values: built on first use, then shared (thread-safe).
[[nodiscard]] const LCTheme& themeOf(LCBuiltInTheme theme);

} // namespace lorvan

template <> struct std::hash<lorvan::LCBuiltInTheme> {
    std::size_t operator()(lorvan::LCBuiltInTheme theme) const noexcept {
        return std::hash<std::string_view>{}(lorvan::rawValue(theme));
    }
};

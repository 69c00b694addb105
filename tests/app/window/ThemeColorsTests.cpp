#include "app/window/ThemeColors.hpp"
#include "presentation/LCBuiltInTheme.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace lorvan::window {
namespace {

// The playing row must read at a glance in every theme: its text stands out from the row, the
// accent's tint over the track list's well (OKLab lightness apart by 0.3 at least).
TEST(ThemeColors, ThePlayingRowReadsInEveryTheme) {
    for (const LCBuiltInTheme theme : allBuiltInThemes) {
        const ThemeColors colors = ThemeColors::of(themeOf(theme));
        const QColor row = over(colors.playingRow, colors.well);
        EXPECT_GE(std::abs(lightness(colors.playingText) - lightness(row)), 0.3)
            << rawValue(theme) << ": playing " << lightness(colors.playingText) << " on " << lightness(row)
            << " (ink " << lightness(colors.primary) << ", accent " << lightness(colors.accent) << ")";
    }
}

} // namespace
} // namespace lorvan::window

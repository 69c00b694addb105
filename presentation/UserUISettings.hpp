#pragma once

#include "core/UserDefaults.hpp"
#include "presentation/DisplayFont.hpp"
#include "presentation/LCBuiltInTheme.hpp"
#include "presentation/Published.hpp"

#include <memory>
#include <optional>
#include <string>

namespace lorvan {

/// The user's choices for the dot-matrix display (font, theme, brightness) and its fixed
/// geometry. Every display view subscribes to the published fields and redraws on a change.
/// Main thread only.
class UserUISettings {
public:
    /// Display name of the chosen built-in theme.
    static constexpr const char* selectedThemeKey = "selectedTheme";
    /// Brightness in its shortest decimal form.
    static constexpr const char* brightnessKey = "displayBrightness";
    static constexpr double minimumBrightness = 0.1;
    static constexpr double maximumBrightness = 1.0;
    static constexpr LCBuiltInTheme defaultTheme = LCBuiltInTheme::vhs;

    /// Restores the theme stored under "selectedTheme" (exact display name; anything else gives
    /// "VHS") and the stored brightness (1.0 when there is none). `defaults` must outlive this.
    explicit UserUISettings(UserDefaults& defaults);
    UserUISettings(const UserUISettings&) = delete;
    UserUISettings& operator=(const UserUISettings&) = delete;

    Published<std::shared_ptr<const DisplayFont>> font{DisplayFont::defaultFont()};
    /// Any theme may be set here; only `selectBuiltInTheme` remembers the choice.
    Published<LCTheme> theme;
    /// 0.1 to 1.0. Setting a value outside logs a warning and moves it to the nearest limit;
    /// valid values are stored.
    Published<double> brightness{1.0};

    static constexpr double matrixDotSize = 1.5;
    static constexpr long horizontalPaddingInMatrixDots = 12;
    static constexpr long topPaddingInMatrixDots = 6;
    static constexpr long bottomPaddingInMatrixDots = 7;
    double displayHeight = 274.0;
    double displayFullViewHeight = 512.0;

    /// Publishes the theme's values and writes its display name to "selectedTheme".
    void selectBuiltInTheme(LCBuiltInTheme builtIn);
    /// The built-in theme last selected or restored; nothing after a custom `theme.set`.
    [[nodiscard]] std::optional<LCBuiltInTheme> selectedBuiltInTheme() const { return selected_; }

private:
    void checkBrightness(double value);

    UserDefaults& defaults_;
    std::optional<LCBuiltInTheme> selected_;
    Published<LCTheme>::Subscription themeWatch_;
    Published<double>::Subscription brightnessCheck_;
};

/// "0.09 is a value too low for Display Brightness. It must between 0.1 and 1.0." for values
/// below the range, "... too high ..." above it, nothing inside it. NaN counts as too low.
[[nodiscard]] std::optional<std::string> brightnessWarning(double value);

/// The shortest decimal text that reads back as `value` ("1.5", "0.09", "1").
[[nodiscard]] std::string shortestDecimal(double value);

} // namespace lorvan

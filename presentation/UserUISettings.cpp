#include "presentation/UserUISettings.hpp"

#include "core/LogEntry.hpp"

#include <charconv>
#include <cmath>
#include <system_error>

namespace lorvan {
namespace {

LCBuiltInTheme restoredTheme(const UserDefaults& defaults) {
    if (const auto stored = defaults.string(UserUISettings::selectedThemeKey))
        if (const auto builtIn = builtInThemeFromRawValue(*stored)) return *builtIn;
    return UserUISettings::defaultTheme;
}

std::optional<double> parseDouble(const std::string& text) {
    double value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

} // namespace

std::string shortestDecimal(double value) {
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? std::string(buffer, end) : std::string("?");
}

std::optional<std::string> brightnessWarning(double value) {
    // The wording, including its missing "be", is what users have always seen.
    if (!(value >= UserUISettings::minimumBrightness))
        return shortestDecimal(value) +
               " is a value too low for Display Brightness. It must between 0.1 and 1.0.";
    if (value > UserUISettings::maximumBrightness)
        return shortestDecimal(value) +
               " is a value too high for Display Brightness. It must between 0.1 and 1.0.";
    return std::nullopt;
}

UserUISettings::UserUISettings(UserDefaults& defaults)
    : theme(themeOf(restoredTheme(defaults)))
    , defaults_(defaults)
    , selected_(restoredTheme(defaults)) {
    // The check is the first observer, so later observers only ever see a value in range.
    brightnessCheck_ = brightness.subscribe([this](double value) { checkBrightness(value); });
    themeWatch_ = theme.subscribe([this](const LCTheme& newTheme) {
        if (selected_ && themeOf(*selected_) != newTheme) selected_.reset();
    });

    if (const auto stored = defaults_.string(brightnessKey)) {
        if (const auto value = parseDouble(*stored))
            brightness.set(*value);
        else
            LogEntry::warning(
                "Ignoring the stored Display Brightness \"" + *stored + "\": it is not a number.", "➤")
                .print();
    }
}

void UserUISettings::checkBrightness(double value) {
    if (const auto warning = brightnessWarning(value)) {
        LogEntry::warning(*warning, "➤").print();
        brightness.set(value > maximumBrightness ? maximumBrightness : minimumBrightness);
        return;
    }
    const auto text = shortestDecimal(value);
    if (defaults_.string(brightnessKey) != text) defaults_.setString(brightnessKey, text);
}

void UserUISettings::selectBuiltInTheme(LCBuiltInTheme builtIn) {
    selected_ = builtIn;
    defaults_.setString(selectedThemeKey, std::string(rawValue(builtIn)));
    theme.set(themeOf(builtIn));
}

} // namespace lorvan

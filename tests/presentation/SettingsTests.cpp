#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"
#include "support/TestSupport.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace lorvan {
namespace {

TEST(UserUISettings, StartsWithTheDefaultsAndRestoresTheStoredThemeByExactName) {
    InMemoryUserDefaults empty;
    const UserUISettings fresh(empty);
    EXPECT_EQ(fresh.font.value()->name(), "PxPlus_IBM_VGA_9x16_Lorvan");
    EXPECT_EQ(fresh.brightness.value(), 1.0);
    EXPECT_FALSE(empty.string("selectedTheme")) << "restoring writes nothing";

    // Nothing stored, or anything but an exact name, falls back to VHS.
    for (const auto& [stored, expected] : std::vector<std::pair<std::optional<std::string>, LCBuiltInTheme>>{
             {std::nullopt, LCBuiltInTheme::vhs},
             {"LCD Newton", LCBuiltInTheme::lcdNewton},
             {"Apple ][", LCBuiltInTheme::appleII},
             {"lcd newton", LCBuiltInTheme::vhs},
             {"Amber ", LCBuiltInTheme::vhs},
             {"", LCBuiltInTheme::vhs}}) {
        InMemoryUserDefaults defaults;
        if (stored) defaults.setString("selectedTheme", *stored);
        const UserUISettings settings(defaults);
        EXPECT_EQ(settings.theme.value(), themeOf(expected)) << stored.value_or("nothing");
        EXPECT_EQ(settings.selectedBuiltInTheme(), expected) << stored.value_or("nothing");
    }
}

TEST(UserUISettings, PublishesAndStoresTheSelectedTheme) {
    InMemoryUserDefaults defaults;
    UserUISettings settings(defaults);
    std::vector<LCTheme> seen;
    auto subscription = settings.theme.subscribe([&](const LCTheme& theme) { seen.push_back(theme); });

    settings.selectBuiltInTheme(LCBuiltInTheme::thermal);
    EXPECT_EQ(defaults.string("selectedTheme"), "Thermal");
    EXPECT_EQ(seen, std::vector<LCTheme>{themeOf(LCBuiltInTheme::thermal)});

    // A theme the user tweaked is shown but not remembered as a built-in choice.
    LCTheme custom = themeOf(LCBuiltInTheme::thermal);
    custom.offOpacity = 0.5;
    settings.theme.set(custom);
    EXPECT_EQ(settings.selectedBuiltInTheme(), std::nullopt);
    EXPECT_EQ(defaults.string("selectedTheme"), "Thermal");

    EXPECT_EQ(UserUISettings(defaults).theme.value(), themeOf(LCBuiltInTheme::thermal));
}

TEST(UserUISettings, KeepsBrightnessWithinItsLimitsWarningWithTheValueInItsShortestForm) {
    InMemoryUserDefaults defaults;
    UserUISettings settings(defaults);
    std::vector<double> seen;
    auto subscription = settings.brightness.subscribe([&](double value) { seen.push_back(value); });
    const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
    // {set, what is kept, stored and seen, the warning}: the limits themselves pass silently; not
    // a number counts as too low.
    for (const auto& [value, kept, warning] : std::vector<std::tuple<double, double, std::string>>{
             {0.1, 0.1, ""},
             {1.0, 1.0, ""},
             {0.55, 0.55, ""},
             {1.5, 1.0, "1.5 is a value too high"},
             {0.0999, 0.1, "0.0999 is a value too low"},
             {-2.0, 0.1, "-2 is a value too low"},
             {1.0000001, 1.0, "1.0000001 is a value too high"},
             {nan, 0.1, "nan is a value too low"},
             {infinity, 1.0, "inf is a value too high"}}) {
        SCOPED_TRACE(value);
        test::CapturedLog log;
        settings.brightness.set(value);
        EXPECT_EQ(settings.brightness.value(), kept);
        EXPECT_EQ(defaults.string("displayBrightness"), shortestDecimal(kept));
        EXPECT_EQ(seen.back(), kept);
        if (warning.empty())
            EXPECT_EQ(log.text(), "");
        else
            EXPECT_EQ(log.lines(),
                      std::vector<std::string>{"➤ ✦ Warning ----------------------------- : " + warning +
                                               " for Display Brightness. It must between 0.1 and 1.0."});
    }
}

TEST(UserUISettings, RestoresBrightness) {
    // Stored, restored, logged and stored after.
    for (const auto& [stored, restored, logged, rewritten] :
         {std::tuple{"0.4", 0.4, "", "0.4"},
          {"7", 1.0, "7 is a value too high for Display Brightness.", "1"},
          {"bright", 1.0, "Ignoring the stored Display Brightness \"bright\"", "bright"}}) {
        SCOPED_TRACE(stored);
        InMemoryUserDefaults defaults;
        defaults.setString("displayBrightness", stored);
        test::CapturedLog log;
        EXPECT_EQ(UserUISettings(defaults).brightness.value(), restored);
        EXPECT_TRUE(log.contains(logged));
        EXPECT_EQ(defaults.string("displayBrightness"), rewritten);
    }
}

TEST(Published, NotifiesObserversInOrderUntilCancelled) {
    Published<int> value(1);
    std::vector<std::string> calls;
    auto first = value.subscribe([&](int v) { calls.push_back("a" + std::to_string(v)); });
    auto second = value.subscribe([&](int v) { calls.push_back("b" + std::to_string(v)); });
    value.set(2);
    first.cancel();
    value.set(3);
    EXPECT_EQ(calls, (std::vector<std::string>{"a2", "b2", "b3"}));
    // A subscription may outlive what it observes.
    auto orphan = Published<int>(0).subscribe([](int) {});
    orphan.cancel();
}

TEST(PlayerSettings, RemembersTheWindowSizeTheDeviceAndWhetherAnOpenedDiscPlays) {
    InMemoryUserDefaults defaults;
    {
        PlayerSettings settings(defaults);
        EXPECT_EQ(settings.lastSize.value(), (PlayerWindowSize{600, 512}));
        EXPECT_EQ(settings.outputDevice.value(), "");
        EXPECT_TRUE(settings.playWhenOpened.value());
        EXPECT_FALSE(defaults.string("outputDevice")) << "nothing is written until the user chooses";
        settings.lastSize.set({820.5, 640});
        settings.outputDevice.set("HDA Intel PCH: ALC257 Analog (hw:0,0)");
        settings.playWhenOpened.set(false);
        EXPECT_EQ(defaults.string("playerWindowLastSize"), "820.5x640");
        EXPECT_EQ(defaults.string("playDiscWhenOpened"), "false");
    }
    PlayerSettings restored(defaults);
    EXPECT_EQ(restored.lastSize.value(), (PlayerWindowSize{820.5, 640}));
    EXPECT_EQ(restored.outputDevice.value(), "HDA Intel PCH: ALC257 Analog (hw:0,0)");
    EXPECT_FALSE(restored.playWhenOpened.value());

    test::CapturedLog log;
    restored.lastSize.set({-5, 100});
    EXPECT_EQ(restored.lastSize.value(), (PlayerWindowSize{820.5, 640}));
    EXPECT_EQ(defaults.string("playerWindowLastSize"), "820.5x640");
    EXPECT_TRUE(log.contains("-5x100 is not a usable window size."));
}

TEST(PlayerSettings, IgnoresUnusableStoredValues) {
    // {key, stored text, the warning}: sizes fall back to the default, the choice to playing.
    std::vector<std::tuple<std::string, std::string, std::string>> table;
    for (const char* size : {"", "600", "x", "600x", "0x512", "600x-1", "axb", "600x512x3", "inf x 5"})
        table.emplace_back("playerWindowLastSize", size, "Ignoring the stored window size");
    for (const char* choice : {"", "TRUE", "0", "false "})
        table.emplace_back("playDiscWhenOpened", choice, "neither true nor false");
    for (const auto& [key, stored, warning] : table) {
        SCOPED_TRACE(key + " \"" + stored + "\"");
        InMemoryUserDefaults defaults;
        defaults.setString(key, stored);
        test::CapturedLog log;
        const PlayerSettings settings(defaults);
        EXPECT_EQ(settings.lastSize.value(), PlayerSettings::defaultSize);
        EXPECT_TRUE(settings.playWhenOpened.value());
        EXPECT_TRUE(log.contains(warning)) << log.text();
    }
    EXPECT_EQ(PlayerSettings::parseSize("1e3x2.5"), (PlayerWindowSize{1000, 2.5}));
}

} // namespace
} // namespace lorvan

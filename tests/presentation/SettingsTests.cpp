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
             {"Winamp", LCBuiltInTheme::winamp},
             {"lcd newton", LCBuiltInTheme::vhs},
             {"Amber ", LCBuiltInTheme::vhs},
             {"Solarized", LCBuiltInTheme::vhs},
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
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], themeOf(LCBuiltInTheme::thermal));

    // A theme the user tweaked is shown but not remembered as a built-in choice.
    LCTheme custom = themeOf(LCBuiltInTheme::thermal);
    custom.offOpacity = 0.5;
    settings.theme.set(custom);
    EXPECT_EQ(settings.selectedBuiltInTheme(), std::nullopt);
    EXPECT_EQ(defaults.string("selectedTheme"), "Thermal");

    EXPECT_EQ(UserUISettings(defaults).theme.value(), themeOf(LCBuiltInTheme::thermal));
}

TEST(UserUISettings, KeepsBrightnessWithinItsLimits) {
    InMemoryUserDefaults defaults;
    UserUISettings settings(defaults);
    std::vector<double> seen;
    auto subscription = settings.brightness.subscribe([&](double value) { seen.push_back(value); });
    test::CapturedLog log;
    for (const double value : {0.1, 1.0, 0.55})
        settings.brightness.set(value);
    EXPECT_EQ(log.text(), "") << "values from 0.1 to 1.0 pass silently";
    EXPECT_EQ(defaults.string("displayBrightness"), "0.55");

    // Not a number counts as too low; what is stored and what observers see is the clamped value.
    for (const auto& [value, kept] : {std::pair{1.5, 1.0},
                                      {0.09, 0.1},
                                      {std::nan(""), 0.1},
                                      {std::numeric_limits<double>::infinity(), 1.0}}) {
        settings.brightness.set(value);
        EXPECT_EQ(settings.brightness.value(), kept) << value;
        EXPECT_EQ(defaults.string("displayBrightness"), shortestDecimal(kept)) << value;
        EXPECT_EQ(seen.back(), kept) << value;
    }
    ASSERT_EQ(log.lines().size(), 4u);
    EXPECT_EQ(log.lines()[0],
              "➤ ✦ Warning ----------------------------- : 1.5 is a value too high for Display "
              "Brightness. It must between 0.1 and 1.0.");
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

TEST(BrightnessWarning, FormatsTheValueInItsShortestForm) {
    for (const auto& [value, text] : {std::pair{0.0999, "0.0999 is a value too low"},
                                      {-2.0, "-2 is a value too low"},
                                      {1.0000001, "1.0000001 is a value too high"}})
        EXPECT_EQ(brightnessWarning(value),
                  std::string(text) + " for Display Brightness. It must between 0.1 and 1.0.");
    EXPECT_EQ(shortestDecimal(0.3), "0.3");
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

TEST(PlayerSettings, RemembersTheWindowSize) {
    InMemoryUserDefaults defaults;
    {
        PlayerSettings settings(defaults);
        EXPECT_EQ(settings.lastSize.value(), (PlayerWindowSize{600, 512}));
        settings.lastSize.set({820.5, 640});
        EXPECT_EQ(defaults.string("playerWindowLastSize"), "820.5x640");
    }
    PlayerSettings restored(defaults);
    EXPECT_EQ(restored.lastSize.value(), (PlayerWindowSize{820.5, 640}));

    test::CapturedLog log;
    restored.lastSize.set({-5, 100});
    EXPECT_EQ(restored.lastSize.value(), (PlayerWindowSize{820.5, 640}));
    EXPECT_EQ(defaults.string("playerWindowLastSize"), "820.5x640");
    EXPECT_TRUE(log.contains("-5x100 is not a usable window size."));
}

TEST(PlayerSettings, IgnoresUnusableStoredSizes) {
    for (const char* stored : {"", "600", "x", "600x", "0x512", "600x-1", "axb", "600x512x3", "inf x 5"}) {
        InMemoryUserDefaults defaults;
        defaults.setString("playerWindowLastSize", stored);
        test::CapturedLog log;
        EXPECT_EQ(PlayerSettings(defaults).lastSize.value(), PlayerSettings::defaultSize) << stored;
        EXPECT_TRUE(log.contains("Ignoring the stored window size")) << stored;
    }
    EXPECT_EQ(PlayerSettings::parseSize("1e3x2.5"), (PlayerWindowSize{1000, 2.5}));
}

TEST(PlayerSettings, RemembersTheDeviceAndWhetherAnOpenedDiscPlays) {
    InMemoryUserDefaults defaults;
    {
        PlayerSettings settings(defaults);
        EXPECT_EQ(settings.outputDevice.value(), "");
        EXPECT_TRUE(settings.playWhenOpened.value());
        EXPECT_FALSE(defaults.string("outputDevice")) << "nothing is written until the user chooses";
        settings.outputDevice.set("HDA Intel PCH: ALC257 Analog (hw:0,0)");
        settings.playWhenOpened.set(false);
        EXPECT_EQ(defaults.string("playDiscWhenOpened"), "false");
    }
    {
        PlayerSettings restored(defaults);
        EXPECT_EQ(restored.outputDevice.value(), "HDA Intel PCH: ALC257 Analog (hw:0,0)");
        EXPECT_FALSE(restored.playWhenOpened.value());
        restored.outputDevice.set("");
        restored.playWhenOpened.set(true);
    }
    EXPECT_EQ(defaults.string("outputDevice"), "");
    EXPECT_EQ(defaults.string("playDiscWhenOpened"), "true");

    for (const char* stored : {"", "TRUE", "0", "no", "false "}) {
        defaults.setString("playDiscWhenOpened", stored);
        test::CapturedLog log;
        EXPECT_TRUE(PlayerSettings(defaults).playWhenOpened.value()) << stored;
        EXPECT_TRUE(log.contains("neither true nor false")) << stored;
    }
}

} // namespace
} // namespace lorvan

#include "WindowTestSupport.hpp"
#include "app/window/AppearancePane.hpp"
#include "app/window/PlaybackPane.hpp"
#include "app/window/PreferencesWindow.hpp"
#include "presentation/PlayerSettings.hpp"
#include "presentation/UserUISettings.hpp"

#include <QComboBox>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSlider>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using RepeatMode = AudioDiscPlayer::RepeatMode;

TEST(PreferencesWindow, AppearanceChoicesArePublishedAtOnceStoredAndFollowTheMenus) {
    test::application();
    InMemoryUserDefaults defaults;
    UserUISettings ui(defaults);
    PlayerSettings player(defaults);
    PreferencesWindow window(ui, player, defaults, {"pulse"});
    AppearancePane& pane = *window.appearance();
    EXPECT_EQ(window.tabs()->tabText(0), "Appearance");
    EXPECT_EQ(window.tabs()->tabText(1), "Playback");
    EXPECT_EQ(PreferencesWindow::shortcut().toString(), "Ctrl+,");

    // Every control is named for assistive technology and explained by a tooltip.
    int controls = 0;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        // The tab bar's own scroll arrows are Qt's, named by Qt.
        if (!widget->focusPolicy() || qobject_cast<QTabBar*>(widget->parentWidget())) continue;
        if (!widget->inherits("QAbstractButton") && !widget->inherits("QComboBox") &&
            !widget->inherits("QSlider"))
            continue;
        ++controls;
        EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->metaObject()->className();
        EXPECT_FALSE(widget->toolTip().isEmpty()) << widget->accessibleName().toStdString();
    }
    EXPECT_GE(controls, 28 + 1 + 2 + 2 + 1) << "28 theme tiles, the slider, two boxes, two choices, the tabs";

    std::vector<std::string> publishedThemes;
    std::vector<double> publishedBrightness;
    auto themeWatch = ui.theme.subscribe([&](const LCTheme&) {
        publishedThemes.emplace_back(ui.selectedBuiltInTheme() ? rawValue(*ui.selectedBuiltInTheme()) : "?");
    });
    auto brightnessWatch =
        ui.brightness.subscribe([&](double value) { publishedBrightness.push_back(value); });

    const QImage before = pane.currentPreview();
    pane.themeButton(LCBuiltInTheme::appleII)->click();
    EXPECT_EQ(publishedThemes, std::vector<std::string>{"Apple ]["});
    EXPECT_TRUE(pane.themeButton(LCBuiltInTheme::appleII)->isChecked());
    QCoreApplication::processEvents();
    EXPECT_NE(pane.currentPreview(), before) << "the large preview follows the chosen theme";
    // Clicking the chosen theme again publishes nothing new.
    pane.themeButton(LCBuiltInTheme::appleII)->click();
    EXPECT_EQ(publishedThemes.size(), 1u);

    // The slider's ends are the brightness limits exactly, not 0 and not 1.01.
    QSlider& slider = *pane.brightnessSlider();
    slider.setFocus();
    QTest::keyClick(&slider, Qt::Key_Home);
    EXPECT_EQ(publishedBrightness, std::vector<double>{0.1});
    QTest::keyClick(&slider, Qt::Key_Right);
    QTest::keyClick(&slider, Qt::Key_Right);
    QTest::keyClick(&slider, Qt::Key_PageUp);
    EXPECT_DOUBLE_EQ(ui.brightness.value(), 0.22);

    EXPECT_EQ(defaults.string(UserUISettings::selectedThemeKey), "Apple ][");
    EXPECT_EQ(defaults.string(UserUISettings::brightnessKey), "0.22");

    // A second run reads both back, and a pane opened then shows them.
    UserUISettings restored(defaults);
    EXPECT_EQ(restored.selectedBuiltInTheme(), LCBuiltInTheme::appleII);
    EXPECT_DOUBLE_EQ(restored.brightness.value(), 0.22);
    AppearancePane reopened(restored);
    EXPECT_TRUE(reopened.themeButton(LCBuiltInTheme::appleII)->isChecked());
    EXPECT_EQ(reopened.brightnessSlider()->value(), 22);

    // Changes made from the menus reach the open pane.
    const QImage appleII = pane.currentPreview();
    ui.selectBuiltInTheme(LCBuiltInTheme::pipBoy);
    QCoreApplication::processEvents();
    EXPECT_TRUE(pane.themeButton(LCBuiltInTheme::pipBoy)->isChecked());
    EXPECT_FALSE(pane.themeButton(LCBuiltInTheme::appleII)->isChecked());
    EXPECT_NE(pane.currentPreview(), appleII);
    // Shown at the nearest slider step, and not published back a second time.
    publishedBrightness.clear();
    ui.brightness.set(0.305);
    EXPECT_EQ(pane.brightnessSlider()->value(), 31);
    EXPECT_EQ(publishedBrightness, std::vector<double>{0.305});
    EXPECT_DOUBLE_EQ(ui.brightness.value(), 0.305);

    // Every theme has a tile with its live preview.
    for (LCBuiltInTheme theme : allBuiltInThemes) {
        EXPECT_EQ(pane.themeButton(theme)->text().toStdString(), rawValue(theme));
        EXPECT_FALSE(pane.themeButton(theme)->icon().isNull()) << rawValue(theme);
    }
}

TEST(PreferencesWindow, PlaybackChoicesAreStoredAndReadBackByTheNextRun) {
    test::application();
    InMemoryUserDefaults defaults;
    {
        PlayerSettings player(defaults);
        PlaybackPane pane(player, defaults, {"HDA Intel PCH: ALC257 Analog (hw:0,0)", "pulse", "default"});
        QSignalSpy chosen(&pane, &PlaybackPane::repeatModeChosen);

        QComboBox& repeat = *pane.repeatBox();
        ASSERT_EQ(repeat.count(), 3);
        for (int item = 0; item < 3; ++item)
            EXPECT_EQ(repeat.itemText(item), QStringList({"None", "Current Track", "Entire Disc"})[item]);
        repeat.setFocus();
        QTest::keyClick(&repeat, Qt::Key_Down); // None → Current Track, as a user would
        ASSERT_EQ(chosen.size(), 1);
        EXPECT_EQ(chosen.front().front().value<RepeatMode>(), RepeatMode::track);
        EXPECT_EQ(defaults.string("selectedRepeatMode"), "Current Track");
        // A mode chosen in the menu shows without being stored or signalled from here.
        pane.showRepeatMode(RepeatMode::disc);
        EXPECT_EQ(repeat.currentText(), "Entire Disc");
        EXPECT_EQ(chosen.size(), 1);

        QComboBox& device = *pane.deviceBox();
        ASSERT_EQ(device.count(), 4);
        EXPECT_EQ(device.itemText(0), "System Default");
        EXPECT_EQ(device.currentIndex(), 0);
        device.setFocus();
        QTest::keyClick(&device, Qt::Key_Down);
        EXPECT_EQ(player.outputDevice.value(), "HDA Intel PCH: ALC257 Analog (hw:0,0)");

        EXPECT_TRUE(pane.playAtOnceButton()->isChecked()) << "playing at once is the default";
        pane.waitButton()->click();
        EXPECT_FALSE(player.playWhenOpened.value());
    }
    EXPECT_EQ(defaults.string(PlayerSettings::playWhenOpenedKey), "false");

    // The next run: the same device is listed but is now missing; it stays chosen, marked.
    PlayerSettings player(defaults);
    PlaybackPane pane(player, defaults, {"pulse"});
    EXPECT_EQ(pane.repeatBox()->currentText(), "Current Track");
    EXPECT_EQ(pane.deviceBox()->currentText(), "HDA Intel PCH: ALC257 Analog (hw:0,0) (not connected)");
    EXPECT_TRUE(pane.waitButton()->isChecked());
    EXPECT_EQ(player.outputDevice.value(), "HDA Intel PCH: ALC257 Analog (hw:0,0)");
    pane.deviceBox()->setFocus();
    QTest::keyClick(pane.deviceBox(), Qt::Key_Home);
    EXPECT_EQ(player.outputDevice.value(), "");
    EXPECT_EQ(defaults.string(PlayerSettings::outputDeviceKey), "") << "chosen, not merely unset";
}

} // namespace
} // namespace lorvan

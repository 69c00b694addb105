// How the main window reaches its other windows, the preferences and the session's troubles.

#include "WindowTestSupport.hpp"
#include "app/window/AboutWindow.hpp"
#include "app/window/Alerts.hpp"
#include "app/window/ConsoleLogWindow.hpp"
#include "app/window/DiscInfoWindow.hpp"
#include "app/window/DisplayView.hpp"
#include "app/window/PlaybackPane.hpp"
#include "app/window/PreferencesWindow.hpp"
#include "core/ConsoleLog.hpp"

#include <QAction>
#include <QComboBox>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <functional>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;
using RepeatMode = AudioDiscPlayer::RepeatMode;

TEST(MainWindowWiring, EachMenuOpensItsOwnWindowOnceAndShowsItAgainAfterwards) {
    WindowFixture f;
    ConsoleLogRecord record;
    f.window->setConsoleLogRecord(&record);
    f.openDemo();
    f.window->show();

    const std::pair<const char*, std::function<QWidget*()>> windows[] = {
        {"showAbout", [&] { return f.window->aboutWindow(); }},
        {"showDiscInfo", [&] { return f.window->discInfoWindow(); }},
        {"showSettingsWindow", [&] { return f.window->preferencesWindow(); }},
        {"showConsoleLog", [&] { return f.window->consoleLogWindow(); }},
    };
    for (const auto& [action, made] : windows) {
        SCOPED_TRACE(action);
        EXPECT_EQ(made(), nullptr) << "made when first asked for";
        f.trigger(action);
        QWidget* shown = made();
        ASSERT_NE(shown, nullptr);
        EXPECT_TRUE(shown->isVisible());
        EXPECT_TRUE(shown->isWindow());
        shown->close();
        f.trigger(action);
        EXPECT_EQ(made(), shown) << "one window, not a second";
        EXPECT_TRUE(shown->isVisible()) << "closed, then shown again";
    }

    // The console log window shows the record it was given, live.
    ConsoleLog::write("a line for the open window");
    QCoreApplication::processEvents();
    EXPECT_TRUE(
        f.window->consoleLogWindow()->textView()->toPlainText().contains("a line for the open window"));
    // The disc info window follows the disc: out goes the disc, out go its identifiers.
    EXPECT_FALSE(f.window->discInfoWindow()->lookupURL().isEmpty()) << "it shows the disc in the player";
    f.trigger("eject");
    EXPECT_TRUE(f.window->discInfoWindow()->lookupURL().isEmpty());
}

TEST(MainWindowWiring, TheRepeatModeIsOneChoiceInTheMenuAndInThePreferences) {
    WindowFixture f;
    f.openDemo();
    f.trigger("repeat.Current Track");
    f.trigger("showSettingsWindow");
    QComboBox* box = f.window->preferencesWindow()->playback()->repeatBox();
    EXPECT_EQ(box->currentData().toInt(), static_cast<int>(RepeatMode::track))
        << "opens on the player's mode";

    // Chosen in the preferences: the player takes it and the menu follows.
    const int disc = box->findData(static_cast<int>(RepeatMode::disc));
    box->setCurrentIndex(disc);
    emit box->activated(disc);
    f.settle();
    EXPECT_EQ(f.player().repeatMode(), RepeatMode::disc);
    EXPECT_TRUE(f.window->action("repeat.Entire Disc")->isChecked());
    EXPECT_EQ(f.defaults->string(AudioDiscPlayer::repeatModeDefaultsKey), "Entire Disc");

    // Chosen in the menu (or by the R key): the open pane follows.
    f.trigger("cycleRepeatMode");
    EXPECT_EQ(f.player().repeatMode(), RepeatMode::none);
    EXPECT_EQ(box->currentData().toInt(), static_cast<int>(RepeatMode::none));
}

// The sound device and whether to play at once are read at each open, by every way of opening.
TEST(MainWindowWiring, TheChosenSoundDeviceAndWaitingApplyToTheNextDiscOpened) {
    WindowFixture f;
    ASSERT_EQ(f.outputsMade.size(), 1u);
    EXPECT_EQ(f.outputsMade.front(), std::nullopt) << "the system default until one is chosen";
    const std::filesystem::path sheet = demoCueSheet(), folder = sheet.parent_path();
    const struct {
        const char* what;
        std::optional<std::string> device; // set before the open; "" is the system default
        bool playWhenOpened;
        std::filesystem::path path;
        std::size_t outputsMade;
        std::optional<std::string> output;
        State state;
    } opens[] = {
        {"the same device needs no new output", std::nullopt, false, sheet, 1, std::nullopt, State::stopped},
        {"a folder waits too, as a drop opens it", std::nullopt, false, folder, 1, std::nullopt,
         State::stopped},
        {"a chosen device", "USB Audio: Headphones", true, sheet, 2, "USB Audio: Headphones", State::playing},
        {"the system default again", "", true, folder, 3, std::nullopt, State::playing},
    };
    for (const auto& open : opens) {
        SCOPED_TRACE(open.what);
        const std::size_t before = f.outputsMade.size();
        if (open.device) f.playerSettings->outputDevice.set(*open.device);
        EXPECT_EQ(f.outputsMade.size(), before) << "the playing disc keeps its device";
        f.playerSettings->playWhenOpened.set(open.playWhenOpened);
        ASSERT_TRUE(f.window->openPath(open.path));
        f.settle();
        ASSERT_EQ(f.outputsMade.size(), open.outputsMade);
        EXPECT_EQ(f.outputsMade.back(), open.output);
        EXPECT_EQ(f.player().state(), open.state);
        EXPECT_EQ(f.window->displayView().state().title, "Morning Arpeggios") << "the disc is in";
    }
}

TEST(MainWindowWiring, TroublesWhilePlayingShowOneMessageSayingWhatHappensNext) {
    WindowFixture f;
    f.openDemo();
    f.window->show();
    const auto disc = f.player().disc();
    // What the session reports after it has acted: 3.5 s into track 2 the reads ran dry.
    std::int64_t track2 = 0;
    for (const AudioCue& cue : disc->cues)
        if (cue.trackIndex == 1 && cue.chapter == 1) track2 = cue.keyFrame;
    ASSERT_TRUE(f.session->notifications.readFailed);
    f.session->notifications.readFailed(track2 + 3 * 44100 + 22050);
    QMessageBox* box = f.window->playbackMessages().box();
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->windowModality(), Qt::NonModal);
    EXPECT_EQ(box->text(), "Lorvan could not read part of the disc.");
    EXPECT_TRUE(box->informativeText().startsWith("The disc could not be read from track 2 at 0:03."))
        << box->informativeText().toStdString();
    EXPECT_TRUE(box->informativeText().endsWith("Playback stopped."));

    ASSERT_TRUE(f.session->notifications.soundDeviceLost);
    f.session->notifications.soundDeviceLost();
    EXPECT_EQ(f.window->playbackMessages().box(), box) << "one box for the latest trouble, not a stack";
    EXPECT_EQ(box->text(), "The sound device was lost.");
    EXPECT_TRUE(box->informativeText().endsWith("Playback goes on."));
    // Closed by the user, the box goes; the next trouble opens a new one.
    box->accept();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(f.window->playbackMessages().box(), nullptr);
    f.session->notifications.readFailed(track2);
    ASSERT_NE(f.window->playbackMessages().box(), nullptr);
    EXPECT_TRUE(f.window->playbackMessages().box()->isVisible());

    // The session outlives the window: its notifications must not reach a window that is gone.
    f.window.reset();
    EXPECT_FALSE(f.session->notifications.readFailed);
    EXPECT_FALSE(f.session->notifications.soundDeviceLost);
}

} // namespace
} // namespace lorvan::test

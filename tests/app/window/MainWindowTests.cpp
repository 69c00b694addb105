#include "WindowTestSupport.hpp"
#include "app/session/DiscOpening.hpp"
#include "app/window/DisplayView.hpp"
#include "app/window/Icons.hpp"
#include "app/window/RateVolumePanel.hpp"
#include "app/window/TrackListModel.hpp"
#include "presentation/PlaybackDisplayState.hpp"
#include "support/TestSupport.hpp"

#include <QAction>
#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QTreeView>
#include <QUrl>
#include <gtest/gtest.h>

namespace lorvan::test {
namespace {

using State = AudioDiscPlayer::State;

std::int64_t cueFrame(const AudioDisc& disc, long track, long chapter) {
    for (const AudioCue& cue : disc.cues)
        if (cue.trackIndex == track && cue.chapter == chapter) return cue.keyFrame;
    ADD_FAILURE() << "no cue " << track << "." << chapter;
    return -1;
}

// Each action of the menus reaches the real player and the window shows what it did.
TEST(MainWindowTest, EveryActionReachesThePlayer) {
    WindowFixture f;
    f.openDemo();
    f.window->show();
    AudioDiscPlayer& p = f.player();
    const auto disc = p.disc();
    ASSERT_TRUE(disc);
    EXPECT_EQ(p.state(), State::playing) << "opening plays at once";
    EXPECT_EQ(f.window->trackList().rowCount(), static_cast<int>(disc->tracks.size()));
    EXPECT_EQ(f.window->displayView().state().title, "Morning Arpeggios");

    f.trigger("playPause");
    EXPECT_EQ(p.state(), State::paused);
    const std::int64_t paused = p.discFramePosition();
    float quieter = 0; // what decreaseVolume left
    QWidget& rateVolume = f.window->rateVolumePanel();
    EXPECT_FALSE(rateVolume.isVisibleTo(f.window.get()));
    using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
    using Repeat = AudioDiscPlayer::RepeatMode;
    // The actions in turn, each with what the player does then; a row starts where the one
    // before left the player (the pause holds throughout, the rate steps from where it was).
    const std::pair<const char*, std::function<void()>> walk[] = {
        {"seekForward", [&] { EXPECT_EQ(p.discFramePosition(), paused + 10 * 44100); }},
        {"seekBackward", [&] { EXPECT_EQ(p.discFramePosition(), paused); }},
        {"nextTrack", [&] { EXPECT_EQ(p.discFramePosition(), cueFrame(*disc, 1, 1)); }},
        {"nextTrack", [&] { EXPECT_EQ(p.discFramePosition(), cueFrame(*disc, 2, 1)); }},
        // Track 3 is the demo's one track with a second index.
        {"nextChapter", [&] { EXPECT_EQ(p.discFramePosition(), cueFrame(*disc, 2, 2)); }},
        {"previousChapter", [&] { EXPECT_EQ(p.discFramePosition(), cueFrame(*disc, 2, 1)); }},
        {"previousTrack", [&] { EXPECT_EQ(p.currentTrackIndex(), 1); }},
        {"previousTrack", [&] { EXPECT_EQ(p.currentTrackIndex(), 0); }},
        {"increaseSpeed", [&] { EXPECT_FLOAT_EQ(p.playbackRate(), 1.05F); }},
        {"decreaseSpeed", [&] { EXPECT_FLOAT_EQ(p.playbackRate(), 1.0F); }},
        {"decreaseSpeed", [&] { EXPECT_FLOAT_EQ(p.playbackRate(), 0.95F); }},
        {"resetSpeed", [&] { EXPECT_FLOAT_EQ(p.playbackRate(), 1.0F); }},
        {"toggleBeat",
         [&] {
             EXPECT_FLOAT_EQ(p.playbackRate(), AudioDiscPlayer::newBeatRate);
             EXPECT_TRUE(f.window->action("toggleBeat")->isChecked());
         }},
        {"toggleBeat", [&] { EXPECT_FALSE(p.newBeatMode()); }},
        {"toggleRateControls", [&] { EXPECT_TRUE(rateVolume.isVisibleTo(f.window.get())); }},
        {"toggleAmplifier", [&] { EXPECT_TRUE(p.amplifierIsActive()); }},
        {"decreaseVolume", [&] { EXPECT_LT(quieter = p.volume(), 1.0F); }},
        {"increaseVolume", [&] { EXPECT_GT(p.volume(), quieter); }},
        {"toggleMute",
         [&] {
             EXPECT_EQ(p.volume(), 0.0F);
             EXPECT_TRUE(f.window->action("toggleMute")->isChecked());
         }},
        {"toggleMute", [&] { EXPECT_GT(p.volume(), 0.0F); }},
        {"cycleRepeatMode", [&] { EXPECT_EQ(p.repeatMode(), Repeat::track); }},
        {"repeat.Entire Disc", [&] { EXPECT_EQ(p.repeatMode(), Repeat::disc); }},
        {"toggleShuffle", [&] { EXPECT_TRUE(p.shuffle()); }},
        {"cycleTimeMode", [&] { EXPECT_EQ(p.playbackTimecodeMode(), Mode::trackRemainingTime); }},
        {"timeMode.3", [&] { EXPECT_EQ(p.playbackTimecodeMode(), Mode::discRemainingTime); }},
    };
    for (const auto& [action, expectation] : walk) {
        SCOPED_TRACE(action);
        f.trigger(action);
        expectation();
        EXPECT_EQ(p.state(), State::paused) << "no action here ends the pause";
    }
    EXPECT_EQ(f.defaults->string(AudioDiscPlayer::repeatModeDefaultsKey), "Entire Disc");
    EXPECT_EQ(f.window->displayView().state().timeLabel, "DISC REMAIN");
    // Clicking the display's time is the same cycle, from the last mode round to the first.
    click(f.window->displayView(), f.window->displayView().timeRect().center());
    EXPECT_EQ(p.playbackTimecodeMode(), Mode::trackElapsedTime);

    f.trigger("stopEject");
    EXPECT_EQ(p.state(), State::stopped);
    EXPECT_TRUE(p.disc());
    f.trigger("stopEject");
    EXPECT_FALSE(p.disc());
    EXPECT_EQ(f.window->displayView().state().title, "No disc");

    f.openDemo();
    f.trigger("eject");
    EXPECT_FALSE(p.disc()) << "Eject takes the disc out even while it plays";
}

// The window reads nothing from the player itself: what the player does reaches the widgets
// when the view model publishes it, and then every widget shows the published values.
TEST(MainWindowTest, WidgetsFollowWhatTheViewModelPublishes) {
    WindowFixture f;
    const auto picture = [](const QIcon& icon) { return icon.pixmap(16, 16).toImage(); };
    const auto iconOf = [&](const char* action) { return picture(f.window->action(action)->icon()); };
    f.openDemo();
    AudioDiscPlayer& p = f.player();
    const auto disc = p.disc();
    ASSERT_TRUE(disc);
    p.playPause();
    p.setRepeatMode(AudioDiscPlayer::RepeatMode::track);
    p.toggleShuffle();
    p.setAmplifierIsActive(true);
    p.setRateControlsAreActive(true);
    p.setPlaybackTimecodeMode(AudioDiscPlayer::PlaybackTimecodeMode::trackRemainingTime);
    // Half a second into track 2's pregap.
    const std::int64_t inPregap = cueFrame(*disc, 1, 0) + 22050;
    p.seekToFrame(inPregap, false);

    EXPECT_FALSE(f.window->action("toggleShuffle")->isChecked()) << "nothing published yet";
    EXPECT_FALSE(f.window->rateVolumePanel().isVisibleTo(f.window.get()));
    EXPECT_EQ(f.window->action("playPause")->text(), "&Pause");
    EXPECT_EQ(iconOf("playPause"), picture(actionIcon(ActionIcon::pause)));

    f.settle();
    const PlaybackViewModel& vm = *f.viewModel;
    EXPECT_EQ(vm.progress().progress.value().discFramePosition, inPregap);
    for (const char* checked :
         {"toggleShuffle", "repeat.Current Track", "cycleRepeatMode", "toggleAmplifier", "timeMode.1"})
        EXPECT_TRUE(f.window->action(checked)->isChecked()) << checked;
    EXPECT_TRUE(f.window->rateVolumePanel().isVisibleTo(f.window.get()));
    // Each button offers what it would do, in its text and its picture.
    EXPECT_EQ(f.window->action("playPause")->text(), "&Play");
    EXPECT_EQ(iconOf("playPause"), picture(actionIcon(ActionIcon::play)));
    EXPECT_EQ(iconOf("cycleRepeatMode"), picture(actionIcon(ActionIcon::repeatTrack)));
    EXPECT_EQ(f.window->trackList().playingTrack(), 1);

    // The display shows exactly the published time of the chosen mode, here inside a pregap.
    const DisplayState& shown = f.window->displayView().state();
    EXPECT_EQ(shown.statusLeft, "TRACK 02");
    EXPECT_EQ(shown.statusRight, "INDEX 00");
    EXPECT_EQ(shown.timeLabel, "PREGAP");
    EXPECT_EQ(shown.time, displayTime(vm.progress().progress.value().trackRemainingFrames, 44100));
    EXPECT_EQ(shown.title, "A Minor Walk");
    f.trigger("timeMode.0");
    EXPECT_EQ(f.window->displayView().state().time, "-0:00") << "half a second before INDEX 01";
    p.seekToFrame(cueFrame(*disc, 1, 0), false);
    f.settle();
    EXPECT_EQ(f.window->displayView().state().time, "-0:01") << "the whole pregap before INDEX 01";
}

// Each row's length runs to the next track's INDEX 00 and its pregap stands beside it, only
// where the track has one: the rows add up to the disc, no second counted twice.
TEST(MainWindowTest, TrackLengthsAndPregapsAddUpToTheDiscAndADoubleClickedTrackPlays) {
    WindowFixture f;
    f.openDemo();
    const window::TrackListModel& list = f.window->trackList();
    const DiscSummary& disc = f.viewModel->disc.value();
    ASSERT_EQ(list.rowCount(), 3);
    std::int64_t sum = 0;
    for (int row = 0; row < list.rowCount(); ++row)
        sum += list.lengthFrames(row) + disc.tracks[static_cast<std::size_t>(row)].pregapFrames;
    EXPECT_EQ(sum, disc.totalFrames);
    // The demo: a 2 s pregap before track 1, INDEX 00 of track 2 at 0:09 and its INDEX 01 at
    // 0:10, track 3 from 0:20 to the end at 0:30.
    // Track 3 has no pregap: nothing is shown, not "0:00".
    const QStringList lengths{"0:09", "0:10", "0:10"}, pregaps{"0:02", "0:01", ""};
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(list.index(row, window::TrackListModel::length).data().toString(), lengths[row]) << row;
        EXPECT_EQ(list.index(row, window::TrackListModel::pregap).data().toString(), pregaps[row]) << row;
    }

    // A double-clicked (activated) row plays from its track's INDEX 01 and is marked as playing.
    emit f.window->trackView().activated(list.index(2, 0));
    f.settle();
    EXPECT_EQ(f.player().currentTrackIndex(), 2);
    EXPECT_EQ(f.player().discFramePosition(),
              f.player().disc()->trackStartFrame(f.player().disc()->tracks[2]));
    EXPECT_EQ(list.playingTrack(), 2);
    EXPECT_EQ(list.index(2, 0).data().toString(), QStringLiteral("\u25B6"));
}

TEST(MainWindowTest, ThemesAndBrightnessPersistAndRepaint) {
    WindowFixture f;
    f.window->show();
    window::DisplayView& display = f.window->displayView();
    (void)display.grab();
    const long frames = display.renderedFrames();

    QAction* amber = f.window->action("theme.Amber");
    ASSERT_NE(amber, nullptr);
    const QImage vhs = display.grab().toImage();
    amber->trigger();
    EXPECT_EQ(f.defaults->string(UserUISettings::selectedThemeKey), "Amber");
    EXPECT_EQ(f.ui->theme.value(), themeOf(LCBuiltInTheme::amber));
    EXPECT_TRUE(amber->isChecked());
    const QImage amberImage = display.grab().toImage();
    EXPECT_GT(display.renderedFrames(), frames);
    // The glass near the top left: VHS is blue, amber's glass is a black with a warm tint.
    const QColor vhsPixel = vhs.pixelColor(vhs.width() / 2, 4);
    const QColor amberPixel = amberImage.pixelColor(amberImage.width() / 2, 4);
    EXPECT_GT(vhsPixel.blue(), vhsPixel.red());
    EXPECT_GE(amberPixel.red(), amberPixel.blue());

    // The 28 themes in their order, one choice at a time.
    const QList<QAction*> group = amber->actionGroup()->actions();
    ASSERT_EQ(group.size(), 28);
    for (std::size_t i = 0; i < allBuiltInThemes.size(); ++i)
        EXPECT_EQ(group[static_cast<qsizetype>(i)]->text().replace("&&", "&").toStdString(),
                  rawValue(allBuiltInThemes[i]));

    const long beforeDimming = display.renderedFrames();
    f.trigger("decreaseBrightness");
    EXPECT_DOUBLE_EQ(f.ui->brightness.value(), 0.9);
    EXPECT_EQ(f.defaults->string(UserUISettings::brightnessKey), "0.9");
    (void)display.grab();
    EXPECT_EQ(display.renderedFrames(), beforeDimming + 1) << "one change, one frame";
    f.trigger("increaseBrightness");
    f.trigger("increaseBrightness");
    EXPECT_DOUBLE_EQ(f.ui->brightness.value(), 1.0) << "brightness stops at its maximum";
}

TEST(MainWindowTest, RefusedOpenKeepsThePlayingDiscAndShowsTheErrorTexts) {
    WindowFixture f;
    f.openDemo();
    const auto playing = f.player().disc();
    TemporaryDirectory folder;
    const auto broken =
        folder.write("broken.cue", "FILE \"missing.flac\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
    for (const std::filesystem::path& path : {broken, folder.path() / "nothing here.cue"}) {
        SCOPED_TRACE(path.filename().string());
        EXPECT_FALSE(f.window->openPath(path));
        EXPECT_EQ(f.player().disc(), playing);
        EXPECT_EQ(f.player().state(), State::playing);
        // The alert carries each of the texts the refusal has, as the error states them.
        int texts = 0;
        try {
            (void)openDisc(path);
        } catch (const LocalizedError& error) {
            for (const auto& text :
                 {error.errorDescription(), error.failureReason(), error.recoverySuggestion()})
                if (text && !text->empty()) {
                    ++texts;
                    EXPECT_TRUE(f.window->lastAlertText().contains(QString::fromStdString(*text)))
                        << *text << " not in " << f.window->lastAlertText().toStdString();
                }
        }
        EXPECT_GE(texts, 2) << "a description and a reason at least";
    }
    EXPECT_EQ(f.window->recentDiscs().size(), 1) << "refusals are not remembered";
}

TEST(MainWindowTest, DroppedFilesAndFoldersOpenDiscs) {
    WindowFixture f;
    const auto drop = [&](const std::filesystem::path& path) {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(QString::fromStdString(path.string()))});
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(f.window.get(), &enter);
        EXPECT_TRUE(enter.isAccepted());
        QDropEvent event(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(f.window.get(), &event);
        QCoreApplication::processEvents();
    };
    drop(demoCueSheet());
    ASSERT_TRUE(f.player().disc());
    EXPECT_EQ(f.player().disc()->source.kind, AudioDisc::Source::Kind::cueSheet);

    // An audio file opens its folder as a disc; the demo's folder holds one cue sheet, which the
    // folder opens through.
    std::filesystem::path audio;
    for (const auto& entry : std::filesystem::directory_iterator(demoCueSheet().parent_path()))
        if (entry.path().extension() == ".flac") audio = entry.path();
    ASSERT_FALSE(audio.empty());
    f.player().insertDisc(std::nullopt);
    drop(audio);
    ASSERT_TRUE(f.player().disc());
    EXPECT_EQ(f.player().disc()->source.kind, AudioDisc::Source::Kind::cueSheet);
    EXPECT_EQ(f.window->recentDiscs().front().toStdString(), audio.string());
}

TEST(MainWindowTest, StartsEmptyAtItsDefaultSizeAndRestoresTheLastSize) {
    WindowFixture f;
    EXPECT_EQ(f.window->displayView().state().title, "No disc");
    EXPECT_EQ(f.window->trackList().rowCount(), 0);
    EXPECT_FALSE(f.window->action("playPause")->isEnabled());
    EXPECT_TRUE(f.window->action("openDocument")->isEnabled());
    for (const char* name :
         {"openDocument", "openFolderAsDisc", "eject", "showSettingsWindow", "quit", "playPause", "stopEject",
          "previousTrack", "nextTrack", "previousChapter", "nextChapter", "toggleMute", "toggleAmplifier",
          "toggleShuffle", "cycleRepeatMode", "showConsoleLog", "showDiscInfo", "showAbout"})
        EXPECT_FALSE(f.window->action(name)->icon().isNull()) << name << " has no icon";
    EXPECT_EQ(f.window->size(), QSize(600, 512)) << "the default size";
    f.playerSettings->lastSize.set({700, 640});
    {
        window::MainWindow second(*f.session, *f.viewModel, *f.ui, *f.playerSettings);
        EXPECT_EQ(second.size(), QSize(700, 640));
        second.show();
        second.resize(640, 560);
        second.close();
    }
    EXPECT_EQ(f.defaults->string(PlayerSettings::lastSizeKey), "640x560");
}

} // namespace
} // namespace lorvan::test

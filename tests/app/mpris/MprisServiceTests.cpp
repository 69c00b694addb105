// The media controls as the desktop sees them: the service on a private session bus, driven by
// playerctl and gdbus as separate processes, over the real player on the manual output (the
// test moves the music and the main thread's clock, so nothing depends on timing) and the
// demo disc written by lorvan-cli.
//
// The demo disc, in frames: track 1's artificial 2 s pregap from 0, its INDEX 01 at 88200,
// track 2's INDEX 00 at 485100 and INDEX 01 at 529200, track 3 at 970200 (INDEX 02 at
// 1190700), the end at 1411200. A buffer is 882 frames.

#include "BusTestSupport.hpp"
#include "app/mpris/MprisService.hpp"
#include "app/mpris/MprisValues.hpp"
#include "core/ConsoleLog.hpp"
#include "cuesheet/CueSheet.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "support/PlayerRig.hpp"
#include "support/TestSupport.hpp"

#include <QUrl>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using State = AudioDiscPlayer::State;
using testing::HasSubstr;

constexpr std::int64_t buffer = 882;
constexpr std::int64_t track2Pregap = 485100;
constexpr std::int64_t track2 = 529200;
constexpr std::int64_t track3 = 970200;

std::int64_t us(std::int64_t frames) {
    return frames * 1'000'000 / 44100;
}

class MprisServiceTest : public testing::Test {
protected:
    void SetUp() override {
        test::application();
        ConsoleLog::discard();
        // A folder name that a file URL must encode.
        const auto made = test::runProcess(LORVAN_CLI, "demo --dir " + test::shellQuoted(folder()));
        ASSERT_EQ(made.status, 0) << made.out;
        mpris::ApplicationActions actions;
        actions.raise = [this] { ++raised; };
        actions.quit = [this] { ++quitted; };
        actions.open = [this](const std::filesystem::path& path) {
            opened.push_back(path);
            return path.extension() == ".cue";
        };
        service.emplace(*viewModel, actions);
        ASSERT_EQ(service->registeredName(), QStringLiteral("org.mpris.MediaPlayer2.lorvan"));
        rig.load(cueSheet());
        listener.emplace("listener", service->registeredName(), mpris::MprisService::objectPath);
    }
    void TearDown() override {
        listener.reset();
        service.reset();
    }

    [[nodiscard]] std::filesystem::path folder() const { return directory.path() / "Ça va"; }
    [[nodiscard]] std::filesystem::path cueSheet() const { return folder() / "Lorvan Demo.cue"; }

    /// The output plays `buffers` buffers, their completions handled, then everything settles
    /// and every signal the service sent until then is received.
    void play(long buffers) {
        rig.play(buffers);
        sync();
    }
    void sync() {
        rig.settle();
        listener->sync([this] { rig.settle(); });
    }
    /// A client's run, the player settled afterwards and every signal sent until then received.
    test::ClientRun settled(test::ClientRun run) {
        sync();
        return run;
    }
    /// playerctl on this player; its arguments are split at spaces.
    test::ClientRun playerctl(const QString& arguments) {
        return settled(test::runClient("playerctl", QStringList{"--player=lorvan"} + arguments.split(' '),
                                       [this] { rig.settle(); }));
    }
    test::ClientRun call(const QString& method, const QStringList& arguments = {}) {
        return settled(test::gdbus(service->registeredName(), "/org/mpris/MediaPlayer2", method, arguments,
                                   [this] { rig.settle(); }));
    }
    /// A player property as gdbus prints it, "(<false>,)".
    QString property(const QString& name) {
        return call("org.freedesktop.DBus.Properties.Get", {"org.mpris.MediaPlayer2.Player", name}).out;
    }
    void set(const QString& name, const QString& value) {
        call("org.freedesktop.DBus.Properties.Set", {"org.mpris.MediaPlayer2.Player", name, value});
    }
    /// The Position property, "(<int64 500000>,)".
    std::int64_t position() {
        const QString digits = property("Position").section(' ', 1).section('>', 0, 0);
        bool ok = false;
        const qlonglong value = digits.toLongLong(&ok);
        EXPECT_TRUE(ok) << digits.toStdString();
        return value;
    }
    [[nodiscard]] std::string trackPath(long number) const {
        return mpris::trackObjectPath(player->disc()->id, number);
    }
    [[nodiscard]] long track() const { return viewModel->currentTrackIndex.value().value_or(-1); }
    [[nodiscard]] std::int64_t frame() const {
        return viewModel->progress().progress.value().discFramePosition;
    }

    test::TemporaryDirectory directory;
    test::PlayerRig rig;
    std::shared_ptr<AudioDiscPlayer>& player = rig.player;
    std::optional<PlaybackViewModel>& viewModel = rig.viewModel;
    std::optional<mpris::MprisService> service;
    std::optional<test::SignalListener> listener;
    int raised = 0;
    int quitted = 0;
    std::vector<std::filesystem::path> opened;
};

TEST_F(MprisServiceTest, TheApplicationInterfaceNamesLorvanAndASecondServiceTakesAnInstanceName) {
    const test::ClientRun all = call("org.freedesktop.DBus.Properties.GetAll", {"org.mpris.MediaPlayer2"});
    ASSERT_EQ(all.status, 0) << all.err.toStdString();
    for (const char* expected :
         {"'Identity': <'Lorvan'>", "'DesktopEntry': <'app.lorvan.Lorvan'>", "'CanRaise': <true>",
          "'CanQuit': <true>", "'HasTrackList': <false>", "'SupportedUriSchemes': <['file']>",
          "'application/x-cue'", "'inode/directory'"})
        EXPECT_THAT(all.out.toStdString(), HasSubstr(expected));

    EXPECT_EQ(call("org.mpris.MediaPlayer2.Raise").status, 0);
    EXPECT_EQ(raised, 1);
    EXPECT_EQ(call("org.mpris.MediaPlayer2.Quit").status, 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(quitted, 1) << "after the reply went out";

    // Another process's service on the same bus: the plain name is taken.
    {
        mpris::MprisService other(*viewModel, {},
                                  QDBusConnection::connectToBus(QDBusConnection::SessionBus, "second"));
        EXPECT_EQ(other.registeredName(), "org.mpris.MediaPlayer2.lorvan.instance" +
                                              QString::number(QCoreApplication::applicationPid()));
        const test::ClientRun root =
            test::gdbus(other.registeredName(), "/org/mpris/MediaPlayer2",
                        "org.freedesktop.DBus.Properties.Get", {"org.mpris.MediaPlayer2", "CanRaise"});
        EXPECT_EQ(root.out, "(<false>,)") << "nothing to raise without the action";
    }
    QDBusConnection::disconnectFromBus("second");
}

TEST_F(MprisServiceTest, StatusAndMetadataFollowTheTrackWithLengthsFromFirstCueToFirstCue) {
    EXPECT_EQ(playerctl("status").out, "Stopped");
    const QString metadata = "metadata --format {{mpris:trackid}}|{{xesam:title}}|{{xesam:artist}}|"
                             "{{xesam:album}}|{{xesam:albumArtist}}|{{xesam:trackNumber}}|"
                             "{{xesam:discNumber}}|{{mpris:length}}";
    // Track 1 with its artificial pregap, to track 2's INDEX 00.
    EXPECT_EQ(playerctl(metadata).out.toStdString(),
              "'" + trackPath(1) + "'|Morning Arpeggios|The Lorvan Ensemble|Lorvan Demo Disc|" +
                  "The Lorvan Ensemble|1|1|" + std::to_string(us(track2Pregap)));
    // The trackid's D-Bus type is an object path, and the artwork a file URL that names the file.
    const std::string metadataValues = property("Metadata").toStdString();
    EXPECT_THAT(metadataValues, HasSubstr("'mpris:trackid': <objectpath '" + trackPath(1) + "'>"));
    EXPECT_THAT(metadataValues, HasSubstr("'mpris:length': <int64 " + std::to_string(us(track2Pregap))));
    const QString art = playerctl("metadata mpris:artUrl").out;
    EXPECT_TRUE(art.startsWith("file:///")) << art.toStdString();
    EXPECT_FALSE(art.contains(' ')) << art.toStdString();
    EXPECT_EQ(QUrl(art).toLocalFile().toStdString(), (folder() / "cover.png").string());

    // Stopped, next track starts the first track at INDEX 01, 2 s into its span.
    EXPECT_EQ(playerctl("next").status, 0);
    EXPECT_EQ(playerctl("status").out, "Playing");
    EXPECT_EQ(track(), 0);
    EXPECT_EQ(listener->seeks, std::vector<qlonglong>{2'000'000});

    // Playing, it goes to track 2, which runs from its INDEX 00 to track 3, with its own performer.
    listener->clear();
    EXPECT_EQ(playerctl("next").status, 0);
    EXPECT_EQ(track(), 1);
    EXPECT_EQ(playerctl(metadata).out.toStdString(),
              "'" + trackPath(2) + "'|A Minor Walk|Lorvan Strings|Lorvan Demo Disc|The Lorvan Ensemble|2|1|" +
                  std::to_string(us(track3 - track2Pregap)));
    ASSERT_FALSE(listener->changes.empty());
    bool announcedMetadata = false;
    for (const QVariantMap& change : listener->changes) {
        EXPECT_FALSE(change.contains("Position")) << "the position is never announced";
        announcedMetadata = announcedMetadata || change.contains("Metadata");
    }
    EXPECT_TRUE(announcedMetadata);
    EXPECT_EQ(listener->seeks, std::vector<qlonglong>{us(track2 - track2Pregap)})
        << "a track change by the user is a jump, to INDEX 01";

    // No disc: no metadata, nothing to play.
    player->stopEject();
    player->stopEject();
    rig.settle();
    EXPECT_EQ(property("Metadata"), "(<@a{sv} {}>,)");
    EXPECT_EQ(property("CanPlay"), "(<false>,)");
    EXPECT_EQ(playerctl("status").out, "Stopped");
}

TEST_F(MprisServiceTest, APictureInsideTheTracksFileIsKeptInTheCacheForMediaControls) {
    // Disc B: one file per track, no artwork file; only the first file holds a picture.
    const std::filesystem::path discB = directory.path() / "b";
    ASSERT_EQ(test::runProcess(LORVAN_CLI, "demo --split --dir " + test::shellQuoted(discB)).status, 0);
    std::filesystem::remove(discB / "cover.png");
    const std::filesystem::path first = discB / "01 Morning Arpeggios.flac";
    const std::filesystem::path picture = directory.path() / "picture.png";
    const std::filesystem::path pictured = directory.path() / "pictured.flac";
    for (const std::string& arguments :
         {"-f lavfi -i color=red:s=8x8 -frames:v 1 " + test::shellQuoted(picture),
          "-i " + test::shellQuoted(first) + " -i " + test::shellQuoted(picture) +
              " -map 0:a -map 1:v -c copy -disposition:v attached_pic " + test::shellQuoted(pictured)}) {
        const auto made = test::runProcess("ffmpeg", "-v error -y " + arguments, "", true);
        ASSERT_EQ(made.status, 0) << made.out;
    }
    std::filesystem::rename(pictured, first);
    const std::filesystem::path cache = directory.path() / "cache";
    qputenv("XDG_CACHE_HOME", QByteArray::fromStdString(cache.string()));
    player->load(AudioDisc::fromCueSheet(CueSheet(Url::fileURL(discB / "Lorvan Demo.cue")),
                                         platform::audioDiscServices()),
                 false);
    rig.settle();

    const QString art = playerctl("metadata mpris:artUrl").out;
    const std::filesystem::path kept = QUrl(art).toLocalFile().toStdString();
    EXPECT_EQ(kept.parent_path(), cache / "lorvan" / "artwork") << art.toStdString();
    EXPECT_EQ(kept.extension(), ".png");
    EXPECT_FALSE(test::fileText(picture).empty());
    EXPECT_EQ(test::fileText(kept), test::fileText(picture));
    EXPECT_EQ(playerctl("metadata mpris:artUrl").out, art);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(kept.parent_path()), {}), 1)
        << "one file per picture";

    player->goToTrack(1, 1, false);
    rig.settle();
    EXPECT_EQ(playerctl("metadata mpris:artUrl").out, QString()) << "track 2's file has no picture";
    qunsetenv("XDG_CACHE_HOME");
}

TEST_F(MprisServiceTest, TransportMethodsActOnlyWhereTheyMeanSomething) {
    EXPECT_EQ(playerctl("play").status, 0);
    EXPECT_EQ(viewModel->state.value(), State::playing);
    EXPECT_EQ(track(), 0);

    playerctl("pause");
    EXPECT_EQ(viewModel->state.value(), State::paused);
    playerctl("pause");
    EXPECT_EQ(viewModel->state.value(), State::paused) << "a second pause keeps the pause";
    playerctl("play-pause");
    EXPECT_EQ(viewModel->state.value(), State::playing);
    playerctl("play");
    EXPECT_EQ(viewModel->state.value(), State::playing) << "play while playing changes nothing";

    playerctl("next");
    playerctl("next");
    EXPECT_EQ(track(), 2);
    EXPECT_EQ(property("CanGoNext"), "(<false>,)") << "the last track without repeat";
    playerctl("previous");
    EXPECT_EQ(track(), 1) << "at the start of a track, previous goes back";

    playerctl("stop");
    EXPECT_EQ(viewModel->state.value(), State::stopped);
    playerctl("stop");
    EXPECT_NE(viewModel->disc.value().disc, nullptr) << "stopping a stopped player must not eject";
    EXPECT_EQ(property("CanGoNext"), "(<true>,)") << "stopped: next plays";

    // OpenUri hands file URIs to the application, which may refuse them.
    const auto openUri = [this](const QString& uri) {
        return call("org.mpris.MediaPlayer2.Player.OpenUri", {uri});
    };
    EXPECT_EQ(openUri(QUrl::fromLocalFile(QString::fromStdString(cueSheet().string())).toString()).status, 0);
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened.back(), cueSheet());
    const test::ClientRun refused =
        openUri(QUrl::fromLocalFile(QString::fromStdString(folder().string())).toString());
    EXPECT_NE(refused.status, 0);
    EXPECT_THAT(refused.err.toStdString(), HasSubstr("could not be opened"));
    const test::ClientRun web = openUri("sftp:/music/a.cue");
    EXPECT_NE(web.status, 0);
    EXPECT_THAT(web.err.toStdString(), HasSubstr("Only file URIs"));
    EXPECT_EQ(opened.size(), 2u) << "a web address never reaches the application";
}

TEST_F(MprisServiceTest, PositionsCountUpThroughThePregapAndOnlyJumpsAreSeeked) {
    // Track 2's pregap: the display counts down from -0:01, media controls up from 0.
    player->goToTrack(1, 0, false);
    sync();
    ASSERT_EQ(track(), 1);
    EXPECT_EQ(viewModel->progress().progress.value().trackElapsedFrames, -44100);
    EXPECT_EQ(position(), 0);
    listener->clear();
    play(25);
    EXPECT_EQ(position(), us(25 * buffer)) << "half a second in, half a second before INDEX 01";
    play(50);
    EXPECT_EQ(position(), us(75 * buffer)) << "past INDEX 01 the count goes on";
    EXPECT_TRUE(listener->seeks.empty()) << "steady play is not a jump";

    // Seek and SetPosition, through playerctl; each is a jump, announced with the new position.
    playerctl("position 3");
    EXPECT_EQ(frame(), track2Pregap + 3 * 44100);
    playerctl("position 1.5+");
    EXPECT_EQ(frame(), track2Pregap + 4 * 44100 + 22050);
    playerctl("position 10-");
    EXPECT_EQ(frame(), track2Pregap) << "back to the first cue";
    EXPECT_EQ(listener->seeks, (std::vector<qlonglong>{3'000'000, 4'500'000, 0}));

    // A position written back lands on the frame it was read at.
    const auto setPosition = [this](const std::string& path, std::int64_t at) {
        call("org.mpris.MediaPlayer2.Player.SetPosition",
             {QString::fromStdString(path), QString::number(at)});
    };
    play(1);
    const std::int64_t read = position();
    const std::int64_t at = frame();
    setPosition(trackPath(2), read);
    EXPECT_EQ(frame(), at);

    // Another track's id, or a position outside the track: nothing moves.
    listener->clear();
    for (const auto& [path, microseconds] : std::vector<std::pair<std::string, std::int64_t>>{
             {trackPath(3), 1'000'000}, {trackPath(2), -1}, {trackPath(2), us(track3 - track2Pregap) + 1}}) {
        setPosition(path, microseconds);
        EXPECT_EQ(frame(), at) << path << " " << microseconds;
    }
    EXPECT_TRUE(listener->seeks.empty());

    // Seeking past the end of the track goes to the next one; an offset near the largest number
    // must not wrap around.
    call("org.mpris.MediaPlayer2.Player.Seek", {"9223372036854775807"});
    EXPECT_EQ(track(), 2);
    EXPECT_EQ(frame(), track3);
    call("org.mpris.MediaPlayer2.Player.Seek", {"-9223372036854775808"});
    EXPECT_EQ(frame(), track3);
    EXPECT_EQ(viewModel->state.value(), State::playing);

    // Steady play across a track boundary: new metadata, no Seeked.
    player->seekToFrame(track3 - 2 * buffer, false);
    sync();
    listener->clear();
    play(3);
    EXPECT_EQ(track(), 2);
    EXPECT_TRUE(listener->seeks.empty());
    ASSERT_FALSE(listener->changes.empty());
    EXPECT_TRUE(listener->changes.back().contains("Metadata"));
    EXPECT_EQ(position(), us(buffer));
}

TEST_F(MprisServiceTest, LoopShuffleRateAndVolumeWritesGoToThePlayerAndComeBackAnnounced) {
    for (const auto& [loop, mode] : std::vector<std::pair<QString, RepeatMode>>{
             {"Track", RepeatMode::track}, {"Playlist", RepeatMode::disc}, {"None", RepeatMode::none}}) {
        listener->clear();
        EXPECT_EQ(playerctl("loop " + loop).status, 0);
        EXPECT_EQ(player->repeatMode(), mode);
        EXPECT_EQ(playerctl("loop").out, loop);
        ASSERT_EQ(listener->changes.size(), 1u);
        EXPECT_EQ(listener->changes.back().value("LoopStatus").toString(), loop);
    }

    // Shuffle is a toggle in the player: writing the value it has must not flip it.
    for (int round = 0; round < 2; ++round) {
        playerctl("shuffle On");
        EXPECT_TRUE(viewModel->shuffle.value()) << round;
    }
    playerctl("shuffle Off");
    EXPECT_FALSE(viewModel->shuffle.value());

    EXPECT_EQ(property("MinimumRate"), "(<0.25>,)");
    EXPECT_EQ(property("MaximumRate"), "(<4.0>,)");
    set("Rate", "<0.5>");
    EXPECT_EQ(viewModel->rate.value(), 0.5F);
    set("Rate", "<9.0>");
    EXPECT_EQ(viewModel->rate.value(), 4.0F) << "clamped, as the player clamps";
    set("Rate", "<0.1>");
    EXPECT_EQ(viewModel->rate.value(), 0.25F);
    listener->clear();
    player->toggleBeat();
    sync();
    ASSERT_EQ(listener->changes.size(), 1u);
    EXPECT_DOUBLE_EQ(listener->changes.back().value("Rate").toDouble(), 0.8) << "New Beat";
    EXPECT_EQ(property("Rate"), "(<0.80000000000000004>,)");

    // A rate of 0 pauses a playing player and leaves the rate alone; it starts nothing.
    set("Rate", "<0.0>");
    EXPECT_EQ(viewModel->state.value(), State::stopped);
    player->play();
    rig.settle();
    set("Rate", "<0.0>");
    EXPECT_EQ(viewModel->state.value(), State::paused);
    EXPECT_EQ(viewModel->rate.value(), 0.8F);

    // The volume turns the amplifier on, as the window's volume dial needs it on.
    EXPECT_FALSE(viewModel->amplifier.value());
    EXPECT_EQ(playerctl("volume").out, "1.000000");
    listener->clear();
    playerctl("volume 0.3");
    EXPECT_TRUE(viewModel->amplifier.value());
    EXPECT_FLOAT_EQ(viewModel->volume.value(), 0.3F);
    EXPECT_EQ(playerctl("volume").out, "0.300000");
    ASSERT_FALSE(listener->changes.empty());
    EXPECT_DOUBLE_EQ(listener->changes.back().value("Volume").toDouble(), 0.3);
    set("Volume", "<1.5>");
    EXPECT_EQ(viewModel->volume.value(), 1.0F);
}

} // namespace
} // namespace lorvan

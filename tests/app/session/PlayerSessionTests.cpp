// The session as the window and the play command own it: the real player, queues and graph
// engine on the null output, a demo disc written by lorvan-cli, and Qt's event loop as the
// main thread.

#include "app/session/DiscOpening.hpp"
#include "app/session/PlayerSession.hpp"
#include "core/UserDefaults.hpp"
#include "support/TestSupport.hpp"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using State = AudioDiscPlayer::State;
using testing::HasSubstr;

class PlayerSessionTest : public testing::Test {
protected:
    void SetUp() override {
        const auto made = test::runProcess(LORVAN_CLI, "demo --split --dir " + test::shellQuoted(disc()));
        ASSERT_EQ(made.status, 0) << made.out;
    }
    [[nodiscard]] std::filesystem::path disc() const { return directory.path() / "disc"; }
    [[nodiscard]] std::filesystem::path cueSheet() const { return disc() / "Lorvan Demo.cue"; }

    /// Runs the event loop until `done` holds; a minute is a hang, not a slow machine.
    template <typename Condition> static bool runUntil(Condition done) {
        QElapsedTimer elapsed;
        elapsed.start();
        while (!done() && elapsed.elapsed() < 60'000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        return done();
    }

    int argc = 1;
    char name[6] = "tests";
    char* argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
    test::TemporaryDirectory directory;
    std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
    PlayerSession::Options options = [this] {
        PlayerSession::Options chosen;
        chosen.soundDevice = false;
        chosen.userDefaults = defaults;
        chosen.stallTimeout = std::chrono::milliseconds(300);
        return chosen;
    }();
};

TEST_F(PlayerSessionTest, OpensCueSheetsAndFoldersAndARefusedOpenKeepsThePlayingDisc) {
    defaults->setString(AudioDiscPlayer::repeatModeDefaultsKey, "Entire Disc");
    PlayerSession session(options);
    EXPECT_EQ(session.player().repeatMode(), AudioDiscPlayer::RepeatMode::disc) << "from the given defaults";

    session.open(disc(), false);
    ASSERT_TRUE(session.player().disc());
    EXPECT_EQ(session.player().disc()->tracks.size(), 3U);
    EXPECT_EQ(session.player().state(), State::stopped) << "a folder, without autoplay";

    session.open(cueSheet(), true);
    EXPECT_EQ(session.player().state(), State::playing);
    const auto playing = session.player().disc();

    // Refused before anything is read: the session logs it, as the readers log their own.
    std::filesystem::create_directories(directory.path() / "empty");
    for (const auto& [path, logged] : {std::pair{directory.path() / "none.cue", "Couldn't open"},
                                       std::pair{directory.path() / "empty", "directory"},
                                       std::pair{directory.write("bad.cue", "FILE\n"), "Line 1"}}) {
        SCOPED_TRACE(path.string());
        test::CapturedLog log;
        EXPECT_THROW(session.open(path, true), LocalizedError);
        EXPECT_THAT(log.text(), HasSubstr(logged));
        EXPECT_EQ(session.player().disc(), playing) << "the playing disc stays";
        EXPECT_EQ(session.player().state(), State::playing);
    }
    const auto refusal = test::thrown<InputError>([&] { session.open(directory.path() / "none.cue", true); });
    EXPECT_EQ(refusal.kindName(), "fileNotFound");
}

TEST_F(PlayerSessionTest, ADryPipelineEndsTheDiscAtItsLastFrameOrStopsAfterAFailedRead) {
    PlayerSession session(options);
    int ended = 0;
    std::vector<std::int64_t> failures;
    session.notifications.discEndedAtStall = [&] { ++ended; };
    session.notifications.readFailed = [&](std::int64_t frame) { failures.push_back(frame); };
    session.open(cueSheet(), false);
    AudioDiscPlayer& player = session.player();

    // The reader's bound is the last frame: nothing more comes, and no last buffer completes.
    const std::int64_t total = player.disc()->data->totalFrameCount();
    player.seekToFrame(total - 1, true);
    ASSERT_TRUE(runUntil([&] { return ended > 0; }));
    EXPECT_EQ(player.state(), State::stopped);
    EXPECT_TRUE(player.disc()) << "stopped at the start, not ejected";
    EXPECT_TRUE(failures.empty());

    // The second file is cut: reading the second track's pregap (the end of the first file)
    // goes well, then the reader fails where the second file begins.
    std::filesystem::resize_file(disc() / "02 A Minor Walk.flac", 1000);
    const AudioTrack& second = player.disc()->tracks.at(1);
    const std::int64_t secondFileStart = player.disc()->trackTableStartFrame(second);
    test::CapturedLog log;
    player.goToTrack(1, 0, true);
    ASSERT_TRUE(runUntil([&] { return !failures.empty(); })) << log.text();
    EXPECT_EQ(failures.front(), secondFileStart);
    EXPECT_THAT(log.text(), HasSubstr("Playback stopped: the disc could not be read from frame " +
                                      std::to_string(secondFileStart) + "."));
    EXPECT_EQ(player.state(), State::stopped);
    EXPECT_EQ(ended, 1);
}

TEST_F(PlayerSessionTest, ShutDownEjectsAndWaitsUntilTheQueuesHaveLetGoOfThePlayer) {
    PlayerSession session(options);
    session.open(cueSheet(), true);
    ASSERT_TRUE(runUntil([&] { return session.player().discFramePosition() > 44'100; }));
    const std::weak_ptr<AudioDiscPlayer> player = session.sharedPlayer();
    session.shutDown();
    EXPECT_TRUE(player.expired());
    EXPECT_EQ(session.sharedPlayer(), nullptr);
    session.shutDown(); // a second call, and the destructor's, do nothing
}

} // namespace
} // namespace lorvan

#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using testing::HasSubstr;
using testing::Not;

/// A demo disc of its own (one file per track when `split`) and a settings folder of its own.
class PlayCommand : public testing::Test {
protected:
    void SetUp() override {
        const auto made = test::runProcess(LORVAN_CLI, "demo --split --dir " + test::shellQuoted(disc()));
        ASSERT_EQ(made.status, 0) << made.out;
    }
    [[nodiscard]] std::filesystem::path disc() const { return directory.path() / "disc"; }
    [[nodiscard]] std::filesystem::path cueSheet() const { return disc() / "Lorvan Demo.cue"; }
    [[nodiscard]] std::string environment() const {
        return "XDG_CONFIG_HOME=" + test::shellQuoted(directory.path() / "config");
    }
    /// lorvan-cli with its standard error kept, stopped by SIGTERM after `seconds` if still running.
    [[nodiscard]] test::ProcessRun cli(const std::string& arguments, int seconds = 60) const {
        return test::runProcess("timeout",
                                "--preserve-status -s TERM " + std::to_string(seconds) + " " +
                                    test::shellQuoted(LORVAN_CLI) + " " + arguments,
                                environment(), true);
    }
    [[nodiscard]] std::string settings() const {
        return test::fileText(directory.path() / "config" / "Lorvan" / "Lorvan.conf");
    }
    test::TemporaryDirectory directory;
};

// The rate and volume out of range are clamped, with their warnings, and the clamped rate of 4
// keeps the run short.
TEST_F(PlayCommand, WithoutATerminalPrintsTheLogAndQuitsAtTheEndOfTheDisc) {
    const auto run = cli("play " + test::shellQuoted(cueSheet()) + " --output null --rate 9 --volume 3");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("New audio disc from cue sheet"));
    EXPECT_THAT(run.out, HasSubstr("9 is a value too high for playback rate. It must between 0.25 and 4.0."));
    EXPECT_THAT(run.out, HasSubstr("Playback volume can't be above 1.0."));
    EXPECT_THAT(run.out, HasSubstr("New playback rate ····················· : 4.00"));
    EXPECT_THAT(run.out, HasSubstr("Buffering Level"));
    EXPECT_THAT(run.out, Not(HasSubstr("\x1b["))) << "no status display without a terminal";
    EXPECT_THAT(settings(), Not(HasSubstr("selectedRepeatMode"))) << "nothing persisted without --repeat";
}

TEST_F(PlayCommand, WithoutATerminalRepeatIsThisRunsOnlyAndASignalEndsTheRunWithItsNumber) {
    // Repeating the disc never ends by itself: a signal must end it, as 128 + the signal.
    for (const auto& [signal, status] :
         {std::pair{"TERM", 143}, std::pair{"INT", 130}, std::pair{"HUP", 129}}) {
        SCOPED_TRACE(signal);
        const auto run = test::runProcess(
            "timeout",
            std::string("--preserve-status -s ") + signal + " 2 " + test::shellQuoted(LORVAN_CLI) + " play " +
                test::shellQuoted(disc()) + " --output null --repeat disc --shuffle --seed 7",
            environment(), true);
        EXPECT_EQ(run.status, status) << run.out;
    }
    EXPECT_THAT(settings(), Not(HasSubstr("selectedRepeatMode"))) << "a script's --repeat is not kept";

    // A repeat mode kept by an earlier run on a terminal, or by the window, does not make a
    // scripted run loop: it ends with the disc.
    directory.write("config/Lorvan/Lorvan.conf", "[General]\nselectedRepeatMode=Entire Disc\n");
    const auto again = cli("play " + test::shellQuoted(cueSheet()) + " --output null --rate 4");
    EXPECT_EQ(again.status, 0) << again.out;
    EXPECT_THAT(settings(), HasSubstr("selectedRepeatMode=Entire Disc")) << "and leaves it as it was";
}

TEST_F(PlayCommand, APipedLogArrivesLineByLineWhileItPlays) {
    // Killed outright after two seconds, the process flushes nothing more: what the pipe holds
    // is what had arrived by then, which must reach the read-ahead filling up.
    const auto run = test::runProcess("timeout",
                                      "-s KILL 2 " + test::shellQuoted(LORVAN_CLI) + " play " +
                                          test::shellQuoted(cueSheet()) + " --output null",
                                      environment());
    EXPECT_THAT(run.out, HasSubstr("Buffering Level ······················· : 100 %"));
}

TEST_F(PlayCommand, RefusesBadOptionsAndInputsWithTheSharedExitStatuses) {
    const std::string sheet = test::shellQuoted(cueSheet());
    const std::string none = test::shellQuoted(directory.path() / "none.cue");
    for (const auto& [arguments, status] : std::vector<std::pair<std::string, int>>{
             {sheet + " --output speakers", 2},
             {sheet + " --repeat always", 2},
             {sheet + " --seed 4", 2}, // --seed needs --shuffle
             {sheet + " --rate nan", 2},
             // Empty values would read as no option at all; a seed below 0 or past 64 bits would
             // wrap or be cut to another seed.
             {sheet + " --rate ''", 2},
             {sheet + " --volume ''", 2},
             {sheet + " --shuffle --seed -1", 2},
             {sheet + " --shuffle --seed 18446744073709551616", 2},
             // The largest seed is a seed: the run gets as far as the missing disc.
             {none + " --output null --shuffle --seed 18446744073709551615", 1},
             {test::shellQuoted(directory.path()) + " --output null", 1}}) {
        const auto run = cli("play " + arguments);
        EXPECT_EQ(run.status, status) << arguments << "\n" << run.out;
    }
    const auto track = cli("play " + sheet + " --output null --track 9");
    EXPECT_EQ(track.status, 2);
    EXPECT_THAT(track.out, HasSubstr("--track 9: the disc has tracks 1 to 3"));
    const auto missing = cli("play " + none + " --output null");
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.out, HasSubstr("Couldn't open"));
}

/// The last line of `text`, without its line break.
std::string lastLine(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

TEST_F(PlayCommand, ARefusalIsOneLastLineEvenWhenItsReasonIsLaidOutOverSeveral) {
    // A WAVE file that holds no frame: its reason sets the file's name apart on a line of its own.
    const auto folder = directory.path() / "silent";
    std::filesystem::create_directories(folder);
    const std::string wave = test::shellQuoted(folder / "empty.wav");
    ASSERT_EQ(
        test::runProcess("ffmpeg", "-v error -f lavfi -i anullsrc -frames:a 0 -c:a pcm_s16le " + wave).status,
        0);
    directory.write("silent/empty.cue", "FILE \"empty.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
    for (const std::string command : {"play", "info"}) {
        SCOPED_TRACE(command);
        const auto run = cli(command + " " + test::shellQuoted(folder / "empty.cue") +
                             (command == "play" ? " --output null" : ""));
        EXPECT_EQ(run.status, 1) << run.out;
        const std::string last = lastLine(run.out);
        EXPECT_THAT(last, HasSubstr("no duration")) << run.out;
        EXPECT_THAT(last, HasSubstr(": empty.wav")) << "the file's name on the same line";
        // The log's own error block stays, and the refusal is said once after it.
        EXPECT_EQ(run.out.find(last), run.out.rfind(last));
    }
}

TEST_F(PlayCommand, AFileCutShortWhilePlayingPrintsTheErrorPlaysOutAndExitsWithOne) {
    // The second track's file is cut while the first is playing, once the player has it open
    // (cut before, it would be refused at the open): found among the open files of the
    // processes whose command line names this test's own cue sheet.
    const auto file = test::shellQuoted(disc() / "02 A Minor Walk.flac");
    const std::string cut = "(for _ in $(seq 600); do for p in $(pgrep -f -- " +
                            test::shellQuoted(cueSheet()) +
                            "); do ls -l /proc/$p/fd 2>/dev/null | grep -qF -- " + file +
                            " && break 2; done; sleep 0.05; done; truncate -s 1000 " + file + ") & ";
    const auto run =
        test::runProcess("timeout",
                         "--preserve-status -s TERM 60 " + test::shellQuoted(LORVAN_CLI) + " play " +
                             test::shellQuoted(cueSheet()) + " --output null --rate 4",
                         cut + environment(), true);
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_THAT(run.out, HasSubstr("on audio file 'file:///")) << "the read error itself is printed";
    EXPECT_THAT(run.out, HasSubstr("02%20A%20Minor%20Walk.flac"));
    EXPECT_THAT(run.out, HasSubstr("Playback stopped: the disc could not be read from frame"));
}

} // namespace
} // namespace lorvan

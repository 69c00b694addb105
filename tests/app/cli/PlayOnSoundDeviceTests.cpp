// `play` through a real sound device. The machines that run the tests have no sound hardware, so
// the device is a JACK server on its dummy driver: PortAudio opens it like any other device and it
// pulls audio at its own clock, which makes the whole device path run as it does for a listener.

#include "support/TestSupport.hpp"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <utility>
#include <unistd.h>

namespace lorvan {
namespace {

using testing::HasSubstr;
using testing::Not;

/// A JACK server of its own name on the dummy driver; gone with the object (or with the test
/// process, should that die first).
class JackDummyServer {
public:
    explicit JackDummyServer(int sampleRate)
        : name_("lorvan-test-" + std::to_string(getpid())) {
        const std::string rate = std::to_string(sampleRate);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            (void)!freopen("/dev/null", "w", stdout);
            (void)!freopen("/dev/null", "w", stderr);
            execlp("jackd", "jackd", "--no-realtime", "-n", name_.c_str(), "-d", "dummy", "-r", rate.c_str(),
                   "-p", "1024", nullptr);
            _exit(127);
        }
        ready_ = pid_ > 0 && test::runProcess("jack_wait", "-s " + name_ + " -w -t 10").status == 0;
    }
    ~JackDummyServer() { shutDown(); }
    JackDummyServer(const JackDummyServer&) = delete;
    JackDummyServer& operator=(const JackDummyServer&) = delete;

    [[nodiscard]] bool ready() const { return ready_; }
    void shutDown() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    /// What a client process needs to find this server.
    [[nodiscard]] std::string environment() const { return "JACK_DEFAULT_SERVER=" + name_; }

private:
    std::string name_;
    pid_t pid_ = -1;
    bool ready_ = false;
};

/// A split demo disc and a settings folder of its own, and a device of 48 kHz against the disc's
/// 44.1 kHz, so that the graph has to convert for it.
class PlayOnSoundDevice : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.ready()) << "jackd (Debian package jackd2, installed by scripts/bootstrap) did not start";
        ASSERT_EQ(test::runProcess(LORVAN_CLI, "demo --split --dir " + test::shellQuoted(disc())).status, 0);
    }
    [[nodiscard]] std::filesystem::path disc() const { return directory.path() / "disc"; }

    /// Track 3 (10 s) at rate 2: 5 s of the device's time. Returns the run and its wall time.
    std::pair<test::ProcessRun, double> playTrack3() const {
        const auto started = std::chrono::steady_clock::now();
        auto run = test::runProcess("timeout", "-s TERM 30 " + test::shellQuoted(LORVAN_CLI) + " play " +
                                                   test::shellQuoted(disc()) + " --output device --track 3 --rate 2",
                                    server.environment() + " XDG_CONFIG_HOME=" +
                                        test::shellQuoted(directory.path() / "config"),
                                    true);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
        return {std::move(run), elapsed.count()};
    }

    test::TemporaryDirectory directory;
    JackDummyServer server{48000};
};

TEST_F(PlayOnSoundDevice, PlaysToTheEndAtTheDevicesClockThroughItsOwnSampleRate) {
    const auto [run, seconds] = playTrack3();
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("(JACK Audio Connection Kit), 48000 Hz"));
    EXPECT_THAT(run.out, Not(HasSubstr("null output")));
    // Paced by the device: neither faster than the audio (a device that does not pull in real
    // time) nor much slower (a device that stalls, or a disc that never ends).
    EXPECT_GT(seconds, 4.5);
    EXPECT_LT(seconds, 12.0);
}

TEST_F(PlayOnSoundDevice, ADeviceThatGoesAwayMidPlayHandsOverToTheNullOutput) {
    // Once its server is gone, PortAudio's own clean-up of the stream aborts the process, and
    // nothing pulls the audio any more: the player has to notice, leave the stream alone and
    // carry on at the null output's clock to the end of the disc.
    std::thread killer([this] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        server.shutDown();
    });
    const auto [run, seconds] = playTrack3();
    killer.join();
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("The sound device went away, playing on to the null output"));
    EXPECT_GT(seconds, 4.5);
    EXPECT_LT(seconds, 12.0);
}

} // namespace
} // namespace lorvan

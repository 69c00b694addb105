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
    ~JackDummyServer() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    JackDummyServer(const JackDummyServer&) = delete;
    JackDummyServer& operator=(const JackDummyServer&) = delete;

    [[nodiscard]] bool ready() const { return ready_; }
    /// What a client process needs to find this server.
    [[nodiscard]] std::string environment() const { return "JACK_DEFAULT_SERVER=" + name_; }

private:
    std::string name_;
    pid_t pid_ = -1;
    bool ready_ = false;
};

TEST(PlayOnSoundDevice, PlaysToTheEndAtTheDevicesClockThroughItsOwnSampleRate) {
    // 48 kHz against the disc's 44.1 kHz: the graph has to convert for the device.
    JackDummyServer server(48000);
    ASSERT_TRUE(server.ready()) << "jackd (Debian package jackd2, installed by scripts/bootstrap) did not start";
    test::TemporaryDirectory directory;
    const auto disc = directory.path() / "disc";
    ASSERT_EQ(test::runProcess(LORVAN_CLI, "demo --split --dir " + test::shellQuoted(disc)).status, 0);

    // Track 3 lasts 10 s; at rate 2 that is 5 s of the device's time.
    const auto started = std::chrono::steady_clock::now();
    const auto run = test::runProcess(
        "timeout", "-s TERM 30 " + test::shellQuoted(LORVAN_CLI) + " play " + test::shellQuoted(disc) +
                       " --output device --track 3 --rate 2",
        server.environment() + " XDG_CONFIG_HOME=" + test::shellQuoted(directory.path() / "config"), true);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;

    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("(JACK Audio Connection Kit), 48000 Hz"));
    EXPECT_THAT(run.out, Not(HasSubstr("null output")));
    // Paced by the device: neither faster than the audio (a device that does not pull in real
    // time) nor much slower (a device that stalls, or a disc that never ends).
    EXPECT_GT(elapsed.count(), 4.5);
    EXPECT_LT(elapsed.count(), 12.0);
}

} // namespace
} // namespace lorvan

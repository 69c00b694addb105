// `play` through a real sound device. The machines that run the tests have no sound hardware, so
// the devices are sound servers that need none: a JACK server on its dummy driver, which
// PortAudio reaches through its JACK host API, and a PulseAudio server on a null sink, which it
// reaches through ALSA's default device as on a desktop. Both pull audio at their own clock,
// which makes the whole device path run as it does for a listener. Each server lives in a
// runtime of its own (a unique JACK name, a private runtime directory), and each test hides the
// other kind of server, so that a developer's own sound servers are never used.

#include "support/TestSupport.hpp"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

namespace lorvan {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Runs `argv` in a child that dies with the test process; its output goes to `log` (or nowhere).
pid_t spawn(const std::vector<std::string>& argv,
            const std::vector<std::pair<std::string, std::string>>& environment,
            const std::filesystem::path& log = "/dev/null") {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    for (const auto& [name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);
    (void)!freopen("/dev/null", "r", stdin);
    (void)!freopen(log.c_str(), "w", stdout);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    std::vector<char*> arguments;
    for (const std::string& argument : argv)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

/// A server process of the test's own; gone with the object (or with the test process).
class ServerProcess {
public:
    ServerProcess() = default;
    ~ServerProcess() { shutDown(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    [[nodiscard]] bool ready() const { return ready_; }
    void shutDown() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

protected:
    pid_t pid_ = -1;
    bool ready_ = false;
};

/// A JACK server of its own name on the dummy driver, at 48 kHz.
class JackDummyServer : public ServerProcess {
public:
    static constexpr std::string_view description = "jackd (Debian package jackd2)";
    /// JACK's own host API; the server runs at 48 kHz, so the graph converts the 44.1 kHz disc.
    static constexpr std::string_view deviceLine = ": system (JACK Audio Connection Kit), 48000 Hz";

    explicit JackDummyServer(const std::filesystem::path& directory)
        : name_("lorvan-test-" + std::to_string(getpid()))
        , directory_(directory) {
        std::filesystem::create_directories(directory_);
        pid_ = spawn({"jackd", "--no-realtime", "-n", name_, "-d", "dummy", "-r", "48000", "-p", "1024"}, {});
        ready_ = pid_ > 0 && test::runProcess("jack_wait", "-s " + name_ + " -w -t 10").status == 0;
    }

    /// The ports connected to the server's playback port: PortAudio's while Lorvan plays.
    static constexpr std::string_view playingClient = "PortAudio:out_";
    [[nodiscard]] std::string playingClients() const {
        return test::runProcess("jack_lsp", "-s " + name_ + " -c system:playback_1").out;
    }
    /// PortAudio connects its ports when the stream starts, so any connection is the playing one.
    [[nodiscard]] std::string playingStream() const {
        return playingClients().find(playingClient) == std::string::npos ? "" : "PortAudio";
    }
    /// What a client process needs to find this server, and no PulseAudio server (an empty
    /// runtime directory, where a desktop's server would have its socket).
    [[nodiscard]] std::string environment() const {
        return "JACK_DEFAULT_SERVER=" + name_ + " XDG_RUNTIME_DIR=" + test::shellQuoted(directory_) +
               " PULSE_RUNTIME_PATH=" + test::shellQuoted(directory_ / "pulse");
    }

private:
    std::string name_;
    std::filesystem::path directory_;
};

/// A PulseAudio server on a null sink at 48 kHz, in a runtime directory of its own, found by its
/// clients the way a desktop's server is: through XDG_RUNTIME_DIR.
class PulseNullSinkServer : public ServerProcess {
public:
    static constexpr std::string_view description =
        "pulseaudio (Debian packages pulseaudio and libasound2-plugins)";
    /// ALSA's default device, which leads to PulseAudio while it runs. The server converts the
    /// disc's rate for its sink, so the stream opens at the disc's own 44.1 kHz.
    static constexpr std::string_view deviceLine = ": default (ALSA), 44100 Hz";

    explicit PulseNullSinkServer(const std::filesystem::path& directory)
        : directory_(directory) {
        std::filesystem::create_directories(directory_ / "pulse");
        const auto script = directory_ / "server.pa";
        std::ofstream(script) << "load-module module-null-sink sink_name=lorvan_test_sink rate=48000\n"
                                 "load-module module-native-protocol-unix auth-anonymous=1\n"
                                 "set-default-sink lorvan_test_sink\n";
        pid_ = spawn({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                      "--log-target=stderr", "-F", script.string()},
                     {{"XDG_RUNTIME_DIR", directory_.string()},
                      {"PULSE_RUNTIME_PATH", (directory_ / "pulse").string()},
                      {"HOME", directory_.string()},
                      {"XDG_CONFIG_HOME", (directory_ / "config").string()}},
                     directory_ / "server.log");
        for (int attempt = 0; pid_ > 0 && attempt < 100 && !ready_; ++attempt) {
            ready_ = pactl("info").status == 0;
            if (!ready_) std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }

    /// What a client process needs to find this server, and no JACK server (a name nobody runs).
    [[nodiscard]] std::string environment() const {
        return "XDG_RUNTIME_DIR=" + test::shellQuoted(directory_) +
               " PULSE_RUNTIME_PATH=" + test::shellQuoted(directory_ / "pulse") +
               " JACK_DEFAULT_SERVER=lorvan-test-none-" + std::to_string(getpid());
    }
    /// The streams into the server's only sink, each named after its client's program.
    static constexpr std::string_view playingClient = "application.process.binary = \"lorvan-cli\"";
    [[nodiscard]] std::string playingClients() const { return pactl("list sink-inputs").out; }
    /// The number of the player's stream ("#3"), or nothing while it has none.
    [[nodiscard]] std::string playingStream() const {
        const std::string listing = playingClients();
        const std::size_t client = listing.find(playingClient);
        const std::size_t header = listing.rfind("Sink Input #", client);
        if (client == std::string::npos || header == std::string::npos) return "";
        const std::size_t number = header + std::string_view("Sink Input ").size();
        return listing.substr(number, listing.find('\n', number) - number);
    }

private:
    [[nodiscard]] test::ProcessRun pactl(const std::string& arguments) const {
        return test::runProcess("pactl", arguments, environment());
    }

    std::filesystem::path directory_;
};

/// A split demo disc and a settings folder of its own, and a sound server of its own.
template <typename Server> class PlayOnSoundDevice : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.ready()) << Server::description
                                    << ", installed by scripts/bootstrap, did not start";
        ASSERT_EQ(test::runProcess(LORVAN_CLI, "demo --split --dir " + test::shellQuoted(disc())).status, 0);
    }
    [[nodiscard]] std::filesystem::path disc() const { return directory.path() / "disc"; }

    /// Track 3 (10 s) at rate 2: 5 s of the device's time, while `oncePlaying` runs on a thread
    /// of its own as soon as the server has listed the player's stream for half a second (or
    /// after 10 s without). Returns the run and its wall time.
    std::pair<test::ProcessRun, double> playTrack3(const std::function<void()>& oncePlaying) const {
        std::thread meanwhile([&] {
            // Not a fixed delay: on a loaded machine the player may still be starting. Nor the
            // first stream listed: PortAudio opens the device for moments while it looks at
            // devices and formats, and a server gone then leaves nothing to lose. The stream that
            // plays is the one still there half a second later.
            using Clock = std::chrono::steady_clock;
            const auto giveUp = Clock::now() + std::chrono::seconds(10);
            std::string seen;
            for (auto seenAt = Clock::now(); Clock::now() < giveUp;) {
                if (const std::string stream = server.playingStream(); stream.empty() || stream != seen) {
                    seen = stream;
                    seenAt = Clock::now();
                } else if (Clock::now() - seenAt >= std::chrono::milliseconds(500)) {
                    break;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            oncePlaying();
        });
        const auto started = std::chrono::steady_clock::now();
        auto run = test::runProcess("timeout",
                                    "-s TERM 30 " + test::shellQuoted(LORVAN_CLI) + " play " +
                                        test::shellQuoted(disc()) + " --output device --track 3 --rate 2",
                                    server.environment() +
                                        " XDG_CONFIG_HOME=" + test::shellQuoted(directory.path() / "config"),
                                    true);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
        meanwhile.join();
        return {std::move(run), elapsed.count()};
    }

    test::TemporaryDirectory directory;
    Server server{directory.path() / "server"};
};

using SoundServers = testing::Types<JackDummyServer, PulseNullSinkServer>;
struct ServerName {
    template <typename Server> static std::string GetName(int) {
        return std::is_same_v<Server, JackDummyServer> ? "JACK" : "PulseAudio";
    }
};
TYPED_TEST_SUITE(PlayOnSoundDevice, SoundServers, ServerName);

TYPED_TEST(PlayOnSoundDevice, PlaysToTheEndAtTheDevicesClock) {
    std::string clients;
    const auto [run, seconds] = this->playTrack3([&] { clients = this->server.playingClients(); });
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr(TypeParam::deviceLine));
    EXPECT_THAT(run.out, Not(HasSubstr("null output")));
    EXPECT_THAT(clients, HasSubstr(TypeParam::playingClient)) << "the audio never reached the server";
    // Paced by the device: neither faster than the audio (a device that does not pull in real
    // time) nor much slower (a device that stalls, or a disc that never ends).
    EXPECT_GT(seconds, 4.5);
    EXPECT_LT(seconds, 12.0);
}

TYPED_TEST(PlayOnSoundDevice, ADeviceThatGoesAwayMidPlayHandsOverToTheNullOutput) {
    // Once its server is gone, PortAudio's own clean-up of the stream aborts the process, and
    // nothing pulls the audio any more: the player has to notice, leave the stream alone and
    // carry on at the null output's clock to the end of the disc.
    const auto [run, seconds] = this->playTrack3([this] { this->server.shutDown(); });
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr(TypeParam::deviceLine));
    EXPECT_THAT(run.out, HasSubstr("The sound device went away, playing on to the null output"));
    EXPECT_GT(seconds, 4.5);
    EXPECT_LT(seconds, 12.0);
}

} // namespace
} // namespace lorvan

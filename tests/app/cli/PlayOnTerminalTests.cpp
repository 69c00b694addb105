// lorvan-cli play on a pseudo-terminal, as a job of a small job-control shell: what it does with
// the terminal when it is stopped and continued, sent to the background, resized, or quit with
// q or Ctrl-\, and how it reads a lone Esc.

#include "support/TestSupport.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace lorvan {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

/// lorvan-cli as the one job of a shell on its own pseudo-terminal. The shell (a forked child,
/// session leader of the terminal) puts the job in a process group of its own, in the foreground
/// or not, and on request moves it to the foreground or the background and continues it, as
/// `fg` and `bg` do; it reports every change of the job's state. Being the job's parent in the
/// same session, it keeps the job's group from being orphaned, so that the terminal's stop
/// signals stop the job as they would under a real shell.
class TerminalJob {
public:
    TerminalJob(const std::vector<std::string>& arguments, const std::string& configHome, int columns,
                int rows, bool foreground) {
        std::vector<std::string> strings{LORVAN_CLI};
        strings.insert(strings.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (auto& text : strings)
            argv.push_back(text.data());
        argv.push_back(nullptr);
        std::string config = "XDG_CONFIG_HOME=" + configHome;
        std::string term = "TERM=xterm";
        std::string path = "PATH=/usr/bin:/bin";
        char* envp[] = {config.data(), term.data(), path.data(), nullptr};

        int commands[2];
        int reports[2];
        if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(reports, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe");
        winsize size{};
        size.ws_col = static_cast<unsigned short>(columns);
        size.ws_row = static_cast<unsigned short>(rows);
        shell_ = forkpty(&master_, nullptr, nullptr, &size);
        if (shell_ < 0) throw std::runtime_error("forkpty");
        if (shell_ == 0) runShell(argv.data(), envp, commands[0], reports[1], foreground);
        close(commands[0]);
        close(reports[1]);
        commands_ = commands[1];
        reports_ = reports[0];
        fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
        // The shell's first report is the job's process id.
        pollfd ready{reports_, POLLIN, 0};
        if (poll(&ready, 1, 10000) != 1 || read(reports_, &job_, sizeof job_) != sizeof job_)
            throw std::runtime_error("no job");
    }

    ~TerminalJob() {
        if (job_ > 0) kill(-job_, SIGKILL);
        close(commands_); // the shell ends when its commands end
        int status = 0;
        waitpid(shell_, &status, 0);
        close(reports_);
        close(master_);
    }
    TerminalJob(const TerminalJob&) = delete;
    TerminalJob& operator=(const TerminalJob&) = delete;

    /// Keys typed on the terminal.
    void type(std::string_view bytes) { (void)write(master_, bytes.data(), bytes.size()); }
    /// `fg` and `bg`.
    void foreground() { (void)write(commands_, "f", 1); }
    void background() { (void)write(commands_, "b", 1); }
    /// The window is resized: the terminal tells its foreground job.
    void resize(int columns, int rows) {
        winsize size{};
        size.ws_col = static_cast<unsigned short>(columns);
        size.ws_row = static_cast<unsigned short>(rows);
        ioctl(master_, TIOCSWINSZ, &size);
    }
    /// Whether the terminal's modes, as the job left them, edit lines and echo keys.
    [[nodiscard]] bool lineEditing() const {
        termios modes{};
        tcgetattr(master_, &modes);
        return (modes.c_lflag & ICANON) != 0 && (modes.c_lflag & ECHO) != 0;
    }

    /// Reads what arrives for `time`.
    void pump(std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        for (;;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            if (left.count() <= 0) return;
            pollfd fds[2] = {{master_, POLLIN, 0}, {reports_, POLLIN, 0}};
            if (poll(fds, 2, static_cast<int>(left.count())) <= 0) continue;
            char bytes[4096];
            if ((fds[0].revents & POLLIN) != 0)
                for (ssize_t count; (count = read(master_, bytes, sizeof bytes)) > 0;)
                    output.append(bytes, static_cast<std::size_t>(count));
            if ((fds[1].revents & POLLIN) != 0) {
                int status = 0;
                if (read(reports_, &status, sizeof status) == sizeof status) events.push_back(status);
            }
            if ((fds[0].revents & (POLLHUP | POLLERR)) != 0 && (fds[0].revents & POLLIN) == 0)
                std::this_thread::sleep_for(10ms);
        }
    }
    /// Reads until `done` holds, at most for `time`; whether it held.
    bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds time = 15s) {
        const auto end = std::chrono::steady_clock::now() + time;
        while (!done()) {
            if (std::chrono::steady_clock::now() >= end) return false;
            pump(20ms);
        }
        return true;
    }
    /// The next change of the job's state (a `waitpid` status), if one comes within `time`.
    std::optional<int> nextEvent(std::chrono::milliseconds time = 15s) {
        if (!waitUntil([this] { return !events.empty(); }, time)) return std::nullopt;
        const int status = events.front();
        events.pop_front();
        return status;
    }
    /// The exit status, once the job has exited.
    std::optional<int> exitStatus(std::chrono::milliseconds time = 15s) {
        while (const auto event = nextEvent(time))
            if (WIFEXITED(*event))
                return WEXITSTATUS(*event);
            else if (WIFSIGNALED(*event))
                return 128 + WTERMSIG(*event) + 1000; // killed, not exited
        return std::nullopt;
    }

    std::string output;
    std::deque<int> events;

private:
    [[noreturn]] static void runShell(char** argv, char** envp, int commands, int reports, bool foreground) {
        // Only calls that are safe after a fork from here on.
        signal(SIGTTOU, SIG_IGN); // the shell hands the terminal around from wherever it is
        const pid_t job = fork();
        if (job == 0) {
            setpgid(0, 0);
            if (foreground) tcsetpgrp(STDIN_FILENO, getpid());
            signal(SIGTTOU, SIG_DFL);
            execve(argv[0], argv, envp);
            _exit(127);
        }
        setpgid(job, job);
        if (foreground) tcsetpgrp(STDIN_FILENO, job);
        (void)write(reports, &job, sizeof job);
        for (;;) {
            pollfd ready{commands, POLLIN, 0};
            if (poll(&ready, 1, 20) == 1) {
                char command = 0;
                if (read(commands, &command, 1) != 1) {
                    kill(-job, SIGKILL);
                    _exit(0);
                }
                tcsetpgrp(STDIN_FILENO, command == 'f' ? job : getpgrp());
                kill(-job, SIGCONT);
            }
            int status = 0;
            if (waitpid(job, &status, WNOHANG | WUNTRACED | WCONTINUED) == job) {
                (void)write(reports, &status, sizeof status);
                if (WIFEXITED(status) || WIFSIGNALED(status)) _exit(0);
            }
        }
    }

    pid_t shell_ = -1;
    pid_t job_ = -1;
    int master_ = -1;
    int commands_ = -1;
    int reports_ = -1;
};

/// The screens drawn in `output` from `from` on: each from the cursor's return home to the
/// clearing of the rest, split into lines.
std::vector<std::vector<std::string>> screens(const std::string& output, std::size_t from = 0) {
    std::vector<std::vector<std::string>> result;
    for (std::size_t start; (start = output.find("\x1b[H", from)) != std::string::npos;) {
        const std::size_t end = output.find("\x1b[J", start);
        if (end == std::string::npos) break;
        std::vector<std::string> lines;
        const std::string screen = output.substr(start + 3, end - start - 3);
        for (std::size_t at = 0; at <= screen.size();) {
            std::size_t next = screen.find("\r\n", at);
            if (next == std::string::npos) next = screen.size();
            std::string line = screen.substr(at, next - at);
            if (const auto clear = line.find("\x1b[K"); clear != std::string::npos) line.erase(clear);
            lines.push_back(line);
            at = next + 2;
        }
        result.push_back(lines);
        from = end;
    }
    return result;
}

int columns(const std::string& text) {
    return static_cast<int>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

class PlayOnTerminal : public testing::Test {
protected:
    void SetUp() override {
        const auto made = test::runProcess(LORVAN_CLI, "demo --dir " + test::shellQuoted(directory.path()));
        ASSERT_EQ(made.status, 0) << made.out;
    }
    [[nodiscard]] std::string cueSheet() const { return (directory.path() / "Lorvan Demo.cue").string(); }
    [[nodiscard]] std::string config() const { return (directory.path() / "config").string(); }
    /// Whether a screen drawn from `from` on shows `text` on its first line.
    static bool drawn(const TerminalJob& job, std::string_view text, std::size_t from = 0) {
        const auto all = screens(job.output, from);
        return std::any_of(all.begin(), all.end(), [&](const auto& lines) {
            return !lines.empty() && lines[0].find(text) != std::string::npos;
        });
    }
    /// Whether the cursor was shown again after the last screen drawn. What the job wrote
    /// before it stopped or exited may reach the terminal's other side a moment later.
    static bool cursorShownAfterLastScreen(const TerminalJob& job) {
        const auto last = job.output.rfind("\x1b[J");
        return last != std::string::npos && job.output.find("\x1b[?25h", last) != std::string::npos;
    }
    test::TemporaryDirectory directory;
};

TEST_F(PlayOnTerminal, CtrlZGivesTheTerminalBackFgTakesItAgainBgLeavesItAloneAndCtrlBackslashQuits) {
    TerminalJob job({"play", cueSheet(), "--output", "null"}, config(), 80, 24, true);
    ASSERT_TRUE(job.waitUntil([&] { return drawn(job, "▶ Playing"); })) << job.output;
    EXPECT_FALSE(job.lineEditing()) << "keys one at a time, without echo";

    job.type("\x1a"); // Ctrl-Z
    const auto stopped = job.nextEvent();
    ASSERT_TRUE(stopped && WIFSTOPPED(*stopped)) << job.output;
    EXPECT_TRUE(job.lineEditing()) << "the shell gets its terminal back while the job is stopped";
    EXPECT_TRUE(job.waitUntil([&] { return cursorShownAfterLastScreen(job); })) << "and its cursor";

    // bg: the job plays on without the terminal; taking it from the background would stop the
    // job again (and change the shell's terminal under it).
    job.background();
    const auto continued = job.nextEvent();
    ASSERT_TRUE(continued && WIFCONTINUED(*continued));
    const std::size_t inBackground = job.output.size();
    EXPECT_FALSE(job.nextEvent(1500ms)) << "stopped again in the background";
    EXPECT_TRUE(job.lineEditing());
    EXPECT_TRUE(screens(job.output, inBackground).empty()) << "nothing drawn from the background";

    // fg: the terminal is the job's again, and the screen is drawn anew.
    job.foreground();
    const std::size_t inForeground = job.output.size();
    ASSERT_TRUE(job.waitUntil([&] { return !job.lineEditing() && drawn(job, "▶ Playing", inForeground); }))
        << job.output.substr(inForeground);
    EXPECT_THAT(job.output.substr(inForeground), HasSubstr("\x1b[2J"));

    job.type("\x1c"); // Ctrl-\ sends SIGQUIT
    EXPECT_EQ(job.exitStatus(), 128 + SIGQUIT) << "exited by itself, not killed with a core dump";
    EXPECT_TRUE(job.lineEditing());
    EXPECT_TRUE(job.waitUntil([&] { return cursorShownAfterLastScreen(job); }));
}

TEST_F(PlayOnTerminal, SentToTheBackgroundWithBgItEndsWithTheDisc) {
    TerminalJob job({"play", cueSheet(), "--output", "null", "--rate", "4"}, config(), 80, 24, true);
    ASSERT_TRUE(job.waitUntil([&] { return drawn(job, "▶ Playing"); })) << job.output;
    job.type("\x1a"); // Ctrl-Z
    const auto stopped = job.nextEvent();
    ASSERT_TRUE(stopped && WIFSTOPPED(*stopped)) << job.output;
    job.background();
    EXPECT_EQ(job.exitStatus(40s), 0) << "nobody is at the keys to press play again";
    EXPECT_TRUE(job.lineEditing());
}

TEST_F(PlayOnTerminal, StartedInTheBackgroundItPlaysAsAScriptsRunWithoutTouchingTheTerminal) {
    // As `play &` or `timeout 60 lorvan-cli play` would start it.
    TerminalJob job({"play", cueSheet(), "--output", "null", "--rate", "4"}, config(), 80, 24, false);
    const auto status = job.exitStatus(40s);
    EXPECT_EQ(status, 0) << "a job stopped for taking the terminal never ends: " << job.output;
    EXPECT_TRUE(job.waitUntil(
        [&] { return job.output.find("New audio disc from cue sheet") != std::string::npos; }, 5s))
        << "the log, as without a terminal";
    EXPECT_THAT(job.output, Not(HasSubstr("\x1b[2J")));
    EXPECT_TRUE(job.lineEditing());
}

TEST_F(PlayOnTerminal, ASmallPaneGetsCutLinesAResizeRedrawsWhilePausedAndALateKeyAfterEscIsAKey) {
    TerminalJob job({"play", cueSheet(), "--output", "null"}, config(), 20, 5, true);
    ASSERT_TRUE(job.waitUntil([&] { return drawn(job, "TRACK 01"); })) << job.output;
    // Paused, so that nothing changes but what the resize and the keys change.
    job.type(" ");
    ASSERT_TRUE(job.waitUntil([&] { return drawn(job, "‖"); })) << job.output;
    job.pump(300ms);
    for (const auto& lines : screens(job.output)) {
        ASSERT_LE(lines.size(), 5u);
        for (const auto& line : lines)
            EXPECT_LE(columns(line), 20) << line;
    }

    const std::size_t beforeResize = job.output.size();
    job.resize(60, 8);
    ASSERT_TRUE(job.waitUntil([&] {
        const auto after = screens(job.output, beforeResize);
        return !after.empty() && after.back().size() == 8;
    })) << "a paused player changes nothing, yet the new size is drawn";
    const auto after = screens(job.output, beforeResize).back();
    EXPECT_EQ(columns(after[2]), 60) << "the disc bar takes the new width: " << after[2];

    // Read as the rest of a sequence, "[n" would be swallowed; as keys, n goes to track 2.
    job.type("\x1b");
    job.pump(600ms);
    job.type("[n");
    EXPECT_TRUE(job.waitUntil([&] { return drawn(job, "TRACK 02"); }, 5s)) << job.output;
    job.type("q");
    EXPECT_EQ(job.exitStatus(), 0);
    EXPECT_TRUE(job.lineEditing()) << "line editing is back";
}

} // namespace
} // namespace lorvan

#include "CliSupport.hpp"
#include "Commands.hpp"
#include "PlaybackSupport.hpp"
#include "TerminalStatus.hpp"
#include "app/session/DiscOpening.hpp"
#include "app/session/PlayerSession.hpp"
#include "core/ConsoleLog.hpp"
#include "presentation/PlaybackViewModel.hpp"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/ioctl.h>
#include <unistd.h>

namespace lorvan::cli {
namespace {

struct PlayArguments {
    std::string path;
    std::string output = "device";
    std::string repeat;
    bool shuffle = false;
    std::optional<std::uint64_t> seed;
    std::optional<float> rate;
    std::optional<float> volume;
    std::optional<long> track;
};

// The self-pipe that carries signals into the event loop: the handler only writes the signal's
// number.
int signalPipe[2] = {-1, -1};

extern "C" void onRoutedSignal(int signal) {
    const int saved = errno;
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const auto written = write(signalPipe[1], &byte, 1);
    errno = saved;
}

/// The signals that end a run (with 128 + the signal's number, after the terminal is put back).
constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
/// What the status screen follows: Ctrl-Z, the continue after it (or after `bg` and `fg`), and a
/// resized window.
constexpr int screenSignals[] = {SIGTSTP, SIGCONT, SIGWINCH};

/// Installs the handlers for the lifetime of the object and puts the defaults back after.
class SignalRoute {
public:
    explicit SignalRoute(bool screen)
        : screen_(screen) {
        if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
        for (const int signal : endingSignals)
            route(signal);
        if (screen_)
            for (const int signal : screenSignals)
                route(signal);
    }
    ~SignalRoute() {
        for (const int signal : endingSignals)
            std::signal(signal, SIG_DFL);
        if (screen_)
            for (const int signal : screenSignals)
                std::signal(signal, SIG_DFL);
        for (int& fd : signalPipe)
            if (fd >= 0) {
                close(fd);
                fd = -1;
            }
    }
    SignalRoute(const SignalRoute&) = delete;
    SignalRoute& operator=(const SignalRoute&) = delete;
    [[nodiscard]] int readEnd() const { return signalPipe[0]; }

    /// Stops the process as Ctrl-Z would have, and returns once it is continued.
    static void suspend() {
        std::signal(SIGTSTP, SIG_DFL);
        raise(SIGTSTP);
        route(SIGTSTP);
    }

private:
    static void route(int signal) {
        struct sigaction action {};
        action.sa_handler = onRoutedSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        sigaction(signal, &action, nullptr);
    }
    bool screen_;
};

/// Whether this process is the terminal's foreground job: only then may it change the
/// terminal's modes, read keys or draw. A background job (`play &`, or under `timeout`) that
/// did would be stopped by the terminal, or fight the shell for it.
bool inForeground() {
    const pid_t group = tcgetpgrp(STDIN_FILENO);
    return group != -1 && group == getpgrp();
}

/// On a terminal the log goes to a temporary file instead of the screen; the display shows
/// its last lines.
class LogTail {
public:
    LogTail()
        : file_(std::tmpfile()) {
        if (file_ == nullptr) return;
        // Each line reaches the file as it is written, where `update` reads it.
        std::setvbuf(file_, nullptr, _IOLBF, 0);
        previous_ = ConsoleLog::output();
        ConsoleLog::setOutput(file_);
    }
    ~LogTail() {
        if (file_ == nullptr) return;
        ConsoleLog::setOutput(previous_);
        std::fclose(file_);
    }
    LogTail(const LogTail&) = delete;
    LogTail& operator=(const LogTail&) = delete;

    /// Reads what was logged since the last call.
    void update() {
        if (file_ == nullptr) return;
        char buffer[4096];
        for (;;) {
            const ssize_t read = pread(fileno(file_), buffer, sizeof buffer, offset_);
            if (read <= 0) break;
            offset_ += read;
            partial_.append(buffer, static_cast<std::size_t>(read));
        }
        for (std::size_t end; (end = partial_.find('\n')) != std::string::npos;) {
            if (end > 0) lines_.push_back(partial_.substr(0, end));
            partial_.erase(0, end + 1);
            if (lines_.size() > 6) lines_.pop_front();
        }
    }
    [[nodiscard]] const std::deque<std::string>& lines() const { return lines_; }

private:
    std::FILE* file_;
    std::FILE* previous_ = nullptr;
    off_t offset_ = 0;
    std::string partial_;
    std::deque<std::string> lines_;
};

AudioDiscPlayer::RepeatMode repeatMode(const std::string& name) {
    return name == "track"  ? AudioDiscPlayer::RepeatMode::track
           : name == "disc" ? AudioDiscPlayer::RepeatMode::disc
                            : AudioDiscPlayer::RepeatMode::none;
}

int usage(const std::string& message) {
    std::fprintf(stderr, "lorvan-cli play: %s\n", message.c_str());
    return exitUsage;
}

/// Columns and rows of the terminal.
std::pair<int, int> terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {80, 24};
    return {size.ws_col > 0 ? size.ws_col : 80, size.ws_row > 0 ? size.ws_row : 24};
}

int runPlay(const PlayArguments& arguments) {
    for (const auto& [name, value] :
         {std::pair{"--rate", arguments.rate}, std::pair{"--volume", arguments.volume}})
        if (value)
            if (auto message = checkFinite(name, *value)) return usage(*message);
    // The status screen needs the terminal to itself: a run started in the background plays as
    // a script's would, with its log and to the end of the disc.
    const bool interactive = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && inForeground();
    // A play runs for an hour: a log piped to a file or another program should arrive as it
    // is written, not in blocks, so standard output goes line by line from here on.
    if (!interactive) std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);

    static int argc = 1;
    static char name[] = "lorvan-cli";
    static char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    SignalRoute signalRoute(interactive);
    int status = exitSuccess;

    std::optional<AudioDisc> disc;
    try {
        disc = openDisc(arguments.path);
    } catch (const LocalizedError& error) {
        return reportRefusal(error, false);
    }
    const auto trackCount = static_cast<long>(disc->tracks.size());
    if (arguments.track && (*arguments.track < 1 || *arguments.track > trackCount))
        return usage("--track " + std::to_string(*arguments.track) + ": the disc has tracks 1 to " +
                     std::to_string(trackCount));

    PlayerSession::Options options;
    options.soundDevice = arguments.output != "null";
    options.shuffleSeed = arguments.seed;
    PlayerSession session(options);
    std::shared_ptr<AudioDiscPlayer> player = session.sharedPlayer();
    // The player's one observer, before the disc goes in; the status screen and the end of the
    // run follow it.
    std::optional<PlaybackViewModel> viewModel(std::in_place, player, session.mainThread());

    std::optional<LogTail> logTail;
    std::optional<RawTerminal> terminal;
    std::optional<KeyInterpreter> keys;
    std::unique_ptr<QSocketNotifier> keyNotifier;
    QTimer escapeTimer;
    escapeTimer.setSingleShot(true);

    // The terminal is ours while we are its foreground job: raw keys, no cursor, the screen.
    const auto takeTerminal = [&] {
        if (terminal || !inForeground()) return false;
        terminal.emplace(STDIN_FILENO);
        if (keyNotifier) keyNotifier->setEnabled(true);
        std::printf("\x1b[2J\x1b[?25l");
        std::fflush(stdout);
        return true;
    };
    const auto giveTerminalBack = [&] {
        if (!terminal) return;
        if (keyNotifier) keyNotifier->setEnabled(false);
        std::printf("\x1b[?25h\n");
        std::fflush(stdout);
        terminal.reset();
    };
    const auto shutDown = [&] {
        if (!player) return;
        viewModel.reset();
        player.reset();
        session.shutDown();
        giveTerminalBack();
        logTail.reset();
    };

    try {
        if (interactive) logTail.emplace();
        player->load(std::move(*disc), false);
        if (interactive) {
            if (!arguments.repeat.empty()) {
                // As the preferences would: the next disc and the next run start with it too.
                session.userDefaults().setString(
                    AudioDiscPlayer::repeatModeDefaultsKey,
                    std::string(AudioDiscPlayer::rawValue(repeatMode(arguments.repeat))));
                player->setRepeatMode(repeatMode(arguments.repeat));
            }
        } else {
            // A script gets what it asked for, whatever an earlier run chose, and leaves the
            // choice of the next run alone.
            player->setRepeatMode(repeatMode(arguments.repeat));
        }
        if (arguments.shuffle) player->toggleShuffle();
        if (arguments.rate) player->setPlaybackRate(*arguments.rate);
        if (arguments.volume) {
            player->setAmplifierIsActive(true);
            player->setVolume(*arguments.volume);
        }
        if (arguments.track)
            player->goToTrack(*arguments.track - 1, 1, true);
        else
            player->play();
    } catch (const LocalizedError& error) {
        shutDown();
        return reportRefusal(error, false);
    }

    bool played = player->state() == AudioDiscPlayer::State::playing;
    // Without the terminal (a run started in the background, or sent there with `bg`) nobody
    // can press play again: the end of the disc ends the run.
    const auto endIfUnattended = [&] {
        if (!terminal && played && viewModel->state.value() == AudioDiscPlayer::State::stopped)
            QCoreApplication::exit(exitSuccess);
    };
    auto stateSubscription = viewModel->state.subscribe([&](AudioDiscPlayer::State state) {
        if (state != AudioDiscPlayer::State::stopped) played = true;
        endIfUnattended();
    });

    Published<std::uint64_t>::Subscription redrawSubscription;
    const auto redraw = [&] {
        if (!player || !viewModel || !logTail || !terminal) return;
        logTail->update();
        const auto [columns, rows] = terminalSize();
        const std::string screen = statusScreen(*viewModel, logTail->lines(), columns, rows);
        std::printf("\x1b[H%s\x1b[J", screen.c_str());
        std::fflush(stdout);
    };

    QSocketNotifier signalNotifier(signalRoute.readEnd(), QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, [&] {
        char bytes[16];
        int ending = 0;
        bool suspend = false, resumed = false, resized = false;
        for (ssize_t count; (count = read(signalRoute.readEnd(), bytes, sizeof bytes)) > 0;)
            for (ssize_t i = 0; i < count; ++i) {
                const int signal = bytes[i];
                if (signal == SIGTSTP)
                    suspend = true;
                else if (signal == SIGCONT)
                    resumed = true;
                else if (signal == SIGWINCH)
                    resized = true;
                else if (ending == 0)
                    ending = signal;
            }
        if (ending != 0) {
            status = 128 + ending;
            QCoreApplication::exit(status);
            return;
        }
        if (suspend) {
            // The shell gets a sane terminal while we are stopped; the screen comes back after.
            giveTerminalBack();
            SignalRoute::suspend();
            resumed = true;
        }
        // Continued in the foreground (`fg`) the screen is drawn again; in the background
        // (`bg`) it waits for the next `fg`.
        if (resumed && !terminal && takeTerminal()) redraw();
        if (resumed) endIfUnattended();
        if (resized && terminal) {
            std::printf("\x1b[2J");
            redraw();
        }
    });

    if (interactive) {
        keys.emplace(*player);
        keyNotifier = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(keyNotifier.get(), &QSocketNotifier::activated, [&] {
            char bytes[64];
            const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
            if (count <= 0) {
                keyNotifier->setEnabled(false); // end of input: only the signals and q remain
                return;
            }
            const KeyAction action = keys->feed(std::string_view(bytes, static_cast<std::size_t>(count)),
                                                KeyInterpreter::Clock::now());
            if (action != KeyAction::none) QCoreApplication::exit(exitSuccess);
            if (keys->waiting()) escapeTimer.start(KeyInterpreter::escapeTimeout);
            redraw(); // what the key logged, even when it changed nothing else
        });
        QObject::connect(&escapeTimer, &QTimer::timeout, [&] {
            if (keys->expire(KeyInterpreter::Clock::now()) != KeyAction::none)
                QCoreApplication::exit(exitSuccess);
            if (keys->waiting()) escapeTimer.start(KeyInterpreter::escapeTimeout);
            redraw();
        });
        takeTerminal();
        // The view model publishes at most 30 times a second and not at all while nothing
        // changes, so the screen is drawn as often as it changes.
        redrawSubscription = viewModel->updated.subscribe([&](std::uint64_t) { redraw(); });
        redraw();
    }

    // The session has logged the failure and stopped; at the terminal the user may play on,
    // without it the run ends with the failure's status.
    session.notifications.readFailed = [&](std::int64_t) {
        if (terminal) return;
        status = exitRefused;
        QCoreApplication::exit(exitRefused);
    };

    if (player->state() != AudioDiscPlayer::State::stopped || interactive) {
        const int loopStatus = QCoreApplication::exec();
        if (status == exitSuccess) status = loopStatus;
    }
    escapeTimer.stop();
    redrawSubscription.cancel();
    stateSubscription.cancel();
    shutDown();
    return status;
}

} // namespace

void addPlayCommand(CLI::App& app, int& status) {
    auto* command = app.add_subcommand("play", "Play a disc through the sound device, like a CD player");
    auto arguments = std::make_shared<PlayArguments>();
    command->add_option("PATH", arguments->path, "A cue sheet file or a folder of audio files")->required();
    command->add_option("--output", arguments->output, "device (the default sound device) or null (a clock)")
        ->check(CLI::IsMember({"device", "null"}));
    command
        ->add_option(
            "--repeat", arguments->repeat,
            "none, track or disc; on a terminal kept for the next runs, without one for this run only")
        ->check(CLI::IsMember({"none", "track", "disc"}));
    auto* shuffle = command->add_flag("--shuffle", arguments->shuffle, "Play the tracks in a random order");
    command->add_option("--seed", arguments->seed, "Seed of the shuffle, for a repeatable order")
        ->needs(shuffle)
        ->check(unsigned64());
    command->add_option("--rate", arguments->rate, "Playback rate, 0.25 to 4.0 (pitch follows)")
        ->check(nonEmptyNumber());
    command->add_option("--volume", arguments->volume, "Volume 0 to 1, through the amplifier")
        ->check(nonEmptyNumber());
    command->add_option("--track", arguments->track, "Start at this track (1 is the first)");
    command->callback([arguments, &status] { status = runPlay(*arguments); });
}

} // namespace lorvan::cli

#pragma once

#include "playback/AudioDiscPlayer.hpp"
#include "presentation/PlaybackViewModel.hpp"

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <termios.h>

namespace lorvan::cli {

/// Puts the terminal on standard input in key-at-a-time mode without echo, and puts it back
/// when it goes. Signals keep being generated (Ctrl-C still interrupts), so every exit path can
/// go through the destructor.
class RawTerminal {
public:
    explicit RawTerminal(int fd);
    ~RawTerminal();
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;
    [[nodiscard]] bool active() const { return saved_.has_value(); }

private:
    int fd_;
    std::optional<termios> saved_;
};

/// What a key does to the player.
enum class KeyAction { none, quit, ejectAndQuit };

/// Splits what the terminal sends into keys ("\x1b[C" is one key) and applies them. Main thread.
///
/// A terminal sends an escape sequence in one go; an escape that waits longer than
/// `escapeTimeout` for the rest was the Esc key alone, and what comes after it is read as keys
/// of their own.
class KeyInterpreter {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds escapeTimeout{200};

    explicit KeyInterpreter(AudioDiscPlayer& player)
        : player_(player) {}
    /// Handles every complete key in `bytes`, which arrived at `now` (and any held back from before).
    KeyAction feed(std::string_view bytes, Clock::time_point now);
    /// Gives up waiting for the rest of an escape sequence once its time is over at `now`.
    KeyAction expire(Clock::time_point now);
    /// Whether the start of an escape sequence is held back, waiting for its rest.
    [[nodiscard]] bool waiting() const { return !pending_.empty(); }

private:
    KeyAction split(bool complete);
    KeyAction apply(const std::string& key);
    AudioDiscPlayer& player_;
    std::string pending_;
    Clock::time_point pendingSince_;
};

/// The status screen: lines to redraw in place, from the view model (the display's status line,
/// time and titles, then the disc, the meters and the settings) and the last log lines. Main thread.
///
/// Each line is cut to `width` columns and at most `height` lines are drawn, without a line
/// break after the last, so that nothing wraps or scrolls the first lines away; the state, time
/// and track come first on the first line when the whole of it does not fit.
[[nodiscard]] std::string statusScreen(const PlaybackViewModel& viewModel,
                                       const std::deque<std::string>& logTail, int width, int height = 1000);

} // namespace lorvan::cli

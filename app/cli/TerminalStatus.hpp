#pragma once

#include "playback/AudioDiscPlayer.hpp"
#include "presentation/PlaybackViewModel.hpp"

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
class KeyInterpreter {
public:
    explicit KeyInterpreter(AudioDiscPlayer& player)
        : player_(player) {}
    /// Handles every complete key in `bytes` (and any held back from before).
    KeyAction feed(std::string_view bytes);

private:
    KeyAction apply(const std::string& key);
    AudioDiscPlayer& player_;
    std::string pending_;
};

/// The status screen: lines to redraw in place, from the view model (the display's status line,
/// time and titles, then the disc, the meters and the settings) and the last log lines. Main thread.
[[nodiscard]] std::string statusScreen(const PlaybackViewModel& viewModel,
                                       const std::deque<std::string>& logTail, int width);

} // namespace lorvan::cli

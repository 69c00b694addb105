#include "TerminalStatus.hpp"

#include "core/Characters.hpp"
#include "presentation/PlaybackDisplayState.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace lorvan::cli {

RawTerminal::RawTerminal(int fd)
    : fd_(fd) {
    termios current{};
    if (tcgetattr(fd_, &current) != 0) return;
    termios raw = current;
    raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(fd_, TCSANOW, &raw) == 0) saved_ = current;
}

RawTerminal::~RawTerminal() {
    if (saved_) tcsetattr(fd_, TCSANOW, &*saved_);
}

KeyAction KeyInterpreter::feed(std::string_view bytes, Clock::time_point now) {
    // What waited too long was a lone Esc, whatever arrives now.
    KeyAction result = expire(now);
    if (result != KeyAction::none) return result;
    if (pending_.empty()) pendingSince_ = now;
    pending_.append(bytes);
    result = split(false);
    if (!pending_.empty()) pendingSince_ = now;
    return result;
}

KeyAction KeyInterpreter::expire(Clock::time_point now) {
    if (pending_.empty() || now - pendingSince_ < escapeTimeout) return KeyAction::none;
    return split(true);
}

KeyAction KeyInterpreter::split(bool complete) {
    KeyAction result = KeyAction::none;
    while (!pending_.empty() && result == KeyAction::none) {
        std::size_t length = 1;
        if (pending_[0] == '\x1b') {
            // An escape sequence: ESC [ then parameters up to a final letter; wait for the rest,
            // unless its time is over: then the escape is a key alone.
            if (pending_.size() < 2 && !complete) break;
            if (pending_.size() >= 2 && (pending_[1] == '[' || pending_[1] == 'O')) {
                std::size_t end = 2;
                while (end < pending_.size() && !std::isalpha(static_cast<unsigned char>(pending_[end])) &&
                       pending_[end] != '~')
                    ++end;
                if (end < pending_.size())
                    length = end + 1;
                else if (!complete)
                    break;
            }
        }
        const std::string key = pending_.substr(0, length);
        pending_.erase(0, length);
        result = apply(key);
    }
    if (result != KeyAction::none) pending_.clear();
    return result;
}

KeyAction KeyInterpreter::apply(const std::string& key) {
    using RepeatMode = AudioDiscPlayer::RepeatMode;
    using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
    AudioDiscPlayer& p = player_;
    const auto disc = p.disc();
    const double rate = disc ? disc->data->audioFiles().front()->processingFormat().sampleRate : 44100.0;
    // The keys stay within the disc: a seek outside it would land on frame 0 and start the disc
    // over. Forward near the end goes to the last frame, which ends the disc.
    const auto seekBy = [&](double seconds) {
        const std::int64_t last = disc ? std::max<std::int64_t>(disc->data->totalFrameCount() - 1, 0) : 0;
        const std::int64_t target =
            p.discFramePosition() + static_cast<std::int64_t>(std::llround(seconds * rate));
        p.seekToFrame(std::clamp<std::int64_t>(target, 0, last), false);
    };
    if (key == " ")
        p.playPause();
    else if (key == "s") {
        if (p.state() == AudioDiscPlayer::State::stopped) {
            p.stopEject();
            return KeyAction::ejectAndQuit;
        }
        p.stopEject();
    } else if (key == "n")
        p.nextTrack();
    else if (key == "p")
        p.previousTrack();
    else if (key == "]")
        p.nextChapter();
    else if (key == "[")
        p.previousChapter();
    else if (key == "\x1b[C" || key == "\x1bOC")
        seekBy(10);
    else if (key == "\x1b[D" || key == "\x1bOD")
        seekBy(-10);
    else if (key == "+" || key == "=")
        p.increaseVolume();
    else if (key == "-")
        p.decreaseVolume();
    else if (key == "m")
        p.toggleMute();
    else if (key == "a")
        p.setAmplifierIsActive(!p.amplifierIsActive());
    else if (key == ">" || key == ".")
        p.increaseSpeed();
    else if (key == "<" || key == ",")
        p.decreaseSpeed();
    else if (key == "0")
        p.resetSpeed();
    else if (key == "b")
        p.toggleBeat();
    else if (key == "v")
        p.setRateControlsAreActive(!p.rateControlsAreActive());
    else if (key == "r") {
        const RepeatMode next = p.repeatMode() == RepeatMode::none    ? RepeatMode::track
                                : p.repeatMode() == RepeatMode::track ? RepeatMode::disc
                                                                      : RepeatMode::none;
        p.setRepeatMode(next);
    } else if (key == "z")
        p.toggleShuffle();
    else if (key == "t") {
        const auto next = static_cast<Mode>((static_cast<int>(p.playbackTimecodeMode()) + 1) % 4);
        p.setPlaybackTimecodeMode(next);
    } else if (key == "q" || key == "Q")
        return KeyAction::quit;
    return KeyAction::none;
}

namespace {

std::string meter(double level, int width) {
    const int filled = static_cast<int>(std::lround(std::clamp(level, 0.0, 1.0) * width));
    std::string bar;
    for (int i = 0; i < width; ++i)
        bar += i < filled ? "█" : "·";
    return bar;
}

std::string stateName(AudioDiscPlayer::State state) {
    switch (state) {
    case AudioDiscPlayer::State::playing:
        return "▶ Playing";
    case AudioDiscPlayer::State::paused:
        return "‖ Paused ";
    case AudioDiscPlayer::State::stopped:
        break;
    }
    return "■ Stopped";
}

/// The first `columns` characters of `text` (one column each), never cutting a UTF-8 sequence;
/// line breaks and tabs become spaces.
std::string clipped(const std::string& text, int columns) {
    std::string result;
    int used = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c & 0xC0U) != 0x80U && used++ == columns) break;
        result += c == '\n' || c == '\t' ? ' ' : static_cast<char>(c);
    }
    return result;
}

} // namespace

std::string statusScreen(const PlaybackViewModel& viewModel, const std::deque<std::string>& logTail,
                         int width, int height) {
    width = std::max(width, 1);
    std::vector<std::string> lines;
    // Titles and log lines come from the user's files: their control characters are shown, not
    // sent to the terminal.
    const auto line = [&lines, width](const std::string& text) {
        lines.push_back(clipped(escapedControlCharacters(text), width));
    };
    const auto screen = [&lines, height] {
        std::string text;
        const std::size_t count = std::min(lines.size(), static_cast<std::size_t>(std::max(height, 1)));
        for (std::size_t i = 0; i < count; ++i)
            text += lines[i] + (i + 1 < count ? "\x1b[K\r\n" : "\x1b[K");
        return text;
    };
    const DiscSummary& disc = viewModel.disc.value();
    if (!disc.disc) {
        line("■ No disc");
        return screen();
    }
    const DisplayState display = displayState(viewModel);
    const std::string state = stateName(viewModel.state.value());
    std::string status = state + "   " + display.statusLeft + "  " + display.statusRight + "   " +
                         display.time + "  " + display.timeLabel;
    if (clipped(status, width).size() < status.size()) {
        // Narrow: the state's sign, the time and the track before anything else.
        status = state.substr(0, state.find(' ')) + " " + display.time + "  " + display.statusLeft + "  " +
                 display.statusRight + "  " + display.timeLabel;
    }
    line(status);
    line(display.title + (display.subtitle.empty() ? "" : " — " + display.subtitle));

    // The disc as a bar: '|' where a track starts, ':' at its other cues, '●' for the position.
    const int barWidth = std::clamp(width - 2, 10, 100);
    std::string cells(static_cast<std::size_t>(barWidth), ' ');
    const auto cellOf = [&](double fraction) {
        return static_cast<std::size_t>(std::clamp(fraction, 0.0, 1.0) * (barWidth - 1));
    };
    const std::size_t at = cellOf(display.progress);
    for (std::size_t i = 0; i < at; ++i)
        cells[i] = '=';
    for (std::size_t i = 0; i < disc.cueMarkers.size() && i < disc.disc->cues.size(); ++i)
        cells[cellOf(disc.cueMarkers[i])] = disc.disc->cues[i].chapter == 1 ? '|' : ':';
    std::string bar = "[";
    for (std::size_t i = 0; i < cells.size(); ++i)
        bar += i == at ? std::string("●") : std::string(1, cells[i]);
    line(bar + "]");

    line("L " + meter(display.levelLeft, 20) + "  R " + meter(display.levelRight, 20) + "   Buffer " +
         meter(display.buffering, 10));
    char settings[200];
    const auto repeatMode = viewModel.repeatMode.value();
    const char* repeat = repeatMode == AudioDiscPlayer::RepeatMode::none    ? "none"
                         : repeatMode == AudioDiscPlayer::RepeatMode::track ? "track"
                                                                            : "disc";
    std::snprintf(settings, sizeof settings, "Rate %.2fx%s%s   Volume %3d %%%s   Repeat %s   Shuffle %s",
                  static_cast<double>(viewModel.rate.value()), viewModel.newBeat.value() ? " (New Beat)" : "",
                  viewModel.rateControlsShown.value() ? " [rate controls]" : "",
                  static_cast<int>(std::lround(viewModel.volume.value() * 100.0F)),
                  viewModel.amplifier.value() ? (viewModel.muted.value() ? " (muted)" : "")
                                              : " (amplifier off)",
                  repeat, viewModel.shuffle.value() ? "on" : "off");
    line(settings);
    line("");
    line("space play/pause  s stop/eject  n/p track  ]/[ chapter  ←/→ 10 s  +/- volume  m mute  a amp");
    line(">/< speed  0 reset  b New Beat  v rate controls  r repeat  z shuffle  t time  q quit");
    line("");
    for (const auto& logLine : logTail)
        line(logLine);
    return screen();
}

} // namespace lorvan::cli

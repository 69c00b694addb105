#include "TerminalStatus.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unistd.h>

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

KeyAction KeyInterpreter::feed(std::string_view bytes) {
    pending_.append(bytes);
    KeyAction result = KeyAction::none;
    while (!pending_.empty() && result == KeyAction::none) {
        std::size_t length = 1;
        if (pending_[0] == '\x1b') {
            // An escape sequence: ESC [ then parameters up to a final letter; wait for the rest.
            if (pending_.size() < 2) break;
            if (pending_[1] == '[' || pending_[1] == 'O') {
                std::size_t end = 2;
                while (end < pending_.size() && !std::isalpha(static_cast<unsigned char>(pending_[end])) &&
                       pending_[end] != '~')
                    ++end;
                if (end == pending_.size()) break;
                length = end + 1;
            }
        }
        const std::string key = pending_.substr(0, length);
        pending_.erase(0, length);
        result = apply(key);
    }
    return result;
}

KeyAction KeyInterpreter::apply(const std::string& key) {
    using RepeatMode = AudioDiscPlayer::RepeatMode;
    using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
    AudioDiscPlayer& p = player_;
    const auto disc = p.disc();
    const double rate = disc ? disc->data->audioFiles().front()->processingFormat().sampleRate : 44100.0;
    const auto seekBy = [&](double seconds) {
        p.seekToFrame(p.discFramePosition() + static_cast<std::int64_t>(std::llround(seconds * rate)), false);
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

std::string timeText(std::int64_t frames, double sampleRate) {
    const bool negative = frames < 0;
    const auto hundredths =
        static_cast<long long>(std::llabs(frames) * 100 / static_cast<long long>(std::max(sampleRate, 1.0)));
    char text[32];
    std::snprintf(text, sizeof text, "%s%02lld:%02lld.%02lld", negative ? "-" : " ", hundredths / 6000,
                  hundredths / 100 % 60, hundredths % 100);
    return text;
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

std::string modeName(AudioDiscPlayer::PlaybackTimecodeMode mode) {
    switch (mode) {
    case AudioDiscPlayer::PlaybackTimecodeMode::trackElapsedTime:
        return "track elapsed";
    case AudioDiscPlayer::PlaybackTimecodeMode::trackRemainingTime:
        return "track remaining";
    case AudioDiscPlayer::PlaybackTimecodeMode::discElapsedTime:
        return "disc elapsed";
    case AudioDiscPlayer::PlaybackTimecodeMode::discRemainingTime:
        break;
    }
    return "disc remaining";
}

/// At most `bytes` bytes of `text`, never cutting a UTF-8 sequence.
std::string clipped(const std::string& text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U)
        --bytes;
    return text.substr(0, bytes);
}

std::string joined(const std::set<std::string>& names) {
    std::string text;
    for (const auto& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

std::string statusScreen(const AudioDiscPlayer& player, const std::deque<std::string>& logTail, int width) {
    const int barWidth = std::clamp(width - 2, 20, 100);
    std::string screen;
    const auto line = [&screen](const std::string& text) { screen += text + "\x1b[K\r\n"; };
    const auto disc = player.disc();
    if (!disc) {
        line("■ No disc");
        return screen;
    }
    const double sampleRate = disc->data->audioFiles().front()->processingFormat().sampleRate;
    const AudioDiscPlayer::Positions positions = player.positions();
    std::int64_t shown = positions.currentTrackFramePosition;
    switch (player.playbackTimecodeMode()) {
    case AudioDiscPlayer::PlaybackTimecodeMode::trackElapsedTime:
        break;
    case AudioDiscPlayer::PlaybackTimecodeMode::trackRemainingTime:
        shown = positions.currentTrackCountdownFramePosition;
        break;
    case AudioDiscPlayer::PlaybackTimecodeMode::discElapsedTime:
        shown = positions.discPlaybackFramePosition;
        break;
    case AudioDiscPlayer::PlaybackTimecodeMode::discRemainingTime:
        shown = positions.discPlaybackCountdownFramePosition;
        break;
    }
    const auto track = player.currentTrackIndex();
    const auto chapter = player.currentChapter();
    char head[160];
    std::snprintf(
        head, sizeof head, "%s   Track %s  Index %s   %s  (%s)", stateName(player.state()).c_str(),
        track ? (*track + 1 < 10 ? "0" + std::to_string(*track + 1) : std::to_string(*track + 1)).c_str()
              : "--",
        chapter ? (*chapter < 10 ? "0" + std::to_string(*chapter) : std::to_string(*chapter)).c_str() : "--",
        timeText(shown, sampleRate).c_str(), modeName(player.playbackTimecodeMode()).c_str());
    line(head);

    std::string title;
    std::string performer;
    if (track && disc->metadata && disc->metadata->tracksMetadata &&
        static_cast<std::size_t>(*track) < disc->metadata->tracksMetadata->size()) {
        const auto& metadata = (*disc->metadata->tracksMetadata)[static_cast<std::size_t>(*track)];
        if (metadata.title) title = *metadata.title;
        if (metadata.performers) performer = joined(*metadata.performers);
    }
    line(title.empty() && performer.empty() ? "" : title + (performer.empty() ? "" : " — " + performer));

    // The disc as a bar: '|' where a track starts, ':' at its other cues, '●' for the position.
    const std::int64_t total = std::max<std::int64_t>(disc->data->totalFrameCount(), 1);
    std::string cells(static_cast<std::size_t>(barWidth), ' ');
    const auto cellOf = [&](double fraction) {
        return static_cast<std::size_t>(std::clamp(fraction, 0.0, 1.0) * (barWidth - 1));
    };
    const std::size_t at = cellOf(positions.normalizedDiscPosition);
    for (std::size_t i = 0; i < at; ++i)
        cells[i] = '=';
    for (const AudioCue& cue : disc->cues)
        cells[cellOf(static_cast<double>(cue.keyFrame) / static_cast<double>(total))] =
            cue.chapter == 1 ? '|' : ':';
    std::string bar = "[";
    for (std::size_t i = 0; i < cells.size(); ++i)
        bar += i == at ? std::string("●") : std::string(1, cells[i]);
    line(bar + "]");

    const AudioAmplifier& amplifier = player.amplifier();
    line("L " + meter(amplifier.uiLeftChannelAudioLevel(), 20) + "  R " +
         meter(amplifier.uiRightChannelAudioLevel(), 20) + "   Buffer " +
         meter(player.bufferingMeter().displayLevel(), 10));
    char settings[200];
    const char* repeat = player.repeatMode() == AudioDiscPlayer::RepeatMode::none    ? "none"
                         : player.repeatMode() == AudioDiscPlayer::RepeatMode::track ? "track"
                                                                                     : "disc";
    std::snprintf(settings, sizeof settings, "Rate %.2fx%s%s   Volume %3d %%%s   Repeat %s   Shuffle %s",
                  static_cast<double>(player.playbackRate()), player.newBeatMode() ? " (New Beat)" : "",
                  player.rateControlsAreActive() ? " [rate controls]" : "",
                  static_cast<int>(std::lround(player.volume() * 100.0F)),
                  player.amplifierIsActive() ? "" : " (amplifier off)", repeat,
                  player.shuffle() ? "on" : "off");
    line(settings);
    line("");
    line("space play/pause  s stop/eject  n/p track  ]/[ chapter  ←/→ 10 s  +/- volume  m mute  a amp");
    line(">/< speed  0 reset  b New Beat  v rate controls  r repeat  z shuffle  t time  q quit");
    line("");
    for (const auto& logLine : logTail)
        line(clipped(logLine, static_cast<std::size_t>(std::max(width, 20))));
    return screen;
}

} // namespace lorvan::cli

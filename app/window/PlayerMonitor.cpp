#include "PlayerMonitor.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace lorvan::window {

namespace {

bool samePositions(const AudioDiscPlayer::Positions& a, const AudioDiscPlayer::Positions& b) {
    return std::tie(a.discInPlayer, a.discFramePosition, a.discPlaybackFramePosition,
                    a.discPlaybackCountdownFramePosition, a.currentTrackFramePosition,
                    a.currentTrackCountdownFramePosition) ==
           std::tie(b.discInPlayer, b.discFramePosition, b.discPlaybackFramePosition,
                    b.discPlaybackCountdownFramePosition, b.currentTrackFramePosition,
                    b.currentTrackCountdownFramePosition);
}

std::string joined(const std::optional<std::set<std::string>>& names) {
    std::string text;
    if (!names) return text;
    for (const auto& name : *names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

const AudioTrackMetadata* trackMetadata(const AudioDisc& disc, long track) {
    if (!disc.metadata || !disc.metadata->tracksMetadata || track < 0 ||
        static_cast<std::size_t>(track) >= disc.metadata->tracksMetadata->size())
        return nullptr;
    return &(*disc.metadata->tracksMetadata)[static_cast<std::size_t>(track)];
}

std::string twoDigits(long value) {
    char text[16];
    std::snprintf(text, sizeof text, "%02ld", value);
    return text;
}

} // namespace

bool PlayerSnapshot::sameAs(const PlayerSnapshot& o) const {
    return disc == o.disc && state == o.state && track == o.track && chapter == o.chapter &&
           samePositions(positions, o.positions) && timeMode == o.timeMode && repeat == o.repeat &&
           shuffle == o.shuffle && newBeat == o.newBeat && rateControls == o.rateControls &&
           amplifier == o.amplifier && rate == o.rate && volume == o.volume && levelLeft == o.levelLeft &&
           levelRight == o.levelRight && buffering == o.buffering;
}

double PlayerSnapshot::sampleRate() const {
    if (!disc || disc->data->audioFiles().empty()) return 44100.0;
    return disc->data->audioFiles().front()->processingFormat().sampleRate;
}

std::int64_t PlayerSnapshot::shownFrames() const {
    using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
    switch (timeMode) {
    case Mode::trackElapsedTime:
        break;
    case Mode::trackRemainingTime:
        return positions.currentTrackCountdownFramePosition;
    case Mode::discElapsedTime:
        return positions.discPlaybackFramePosition;
    case Mode::discRemainingTime:
        return positions.discPlaybackCountdownFramePosition;
    }
    return positions.currentTrackFramePosition;
}

std::string clockText(std::int64_t frames, double sampleRate) {
    const bool negative = frames < 0;
    const long long seconds = std::llabs(frames) / static_cast<long long>(std::max(sampleRate, 1.0));
    char text[32];
    if (seconds >= 3600)
        std::snprintf(text, sizeof text, "%s%lld:%02lld:%02lld", negative ? "-" : "", seconds / 3600,
                      seconds / 60 % 60, seconds % 60);
    else
        std::snprintf(text, sizeof text, "%s%lld:%02lld", negative ? "-" : "", seconds / 60, seconds % 60);
    return text;
}

std::string trackTitle(const AudioDisc& disc, long track) {
    if (const auto* metadata = trackMetadata(disc, track); metadata && metadata->title)
        return *metadata->title;
    return "Track " + std::to_string(track + 1);
}

std::string trackPerformer(const AudioDisc& disc, long track) {
    if (const auto* metadata = trackMetadata(disc, track); metadata && metadata->performers)
        return joined(metadata->performers);
    if (disc.metadata) return joined(disc.metadata->releasePerformers);
    return {};
}

DisplayState displayState(const PlayerSnapshot& s) {
    using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
    DisplayState d;
    if (!s.disc) {
        d.statusLeft = "NO DISC";
        d.time = "-:--";
        d.title = "No disc";
        d.subtitle = "Open a cue sheet or a folder (Ctrl+O)";
        return d;
    }
    const AudioDisc& disc = *s.disc;
    const long track = s.track.value_or(0);
    d.statusLeft = "TRACK " + twoDigits(track + 1) + "  INDEX " + twoDigits(s.chapter.value_or(1));
    d.statusRight = s.state == AudioDiscPlayer::State::playing  ? "PLAY"
                    : s.state == AudioDiscPlayer::State::paused ? "PAUSE"
                                                                : "STOP";
    const std::int64_t shown = s.shownFrames();
    d.time = clockText(shown, s.sampleRate());
    if (s.chapter == 0 && (s.timeMode == Mode::trackElapsedTime))
        d.timeLabel = "PREGAP";
    else
        d.timeLabel = s.timeMode == Mode::trackElapsedTime     ? "TRACK"
                      : s.timeMode == Mode::trackRemainingTime ? "TRK REM"
                      : s.timeMode == Mode::discElapsedTime    ? "DISC"
                                                               : "DISC REM";
    d.title = trackTitle(disc, track);
    d.subtitle = trackPerformer(disc, track);
    if (disc.metadata && disc.metadata->releaseTitle)
        d.subtitle += (d.subtitle.empty() ? "" : " \u00B7 ") + *disc.metadata->releaseTitle;
    d.progress = std::clamp(s.positions.normalizedDiscPosition, 0.0, 1.0);
    const double total = static_cast<double>(std::max<std::int64_t>(disc.data->totalFrameCount(), 1));
    for (const AudioCue& cue : disc.cues)
        if (cue.chapter == 1) d.cueMarkers.push_back(static_cast<double>(cue.keyFrame) / total);
    d.levelLeft = s.levelLeft;
    d.levelRight = s.levelRight;
    d.buffering = s.buffering;
    return d;
}

PlayerMonitor::PlayerMonitor(std::shared_ptr<AudioDiscPlayer> player, QObject* parent)
    : QObject(parent)
    , player_(player) {
    connect(&timer_, &QTimer::timeout, this, &PlayerMonitor::refresh);
    refresh();
}

void PlayerMonitor::detach() {
    timer_.stop();
    player_.reset();
}

void PlayerMonitor::refresh() {
    const auto player = player_.lock();
    if (!player) return;
    PlayerSnapshot next;
    next.disc = player->disc();
    next.state = player->state();
    next.track = player->currentTrackIndex();
    next.chapter = player->currentChapter();
    next.positions = player->positions();
    next.timeMode = player->playbackTimecodeMode();
    next.repeat = player->repeatMode();
    next.shuffle = player->shuffle();
    next.newBeat = player->newBeatMode();
    next.rateControls = player->rateControlsAreActive();
    next.amplifier = player->amplifierIsActive();
    next.rate = player->playbackRate();
    next.volume = player->volume();
    if (next.amplifier) {
        next.levelLeft = player->amplifier().uiLeftChannelAudioLevel();
        next.levelRight = player->amplifier().uiRightChannelAudioLevel();
    }
    next.buffering = player->bufferingMeter().displayLevel();

    const int interval = next.state == AudioDiscPlayer::State::playing ? 33 : 250;
    if (timer_.interval() != interval || !timer_.isActive()) timer_.start(interval);
    if (next.sameAs(snapshot_)) return;
    const bool discChange = next.disc != snapshot_.disc;
    snapshot_ = std::move(next);
    if (discChange) emit discChanged();
    emit changed();
}

} // namespace lorvan::window

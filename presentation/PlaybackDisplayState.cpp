#include "presentation/PlaybackDisplayState.hpp"

#include "timecode/Timecode.hpp"

#include <cstdio>
#include <limits>

namespace lorvan {
namespace {

std::string twoDigits(std::string_view word, std::optional<long> number) {
    if (!number || *number < 0 || *number > 99) return std::string(word) + " --";
    char text[32];
    std::snprintf(text, sizeof text, "%.*s %02ld", static_cast<int>(word.size()), word.data(), *number);
    return text;
}

/// The chapter of the cue that holds `frame`: what the display shows before the player has
/// reported one (a disc just inserted rests on its first track's INDEX 01).
std::optional<long> chapterAt(const AudioDisc& disc, std::int64_t frame) {
    std::optional<long> chapter;
    for (const AudioCue& cue : disc.cues) {
        if (cue.keyFrame > frame) break;
        chapter = cue.chapter;
    }
    return chapter;
}

} // namespace

std::string displayTime(std::int64_t frames, double sampleRate) {
    if (!(sampleRate >= 1.0) || sampleRate > std::numeric_limits<std::int32_t>::max()) return {};
    return Timecode(frames, static_cast<std::int32_t>(sampleRate))
        .formatted(TimecodeFormat::Style::discPlayer);
}

std::string_view timeLabel(AudioDiscPlayer::PlaybackTimecodeMode mode, bool insidePregap) {
    using Mode = AudioDiscPlayer::PlaybackTimecodeMode;
    switch (mode) {
    case Mode::trackElapsedTime:
        return insidePregap ? "PREGAP" : "TRACK";
    case Mode::trackRemainingTime:
        return insidePregap ? "PREGAP" : "TRACK REMAIN";
    case Mode::discElapsedTime:
        return "DISC";
    case Mode::discRemainingTime:
        break;
    }
    return "DISC REMAIN";
}

DisplayState displayState(const PlaybackViewModel& viewModel) {
    DisplayState state;
    const DiscSummary& disc = viewModel.disc.value();
    state.buffering = viewModel.readAhead.value();
    state.levelLeft = viewModel.levelLeft.value();
    state.levelRight = viewModel.levelRight.value();
    if (!disc.disc) {
        state.statusLeft = "NO DISC";
        return state;
    }
    const PlaybackProgress& progress = viewModel.progress().progress.value();
    const auto mode = viewModel.timecodeMode.value();

    const long track = viewModel.currentTrackIndex.value().value_or(-1);
    const TrackSummary* row = track >= 0 && static_cast<std::size_t>(track) < disc.tracks.size()
                                  ? &disc.tracks[std::size_t(track)]
                                  : nullptr;
    state.statusLeft = twoDigits("TRACK", row ? std::optional<long>(row->number) : std::nullopt);
    std::optional<long> chapter = viewModel.currentChapter.value();
    if (!chapter) chapter = chapterAt(*disc.disc, progress.discFramePosition);
    state.statusRight = twoDigits("INDEX", chapter);

    state.time = displayTime(progress.frames(mode), disc.sampleRate);
    state.timeLabel = std::string(timeLabel(mode, progress.trackElapsedFrames < 0));

    if (row && !row->title.empty()) {
        state.title = row->title;
        state.subtitle = row->performer;
        if (!disc.title.empty()) state.subtitle += (state.subtitle.empty() ? "" : " \u00B7 ") + disc.title;
    } else {
        state.title = disc.title;
        state.subtitle = row ? row->performer : disc.performer;
    }
    state.progress = progress.normalizedDiscPosition;
    state.cueMarkers = disc.cueMarkers;
    return state;
}

} // namespace lorvan

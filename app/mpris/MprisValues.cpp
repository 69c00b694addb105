#include "app/mpris/MprisValues.hpp"

#include "core/Checked.hpp"

#include <algorithm>
#include <cmath>

namespace lorvan::mpris {

namespace {

constexpr std::int64_t microsecondsPerSecond = 1'000'000;

/// Whole frames per second; the disc's rate is always a whole number of hertz.
std::int64_t wholeRate(double sampleRate) {
    return sampleRate > 0 ? static_cast<std::int64_t>(std::llround(sampleRate)) : 0;
}

std::int64_t firstCue(const TrackSummary& track) {
    return checkedSubtract(track.startFrame, track.pregapFrames);
}

} // namespace

std::string trackObjectPath(const Uuid& discID, long trackNumber) {
    std::string id = discID.uuidString();
    std::erase(id, '-');
    return "/app/lorvan/disc/" + id + "/track/" + std::to_string(trackNumber);
}

std::optional<TrackSpan> trackSpan(const DiscSummary& disc, long trackIndex) {
    if (trackIndex < 0 || static_cast<std::size_t>(trackIndex) >= disc.tracks.size()) return std::nullopt;
    const auto at = static_cast<std::size_t>(trackIndex);
    const std::int64_t first = firstCue(disc.tracks[at]);
    const std::int64_t end = at + 1 < disc.tracks.size() ? firstCue(disc.tracks[at + 1]) : disc.totalFrames;
    return TrackSpan{first, std::max<std::int64_t>(0, checkedSubtract(end, first))};
}

std::int64_t positionFrames(const DiscSummary& disc, std::optional<long> trackIndex,
                            const PlaybackProgress& progress) {
    if (!trackIndex || !progress.discInPlayer) return 0;
    const auto span = trackSpan(disc, *trackIndex);
    if (!span) return 0;
    const std::int64_t frames = checkedAdd(progress.trackElapsedFrames,
                                           disc.tracks[static_cast<std::size_t>(*trackIndex)].pregapFrames);
    return std::clamp<std::int64_t>(frames, 0, span->lengthFrames);
}

std::int64_t microseconds(std::int64_t frames, double sampleRate) {
    const std::int64_t rate = wholeRate(sampleRate);
    if (rate == 0) return 0;
    return checkedMultiply(frames, microsecondsPerSecond) / rate;
}

std::int64_t framesAt(std::int64_t microseconds, double sampleRate) {
    const std::int64_t rate = wholeRate(sampleRate);
    if (rate == 0) return 0;
    const std::int64_t scaled = checkedMultiply(microseconds, rate);
    // Rounded up: the frame whose time, rounded down, is `microseconds`.
    return scaled / microsecondsPerSecond + (scaled % microsecondsPerSecond > 0 ? 1 : 0);
}

} // namespace lorvan::mpris

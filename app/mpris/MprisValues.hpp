#pragma once

#include "core/Uuid.hpp"
#include "presentation/PlaybackViewModel.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace lorvan::mpris {

/// The object path that names a track of a disc for media controls:
/// "/app/lorvan/disc/<the disc's id, hexadecimal without dashes>/track/<number>". Our own
/// namespace, and only characters an object path allows.
[[nodiscard]] std::string trackObjectPath(const Uuid& discID, long trackNumber);

/// A track as media controls count it. Their positions cannot be negative, so a track runs
/// from its first cue (INDEX 00 when it has a pregap) to the next track's first cue, or to the
/// end of the disc; inside a pregap the position counts up from 0 while the display counts
/// down to INDEX 01.
struct TrackSpan {
    std::int64_t firstFrame = 0;
    std::int64_t lengthFrames = 0;
};

/// The span of track `trackIndex` of `disc`; none for an index it does not have (a summary
/// without a disc has no tracks).
[[nodiscard]] std::optional<TrackSpan> trackSpan(const DiscSummary& disc, long trackIndex);

/// Frames into the current track's span for `progress`: the track's elapsed time plus its
/// pregap, kept inside the span. 0 without a disc or a current track.
[[nodiscard]] std::int64_t positionFrames(const DiscSummary& disc, std::optional<long> trackIndex,
                                          const PlaybackProgress& progress);

/// Microseconds of `frames` at `sampleRate`, rounded down; 0 without a rate.
[[nodiscard]] std::int64_t microseconds(std::int64_t frames, double sampleRate);
/// The first frame at or after `microseconds` at `sampleRate`: the inverse of `microseconds`,
/// so a position read and written back lands on the frame it was read at. 0 without a rate.
/// `microseconds` must lie within a track's span (callers bound what clients send first).
[[nodiscard]] std::int64_t framesAt(std::int64_t microseconds, double sampleRate);

} // namespace lorvan::mpris

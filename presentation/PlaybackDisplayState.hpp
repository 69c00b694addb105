#pragma once

#include "presentation/DisplayState.hpp"
#include "presentation/PlaybackViewModel.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace lorvan {

/// What the display shows for the view model's current values: the status line ("TRACK 02",
/// "INDEX 01", INDEX 00 inside a pregap), the time of the current timecode mode with its label
/// ("PREGAP" while the track's time counts up to its INDEX 01), the track's title and its
/// performer with the disc's title, the disc's progress with its cues, the meters and the
/// read-ahead. Without a disc the display says so. Main thread, like the view model.
[[nodiscard]] DisplayState displayState(const PlaybackViewModel& viewModel);

/// `frames` at `sampleRate` as the main display shows a time: minutes and seconds, with a minus
/// sign when negative ("-0:02"); empty without a rate.
[[nodiscard]] std::string displayTime(std::int64_t frames, double sampleRate);

/// The words beside the time for `mode`; "PREGAP" when the track's time is shown inside its pregap.
[[nodiscard]] std::string_view timeLabel(AudioDiscPlayer::PlaybackTimecodeMode mode, bool insidePregap);

} // namespace lorvan

#include "playback/PlaybackStallWatchdog.hpp"

#include "playback/AudioDiscPlayer.hpp"

namespace lorvan {

std::optional<PlaybackStallWatchdog::Stall>
PlaybackStallWatchdog::check(const AudioDiscPlayer& player, std::chrono::steady_clock::time_point now,
                             bool progressed) {
    const auto disc = player.disc();
    if (!busyAt_ || !disc || progressed || player.state() != AudioDiscPlayer::State::playing ||
        player.currentlyScheduledBuffers() > 0 || player.dequeCount() > 0) {
        busyAt_ = now;
        return std::nullopt;
    }
    if (now - *busyAt_ < timeout_) return std::nullopt;
    busyAt_ = now;
    const std::int64_t frame = player.currentBufferingPosition();
    const bool ended = frame >= disc->data->totalFrameCount() - 1;
    return Stall{ended ? Stall::Kind::discEnded : Stall::Kind::readFailed, frame};
}

} // namespace lorvan

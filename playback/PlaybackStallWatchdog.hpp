#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace lorvan {

class AudioDiscPlayer;

/// Notices a pipeline that has run dry while playing: nothing scheduled on the node, nothing
/// read ahead, and no buffer consumed, for a whole timeout. Either the disc is over (the reader
/// stops one frame short of the end when its position lands exactly there, so no last buffer
/// ever completes) or a read keeps failing. Whoever plays a disc looks through it at regular
/// intervals: the play command and the window on a main-thread timer, the offline render in
/// its waiting loop.
///
/// Threads: a value used on one thread at a time; `check` reads the player's state, which any
/// thread may.
class PlaybackStallWatchdog {
public:
    struct Stall {
        enum class Kind {
            /// The reader got to the disc's last frame: the disc has played out.
            discEnded,
            /// The reader is stuck before the end: a read failed and keeps failing.
            readFailed
        };
        Kind kind;
        /// Where the reader stopped.
        std::int64_t frame;
        friend bool operator==(const Stall&, const Stall&) = default;
    };

    static constexpr std::chrono::milliseconds defaultTimeout{3000};

    explicit PlaybackStallWatchdog(std::chrono::milliseconds timeout = defaultTimeout)
        : timeout_(timeout) {}

    /// Looks at `player` at `now`. A stall is reported once the pipeline has been dry at every
    /// look for `timeout` since the last look that found it busy, or since the first look:
    /// busy means no disc, not playing, buffers scheduled or read ahead, or `progressed` (the
    /// caller saw a buffer consumed since its last look). After a report the timeout starts
    /// over.
    [[nodiscard]] std::optional<Stall>
    check(const AudioDiscPlayer& player, std::chrono::steady_clock::time_point now, bool progressed = false);

private:
    std::chrono::milliseconds timeout_;
    std::optional<std::chrono::steady_clock::time_point> busyAt_;
};

} // namespace lorvan

#pragma once

#include "core/LocalizedError.hpp"
#include "disc/AudioFormat.hpp"
#include "disc/PCMBuffer.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lorvan {

/// Plays scheduled PCM buffers one after the other, without gaps, at its volume.
///
/// Threading: control calls (`play`, `pause`, `stop`, `setVolume`) come from the main thread;
/// `scheduleBuffer` from the player's scheduler queue. Completion handlers run on the engine's
/// completion thread, one at a time and in scheduling order; never on the real-time thread,
/// and never while a lock of the node is held, so a handler may call back into the node.
class AudioPlayerNode {
public:
    /// Called once the buffer's last frame has been rendered (or the buffer was discarded by
    /// `stop`).
    using DataConsumedHandler = std::function<void()>;

    virtual ~AudioPlayerNode() = default;

    /// Appends `buffer` after everything already scheduled. The node keeps the buffer alive
    /// until its handler has run.
    virtual void scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer,
                                DataConsumedHandler dataConsumed) = 0;
    /// Starts or resumes rendering the scheduled buffers. Renders silence while nothing is scheduled.
    virtual void play() = 0;
    /// Holds the position; scheduled buffers stay scheduled.
    virtual void pause() = 0;
    /// Discards everything scheduled. The handlers of the discarded buffers have all run when it
    /// returns. The node is left stopped; `play` starts it again.
    virtual void stop() = 0;
    [[nodiscard]] virtual bool isPlaying() const = 0;
    /// Inside a data-consumed handler: whether the handler of another consumed buffer runs right
    /// after this one on the same thread. Work that the next handler does anyway can be left to
    /// it: one pass per batch of buffers instead of one per buffer.
    [[nodiscard]] virtual bool moreHandlersFollow() const { return false; }

    /// Linear gain, 0...1. At exactly 1.0 no gain is applied, so samples pass bit for bit.
    [[nodiscard]] virtual float volume() const = 0;
    virtual void setVolume(float volume) = 0;
};

/// Changes the playback speed with the pitch following, as on a turntable.
///
/// Threading: main thread. A new rate takes effect smoothly on the real-time thread. At exactly
/// 1.0 the unit is bypassed, so samples pass bit for bit.
class AudioVarispeed {
public:
    virtual ~AudioVarispeed() = default;
    [[nodiscard]] virtual float rate() const = 0;
    /// The caller keeps the rate within 0.25...4.0.
    virtual void setRate(float rate) = 0;
};

/// The engine could not start its output.
class AudioEngineError : public LocalizedError {
public:
    enum class Kind { outputUnavailable, notConnected };
    AudioEngineError(Kind kind, std::string reason);
    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] std::string typeName() const override { return "AudioEngineError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override;
    [[nodiscard]] std::optional<std::string> failureReason() const override { return reason_; }

private:
    Kind kind_;
    std::string reason_;
};

/// The audio graph: player node -> varispeed -> main mixer -> output.
///
/// Threading: main thread, except where the node's contract says otherwise.
class AudioEngine {
public:
    virtual ~AudioEngine() = default;

    [[nodiscard]] virtual AudioPlayerNode& playerNode() = 0;
    [[nodiscard]] virtual AudioVarispeed& varispeed() = 0;

    /// (Re)connects player node -> varispeed -> main mixer in `format`, the processing format
    /// of the disc's first file (32-bit float, one plane per channel). The mixer adapts it to
    /// the output (channel map, sample rate).
    virtual void connect(const AudioFormat& format) = 0;
    /// Starts pulling audio through the graph; throws `AudioEngineError` when the output cannot start.
    virtual void start() = 0;
    virtual void stop() = 0;
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// See `AudioOutput::setBlockDuration`.
    virtual void setOutputBlockDuration(std::chrono::milliseconds duration) = 0;
};

} // namespace lorvan

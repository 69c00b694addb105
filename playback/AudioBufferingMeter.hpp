#pragma once

#include "playback/WorkQueue.hpp"

#include <functional>
#include <memory>
#include <mutex>

namespace lorvan {

/// How full the player's read-ahead is, for the buffering gauge.
///
/// Threading: `update` may be called from any thread (the reader queue, the scheduler queue, the
/// engine's completion thread and the main thread all change the counts it shows). The published
/// `displayLevel` and its callback live on the main thread: they are assigned there through the
/// executor, holding the meter weakly.
class AudioBufferingMeter : public std::enable_shared_from_this<AudioBufferingMeter> {
public:
    /// Deque limit plus scheduling limit: the gauge is full at ten seconds of audio.
    static constexpr double capacityInBuffers = 500.0;

    [[nodiscard]] static std::shared_ptr<AudioBufferingMeter>
    create(std::shared_ptr<MainThreadExecutor> mainThread);

    /// Stores `bufferCount` / 500 as the level. Only a change of the level's tenth is logged
    /// ("Buffering Level") and published, so the interface wakes at most ten times per sweep.
    void update(long bufferCount);

    /// Any thread.
    [[nodiscard]] double level() const;
    [[nodiscard]] double discreteLevel() const;

    /// Main thread.
    [[nodiscard]] double displayLevel() const { return displayLevel_; }
    /// Main thread; called after `displayLevel` changed.
    std::function<void(double)> onDisplayLevelChanged;

private:
    explicit AudioBufferingMeter(std::shared_ptr<MainThreadExecutor> mainThread);
    void publish();

    std::shared_ptr<MainThreadExecutor> mainThread_;
    mutable std::mutex mutex_;
    double level_ = 0.0;
    double discreteLevel_ = 0.0;
    double displayLevel_ = 0.0;
};

} // namespace lorvan

#pragma once

#include "platform/SoxrResampler.hpp"
#include "playback/AudioEngine.hpp"
#include "playback/BuiltInOutputs.hpp"
#include "playback/GraphAudioEngine.hpp"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace lorvan::test {

using Planes = std::vector<std::vector<float>>;

/// Audio that is never 0 and never repeats within a few thousand frames, so that a dropped,
/// repeated or inserted frame shows.
[[nodiscard]] float signature(int channel, std::int64_t frame);
[[nodiscard]] std::shared_ptr<PCMBuffer> signatureBuffer(int channels, std::int64_t firstFrame,
                                                         std::uint32_t frames);
/// A sine at amplitude 0.5 on every channel.
[[nodiscard]] std::shared_ptr<PCMBuffer> sineBuffer(int channels, std::int64_t firstFrame,
                                                    std::uint32_t frames, double hertz);
void append(Planes& to, const Planes& from);
/// The first `frames` frames of every plane are `signature` from `firstFrame` on, bit for bit.
void expectSignature(const Planes& planes, std::int64_t firstFrame, std::size_t frames);
void expectSilence(const Planes& planes, std::size_t from = 0);

/// Records data-consumed handlers as they run: their index and their thread.
class CompletionLog {
public:
    [[nodiscard]] AudioPlayerNode::DataConsumedHandler handler(int index) {
        return [this, index] {
            std::lock_guard lock(mutex_);
            order_.push_back(index);
            threads_.push_back(std::this_thread::get_id());
            changed_.notify_all();
        };
    }
    /// Waits (up to a generous safety limit, so that a fault fails instead of hanging) until
    /// `count` handlers have run.
    bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return order_.size() >= count; });
    }
    [[nodiscard]] std::vector<int> order() const {
        std::lock_guard lock(mutex_);
        return order_;
    }
    [[nodiscard]] std::vector<std::thread::id> threads() const {
        std::lock_guard lock(mutex_);
        return threads_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<int> order_;
    std::vector<std::thread::id> threads_;
};

/// An engine on the manual output, connected and started.
struct ManualEngine {
    explicit ManualEngine(int discChannels = 2, int outputChannels = 0, double outputRate = 0)
        : discChannels(discChannels)
        , output(new ManualAudioOutput(outputChannels, outputRate))
        , engine(std::make_unique<GraphAudioEngine>(std::unique_ptr<AudioOutput>(output),
                                                    platform::soxrResamplerFactory())) {
        engine->connect(AudioFormat::processing(44100, discChannels));
        engine->start();
    }
    GraphPlayerNode& node() { return engine->playerNode(); }
    /// Schedules `signature` frames `first`...`first + frames - 1`, logged under the next index.
    void schedule(std::int64_t first, std::uint32_t frames) {
        node().scheduleBuffer(signatureBuffer(discChannels, first, frames), log.handler(scheduled++));
    }

    int discChannels;
    int scheduled = 0;
    // Before the engine: its destruction runs the handlers of what is left.
    CompletionLog log;
    ManualAudioOutput* output;
    std::unique_ptr<GraphAudioEngine> engine;
};

} // namespace lorvan::test

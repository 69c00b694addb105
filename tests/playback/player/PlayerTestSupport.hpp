#pragma once

// Deterministic doubles for driving the player on one thread: an engine whose node only
// records what is scheduled until the test consumes it, queues that run only when drained, and
// audio files generated in memory.

#include "core/UserDefaults.hpp"
#include "disc/AudioDisc.hpp"
#include "disc/AudioFile.hpp"
#include "disc/LKOSStatus.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/AudioEngine.hpp"
#include "playback/ManualExecutors.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace lorvan::test {

/// A 16-bit stereo file whose samples are a function of (channel, frame within the file).
struct MemoryAudioFile final : AudioFile {
    MemoryAudioFile(std::string name, std::int64_t length, std::function<float(int, std::int64_t)> samples)
        : location(Url::fileURL("/memory/" + name))
        , frames(length)
        , sample(std::move(samples)) {
        file.formatFlags = AudioFormat::isSignedInteger | AudioFormat::isPacked;
        file.bitsPerChannel = 16;
    }
    [[nodiscard]] const Url& url() const override { return location; }
    [[nodiscard]] std::int64_t length() const override { return frames; }
    [[nodiscard]] const AudioFormat& fileFormat() const override { return file; }
    [[nodiscard]] const AudioFormat& processingFormat() const override { return processing; }
    [[nodiscard]] std::optional<std::int32_t> bitDepth() const override { return 16; }
    [[nodiscard]] LKAudioFileType fileType() const override { return LKAudioFileType::wave; }
    [[nodiscard]] std::int64_t framePosition() const override { return position; }
    void setFramePosition(std::int64_t frame) override {
        position = std::clamp<std::int64_t>(frame, 0, frames);
    }
    void read(PCMBuffer& buffer, std::uint32_t frameCount) override {
        // As a truncated file does, with the failure block the file layer logs before it throws.
        if (failing) checkStatus(-39, "ExtAudioFileRead", location, "read(_:frameCount:)");
        const auto count = std::min<std::int64_t>({frameCount, buffer.frameCapacity(), frames - position});
        for (int channel = 0; channel < buffer.channelCount(); ++channel)
            for (std::int64_t i = 0; i < count; ++i)
                buffer.channelData(channel)[i] = sample(channel, position + i);
        buffer.setFrameLength(static_cast<std::uint32_t>(count));
        position += count;
    }

    Url location;
    std::int64_t frames;
    std::function<float(int, std::int64_t)> sample;
    AudioFormat file = AudioFormat::processing(44100, 2);
    AudioFormat processing = AudioFormat::processing(44100, 2);
    std::int64_t position = 0;
    bool failing = false;
};

/// Records scheduled buffers; the test decides when each is consumed.
struct FakePlayerNode final : AudioPlayerNode {
    struct Scheduled {
        std::shared_ptr<const PCMBuffer> buffer;
        DataConsumedHandler handler;
    };
    void scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer, DataConsumedHandler dataConsumed) override {
        scheduled.push_back({std::move(buffer), std::move(dataConsumed)});
    }
    void play() override { playing = true; }
    void pause() override { playing = false; }
    void stop() override {
        playing = false;
        ++stopCount;
        for (auto flushed = std::exchange(scheduled, {}); auto& item : flushed)
            item.handler();
    }
    [[nodiscard]] bool isPlaying() const override { return playing; }
    [[nodiscard]] float volume() const override { return gain; }
    void setVolume(float volume) override { gain = volume; }

    /// Consumes the oldest scheduled buffer as the engine does once it has rendered it, appending
    /// its samples to `heard`. False when nothing is scheduled.
    bool consumeOne() {
        if (scheduled.empty()) return false;
        const Scheduled item = std::move(scheduled.front());
        scheduled.pop_front();
        heard.resize(static_cast<std::size_t>(item.buffer->channelCount()));
        for (int channel = 0; channel < item.buffer->channelCount(); ++channel)
            heard[channel].insert(heard[channel].end(), item.buffer->channelData(channel),
                                  item.buffer->channelData(channel) + item.buffer->frameLength());
        item.handler();
        return true;
    }

    std::deque<Scheduled> scheduled;
    std::vector<std::vector<float>> heard;
    bool playing = false;
    int stopCount = 0;
    float gain = 1.0F;
};

struct FakeEngine final : AudioEngine, AudioVarispeed {
    [[nodiscard]] AudioPlayerNode& playerNode() override { return node; }
    [[nodiscard]] AudioVarispeed& varispeed() override { return *this; }
    [[nodiscard]] float rate() const override { return speed; }
    void setRate(float rate) override { speed = rate; }
    void connect(const AudioFormat& format) override { connectedFormat = format; }
    void start() override { running = true; }
    void stop() override { running = false; }
    [[nodiscard]] bool isRunning() const override { return running; }
    void setOutputBlockDuration(std::chrono::milliseconds duration) override { outputBlock = duration; }

    FakePlayerNode node;
    std::chrono::milliseconds outputBlock{0};
    float speed = 1.0F;
    std::optional<AudioFormat> connectedFormat;
    bool running = false;
};

/// {key frame, track index, chapter}
using TestCue = std::tuple<std::int64_t, long, long>;

/// The sample value `makeDisc` gives disc frame `frame` on the left channel.
[[nodiscard]] inline float frameSample(std::int64_t frame) {
    return static_cast<float>(frame) / 16'777'216.0F;
}

/// A disc of in-memory files whose samples are their absolute disc frame (left) and its
/// negative (right), scaled into -1...1, so that every heard sample names the frame it came
/// from; or, given `constant`, that value throughout.
AudioDisc makeDisc(const std::vector<std::int64_t>& fileLengths, const std::vector<TestCue>& cues,
                   std::uint32_t artificialPregap = 0, std::optional<float> constant = {});

/// Each line logged as "context label: value", whatever fills the space between label and value.
[[nodiscard]] std::vector<std::string> logEntries(const CapturedLog& log);

struct PlayerHarness {
    explicit PlayerHarness(std::function<std::size_t(std::size_t, std::size_t)> randomIndex = {})
        : player(AudioDiscPlayer::create(
              {engine, populate, scheduler, mainThread, defaults, std::move(randomIndex)})) {}

    /// Drains reader, scheduler and main thread until nothing is left to run.
    void pump() {
        while (populate->runAll() + scheduler->runAll() + mainThread->runAll() > 0) {
        }
    }
    void insert(AudioDisc disc) {
        player->insertDisc(std::move(disc));
        pump();
    }
    /// Consumes up to `buffers` buffers, pumping after each; returns how many were consumed.
    long consume(long buffers = 1'000'000) {
        long consumed = 0;
        for (pump(); consumed < buffers && node().consumeOne(); pump())
            ++consumed;
        return consumed;
    }
    FakePlayerNode& node() { return engine->node; }
    MemoryAudioFile& file(std::size_t index) {
        return dynamic_cast<MemoryAudioFile&>(*player->disc()->data->audioFiles().at(index));
    }

    std::shared_ptr<FakeEngine> engine = std::make_shared<FakeEngine>();
    std::shared_ptr<ManualSerialQueue> populate = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualSerialQueue> scheduler = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualMainThreadExecutor> mainThread = std::make_shared<ManualMainThreadExecutor>();
    std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
    std::shared_ptr<AudioDiscPlayer> player;
};

} // namespace lorvan::test

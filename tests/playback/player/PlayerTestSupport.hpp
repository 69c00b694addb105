#pragma once

// Deterministic doubles for driving the player on one thread: an engine whose node only
// records what is scheduled until the test consumes it, serial queues and a main thread that
// run when drained, and audio files generated in memory.

#include "core/UserDefaults.hpp"
#include "disc/AudioDisc.hpp"
#include "disc/AudioFile.hpp"
#include "disc/LKOSStatus.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/AudioEngine.hpp"
#include "playback/WorkQueue.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorvan::test {

/// Sample generator: (channel, frame within the file) -> sample.
using SampleFunction = std::function<float(int channel, std::int64_t frame)>;

class MemoryAudioFile final : public AudioFile {
public:
    MemoryAudioFile(std::string name, std::int64_t length, SampleFunction samples, int channels = 2,
                    double sampleRate = 44100)
        : url_(Url::fileURL("/memory/" + name))
        , length_(length)
        , samples_(std::move(samples))
        , processing_(AudioFormat::processing(sampleRate, channels)) {
        file_.sampleRate = sampleRate;
        file_.formatID = AudioFormat::linearPCM;
        file_.formatFlags = AudioFormat::isSignedInteger | AudioFormat::isPacked;
        file_.channelsPerFrame = channels;
        file_.bitsPerChannel = 16;
        file_.framesPerPacket = 1;
        file_.bytesPerFrame = 2 * channels;
        file_.bytesPerPacket = 2 * channels;
    }

    [[nodiscard]] const Url& url() const override { return url_; }
    [[nodiscard]] std::int64_t length() const override { return length_; }
    [[nodiscard]] const AudioFormat& fileFormat() const override { return file_; }
    [[nodiscard]] const AudioFormat& processingFormat() const override { return processing_; }
    [[nodiscard]] std::optional<std::int32_t> bitDepth() const override { return 16; }
    [[nodiscard]] LKAudioFileType fileType() const override { return LKAudioFileType::wave; }
    [[nodiscard]] std::int64_t framePosition() const override { return position_; }
    void setFramePosition(std::int64_t frame) override {
        position_ = std::clamp<std::int64_t>(frame, 0, length_);
    }
    void read(PCMBuffer& buffer, std::uint32_t frameCount) override {
        if (failing && failing->load()) throw LKOSStatus(-39);
        const auto frames = static_cast<std::uint32_t>(std::min<std::int64_t>(
            {static_cast<std::int64_t>(frameCount), buffer.frameCapacity(), length_ - position_}));
        for (int channel = 0; channel < buffer.channelCount(); ++channel)
            for (std::uint32_t i = 0; i < frames; ++i)
                buffer.channelData(channel)[i] = samples_(channel, position_ + i);
        buffer.setFrameLength(frames);
        position_ += frames;
    }

    /// When set and true, reads fail as a truncated file would.
    std::shared_ptr<std::atomic<bool>> failing;

private:
    Url url_;
    std::int64_t length_;
    SampleFunction samples_;
    AudioFormat file_;
    AudioFormat processing_;
    std::int64_t position_ = 0;
};

/// Records scheduled buffers; the test decides when each is consumed.
class FakePlayerNode final : public AudioPlayerNode {
public:
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
        auto flushed = std::move(scheduled);
        scheduled.clear();
        for (auto& item : flushed)
            item.handler();
    }
    [[nodiscard]] bool isPlaying() const override { return playing; }
    [[nodiscard]] float volume() const override { return gain; }
    void setVolume(float volume) override { gain = volume; }

    /// Consumes the oldest scheduled buffer as the engine would after rendering it; appends its
    /// samples to `heard`. False when nothing is scheduled.
    bool consumeOne() {
        if (scheduled.empty()) return false;
        Scheduled item = std::move(scheduled.front());
        scheduled.pop_front();
        const PCMBuffer& buffer = *item.buffer;
        heard.resize(std::max(heard.size(), static_cast<std::size_t>(buffer.channelCount())));
        for (int channel = 0; channel < buffer.channelCount(); ++channel)
            heard[channel].insert(heard[channel].end(), buffer.channelData(channel),
                                  buffer.channelData(channel) + buffer.frameLength());
        item.handler();
        return true;
    }

    std::deque<Scheduled> scheduled;
    std::vector<std::vector<float>> heard;
    bool playing = false;
    int stopCount = 0;
    float gain = 1.0F;
};

struct FakeVarispeed final : AudioVarispeed {
    [[nodiscard]] float rate() const override { return speed; }
    void setRate(float rate) override { speed = rate; }
    float speed = 1.0F;
};

class FakeEngine final : public AudioEngine {
public:
    [[nodiscard]] AudioPlayerNode& playerNode() override { return node; }
    [[nodiscard]] AudioVarispeed& varispeed() override { return varispeed_; }
    void connect(const AudioFormat& format) override { connectedFormat = format; }
    void start() override {
        if (failStart) throw AudioEngineError(AudioEngineError::Kind::outputUnavailable, "no device");
        running = true;
    }
    void stop() override { running = false; }
    [[nodiscard]] bool isRunning() const override { return running; }

    FakePlayerNode node;
    FakeVarispeed varispeed_;
    std::optional<AudioFormat> connectedFormat;
    bool running = false;
    bool failStart = false;
};

/// Runs its work only when drained; `sync` drains first, as a real queue would finish the
/// work submitted before.
class DrainedQueue final : public SerialQueue, public MainThreadExecutor {
public:
    void async(std::function<void()> work) override { pending.push_back(std::move(work)); }
    void post(std::function<void()> work) override { pending.push_back(std::move(work)); }
    void sync(std::function<void()> work) override {
        drain();
        work();
    }
    /// Runs work, including work it queues, until none is left; returns how many ran.
    int drain() {
        int count = 0;
        while (!pending.empty()) {
            auto work = std::move(pending.front());
            pending.pop_front();
            work();
            ++count;
        }
        return count;
    }
    std::deque<std::function<void()>> pending;
};

struct TestCue {
    std::int64_t keyFrame;
    long trackIndex;
    long chapter;
};

/// A disc of in-memory files whose samples are their absolute disc frame (left) and its
/// negative (right), scaled into -1...1, so that every heard sample names the frame it came from.
AudioDisc makeDisc(const std::vector<std::int64_t>& fileLengths, const std::vector<TestCue>& cues,
                   std::uint32_t artificialPregap = 0,
                   std::vector<std::shared_ptr<std::atomic<bool>>>* failing = nullptr,
                   SampleFunction samples = {}, int channels = 2);

/// The sample value `makeDisc` gives disc frame `frame` on the left channel.
[[nodiscard]] float frameSample(std::int64_t frame);

/// Each line logged as "context label: value", whatever fills the space between label and value.
[[nodiscard]] std::vector<std::string> logEntries(const CapturedLog& log);

/// A player wired to the doubles above.
struct PlayerHarness {
    PlayerHarness();
    explicit PlayerHarness(std::function<std::size_t(std::size_t, std::size_t)> randomIndex);

    /// Drains reader, scheduler and main thread until nothing is left to run.
    void pump();
    /// Inserts `disc` and lets everything the insert queued run.
    void insert(AudioDisc disc);
    /// Consumes up to `buffers` buffers (all there are by default), pumping after each; returns
    /// how many were consumed.
    long consume(long buffers = 1'000'000);

    std::shared_ptr<FakeEngine> engine = std::make_shared<FakeEngine>();
    std::shared_ptr<DrainedQueue> populate = std::make_shared<DrainedQueue>();
    std::shared_ptr<DrainedQueue> scheduler = std::make_shared<DrainedQueue>();
    std::shared_ptr<DrainedQueue> mainThread = std::make_shared<DrainedQueue>();
    std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
    std::shared_ptr<AudioDiscPlayer> player;
    FakePlayerNode& node() { return engine->node; }
};

} // namespace lorvan::test

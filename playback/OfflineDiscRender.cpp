#include "playback/OfflineDiscRender.hpp"

#include "core/UserDefaults.hpp"
#include "playback/AudioDiscPlayer.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/PlaybackStallWatchdog.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <limits>
#include <map>
#include <mutex>

namespace lorvan {

ObservedAudioEngine::ObservedAudioEngine(std::unique_ptr<AudioEngine> inner, Observer beforeCompletion,
                                         Observer afterCompletion)
    : before_(std::move(beforeCompletion))
    , after_(std::move(afterCompletion))
    , inner_(std::move(inner)) {}

ObservedAudioEngine::~ObservedAudioEngine() {
    // The inner engine runs the handlers still scheduled as it goes; they reach the observers,
    // which must still be there.
    inner_.reset();
}

void ObservedAudioEngine::Node::scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer,
                                               DataConsumedHandler dataConsumed) {
    const PCMBuffer* raw = buffer.get();
    engine_.inner_->playerNode().scheduleBuffer(std::move(buffer),
                                                [this, raw, handler = std::move(dataConsumed)] {
                                                    // The inner node keeps the buffer alive until this
                                                    // handler has returned.
                                                    if (engine_.before_) engine_.before_(*raw);
                                                    if (handler) handler();
                                                    if (engine_.after_) engine_.after_(*raw);
                                                });
}

DiscRenderError::DiscRenderError(Kind, std::int64_t frame)
    : LocalizedError("The disc could not be read to its end")
    , frame_(frame) {}

std::optional<std::string> DiscRenderError::errorDescription() const {
    return std::string("The disc could not be read to its end");
}

std::optional<std::string> DiscRenderError::failureReason() const {
    return "reading stopped at disc frame " + std::to_string(frame_) + ".";
}

namespace {

/// The render's main thread is the caller's: it runs posted work while it waits for the end.
class BlockingMainThread final : public MainThreadExecutor {
public:
    void post(std::function<void()> work) override {
        {
            std::lock_guard lock(mutex_);
            pending_.push_back(std::move(work));
        }
        changed_.notify_all();
    }

    void postAfter(std::chrono::milliseconds delay, std::function<void()> work) override {
        {
            std::lock_guard lock(mutex_);
            delayed_.emplace(std::chrono::steady_clock::now() + delay, std::move(work));
        }
        changed_.notify_all();
    }

    /// The oldest posted work, or empty once `timeout` passed or `wakeUp` was called.
    std::function<void()> take(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        const auto giveUp = std::chrono::steady_clock::now() + timeout;
        for (;;) {
            const auto now = std::chrono::steady_clock::now();
            while (!delayed_.empty() && delayed_.begin()->first <= now) {
                pending_.push_back(std::move(delayed_.begin()->second));
                delayed_.erase(delayed_.begin());
            }
            if (!pending_.empty() || woken_ || now >= giveUp) break;
            changed_.wait_until(lock, delayed_.empty() ? giveUp : std::min(giveUp, delayed_.begin()->first));
        }
        woken_ = false;
        if (pending_.empty()) return {};
        auto work = std::move(pending_.front());
        pending_.pop_front();
        return work;
    }

    void wakeUp() {
        {
            std::lock_guard lock(mutex_);
            woken_ = true;
        }
        changed_.notify_all();
    }

    /// Runs everything posted, including what that work posts.
    void runAll() {
        while (auto work = take(std::chrono::milliseconds(0)))
            work();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> pending_;
    std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> delayed_;
    bool woken_ = false;
};

/// What the completion thread tells the render loop.
struct Progress {
    /// How many frames the render is long: until the rate is known, no limit.
    std::atomic<std::uint64_t> length{std::numeric_limits<std::uint64_t>::max()};
    /// Frames handed to the sink; the output's thread counts, the caller reads once it is done.
    std::uint64_t delivered = 0;
    std::atomic<std::uint64_t> completions{0};
    std::atomic<bool> lastFrameConsumed{false};
    std::atomic<bool> sinkFailed{false};
};

} // namespace

DiscRenderResult renderDisc(AudioDisc disc, ResamplerFactory resamplers, const OfflineAudioOutput::Sink& sink,
                            const DiscRenderOptions& options) {
    const AudioFormat format = disc.data->audioFiles().front()->processingFormat();
    const std::int64_t total = disc.data->totalFrameCount();
    const auto mainThread = std::make_shared<BlockingMainThread>();
    const auto progress = std::make_shared<Progress>();

    auto output = std::make_unique<OfflineAudioOutput>(
        [&sink, progress, mainThread](const float* const* planes, int channels, std::uint32_t frames) {
            // The resampler's ring-out can run past the end; what is past the length is not heard.
            const std::uint64_t room = progress->length.load(std::memory_order_acquire) - progress->delivered;
            frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, room));
            if (frames == 0) return;
            progress->delivered += frames;
            try {
                sink(planes, channels, frames);
            } catch (...) {
                progress->sinkFailed.store(true);
                mainThread->wakeUp();
                throw;
            }
        },
        options.blockFrames);
    OfflineAudioOutput& offline = *output;
    auto graph = std::make_unique<GraphAudioEngine>(std::move(output), std::move(resamplers));

    // Set before anything is scheduled; the completion thread only reads it.
    std::weak_ptr<AudioDiscPlayer> observed;
    auto engine = std::make_shared<ObservedAudioEngine>(
        std::move(graph),
        [&observed, progress, &offline, total, mainThread](const PCMBuffer& buffer) {
            // Decided before the player's handler, which posts the end-of-disc step: that step
            // stops the node, and must not run before the output has drained the varispeed.
            const auto player = observed.lock();
            if (!player || player->playbackIsResetting() || progress->lastFrameConsumed.load()) return;
            if (player->discFramePosition() + static_cast<std::int64_t>(buffer.frameLength()) >= total) {
                progress->lastFrameConsumed.store(true);
                offline.finish();
                mainThread->wakeUp();
            }
        },
        [progress](const PCMBuffer&) { progress->completions.fetch_add(1); });

    const auto defaults = std::make_shared<InMemoryUserDefaults>();
    defaults->setString(AudioDiscPlayer::repeatModeDefaultsKey,
                        std::string(AudioDiscPlayer::rawValue(AudioDiscPlayer::RepeatMode::none)));
    auto player = AudioDiscPlayer::create(
        {.engine = engine,
         .populateDequeQueue = std::make_shared<ThreadSerialQueue>("populateDequeQueue"),
         .scheduleBufferQueue = std::make_shared<ThreadSerialQueue>("scheduleBufferQueue"),
         .mainThread = mainThread,
         .userDefaults = defaults,
         .randomIndex = {}});
    observed = player;
    const std::weak_ptr<AudioDiscPlayer> weakPlayer = player;
    engine.reset();

    // Ejecting stops the engine, which stops the output; whatever happens, nothing may still
    // render into `sink` once this function returns.
    struct Teardown {
        std::shared_ptr<AudioDiscPlayer>& player;
        BlockingMainThread& mainThread;
        const std::weak_ptr<AudioDiscPlayer>& weakPlayer;
        ~Teardown() {
            if (player) {
                mainThread.runAll();
                player->insertDisc(std::nullopt);
                player.reset();
            }
            // Queued work may still hold the player for a moment; the last reference comes
            // back here to be dropped.
            while (!weakPlayer.expired())
                if (auto work = mainThread.take(std::chrono::milliseconds(10))) work();
            mainThread.runAll();
        }
    } teardown{player, *mainThread, weakPlayer};

    player->load(std::move(disc), false);
    if (options.volume) {
        player->setAmplifierIsActive(true);
        player->setVolume(*options.volume);
    }
    if (options.rate != 1.0F) player->setPlaybackRate(options.rate);
    // What is heard lasts the disc from where play starts to its end, at the player's own (clamped)
    // rate: that length divided by the rate, to the nearest frame.
    std::int64_t start = 0;
    if (options.startFrame && *options.startFrame >= 0 && *options.startFrame < total)
        start = *options.startFrame;
    else if (!options.startFrame)
        for (const auto& cue : player->disc()->cues)
            if (cue.trackIndex == 0 && cue.chapter == 1) start = cue.keyFrame;
    const double rate = player->playbackRate();
    const bool resampled = rate != 1.0;
    if (resampled)
        progress->length.store(static_cast<std::uint64_t>(std::llround(
                                   static_cast<double>(std::max<std::int64_t>(total - start, 0)) / rate)),
                               std::memory_order_release);
    if (options.startFrame)
        player->seekToFrame(*options.startFrame, true);
    else
        player->play();

    PlaybackStallWatchdog watchdog(options.stallTimeout);
    std::uint64_t seenCompletions = progress->completions.load();
    std::deque<std::function<void()>> deferred;
    for (;;) {
        auto work = mainThread->take(std::chrono::milliseconds(50));
        if (progress->lastFrameConsumed.load() || progress->sinkFailed.load()) {
            if (work) deferred.push_back(std::move(work));
            break;
        }
        if (work) {
            work();
            continue;
        }
        if (player->state() == AudioDiscPlayer::State::stopped) {
            offline.finish();
            break;
        }
        const std::uint64_t completions = progress->completions.load();
        const auto stall =
            watchdog.check(*player, std::chrono::steady_clock::now(), completions != seenCompletions);
        seenCompletions = completions;
        if (!stall) continue;
        if (stall->kind == PlaybackStallWatchdog::Stall::Kind::discEnded) {
            progress->lastFrameConsumed.store(true);
            offline.finish();
            break;
        }
        throw DiscRenderError(DiscRenderError::Kind::readFailed, stall->frame);
    }

    offline.waitUntilFinished();
    // The resampler keeps back a frame or so of its filter's delay at the very end; the length
    // is made whole with silence once the disc's last frame has gone in.
    if (resampled && progress->lastFrameConsumed.load() && !progress->sinkFailed.load()) {
        std::vector<float> silence(options.blockFrames, 0.0F);
        std::vector<const float*> planes(static_cast<std::size_t>(format.channelsPerFrame), silence.data());
        const std::uint64_t length = progress->length.load();
        while (progress->delivered < length) {
            const auto frames = static_cast<std::uint32_t>(
                std::min<std::uint64_t>(length - progress->delivered, options.blockFrames));
            sink(planes.data(), format.channelsPerFrame, frames);
            progress->delivered += frames;
        }
    }
    DiscRenderResult result;
    result.frames = progress->delivered;
    result.sampleRate = format.sampleRate;
    result.channels = format.channelsPerFrame;
    for (auto& work : deferred)
        work();
    return result;
}

} // namespace lorvan

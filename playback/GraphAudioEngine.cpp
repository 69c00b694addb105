#include "playback/GraphAudioEngine.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <pthread.h>
#include <stdexcept>

namespace lorvan {

namespace {

constexpr int maximumChannels = 16;
// Enough past frames to fill the variable-rate filter before its output is kept.
constexpr std::uint32_t historyFrames = 1024;
// Frames pulled from the node at a time when resampling.
constexpr std::uint32_t resamplerChunk = 1024;
constexpr double slewSeconds = 0.05;

/// Planes advanced by `offset` frames, without allocating.
struct Shifted {
    std::array<float*, maximumChannels> planes{};
    Shifted(float* const* source, int channels, std::size_t offset) {
        for (int channel = 0; channel < channels; ++channel)
            planes[channel] = source[channel] + offset;
    }
    [[nodiscard]] float* const* data() const { return planes.data(); }
};

void zero(float* const* planes, int channels, std::size_t offset, std::size_t frames) {
    for (int channel = 0; channel < channels; ++channel)
        std::memset(planes[channel] + offset, 0, frames * sizeof(float));
}

void copy(float* const* to, std::size_t toOffset, float* const* from, std::size_t fromOffset, int channels,
          std::size_t frames) {
    for (int channel = 0; channel < channels; ++channel)
        std::memmove(to[channel] + toOffset, from[channel] + fromOffset, frames * sizeof(float));
}

/// How much input to offer a resampler that should write `room` frames: it takes in all it is
/// given, so offering more than needed would pile audio up inside it.
std::size_t inputFor(std::size_t room, double ratio, std::size_t available) {
    const auto wanted = static_cast<std::size_t>(std::ceil(static_cast<double>(room) * ratio)) + 1;
    return std::min(available, std::max<std::size_t>(wanted, 16));
}

} // namespace

// MARK: - Player node

GraphPlayerNode::GraphPlayerNode(std::function<void()> housekeeping)
    : housekeeping_(std::move(housekeeping))
    , completionThread_([this] { runCompletions(); }) {}

GraphPlayerNode::~GraphPlayerNode() {
    stop();
    quitting_.store(true, std::memory_order_release);
    wakeCompletionThread();
    completionThread_.join();
}

void GraphPlayerNode::scheduleBuffer(std::shared_ptr<const PCMBuffer> buffer,
                                     DataConsumedHandler dataConsumed) {
    if (!buffer) throw std::invalid_argument("scheduleBuffer needs a buffer");
    if (inFlight_.load(std::memory_order_acquire) >= capacity) {
        if (std::this_thread::get_id() == completionThread_.get_id())
            throw std::length_error("too many buffers scheduled on the player node");
        std::unique_lock lock(completedMutex_);
        completedChanged_.wait(lock, [this] { return inFlight_.load(std::memory_order_acquire) < capacity; });
    }
    auto entry = std::make_unique<Entry>(Entry{std::move(buffer), std::move(dataConsumed)});
    {
        std::lock_guard lock(scheduleMutex_);
        inFlight_.fetch_add(1, std::memory_order_acq_rel);
        if (!scheduled_.push(entry.get())) {
            inFlight_.fetch_sub(1, std::memory_order_acq_rel);
            throw std::length_error("too many buffers scheduled on the player node");
        }
        (void)entry.release();
        ++scheduledCount_;
    }
    notifySupply();
}

void GraphPlayerNode::play() {
    playing_.store(true, std::memory_order_release);
    notifySupply();
}

void GraphPlayerNode::pause() {
    playing_.store(false, std::memory_order_release);
}

void GraphPlayerNode::setVolume(float volume) {
    volume_.store(volume, std::memory_order_relaxed);
}

void GraphPlayerNode::acquireRenderSide() noexcept {
    // The render thread holds it for one block at most, and never waits while holding it.
    while (rendering_.exchange(true, std::memory_order_acquire))
        std::this_thread::yield();
}

void GraphPlayerNode::stop() {
    playing_.store(false, std::memory_order_release);
    std::uint64_t target = 0;
    {
        std::lock_guard lock(scheduleMutex_);
        acquireRenderSide();
        // `finished_` cannot overflow: it never holds more than the buffers in flight.
        if (current_ != nullptr) (void)finished_.push(current_);
        current_ = nullptr;
        offset_ = 0;
        Entry* entry = nullptr;
        while (scheduled_.pop(entry))
            (void)finished_.push(entry);
        flushGeneration_.fetch_add(1, std::memory_order_acq_rel);
        releaseRenderSide();
        target = scheduledCount_;
    }
    wakeCompletionThread();
    notifySupply();
    if (std::this_thread::get_id() == completionThread_.get_id()) {
        // A handler stopped the node: the rest run here, still in order, before stop returns.
        drainFinished();
        return;
    }
    std::unique_lock lock(completedMutex_);
    completedChanged_.wait(lock, [&] { return completedCount_ >= target; });
}

void GraphPlayerNode::notifySupply() noexcept {
    supply_.fetch_add(1, std::memory_order_acq_rel);
    supply_.notify_all();
}

void GraphPlayerNode::wakeCompletionThread() noexcept {
    wakeups_.fetch_add(1, std::memory_order_release);
    wakeups_.notify_one();
}

std::uint32_t GraphPlayerNode::render(float* const* planes, int channels, std::uint32_t frames) noexcept {
    if (!playing_.load(std::memory_order_acquire)) return 0;
    if (rendering_.exchange(true, std::memory_order_acquire)) return 0; // `stop` is discarding
    const float gain = volume_.load(std::memory_order_relaxed);
    std::uint32_t written = 0;
    bool finishedAny = false;
    while (written < frames) {
        if (current_ == nullptr) {
            if (!scheduled_.pop(current_)) break;
            offset_ = 0;
        }
        const PCMBuffer& buffer = *current_->buffer;
        const std::uint32_t length = buffer.frameLength();
        const std::uint32_t count = std::min(frames - written, length > offset_ ? length - offset_ : 0U);
        for (int channel = 0; channel < channels; ++channel) {
            float* to = planes[channel] + written;
            if (channel >= buffer.channelCount()) {
                std::memset(to, 0, count * sizeof(float));
                continue;
            }
            const float* from = buffer.channelData(channel) + offset_;
            if (gain == 1.0F) {
                std::memcpy(to, from, count * sizeof(float));
            } else {
                for (std::uint32_t frame = 0; frame < count; ++frame)
                    to[frame] = from[frame] * gain;
            }
        }
        offset_ += count;
        written += count;
        if (offset_ >= length) {
            (void)finished_.push(current_);
            current_ = nullptr;
            finishedAny = true;
        }
    }
    releaseRenderSide();
    if (finishedAny) wakeCompletionThread();
    return written;
}

void GraphPlayerNode::requestHousekeeping() noexcept {
    housekeepingWanted_.store(true, std::memory_order_release);
    wakeCompletionThread();
}

std::size_t GraphPlayerNode::drainFinished() {
    std::size_t count = 0;
    Entry* entry = nullptr;
    while (finished_.pop(entry)) {
        std::unique_ptr<Entry> owned(entry);
        if (owned->handler) {
            try {
                owned->handler();
            } catch (...) {
                // A handler's failure is its own; the node carries on with the next one.
            }
        }
        owned.reset();
        inFlight_.fetch_sub(1, std::memory_order_acq_rel);
        {
            std::lock_guard lock(completedMutex_);
            ++completedCount_;
        }
        completedChanged_.notify_all();
        ++count;
    }
    return count;
}

void GraphPlayerNode::runCompletions() {
    pthread_setname_np(pthread_self(), "audioCompletion");
    for (;;) {
        const auto seen = wakeups_.load(std::memory_order_acquire);
        drainFinished();
        if (housekeepingWanted_.exchange(false, std::memory_order_acq_rel) && housekeeping_) housekeeping_();
        if (quitting_.load(std::memory_order_acquire)) {
            drainFinished();
            return;
        }
        wakeups_.wait(seen, std::memory_order_acquire);
    }
}

// MARK: - Varispeed

void GraphVarispeed::setRate(float rate) {
    rate_.store(rate, std::memory_order_release);
    recycle();
}

void GraphVarispeed::recycle() {
    for (auto& slot : slots_) {
        // The slot is ours only once the exchange succeeded: `connect` replaces the resampler
        // under the same state, so it must not even be looked at before.
        int expected = used;
        if (!slot.state.compare_exchange_strong(expected, resetting, std::memory_order_acq_rel)) continue;
        if (!slot.resampler) {
            slot.state.store(used, std::memory_order_release);
            continue;
        }
        slot.resampler->reset();
        slot.state.store(clean, std::memory_order_release);
    }
}

// MARK: - Engine

void GraphAudioEngine::Planes::allocate(int channels, std::size_t frames) {
    storage.assign(static_cast<std::size_t>(channels) * frames, 0.0F);
    pointers.resize(static_cast<std::size_t>(channels));
    for (int channel = 0; channel < channels; ++channel)
        pointers[static_cast<std::size_t>(channel)] =
            storage.data() + static_cast<std::size_t>(channel) * frames;
}

GraphAudioEngine::GraphAudioEngine(std::unique_ptr<AudioOutput> output, ResamplerFactory resamplers)
    : output_(std::move(output))
    , resamplerFactory_(std::move(resamplers))
    , node_([this] { varispeed_.recycle(); }) {
    if (!output_) throw std::invalid_argument("GraphAudioEngine needs an output");
}

GraphAudioEngine::~GraphAudioEngine() {
    output_->stop();
    node_.stop();
}

void GraphAudioEngine::connect(const AudioFormat& format) {
    if (format.channelsPerFrame <= 0 || format.channelsPerFrame > maximumChannels || format.sampleRate <= 0)
        throw AudioEngineError(AudioEngineError::Kind::notConnected, "Unsupported processing format");
    const bool wasRunning = running_;
    stop();
    const auto configuration = output_->configure(format.sampleRate, format.channelsPerFrame);
    if (configuration.channels <= 0 || configuration.channels > maximumChannels ||
        configuration.sampleRate <= 0)
        throw AudioEngineError(AudioEngineError::Kind::outputUnavailable, "The output has no usable format");

    discChannels_ = format.channelsPerFrame;
    outChannels_ = configuration.channels;
    slewFrames_ = static_cast<std::size_t>(format.sampleRate * slewSeconds);
    nodeScratch_.allocate(discChannels_, maximumBlock);
    mixScratch_.allocate(discChannels_, maximumBlock);
    convertInput_.allocate(outChannels_, maximumBlock);
    discard_.allocate(discChannels_, maximumBlock);
    history_.allocate(discChannels_, historyFrames);
    pendingRaw_.allocate(discChannels_, 3 * static_cast<std::size_t>(maximumBlock));

    ResamplerSpec spec{discChannels_, format.sampleRate, format.sampleRate, true, 4.0};
    for (auto& slot : varispeed_.slots_) {
        // Take the slot from the completion thread, which may be recycling it right now.
        int state = slot.state.load(std::memory_order_acquire);
        while (
            state == GraphVarispeed::resetting ||
            !slot.state.compare_exchange_weak(state, GraphVarispeed::resetting, std::memory_order_acq_rel)) {
            std::this_thread::yield();
            state = slot.state.load(std::memory_order_acquire);
        }
        slot.resampler = resamplerFactory_ ? resamplerFactory_(spec) : nullptr;
        if (slot.resampler) {
            // Let the resampler size its buffers now rather than on the render thread.
            for (double ratio : {4.0, 0.25}) {
                slot.resampler->setRatio(ratio, 0);
                (void)slot.resampler->process(nodeScratch_.data(), maximumBlock, discard_.data(),
                                              maximumBlock);
            }
            slot.resampler->reset();
        }
        slot.state.store(slot.resampler ? GraphVarispeed::clean : GraphVarispeed::used,
                         std::memory_order_release);
    }
    converter_.reset();
    if (configuration.sampleRate != format.sampleRate) {
        if (!resamplerFactory_)
            throw AudioEngineError(AudioEngineError::Kind::outputUnavailable,
                                   "The output cannot run at the disc's sample rate");
        converter_ =
            resamplerFactory_({outChannels_, format.sampleRate, configuration.sampleRate, false, 1.0});
    }

    scratchOffset_ = scratchFrames_ = 0;
    convertOffset_ = convertFrames_ = 0;
    pendingRawOffset_ = pendingRawFrames_ = 0;
    mode_ = SpeedMode::bypass;
    active_ = nullptr;
    seenFlush_ = node_.flushGeneration();
    primingLeft_ = 0;
    leavingLeft_ = 0;
    heardSinceFlush_ = false;
    format_ = format;
    configuration_ = configuration;
    if (wasRunning) start();
}

void GraphAudioEngine::start() {
    if (!format_)
        throw AudioEngineError(AudioEngineError::Kind::notConnected, "Connect the engine before starting it");
    if (running_) return;
    output_->start(*this);
    running_ = true;
}

void GraphAudioEngine::stop() {
    if (!running_) return;
    output_->stop();
    running_ = false;
}

std::uint32_t GraphAudioEngine::render(float* const* planes, std::uint32_t frames,
                                       bool padWithSilence) noexcept {
    if (!format_) {
        if (padWithSilence) zero(planes, outChannels_, 0, frames);
        return padWithSilence ? frames : 0;
    }
    std::uint32_t done = 0;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, maximumBlock);
        const Shifted at(planes, outChannels_, done);
        const std::uint32_t rendered = renderBlock(at.data(), block, padWithSilence);
        done += rendered;
        if (rendered < block) break;
    }
    return done;
}

std::uint32_t GraphAudioEngine::drain(float* const* planes, std::uint32_t frames) noexcept {
    draining_ = true;
    const auto rendered = render(planes, frames, false);
    draining_ = false;
    return rendered;
}

std::uint32_t GraphAudioEngine::renderBlock(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    if (!converter_) return pullMixer(planes, frames, pad);
    std::uint32_t produced = 0;
    int stalls = 0;
    while (produced < frames) {
        if (convertFrames_ == 0) {
            convertOffset_ = 0;
            convertFrames_ = pullMixer(convertInput_.data(), resamplerChunk, pad);
            if (convertFrames_ == 0) break;
        }
        const Shifted from(convertInput_.data(), outChannels_, convertOffset_);
        const Shifted to(planes, outChannels_, produced);
        const auto feed =
            inputFor(frames - produced, format_->sampleRate / configuration_->sampleRate, convertFrames_);
        const auto progress = converter_->process(from.data(), feed, to.data(), frames - produced);
        convertOffset_ += static_cast<std::uint32_t>(progress.consumed);
        convertFrames_ -= static_cast<std::uint32_t>(progress.consumed);
        produced += static_cast<std::uint32_t>(progress.produced);
        if (progress.consumed == 0 && progress.produced == 0 && ++stalls > 4) break;
    }
    if (pad && produced < frames) zero(planes, outChannels_, produced, frames - produced);
    return pad ? frames : produced;
}

std::uint32_t GraphAudioEngine::pullMixer(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    if (discChannels_ == outChannels_) return pullVarispeed(planes, frames, pad);
    const auto rendered = pullVarispeed(mixScratch_.data(), frames, pad);
    for (int channel = 0; channel < outChannels_; ++channel) {
        // A mono disc plays on every speaker; otherwise each speaker gets its own channel.
        const int source = discChannels_ == 1 ? 0 : channel;
        if (source < discChannels_) {
            std::memcpy(planes[channel], mixScratch_.pointers[static_cast<std::size_t>(source)],
                        rendered * sizeof(float));
        } else {
            std::memset(planes[channel], 0, rendered * sizeof(float));
        }
    }
    return rendered;
}

std::uint32_t GraphAudioEngine::pullNode(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    const auto rendered = node_.render(planes, discChannels_, frames);
    if (rendered > 0) heardSinceFlush_ = true;
    remember(planes, rendered);
    if (!pad) return rendered;
    if (rendered < frames) zero(planes, discChannels_, rendered, frames - rendered);
    return frames;
}

void GraphAudioEngine::remember(float* const* planes, std::uint32_t frames) noexcept {
    if (frames >= historyFrames) {
        copy(history_.data(), 0, planes, frames - historyFrames, discChannels_, historyFrames);
        return;
    }
    copy(history_.data(), 0, history_.data(), frames, discChannels_, historyFrames - frames);
    copy(history_.data(), historyFrames - frames, planes, 0, discChannels_, frames);
}

std::uint32_t GraphAudioEngine::pullVarispeed(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    const auto flush = node_.flushGeneration();
    if (flush != seenFlush_) {
        // What the varispeed still holds belongs to audio that `stop` discarded.
        seenFlush_ = flush;
        if (active_ != nullptr) releaseResampler();
        scratchFrames_ = 0;
        pendingRawFrames_ = 0;
        convertFrames_ = 0;
        zero(history_.data(), discChannels_, 0, historyFrames);
        heardSinceFlush_ = false;
    }
    const float rate = varispeed_.rate_.load(std::memory_order_acquire);
    switch (mode_) {
    case SpeedMode::bypass:
        if (rate == 1.0F || pendingRawFrames_ > 0 || draining_ || !engage())
            return pullBypass(planes, frames, pad);
        break;
    case SpeedMode::engaged:
        if (primingLeft_ > 0) break;
        if (rate == 1.0F) {
            applyRatio(1.0);
            mode_ = SpeedMode::leaving;
            leavingLeft_ = slewFrames_;
        } else if (static_cast<double>(rate) != ratioTo_) {
            applyRatio(rate);
        }
        break;
    case SpeedMode::leaving:
        if (rate != 1.0F) {
            mode_ = SpeedMode::engaged;
            applyRatio(rate);
        } else if (leavingLeft_ == 0) {
            finishLeaving();
            return pullBypass(planes, frames, pad);
        }
        break;
    }
    const auto produced = pullResampled(planes, frames, pad);
    if (mode_ == SpeedMode::leaving) leavingLeft_ -= std::min<std::size_t>(leavingLeft_, produced);
    if (pad && produced < frames) {
        zero(planes, discChannels_, produced, frames - produced);
        return frames;
    }
    return produced;
}

std::uint32_t GraphAudioEngine::pullBypass(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    std::uint32_t written = 0;
    if (pendingRawFrames_ > 0) {
        written = std::min(frames, pendingRawFrames_);
        copy(planes, 0, pendingRaw_.data(), pendingRawOffset_, discChannels_, written);
        pendingRawOffset_ += written;
        pendingRawFrames_ -= written;
    }
    if (written == frames) return written;
    const Shifted at(planes, discChannels_, written);
    return written + pullNode(at.data(), frames - written, pad);
}

double GraphAudioEngine::currentRatio() const noexcept {
    if (slewDone_ >= slewFrames_ || slewFrames_ == 0) return ratioTo_;
    return ratioFrom_ +
           (ratioTo_ - ratioFrom_) * static_cast<double>(slewDone_) / static_cast<double>(slewFrames_);
}

void GraphAudioEngine::applyRatio(double ratio) noexcept {
    ratioFrom_ = currentRatio();
    ratioTo_ = ratio;
    slewDone_ = 0;
    active_->resampler->setRatio(ratio, slewFrames_);
}

bool GraphAudioEngine::engage() noexcept {
    for (auto& slot : varispeed_.slots_) {
        int expected = GraphVarispeed::clean;
        if (slot.state.compare_exchange_strong(expected, GraphVarispeed::inUse, std::memory_order_acq_rel)) {
            active_ = &slot;
            break;
        }
    }
    if (active_ == nullptr) return false; // both are still being made clean: try again next block
    Resampler& resampler = *active_->resampler;
    mode_ = SpeedMode::engaged;
    if (!heardSinceFlush_) {
        // Nothing has played yet: nothing to continue, and no need to slide to the rate.
        const double rate = varispeed_.rate_.load(std::memory_order_acquire);
        resampler.setRatio(rate, 0);
        ratioFrom_ = ratioTo_ = rate;
        slewDone_ = slewFrames_;
        consumed_ = 0;
        inputPosition_ = -resampler.outputLag();
        primingLeft_ = 0;
        return true;
    }
    resampler.setRatio(1.0, 0);
    ratioFrom_ = ratioTo_ = 1.0;
    slewDone_ = 0;
    // Prime the filter with the audio that just played, so the first kept frame continues it
    // instead of starting from silence; the output for those frames is thrown away.
    std::size_t fed = 0;
    std::size_t produced = 0;
    int stalls = 0;
    while (fed < historyFrames && stalls < 4) {
        const Shifted from(history_.data(), discChannels_, fed);
        const auto progress =
            resampler.process(from.data(), historyFrames - fed, discard_.data(), maximumBlock);
        fed += progress.consumed;
        produced += progress.produced;
        if (progress.consumed == 0) ++stalls;
    }
    const double lag = resampler.outputLag();
    consumed_ = static_cast<double>(fed);
    inputPosition_ = static_cast<double>(produced) - lag;
    const auto keepFrom = static_cast<std::size_t>(std::lround(static_cast<double>(historyFrames) + lag));
    primingLeft_ = keepFrom > produced ? keepFrom - produced : 0;
    mode_ = SpeedMode::engaged;
    return true;
}

std::uint32_t GraphAudioEngine::pullResampled(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    Resampler& resampler = *active_->resampler;
    std::uint32_t produced = 0;
    int stalls = 0;
    while (produced < frames) {
        const bool priming = primingLeft_ > 0;
        const Shifted to(planes, discChannels_, produced);
        float* const* target = priming ? discard_.data() : to.data();
        const std::size_t room =
            priming ? std::min<std::size_t>(primingLeft_, maximumBlock) : frames - produced;
        if (scratchFrames_ == 0) {
            scratchOffset_ = 0;
            scratchFrames_ = pullNode(nodeScratch_.data(), resamplerChunk, pad);
            if (scratchFrames_ == 0) {
                if (!draining_) break;
                // Only the frames that it still holds: soxr would add its filter's ring-out.
                const double owed = std::max(0.0, (consumed_ - inputPosition_) / currentRatio());
                const auto flushed = resampler.flush(
                    target, std::min<std::size_t>(room, static_cast<std::size_t>(std::lround(owed))));
                inputPosition_ += static_cast<double>(flushed) * currentRatio();
                if (flushed == 0) {
                    releaseResampler();
                    break;
                }
                if (priming) {
                    primingLeft_ -= std::min(primingLeft_, flushed);
                } else {
                    produced += static_cast<std::uint32_t>(flushed);
                }
                continue;
            }
        }
        const Shifted from(nodeScratch_.data(), discChannels_, scratchOffset_);
        const auto feed = inputFor(room, std::max(currentRatio(), ratioTo_), scratchFrames_);
        const auto progress = resampler.process(from.data(), feed, target, room);
        scratchOffset_ += static_cast<std::uint32_t>(progress.consumed);
        scratchFrames_ -= static_cast<std::uint32_t>(progress.consumed);
        consumed_ += static_cast<double>(progress.consumed);
        const double before = currentRatio();
        slewDone_ += progress.produced;
        inputPosition_ += static_cast<double>(progress.produced) * (before + currentRatio()) / 2;
        if (priming) {
            primingLeft_ -= std::min(primingLeft_, progress.produced);
        } else {
            produced += static_cast<std::uint32_t>(progress.produced);
        }
        if (progress.consumed == 0 && progress.produced == 0 && ++stalls > 4) break;
    }
    return produced;
}

void GraphAudioEngine::finishLeaving() noexcept {
    // The resampler runs at 1.0 now but still holds `held` frames that have not come out. Feed
    // it the frames that follow them so they come out through a properly filled filter, then
    // play those following frames as they are.
    Resampler& resampler = *active_->resampler;
    const double heldFrames = std::max(0.0, consumed_ - inputPosition_);
    const auto held = std::min<std::size_t>(std::lround(heldFrames), maximumBlock);
    copy(nodeScratch_.data(), 0, nodeScratch_.data(), scratchOffset_, discChannels_, scratchFrames_);
    std::uint32_t raw = scratchFrames_;
    while (raw < held && raw < maximumBlock) {
        const Shifted at(nodeScratch_.data(), discChannels_, raw);
        const auto got =
            pullNode(at.data(), std::min<std::uint32_t>(maximumBlock - raw, resamplerChunk), false);
        if (got == 0) break;
        raw += got;
    }
    std::size_t tail = 0;
    std::size_t fed = 0;
    int stalls = 0;
    const std::size_t feed = std::min<std::size_t>(held, raw);
    while (tail < held && stalls < 4) {
        const Shifted from(nodeScratch_.data(), discChannels_, fed);
        const Shifted to(pendingRaw_.data(), discChannels_, tail);
        const auto progress = resampler.process(from.data(), feed - fed, to.data(), held - tail);
        fed += progress.consumed;
        tail += progress.produced;
        if (progress.produced == 0) ++stalls;
    }
    copy(pendingRaw_.data(), tail, nodeScratch_.data(), 0, discChannels_, raw);
    pendingRawOffset_ = 0;
    pendingRawFrames_ = static_cast<std::uint32_t>(tail + raw);
    scratchOffset_ = scratchFrames_ = 0;
    releaseResampler();
}

void GraphAudioEngine::releaseResampler() noexcept {
    active_->state.store(GraphVarispeed::used, std::memory_order_release);
    active_ = nullptr;
    mode_ = SpeedMode::bypass;
    primingLeft_ = 0;
    leavingLeft_ = 0;
    node_.requestHousekeeping();
}

} // namespace lorvan

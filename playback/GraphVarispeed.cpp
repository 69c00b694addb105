#include "playback/GraphVarispeed.hpp"

#include <algorithm>
#include <cmath>

namespace lorvan {

namespace {

// Enough past frames to fill the variable-rate filter before its output is kept.
constexpr std::uint32_t historyFrames = 1024;
constexpr double slewSeconds = 0.05;

} // namespace

// MARK: - Control side

void GraphVarispeed::setRate(float rate) {
    rate_.store(rate, std::memory_order_release);
    recycle();
}

// MARK: - Render side

void VarispeedStage::connect(int channels, double sampleRate, const ResamplerFactory& factory) {
    channels_ = channels;
    slewFrames_ = static_cast<std::size_t>(sampleRate * slewSeconds);
    nodeScratch_.allocate(channels_, maximumBlock);
    discard_.allocate(channels_, maximumBlock);
    history_.allocate(channels_, historyFrames);
    pendingRaw_.allocate(channels_, 3 * static_cast<std::size_t>(maximumBlock));

    // Let the resamplers size their buffers now rather than on the render thread.
    control_.resamplers_.replace(
        factory, {channels_, sampleRate, sampleRate, true, 4.0}, [this](Resampler& r) {
            for (double ratio : {4.0, 0.25}) {
                r.setRatio(ratio, 0);
                (void)r.process(nodeScratch_.data(), maximumBlock, discard_.data(), maximumBlock);
            }
        });

    scratchOffset_ = scratchFrames_ = 0;
    pendingRawOffset_ = pendingRawFrames_ = 0;
    mode_ = Mode::bypass;
    active_ = nullptr;
    seenFlush_ = node_.flushGeneration();
    primingLeft_ = 0;
    leavingLeft_ = 0;
    heardSinceFlush_ = false;
}

std::uint32_t VarispeedStage::pullNode(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    const auto rendered = node_.render(planes, channels_, frames);
    if (rendered > 0) heardSinceFlush_ = true;
    remember(planes, rendered);
    if (!pad) return rendered;
    if (rendered < frames) graph::zero(planes, channels_, rendered, frames - rendered);
    return frames;
}

void VarispeedStage::remember(float* const* planes, std::uint32_t frames) noexcept {
    if (frames >= historyFrames) {
        graph::copy(history_.data(), 0, planes, frames - historyFrames, channels_, historyFrames);
        return;
    }
    graph::copy(history_.data(), 0, history_.data(), frames, channels_, historyFrames - frames);
    graph::copy(history_.data(), historyFrames - frames, planes, 0, channels_, frames);
}

std::uint32_t VarispeedStage::pull(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    const auto flush = node_.flushGeneration();
    if (flush != seenFlush_) {
        // What the varispeed still holds belongs to audio that `stop` discarded.
        seenFlush_ = flush;
        if (active_ != nullptr) releaseResampler();
        scratchFrames_ = 0;
        pendingRawFrames_ = 0;
        graph::zero(history_.data(), channels_, 0, historyFrames);
        heardSinceFlush_ = false;
    }
    const float rate = control_.rate_.load(std::memory_order_acquire);
    switch (mode_) {
    case Mode::bypass:
        if (rate == 1.0F || pendingRawFrames_ > 0 || draining_ || !engage())
            return pullBypass(planes, frames, pad);
        break;
    case Mode::engaged:
        if (primingLeft_ > 0) break;
        if (rate == 1.0F) {
            applyRatio(1.0);
            mode_ = Mode::leaving;
            leavingLeft_ = slewFrames_;
        } else if (static_cast<double>(rate) != ratioTo_) {
            applyRatio(rate);
        }
        break;
    case Mode::leaving:
        if (rate != 1.0F) {
            mode_ = Mode::engaged;
            applyRatio(rate);
        } else if (leavingLeft_ == 0) {
            finishLeaving();
            return pullBypass(planes, frames, pad);
        }
        break;
    }
    const auto produced = pullResampled(planes, frames, pad);
    if (mode_ == Mode::leaving) leavingLeft_ -= std::min<std::size_t>(leavingLeft_, produced);
    if (pad && produced < frames) {
        graph::zero(planes, channels_, produced, frames - produced);
        return frames;
    }
    return produced;
}

std::uint32_t VarispeedStage::pullBypass(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    std::uint32_t written = 0;
    if (pendingRawFrames_ > 0) {
        written = std::min(frames, pendingRawFrames_);
        graph::copy(planes, 0, pendingRaw_.data(), pendingRawOffset_, channels_, written);
        pendingRawOffset_ += written;
        pendingRawFrames_ -= written;
    }
    if (written == frames) return written;
    const graph::Shifted at(planes, channels_, written);
    return written + pullNode(at.data(), frames - written, pad);
}

double VarispeedStage::currentRatio() const noexcept {
    if (slewDone_ >= slewFrames_ || slewFrames_ == 0) return ratioTo_;
    return ratioFrom_ +
           (ratioTo_ - ratioFrom_) * static_cast<double>(slewDone_) / static_cast<double>(slewFrames_);
}

void VarispeedStage::applyRatio(double ratio) noexcept {
    ratioFrom_ = currentRatio();
    ratioTo_ = ratio;
    slewDone_ = 0;
    active_->setRatio(ratio, slewFrames_);
}

bool VarispeedStage::engage() noexcept {
    active_ = control_.resamplers_.acquire();
    if (active_ == nullptr) return false; // both are still being made clean: try again next block
    Resampler& resampler = *active_;
    mode_ = Mode::engaged;
    if (!heardSinceFlush_) {
        // Nothing has played yet: nothing to continue, and no need to slide to the rate.
        const double rate = control_.rate_.load(std::memory_order_acquire);
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
        const graph::Shifted from(history_.data(), channels_, fed);
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
    mode_ = Mode::engaged;
    return true;
}

std::uint32_t VarispeedStage::pullResampled(float* const* planes, std::uint32_t frames, bool pad) noexcept {
    Resampler& resampler = *active_;
    std::uint32_t produced = 0;
    int stalls = 0;
    while (produced < frames) {
        const bool priming = primingLeft_ > 0;
        const graph::Shifted to(planes, channels_, produced);
        float* const* target = priming ? discard_.data() : to.data();
        const std::size_t room =
            priming ? std::min<std::size_t>(primingLeft_, maximumBlock) : frames - produced;
        if (scratchFrames_ == 0) {
            scratchOffset_ = 0;
            scratchFrames_ = pullNode(nodeScratch_.data(), graph::resamplerChunk, pad);
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
        const graph::Shifted from(nodeScratch_.data(), channels_, scratchOffset_);
        const auto feed = graph::inputFor(room, std::max(currentRatio(), ratioTo_), scratchFrames_);
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

void VarispeedStage::finishLeaving() noexcept {
    // The resampler runs at 1.0 now but still holds `held` frames that have not come out. Feed
    // it the frames that follow them so they come out through a properly filled filter, then
    // play those following frames as they are.
    Resampler& resampler = *active_;
    const double heldFrames = std::max(0.0, consumed_ - inputPosition_);
    const auto held = std::min<std::size_t>(std::lround(heldFrames), maximumBlock);
    graph::copy(nodeScratch_.data(), 0, nodeScratch_.data(), scratchOffset_, channels_, scratchFrames_);
    std::uint32_t raw = scratchFrames_;
    while (raw < held && raw < maximumBlock) {
        const graph::Shifted at(nodeScratch_.data(), channels_, raw);
        const auto got =
            pullNode(at.data(), std::min<std::uint32_t>(maximumBlock - raw, graph::resamplerChunk), false);
        if (got == 0) break;
        raw += got;
    }
    std::size_t tail = 0;
    std::size_t fed = 0;
    int stalls = 0;
    const std::size_t feed = std::min<std::size_t>(held, raw);
    while (tail < held && stalls < 4) {
        const graph::Shifted from(nodeScratch_.data(), channels_, fed);
        const graph::Shifted to(pendingRaw_.data(), channels_, tail);
        const auto progress = resampler.process(from.data(), feed - fed, to.data(), held - tail);
        fed += progress.consumed;
        tail += progress.produced;
        if (progress.produced == 0) ++stalls;
    }
    graph::copy(pendingRaw_.data(), tail, nodeScratch_.data(), 0, channels_, raw);
    pendingRawOffset_ = 0;
    pendingRawFrames_ = static_cast<std::uint32_t>(tail + raw);
    scratchOffset_ = scratchFrames_ = 0;
    releaseResampler();
}

void VarispeedStage::releaseResampler() noexcept {
    control_.resamplers_.release(active_);
    active_ = nullptr;
    mode_ = Mode::bypass;
    primingLeft_ = 0;
    leavingLeft_ = 0;
    node_.requestHousekeeping();
}

} // namespace lorvan

#include "playback/BuiltInOutputs.hpp"

#include "playback/AudioEngine.hpp"

#include <algorithm>
#include <pthread.h>
#include <stdexcept>

namespace lorvan {

namespace {

struct PlaneBlock {
    std::vector<float> storage;
    std::vector<float*> pointers;
    PlaneBlock(int channels, std::uint32_t frames)
        : storage(static_cast<std::size_t>(channels) * frames)
        , pointers(static_cast<std::size_t>(channels)) {
        for (std::size_t channel = 0; channel < pointers.size(); ++channel)
            pointers[channel] = storage.data() + channel * frames;
    }
};

} // namespace

// MARK: - Null

NullAudioOutput::NullAudioOutput(std::chrono::milliseconds period) {
    setBlockDuration(period);
}

void NullAudioOutput::setBlockDuration(std::chrono::milliseconds duration) {
    period_.store(std::clamp(duration, std::chrono::milliseconds(1), longestPeriod).count(),
                  std::memory_order_relaxed);
}

NullAudioOutput::~NullAudioOutput() {
    stop();
}

OutputConfiguration NullAudioOutput::configure(double sampleRate, int channels) {
    configuration_ = {sampleRate, channels < 2 ? 2 : channels};
    return configuration_;
}

void NullAudioOutput::start(AudioRenderSource& source) {
    if (thread_.joinable()) return;
    // Without a rate its clock would tick empty blocks and wait for audio forever.
    if (configuration_.sampleRate <= 0)
        throw AudioEngineError(AudioEngineError::Kind::notConnected, "The null output is not configured");
    stopping_ = false;
    source_ = &source;
    thread_ = std::thread([this, &source] { run(source); });
}

void NullAudioOutput::stop() noexcept {
    if (!thread_.joinable()) return;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    source_->notifySupply(); // it may be waiting for audio
    thread_.join();
    source_ = nullptr;
}

void NullAudioOutput::run(AudioRenderSource& source) {
    pthread_setname_np(pthread_self(), "nullOutput");
    const auto framesIn = [this](std::chrono::milliseconds period) {
        return std::max<std::uint32_t>(
            1, static_cast<std::uint32_t>(configuration_.sampleRate * std::chrono::duration<double>(period).count()));
    };
    PlaneBlock block(configuration_.channels, framesIn(longestPeriod));
    auto next = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        lock.unlock();
        const std::chrono::milliseconds period(period_.load(std::memory_order_relaxed));
        const std::uint32_t frames = framesIn(period);
        // Nothing to play (paused, stopped, or the read-ahead ran dry): a device would play
        // silence; the clock sleeps until audio comes, and takes up its pace from then.
        const std::uint32_t epoch = source.supplyEpoch();
        if (source.render(block.pointers.data(), frames, false) == 0) {
            source.waitForSupply(epoch);
            lock.lock();
            next = std::chrono::steady_clock::now();
            continue;
        }
        lock.lock();
        next += period;
        const auto now = std::chrono::steady_clock::now();
        // After a stall (a suspended machine), carry on from now rather than catching up.
        if (next + 4 * period < now) next = now;
        wake_.wait_until(lock, next, [this] { return stopping_; });
    }
}

// MARK: - Offline

OfflineAudioOutput::OfflineAudioOutput(Sink sink, std::uint32_t blockFrames)
    : sink_(std::move(sink))
    , blockFrames_(blockFrames == 0 ? 4096 : blockFrames) {}

OfflineAudioOutput::~OfflineAudioOutput() {
    stop();
}

OutputConfiguration OfflineAudioOutput::configure(double sampleRate, int channels) {
    configuration_ = {sampleRate, channels};
    return configuration_;
}

void OfflineAudioOutput::start(AudioRenderSource& source) {
    if (thread_.joinable()) return;
    finishing_.store(false, std::memory_order_release);
    stopping_.store(false, std::memory_order_release);
    {
        std::lock_guard lock(doneMutex_);
        done_ = false;
        failure_ = nullptr;
    }
    source_.store(&source, std::memory_order_release);
    thread_ = std::thread([this, &source] { run(source); });
}

void OfflineAudioOutput::stop() noexcept {
    if (!thread_.joinable()) return;
    stopping_.store(true, std::memory_order_release);
    source_.load(std::memory_order_acquire)->notifySupply();
    thread_.join();
    source_.store(nullptr, std::memory_order_release);
}

void OfflineAudioOutput::finish() {
    finishing_.store(true, std::memory_order_release);
    if (auto* source = source_.load(std::memory_order_acquire)) source->notifySupply();
}

void OfflineAudioOutput::waitUntilFinished() {
    std::unique_lock lock(doneMutex_);
    doneChanged_.wait(lock, [this] { return done_; });
    if (failure_) std::rethrow_exception(failure_);
}

void OfflineAudioOutput::run(AudioRenderSource& source) {
    pthread_setname_np(pthread_self(), "offlineOutput");
    PlaneBlock block(configuration_.channels, blockFrames_);
    const auto deliver = [&](std::uint32_t frames) {
        sink_(block.pointers.data(), configuration_.channels, frames);
        delivered_.fetch_add(frames, std::memory_order_acq_rel);
    };
    try {
        while (!stopping_.load(std::memory_order_acquire)) {
            // Read the counter first: audio scheduled after it moves it, so the wait cannot miss it.
            const auto epoch = source.supplyEpoch();
            const bool finishing = finishing_.load(std::memory_order_acquire);
            const auto rendered = source.render(block.pointers.data(), blockFrames_, false);
            if (rendered > 0) {
                deliver(rendered);
                continue;
            }
            if (finishing) {
                while (const auto drained = source.drain(block.pointers.data(), blockFrames_))
                    deliver(drained);
                break;
            }
            source.waitForSupply(epoch);
        }
    } catch (...) {
        std::lock_guard lock(doneMutex_);
        failure_ = std::current_exception();
    }
    {
        std::lock_guard lock(doneMutex_);
        done_ = true;
    }
    doneChanged_.notify_all();
}

// MARK: - Manual

ManualAudioOutput::ManualAudioOutput(int channels, double sampleRate)
    : channels_(channels)
    , sampleRate_(sampleRate) {}

OutputConfiguration ManualAudioOutput::configure(double sampleRate, int channels) {
    configuration_ = {sampleRate_ > 0 ? sampleRate_ : sampleRate, channels_ > 0 ? channels_ : channels};
    return configuration_;
}

void ManualAudioOutput::start(AudioRenderSource& source) {
    source_.store(&source, std::memory_order_release);
}

void ManualAudioOutput::stop() noexcept {
    source_.store(nullptr, std::memory_order_release);
}

std::vector<std::vector<float>> ManualAudioOutput::pull(std::uint32_t frames) {
    return renderWith(frames, 0);
}

std::vector<std::vector<float>> ManualAudioOutput::pullAvailable(std::uint32_t frames) {
    return renderWith(frames, 1);
}

std::vector<std::vector<float>> ManualAudioOutput::drain(std::uint32_t frames) {
    return renderWith(frames, 2);
}

std::vector<std::vector<float>> ManualAudioOutput::renderWith(std::uint32_t frames, int mode) {
    auto* source = source_.load(std::memory_order_acquire);
    if (source == nullptr) throw std::logic_error("the manual output is not started");
    std::vector<std::vector<float>> planes(static_cast<std::size_t>(configuration_.channels),
                                           std::vector<float>(frames));
    std::vector<float*> pointers;
    for (auto& plane : planes)
        pointers.push_back(plane.data());
    std::uint32_t rendered = 0;
    switch (mode) {
    case 0:
        rendered = source->render(pointers.data(), frames, true);
        break;
    case 1:
        rendered = source->render(pointers.data(), frames, false);
        break;
    default: {
        // Everything still scheduled first, then what the varispeed holds.
        rendered = source->render(pointers.data(), frames, false);
        while (rendered < frames) {
            std::vector<float*> at;
            for (auto* plane : pointers)
                at.push_back(plane + rendered);
            const auto drained = source->drain(at.data(), frames - rendered);
            if (drained == 0) break;
            rendered += drained;
        }
    }
    }
    for (auto& plane : planes)
        plane.resize(rendered);
    return planes;
}

} // namespace lorvan

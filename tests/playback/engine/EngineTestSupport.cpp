#include "EngineTestSupport.hpp"

#include "platform/SoxrResampler.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace lorvan::test {

float signature(int channel, std::int64_t frame) {
    const auto mixed = (frame * 7919 + channel * 104729) % 20011;
    return 0.05F + static_cast<float>(mixed) / 25000.0F * (channel % 2 == 0 ? 1.0F : -1.0F);
}

std::shared_ptr<PCMBuffer> signatureBuffer(int channels, std::int64_t firstFrame, std::uint32_t frames,
                                           double rate) {
    auto buffer = std::make_shared<PCMBuffer>(AudioFormat::processing(rate, channels), frames);
    buffer->setFrameLength(frames);
    for (int channel = 0; channel < channels; ++channel)
        for (std::uint32_t frame = 0; frame < frames; ++frame)
            buffer->channelData(channel)[frame] = signature(channel, firstFrame + frame);
    return buffer;
}

std::shared_ptr<PCMBuffer> sineBuffer(int channels, std::int64_t firstFrame, std::uint32_t frames,
                                      double hertz, float amplitude, double rate) {
    auto buffer = std::make_shared<PCMBuffer>(AudioFormat::processing(rate, channels), frames);
    buffer->setFrameLength(frames);
    for (int channel = 0; channel < channels; ++channel)
        for (std::uint32_t frame = 0; frame < frames; ++frame)
            buffer->channelData(channel)[frame] =
                amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * hertz *
                                                        static_cast<double>(firstFrame + frame) / rate));
    return buffer;
}

void append(Planes& to, const Planes& from) {
    if (to.size() < from.size()) to.resize(from.size());
    for (std::size_t channel = 0; channel < from.size(); ++channel)
        to[channel].insert(to[channel].end(), from[channel].begin(), from[channel].end());
}

void expectSignature(const Planes& planes, std::int64_t firstFrame, std::size_t frames) {
    for (std::size_t channel = 0; channel < planes.size(); ++channel) {
        ASSERT_GE(planes[channel].size(), frames);
        for (std::size_t frame = 0; frame < frames; ++frame)
            ASSERT_EQ(planes[channel][frame],
                      signature(static_cast<int>(channel), firstFrame + static_cast<std::int64_t>(frame)))
                << "channel " << channel << " frame " << frame;
    }
}

void expectSilence(const Planes& planes, std::size_t from) {
    for (const auto& plane : planes)
        EXPECT_TRUE(std::all_of(plane.begin() + static_cast<std::ptrdiff_t>(from), plane.end(),
                                [](float sample) { return sample == 0.0F; }));
}

AudioPlayerNode::DataConsumedHandler CompletionLog::handler(int index) {
    return [this, index] {
        {
            std::lock_guard lock(mutex_);
            order_.push_back(index);
            threads_.push_back(std::this_thread::get_id());
        }
        changed_.notify_all();
    };
}

bool CompletionLog::waitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return order_.size() >= count; });
}

std::vector<int> CompletionLog::order() const {
    std::lock_guard lock(mutex_);
    return order_;
}

std::vector<std::thread::id> CompletionLog::threads() const {
    std::lock_guard lock(mutex_);
    return threads_;
}

std::size_t CompletionLog::count() const {
    std::lock_guard lock(mutex_);
    return order_.size();
}

ManualEngine::ManualEngine(int discChannels, int outputChannels, double outputRate, double discRate)
    : discChannels(discChannels) {
    auto manual = std::make_unique<ManualAudioOutput>(outputChannels, outputRate);
    output = manual.get();
    engine = std::make_unique<GraphAudioEngine>(std::move(manual), platform::soxrResamplerFactory());
    engine->connect(AudioFormat::processing(discRate, discChannels));
    engine->start();
}

void ManualEngine::schedule(std::int64_t first, std::uint32_t frames) {
    node().scheduleBuffer(signatureBuffer(discChannels, first, frames), log.handler(scheduled++));
}

} // namespace lorvan::test

#include "EngineTestSupport.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>

namespace lorvan::test {

float signature(int channel, std::int64_t frame) {
    const auto mixed = (frame * 7919 + channel * 104729) % 20011;
    return 0.05F + static_cast<float>(mixed) / 25000.0F * (channel % 2 == 0 ? 1.0F : -1.0F);
}

namespace {

std::shared_ptr<PCMBuffer> generated(int channels, std::int64_t firstFrame, std::uint32_t frames,
                                     const std::function<float(int, std::int64_t)>& sample) {
    auto buffer = std::make_shared<PCMBuffer>(AudioFormat::processing(44100, channels), frames);
    buffer->setFrameLength(frames);
    for (int channel = 0; channel < channels; ++channel)
        for (std::uint32_t frame = 0; frame < frames; ++frame)
            buffer->channelData(channel)[frame] = sample(channel, firstFrame + frame);
    return buffer;
}

} // namespace

std::shared_ptr<PCMBuffer> signatureBuffer(int channels, std::int64_t firstFrame, std::uint32_t frames) {
    return generated(channels, firstFrame, frames, signature);
}

std::shared_ptr<PCMBuffer> sineBuffer(int channels, std::int64_t firstFrame, std::uint32_t frames,
                                      double hertz) {
    return generated(channels, firstFrame, frames, [hertz](int, std::int64_t frame) {
        return 0.5F * static_cast<float>(
                          std::sin(2 * std::numbers::pi * hertz * static_cast<double>(frame) / 44100));
    });
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

} // namespace lorvan::test

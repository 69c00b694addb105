#pragma once

#include "disc/AudioFormat.hpp"

#include <cstdint>
#include <memory>

namespace lorvan {

/// Audio in the processing format: 32-bit float, one plane per channel, `frameCapacity` frames
/// per plane of which the first `frameLength` are valid. Created zeroed, so a buffer that is
/// never filled is silence. Not shared between threads while it is being written.
class PCMBuffer {
public:
    /// Throws std::bad_alloc when the planes cannot be allocated.
    PCMBuffer(const AudioFormat& format, std::uint32_t frameCapacity);

    [[nodiscard]] const AudioFormat& format() const { return format_; }
    [[nodiscard]] std::uint32_t frameCapacity() const { return frameCapacity_; }
    [[nodiscard]] std::uint32_t frameLength() const { return frameLength_; }
    /// Clamped to the capacity.
    void setFrameLength(std::uint32_t length) {
        frameLength_ = length < frameCapacity_ ? length : frameCapacity_;
    }
    [[nodiscard]] int channelCount() const { return format_.channelsPerFrame; }
    [[nodiscard]] float* channelData(int channel) { return samples_.get() + stride(channel); }
    [[nodiscard]] const float* channelData(int channel) const { return samples_.get() + stride(channel); }

private:
    [[nodiscard]] std::size_t stride(int channel) const {
        return static_cast<std::size_t>(channel) * frameCapacity_;
    }
    AudioFormat format_;
    std::uint32_t frameCapacity_;
    std::uint32_t frameLength_ = 0;
    std::unique_ptr<float[]> samples_;
};

} // namespace lorvan

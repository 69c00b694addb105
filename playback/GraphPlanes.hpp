#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

/// Blocks of planar float audio as the graph's stages pass them along. Render-thread helpers:
/// nothing here allocates except `Planes::allocate`, which runs while the output is stopped.
namespace lorvan::graph {

inline constexpr int maximumChannels = 16;
/// Frames pulled from the stage before a resampler at a time.
inline constexpr std::uint32_t resamplerChunk = 1024;

/// A block of planar audio owned by a stage, allocated at connect time.
struct Planes {
    std::vector<float> storage;
    std::vector<float*> pointers;

    void allocate(int channels, std::size_t frames) {
        storage.assign(static_cast<std::size_t>(channels) * frames, 0.0F);
        pointers.resize(static_cast<std::size_t>(channels));
        for (std::size_t channel = 0; channel < pointers.size(); ++channel)
            pointers[channel] = storage.data() + channel * frames;
    }
    [[nodiscard]] float* const* data() const { return pointers.data(); }
};

/// Planes advanced by `offset` frames, without allocating.
struct Shifted {
    std::array<float*, maximumChannels> planes{};
    Shifted(float* const* source, int channels, std::size_t offset) {
        for (int channel = 0; channel < channels; ++channel)
            planes[channel] = source[channel] + offset;
    }
    [[nodiscard]] float* const* data() const { return planes.data(); }
};

inline void zero(float* const* planes, int channels, std::size_t offset, std::size_t frames) {
    for (int channel = 0; channel < channels; ++channel)
        std::memset(planes[channel] + offset, 0, frames * sizeof(float));
}

inline void copy(float* const* to, std::size_t toOffset, float* const* from, std::size_t fromOffset,
                 int channels, std::size_t frames) {
    for (int channel = 0; channel < channels; ++channel)
        std::memmove(to[channel] + toOffset, from[channel] + fromOffset, frames * sizeof(float));
}

/// How much input to offer a resampler that should write `room` frames: it takes in all it is
/// given, so offering more than needed would pile audio up inside it.
inline std::size_t inputFor(std::size_t room, double ratio, std::size_t available) {
    const auto wanted = static_cast<std::size_t>(std::ceil(static_cast<double>(room) * ratio)) + 1;
    return std::min(available, std::max<std::size_t>(wanted, 16));
}

} // namespace lorvan::graph

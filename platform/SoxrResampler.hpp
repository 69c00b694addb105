#pragma once

#include "playback/Resampler.hpp"

namespace lorvan::platform {

/// Resamplers built on libsoxr: high quality, fixed ratio for output-rate conversion, and
/// variable-rate mode for the varispeed.
[[nodiscard]] ResamplerFactory soxrResamplerFactory();

} // namespace lorvan::platform

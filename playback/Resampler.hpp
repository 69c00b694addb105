#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace lorvan {

/// A sample-rate converter for planar 32-bit float audio. The graph uses one with a variable
/// ratio for the varispeed and one with a fixed ratio when the output cannot run at the disc's
/// rate. The implementation lives with the platform code (libsoxr).
///
/// Threading: `process`, `flush` and `setRatio` are real-time safe once the resampler has been
/// warmed up by a first `process` call of the largest block size; `reset` is not, and must not
/// run while another thread is using the resampler.
class Resampler {
public:
    struct Progress {
        std::size_t consumed = 0;
        std::size_t produced = 0;
    };

    virtual ~Resampler() = default;

    /// Consumes up to `inputFrames` frames and writes up to `outputFrames` frames.
    virtual Progress process(const float* const* input, std::size_t inputFrames, float* const* output,
                             std::size_t outputFrames) noexcept = 0;
    /// Ends the input: writes what the resampler still holds. Returns 0 once it is empty.
    virtual std::size_t flush(float* const* output, std::size_t outputFrames) noexcept = 0;
    /// Variable-rate resamplers only: input frames per output frame, reached gradually over
    /// `slewFrames` output frames so that the change makes no click.
    virtual void setRatio(double inputPerOutput, std::size_t slewFrames) noexcept = 0;
    /// How far the output trails the input, in frames, besides the audio held inside: the
    /// output frame i of a fresh resampler at ratio 1 matches input frame i - lag.
    [[nodiscard]] virtual double outputLag() const noexcept = 0;
    /// Ready for a new signal.
    virtual void reset() = 0;
};

struct ResamplerSpec {
    int channels = 2;
    double inputRate = 44100;
    double outputRate = 44100;
    /// For the varispeed: the ratio may change with `setRatio` up to `maximumRatio`.
    bool variable = false;
    double maximumRatio = 4;
};

/// Throws std::runtime_error when the resampler cannot be created.
using ResamplerFactory = std::function<std::unique_ptr<Resampler>(const ResamplerSpec&)>;

} // namespace lorvan

#pragma once

#include "playback/Resampler.hpp"

#include <array>
#include <atomic>
#include <functional>
#include <memory>

namespace lorvan {

/// Two resamplers that the render thread takes turns with. Making one clean again (`reset`)
/// allocates, so it cannot happen on the real-time thread: when the render thread lets go of
/// one because the audio it holds is no longer wanted, it takes the other, and the first is
/// made clean on the completion thread.
///
/// Threads. `replace` runs on the control thread while the output is stopped; the completion
/// thread may be recycling at that moment, and `replace` waits for it. `recycle` runs on any
/// thread but the render thread. `acquire` and `release` run on the render thread, without
/// locks or allocations.
class ResamplerPair {
public:
    /// Fresh resamplers from `factory` (none when it is empty), each run once through `warmUp`
    /// so that they have sized their buffers before the render thread uses them, then reset.
    void replace(const ResamplerFactory& factory, const ResamplerSpec& spec,
                 const std::function<void(Resampler&)>& warmUp);

    /// A clean resampler, now the render thread's, or null while neither is clean (or there are none).
    [[nodiscard]] Resampler* acquire() noexcept;
    /// Gives back a resampler from `acquire`, to be made clean by the next `recycle`.
    void release(Resampler* resampler) noexcept;
    /// Makes the resamplers that the render thread gave back clean again.
    void recycle();

private:
    enum State : int { clean, inUse, used, resetting };
    struct Slot {
        std::unique_ptr<Resampler> resampler;
        std::atomic<int> state{used};
    };
    std::array<Slot, 2> slots_;
};

} // namespace lorvan

#include "playback/GraphResamplerPair.hpp"

#include <thread>

namespace lorvan {

void ResamplerPair::replace(const ResamplerFactory& factory, const ResamplerSpec& spec,
                            const std::function<void(Resampler&)>& warmUp) {
    for (auto& slot : slots_) {
        // Take the slot from the completion thread, which may be recycling it right now.
        int state = slot.state.load(std::memory_order_acquire);
        while (state == resetting ||
               !slot.state.compare_exchange_weak(state, resetting, std::memory_order_acq_rel)) {
            std::this_thread::yield();
            state = slot.state.load(std::memory_order_acquire);
        }
        slot.resampler = factory ? factory(spec) : nullptr;
        if (slot.resampler) {
            warmUp(*slot.resampler);
            slot.resampler->reset();
        }
        // Without a resampler the slot stays "used" so that `acquire` never hands it out.
        slot.state.store(slot.resampler ? clean : used, std::memory_order_release);
    }
}

Resampler* ResamplerPair::acquire() noexcept {
    for (auto& slot : slots_) {
        int expected = clean;
        if (slot.state.compare_exchange_strong(expected, inUse, std::memory_order_acq_rel))
            return slot.resampler.get();
    }
    return nullptr;
}

void ResamplerPair::release(Resampler* resampler) noexcept {
    for (auto& slot : slots_)
        if (slot.resampler.get() == resampler) slot.state.store(used, std::memory_order_release);
}

void ResamplerPair::recycle() {
    for (auto& slot : slots_) {
        // The slot is ours only once the exchange succeeded: `replace` swaps the resampler
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

} // namespace lorvan

#pragma once

#include <atomic>
#include <cstdint>

namespace lorvan {

/// A counter that threads sleep on until it moves: the real-time thread bumps it to wake the
/// completion thread, the scheduler bumps it to wake a sleeping output.
///
/// std::atomic::wait would do, but libstdc++ spins first and then yields the processor four
/// times before it sleeps; for waits that nearly always last milliseconds that is only cost,
/// and each yield hands the processor to the thread that was just woken, doubling the context
/// switches of the audio pipeline. This one sleeps at once.
///
/// Threads: any. `bump` is real-time safe (no locks; a system call only when someone sleeps).
class WakeCounter {
public:
    [[nodiscard]] std::uint32_t value() const noexcept { return value_.load(std::memory_order_acquire); }
    /// Moves the counter and wakes every thread waiting on it.
    void bump() noexcept;
    /// Returns once the counter differs from `seen` (at once if it already does).
    void waitWhile(std::uint32_t seen) const noexcept;

private:
    std::atomic<std::uint32_t> value_{0};
    mutable std::atomic<std::uint32_t> sleepers_{0};
};

} // namespace lorvan

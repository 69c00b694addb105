#include "playback/WakeCounter.hpp"

#include <climits>
#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace lorvan {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t) &&
              std::atomic<std::uint32_t>::is_always_lock_free);

// Both sides use sequentially consistent order on the two counters: a sleeper that announced
// itself either is seen by `bump`, or sees the bumped value before it sleeps. The kernel checks
// the value once more as it puts the thread to sleep.
void WakeCounter::bump() noexcept {
    value_.fetch_add(1, std::memory_order_seq_cst);
    if (sleepers_.load(std::memory_order_seq_cst) == 0) return;
#if defined(__linux__)
    (void)syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&value_), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr,
                  nullptr, 0);
#else
    value_.notify_all();
#endif
}

void WakeCounter::waitWhile(std::uint32_t seen) const noexcept {
    sleepers_.fetch_add(1, std::memory_order_seq_cst);
    while (value_.load(std::memory_order_seq_cst) == seen) {
#if defined(__linux__)
        (void)syscall(SYS_futex, reinterpret_cast<const std::uint32_t*>(&value_), FUTEX_WAIT_PRIVATE, seen,
                      nullptr, nullptr, 0);
#else
        value_.wait(seen, std::memory_order_acquire);
#endif
    }
    sleepers_.fetch_sub(1, std::memory_order_release);
}

} // namespace lorvan

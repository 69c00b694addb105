#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <new>

namespace lorvan {

/// A bounded single-producer, single-consumer queue that never locks or allocates, for handing
/// items to and from the real-time thread. One thread may push and one (other) thread may pop
/// at any moment; a role may pass to another thread only through a release/acquire hand-over.
template <typename T, std::size_t Capacity> class LockFreeRing {
    static_assert(Capacity >= 2 && (Capacity & (Capacity - 1)) == 0, "capacity must be a power of two");

public:
    /// False when full; the item is left with the caller.
    bool push(const T& item) noexcept {
        const auto tail = tail_.load(std::memory_order_relaxed);
        if (tail - head_.load(std::memory_order_acquire) == Capacity) return false;
        slots_[tail & (Capacity - 1)] = item;
        tail_.store(tail + 1, std::memory_order_release);
        return true;
    }

    /// False when empty.
    bool pop(T& item) noexcept {
        const auto head = head_.load(std::memory_order_relaxed);
        if (head == tail_.load(std::memory_order_acquire)) return false;
        item = slots_[head & (Capacity - 1)];
        head_.store(head + 1, std::memory_order_release);
        return true;
    }

    /// Exact only when neither side is active.
    [[nodiscard]] std::size_t size() const noexcept {
        return tail_.load(std::memory_order_acquire) - head_.load(std::memory_order_acquire);
    }
    [[nodiscard]] static constexpr std::size_t capacity() noexcept { return Capacity; }

private:
    static constexpr std::size_t cacheLine = 64;
    alignas(cacheLine) std::atomic<std::size_t> head_{0};
    alignas(cacheLine) std::atomic<std::size_t> tail_{0};
    std::array<T, Capacity> slots_{};
};

} // namespace lorvan

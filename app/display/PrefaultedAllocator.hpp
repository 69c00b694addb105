#pragma once

#include <cstddef>
#include <new>
#include <sys/mman.h>
#include <vector>

namespace lorvan {

/// An allocator for the renderer's large per-dot and per-pixel buffers: those of 128 KiB and
/// more are mapped with all their pages made present at once; smaller ones come from the heap.
///
/// The first touch of each 4 KiB page of fresh memory faults, and on virtual machines like ours
/// a fault costs about 16 µs: the 8 MB the renderer fills for its first frame at scale 1 cost
/// about 30 ms of the window's start, one fault at a time. Made present by the one system call
/// that maps them, they cost half that. (Transparent huge pages cost less still at the start,
/// but made every later frame dearer on these machines.) Stateless and thread-safe.
template <typename T> struct PrefaultedAllocator {
    using value_type = T;

    static constexpr std::size_t smallestMapped = std::size_t{128} << 10;

    PrefaultedAllocator() = default;
    template <typename U> explicit PrefaultedAllocator(const PrefaultedAllocator<U>&) noexcept {}

    /// Whether `count` elements are mapped (true) or come from the heap.
    static bool mapped(std::size_t count) noexcept { return count * sizeof(T) >= smallestMapped; }

    T* allocate(std::size_t count) {
        if (count > max_size()) throw std::bad_array_new_length();
        if (!mapped(count)) return static_cast<T*>(::operator new(count * sizeof(T)));
        void* pages = mmap(nullptr, count * sizeof(T), PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        if (pages == MAP_FAILED) throw std::bad_alloc();
        return static_cast<T*>(pages);
    }

    void deallocate(T* pointer, std::size_t count) noexcept {
        if (mapped(count))
            munmap(pointer, count * sizeof(T));
        else
            ::operator delete(pointer);
    }

    static constexpr std::size_t max_size() noexcept { return std::size_t(-1) / 2 / sizeof(T); }

    template <typename U> bool operator==(const PrefaultedAllocator<U>&) const noexcept { return true; }
};

/// A vector of the renderer's large buffers.
template <typename T> using LargeBuffer = std::vector<T, PrefaultedAllocator<T>>;

} // namespace lorvan

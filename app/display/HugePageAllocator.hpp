#pragma once

#include <cstddef>
#include <new>
#include <sys/mman.h>
#include <vector>

namespace lorvan {

/// An allocator for the renderer's large per-dot and per-pixel buffers: those of at least a
/// quarter of a huge page are mapped in whole 2 MiB pages that the kernel is asked to back with
/// transparent huge pages; smaller ones come from the heap, where a huge page would mostly go
/// unused.
///
/// The first touch of each 4 KiB page of fresh memory faults, and on virtual machines like
/// ours a fault costs about 16 µs: the 8 MB the renderer fills for its first frame at scale 1
/// cost 30 ms of the window's start. In huge pages it is five faults. Where the kernel has no
/// transparent huge pages the mapping works as ordinary pages. Stateless and thread-safe.
template <typename T> struct HugePageAllocator {
    using value_type = T;

    static constexpr std::size_t hugePage = std::size_t{2} << 20;
    static constexpr std::size_t smallestMapped = hugePage / 4;

    HugePageAllocator() = default;
    template <typename U> explicit HugePageAllocator(const HugePageAllocator<U>&) noexcept {}

    /// Whether `count` elements are mapped (true) or come from the heap.
    static bool mapped(std::size_t count) noexcept { return count * sizeof(T) >= smallestMapped; }

    T* allocate(std::size_t count) {
        if (count > max_size()) throw std::bad_array_new_length();
        if (!mapped(count)) return static_cast<T*>(::operator new(count * sizeof(T)));
        void* pages =
            mmap(nullptr, mappedLength(count), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) throw std::bad_alloc();
        // Advice, not a requirement: without huge pages the mapping is still good memory.
        (void)madvise(pages, mappedLength(count), MADV_HUGEPAGE);
        return static_cast<T*>(pages);
    }

    void deallocate(T* pointer, std::size_t count) noexcept {
        if (!mapped(count)) {
            ::operator delete(pointer);
            return;
        }
        munmap(pointer, mappedLength(count));
    }

    static constexpr std::size_t max_size() noexcept { return (std::size_t(-1) - hugePage) / sizeof(T); }

    template <typename U> bool operator==(const HugePageAllocator<U>&) const noexcept { return true; }

private:
    // A whole number of huge pages: the kernel places such an anonymous mapping on a huge-page
    // boundary, so all of it can be backed by huge pages.
    static std::size_t mappedLength(std::size_t count) noexcept {
        return (count * sizeof(T) + hugePage - 1) / hugePage * hugePage;
    }
};

/// A vector of the renderer's large buffers.
template <typename T> using LargeBuffer = std::vector<T, HugePageAllocator<T>>;

} // namespace lorvan

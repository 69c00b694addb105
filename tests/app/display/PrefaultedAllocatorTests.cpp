#include "app/display/PrefaultedAllocator.hpp"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace lorvan {
namespace {

using Allocator = PrefaultedAllocator<std::uint32_t>;
constexpr std::size_t smallestMappedCount = Allocator::smallestMapped / sizeof(std::uint32_t);

TEST(PrefaultedAllocator, MapsFrom128KiBAndTakesTheRestFromTheHeap) {
    EXPECT_FALSE(Allocator::mapped(smallestMappedCount - 1));
    EXPECT_TRUE(Allocator::mapped(smallestMappedCount));
    // Each size is written at both ends and given back the way it came: a mapping given back to
    // the heap, or a heap block unmapped, would fault or corrupt the heap.
    Allocator allocator;
    for (const std::size_t count :
         {smallestMappedCount - 1, smallestMappedCount, smallestMappedCount * 3 + 1}) {
        std::uint32_t* values = allocator.allocate(count);
        values[0] = 1;
        values[count - 1] = 2;
        EXPECT_EQ(values[0] + values[count - 1], 3u) << count;
        allocator.deallocate(values, count);
    }
}

TEST(PrefaultedAllocator, AVectorKeepsItsValuesAsItMovesBetweenHeapAndMapping) {
    LargeBuffer<std::uint32_t> values(1000);
    std::iota(values.begin(), values.end(), 0u);
    values.resize(smallestMappedCount * 3); // onto a mapping
    std::iota(values.begin() + 1000, values.end(), 1000u);
    for (std::size_t i = 0; i < values.size(); i += 4099)
        ASSERT_EQ(values[i], i);
    values.resize(10);
    values.shrink_to_fit(); // back onto the heap
    for (std::uint32_t i = 0; i < 10; ++i)
        EXPECT_EQ(values[i], i);
}

/// The point of it: a large buffer's pages are all present before anything touches them.
TEST(PrefaultedAllocator, ALargeBufferIsPresentBeforeItIsTouched) {
    Allocator allocator;
    const std::size_t count = smallestMappedCount * 4;
    std::uint32_t* values = allocator.allocate(count);
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t bytes = count * sizeof(std::uint32_t);
    std::vector<unsigned char> present((bytes + page - 1) / page);
    ASSERT_EQ(mincore(values, bytes, present.data()), 0);
    EXPECT_EQ(std::count_if(present.begin(), present.end(), [](unsigned char p) { return (p & 1) != 0; }),
              static_cast<long>(present.size()));
    allocator.deallocate(values, count);
}

} // namespace
} // namespace lorvan

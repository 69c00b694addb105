#include "app/display/HugePageAllocator.hpp"

#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>
#include <string>

namespace lorvan {
namespace {

using Allocator = HugePageAllocator<std::uint32_t>;
constexpr std::size_t smallestMappedCount = Allocator::smallestMapped / sizeof(std::uint32_t);

TEST(HugePageAllocator, MapsFromAQuarterHugePageAndTakesTheRestFromTheHeap) {
    EXPECT_FALSE(Allocator::mapped(smallestMappedCount - 1));
    EXPECT_TRUE(Allocator::mapped(smallestMappedCount));
    // Each size is written to its last element and given back the way it came: a mapping rounded
    // down to whole huge pages, or given back to the heap, would fault or corrupt it.
    Allocator allocator;
    for (const std::size_t count : {smallestMappedCount - 1, smallestMappedCount, Allocator::hugePage / 4 + 1,
                                    Allocator::hugePage / 4 * 3}) {
        std::uint32_t* values = allocator.allocate(count);
        values[0] = 1;
        values[count - 1] = 2;
        EXPECT_EQ(values[0] + values[count - 1], 3u) << count;
        allocator.deallocate(values, count);
    }
}

TEST(HugePageAllocator, AVectorKeepsItsValuesAsItMovesBetweenHeapAndMapping) {
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

/// Where the kernel offers transparent huge pages on request, a large buffer is backed by them:
/// that is what the allocator is for.
TEST(HugePageAllocator, ALargeBufferIsBackedByHugePagesWhereTheKernelOffersThem) {
    std::ifstream setting("/sys/kernel/mm/transparent_hugepage/enabled");
    std::string modes;
    if (!std::getline(setting, modes) || modes.find("[never]") != std::string::npos)
        GTEST_SKIP() << "this kernel offers no transparent huge pages";
    LargeBuffer<std::uint32_t> values(Allocator::hugePage / sizeof(std::uint32_t) * 2, 7u);
    const auto address = reinterpret_cast<std::uintptr_t>(values.data());
    std::ifstream maps("/proc/self/smaps");
    bool inBuffer = false;
    long hugeKiB = -1;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t start = 0, end = 0;
        char dash = 0;
        if (std::istringstream range(line); (range >> std::hex >> start >> dash >> end) && dash == '-') {
            inBuffer = start <= address && address < end;
            continue;
        }
        if (inBuffer && line.starts_with("AnonHugePages:")) hugeKiB = std::stol(line.substr(14));
    }
    EXPECT_GE(hugeKiB, 2048);
}

} // namespace
} // namespace lorvan

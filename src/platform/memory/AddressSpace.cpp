// SPDX-License-Identifier: MIT
// The 32-bit address space.
//
// One region of 2 GiB of virtual memory is reserved at first use. An address is an offset into it, so every valid
// address is positive. The kernel commits memory page by page when it is first accessed.
//
// Blocks are allocated in size classes, four for each power of two. Each class keeps its freed blocks in a free list
// and reuses them; new blocks are taken from the top of the region. A capture session uses few block sizes, so the
// classes waste at most a fifth and never fragment. Each class keeps some free memory for the next frames. The pages of
// further free blocks, such as those of frames that waited for a busy main thread, are returned to the kernel, and
// these blocks are reused last.
//
// A table of the allocated blocks, ordered by address, gives sizes and bounds without a header before the data that an
// overrun could destroy. In builds with AddressSanitizer the bytes after each block are poisoned.
#include "platform/memory/AddressSpace.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <mutex>
#include <sys/mman.h>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(start, size) (static_cast<void>(start), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(start, size) (static_cast<void>(start), static_cast<void>(size))
#endif

namespace platform {
namespace {

constexpr int64_t kRegionSize = int64_t{1} << 31;
constexpr int64_t kSmallest = 64;
constexpr int64_t kPage = 4096;
constexpr int64_t kLargeBlock = int64_t{64} << 10;
constexpr int64_t kKeptFree = int64_t{4} << 20; // of the large blocks of one class
constexpr size_t kKeptBlocks = 2;
constexpr int kClasses = 112;
// Space between two blocks, so that a block's end address is never the start of the next block.
constexpr int64_t kGap = 64;

struct SizeClass {
    int index;
    int64_t capacity;
};

// The smallest of the steps 64, 80, 96, 112, 128, 160, 192, 224, 256, ... that holds `size`.
SizeClass ClassFor(int64_t size)
{
    size = std::max(size, kSmallest);
    const int power = 63 - std::countl_zero(static_cast<uint64_t>(size - 1));
    const int64_t base = int64_t{1} << power;
    const int64_t step = base / 4;
    const int64_t steps = (size - base + step - 1) / step;
    return {(power - 5) * 4 + static_cast<int>(steps), base + steps * step};
}

class Region {
public:
    // Never destroyed: device threads may free their last buffer after static objects are gone.
    static Region& Instance()
    {
        static auto* region = new Region;
        return *region;
    }

    Region()
    {
        void* memory =
            mmap(nullptr, kRegionSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        start = memory == MAP_FAILED ? nullptr : static_cast<uint8_t*>(memory);
    }

    Address Allocate(int64_t size, bool clear)
    {
        if (size < 0 || size > kRegionSize || start == nullptr)
            return 0;
        const SizeClass sizeClass = ClassFor(size);
        bool fresh = false;
        const Address block = Take(sizeClass, size, fresh);
        if (block == 0)
            return 0;
        ASAN_UNPOISON_MEMORY_REGION(start + block, static_cast<size_t>(size));
        ASAN_POISON_MEMORY_REGION(start + block + size, static_cast<size_t>(sizeClass.capacity - size + kGap));
        if (clear && !fresh)
            std::memset(start + block, 0, static_cast<size_t>(size));
        return block;
    }

    void Free(Address block)
    {
        decltype(unfilled)::node_type discarded; // what it owns may be blocks, and these are freed without the lock
        const std::lock_guard lock(mutex);
        const auto found = allocated.find(block);
        if (found == allocated.end())
            return;
        const SizeClass sizeClass = ClassFor(found->second);
        inUse -= found->second;
        allocated.erase(found);
        discarded = unfilled.extract(block);
        auto& list = freeLists[static_cast<size_t>(sizeClass.index)];
        const bool isKept = sizeClass.capacity < kLargeBlock || list.size() < kKeptBlocks ||
                            (static_cast<int64_t>(list.size()) + 1) * sizeClass.capacity <= kKeptFree;
        if (!isKept)
            ReturnPages(block, sizeClass.capacity);
        ASAN_POISON_MEMORY_REGION(start + block, static_cast<size_t>(sizeClass.capacity));
        list.insert(isKept ? list.end() : list.begin(), block);
    }

    int64_t SizeOf(Address block)
    {
        const std::lock_guard lock(mutex);
        const auto found = allocated.find(block);
        return found == allocated.end() ? -1 : found->second;
    }

    int64_t BytesFrom(Address address)
    {
        std::unique_lock lock(mutex);
        auto after = allocated.upper_bound(address);
        if (after == allocated.begin())
            return 0;
        --after;
        const int64_t bytes = std::max<int64_t>(0, after->first + after->second - address);
        if (const auto fill = bytes > 0 ? unfilled.extract(after->first) : decltype(unfilled)::node_type{}) {
            lock.unlock();
            fill.mapped()();
        }
        return bytes;
    }

    void FillWhenRead(Address block, std::function<void()> fill)
    {
        const std::lock_guard lock(mutex);
        if (allocated.contains(block))
            unfilled[block].swap(fill);
    }

    int64_t InUse()
    {
        const std::lock_guard lock(mutex);
        return inUse;
    }

    uint8_t* start = nullptr;

private:
    // Returns the pages that belong to this block only to the kernel.
    void ReturnPages(int64_t block, int64_t capacity) const
    {
        const int64_t first = (block + kPage - 1) / kPage * kPage;
        const int64_t end = (block + capacity) / kPage * kPage;
        if (end > first)
            madvise(start + first, static_cast<size_t>(end - first), MADV_DONTNEED);
    }

    Address Take(const SizeClass& sizeClass, int64_t size, bool& fresh)
    {
        const std::lock_guard lock(mutex);
        auto& list = freeLists[static_cast<size_t>(sizeClass.index)];
        int64_t block = top;
        if (!list.empty()) {
            block = list.back();
            list.pop_back();
        } else {
            const int64_t needed = (sizeClass.capacity + kGap + 63) / 64 * 64;
            if (top + needed >= kRegionSize)
                return 0;
            top += needed;
            fresh = true;
        }
        allocated[static_cast<Address>(block)] = size;
        inUse += size;
        return static_cast<Address>(block);
    }

    std::mutex mutex;
    std::map<Address, int64_t> allocated;
    std::map<Address, std::function<void()>> unfilled;
    std::vector<Address> freeLists[kClasses];
    // The first page stays unused, so that small numbers are never valid addresses.
    int64_t top = kPage;
    int64_t inUse = 0;
};

} // namespace

Address AllocateBlock(int64_t size)
{
    return Region::Instance().Allocate(size, true);
}

Address AllocateUnclearedBlock(int64_t size)
{
    return Region::Instance().Allocate(size, false);
}

void FreeBlock(Address block)
{
    if (block > 0)
        Region::Instance().Free(block);
}

int64_t BlockSize(Address block)
{
    return Region::Instance().SizeOf(block);
}

int64_t BytesFrom(Address address)
{
    return address <= 0 ? 0 : Region::Instance().BytesFrom(address);
}

void FillWhenRead(Address block, std::function<void()> fill)
{
    Region::Instance().FillWhenRead(block, std::move(fill));
}

void* PointerAt(Address address)
{
    return address <= 0 ? nullptr : Region::Instance().start + address;
}

Address AddressOf(const void* pointer)
{
    const auto* byte = static_cast<const uint8_t*>(pointer);
    const uint8_t* start = Region::Instance().start;
    return byte > start && byte < start + kRegionSize ? static_cast<Address>(byte - start) : 0;
}

std::span<uint8_t> BytesAt(Address address, int64_t size)
{
    if (size < 0 || BytesFrom(address) < size)
        return {};
    return {PointerAt<uint8_t>(address), static_cast<size_t>(size)};
}

int64_t BytesInUse()
{
    return Region::Instance().InUse();
}

} // namespace platform

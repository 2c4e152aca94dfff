// SPDX-License-Identifier: MIT
// The 32-bit address space.
//
// One region of 2 GiB of virtual memory is reserved at first use; an address is an offset into it, so every living
// address is positive. Memory is committed by the kernel page by page as it is touched.
//
// Blocks come from size classes, four to each power of two. A class keeps the blocks given back to it in a free list
// and hands them out again; the rest is cut from the top of the region. The blocks a capture session uses are few
// and of steady sizes, so classes waste at most a fifth and never fragment. Of each class, some free memory is kept
// that the frame path will want again at once. The pages of blocks beyond that, such as those of frames that waited for
// a busy main thread, go back to the kernel, and these blocks are the last to be used again.
//
// A side table, ordered by address, tells the living blocks: it answers for sizes and bounds without a header in
// front of the data that an overrun could destroy. Builds with AddressSanitizer see each block's exact end as well.
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
// Lies between two blocks, so that one past a block's end is never the start of the next.
constexpr int64_t kGap = 64;

struct SizeClass {
    int index;
    int64_t capacity;
};

// The smallest of the steps 64, 80, 96, 112, 128, 160, 192, 224, 256, ... that holds `size`.
SizeClass ClassFor(int64_t size)
{
    size = std::max(size, kSmallest);
    const int power = std::bit_width(static_cast<uint64_t>(size - 1)) - 1;
    const int64_t base = int64_t{1} << power;
    const int64_t step = base / 4;
    const int64_t steps = (size - base + step - 1) / step;
    return {(power - 5) * 4 + static_cast<int>(steps), base + steps * step};
}

class Region {
public:
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
        ASAN_UNPOISON_MEMORY_REGION(start + block, size);
        ASAN_POISON_MEMORY_REGION(start + block + size, sizeClass.capacity - size + kGap);
        if (clear && !fresh)
            std::memset(start + block, 0, static_cast<size_t>(size));
        return block;
    }

    void Free(Address block)
    {
        const std::lock_guard lock(mutex);
        const auto found = living.find(block);
        if (found == living.end())
            return;
        const SizeClass sizeClass = ClassFor(found->second);
        inUse -= found->second;
        living.erase(found);
        unfilled.erase(block);
        auto& list = freeLists[static_cast<size_t>(sizeClass.index)];
        const bool isKept = sizeClass.capacity < kLargeBlock || list.size() < kKeptBlocks ||
                            (static_cast<int64_t>(list.size()) + 1) * sizeClass.capacity <= kKeptFree;
        if (!isKept)
            ReturnPages(block, sizeClass.capacity);
        ASAN_POISON_MEMORY_REGION(start + block, sizeClass.capacity);
        list.insert(isKept ? list.end() : list.begin(), block);
    }

    int64_t SizeOf(Address block)
    {
        const std::lock_guard lock(mutex);
        const auto found = living.find(block);
        return found == living.end() ? -1 : found->second;
    }

    int64_t BytesFrom(Address address)
    {
        std::unique_lock lock(mutex);
        auto after = living.upper_bound(address);
        if (after == living.begin())
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
        if (living.contains(block))
            unfilled[block] = std::move(fill);
    }

    int64_t InUse()
    {
        const std::lock_guard lock(mutex);
        return inUse;
    }

    uint8_t* start = nullptr;

private:
    // Gives those pages back to the kernel that belong to the block alone.
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
        living[static_cast<Address>(block)] = size;
        inUse += size;
        return static_cast<Address>(block);
    }

    std::mutex mutex;
    std::map<Address, int64_t> living;
    std::map<Address, std::function<void()>> unfilled;
    std::vector<Address> freeLists[kClasses];
    // The first page stays unused, so that small numbers that are no address meet no block.
    int64_t top = kPage;
    int64_t inUse = 0;
};

// Lives to the end of the process: device threads may free their last buffer after static objects have gone.
Region& TheRegion()
{
    static auto* region = new Region;
    return *region;
}

} // namespace

Address AllocateBlock(int64_t size)
{
    return TheRegion().Allocate(size, true);
}

Address AllocateUnclearedBlock(int64_t size)
{
    return TheRegion().Allocate(size, false);
}

void FreeBlock(Address block)
{
    if (block > 0)
        TheRegion().Free(block);
}

int64_t BlockSize(Address block)
{
    return TheRegion().SizeOf(block);
}

int64_t BytesFrom(Address address)
{
    return address <= 0 ? 0 : TheRegion().BytesFrom(address);
}

void FillWhenRead(Address block, std::function<void()> fill)
{
    TheRegion().FillWhenRead(block, std::move(fill));
}

void* PointerAt(Address address)
{
    return address <= 0 ? nullptr : TheRegion().start + address;
}

Address AddressOf(const void* pointer)
{
    const auto* byte = static_cast<const uint8_t*>(pointer);
    const uint8_t* start = TheRegion().start;
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
    return TheRegion().InUse();
}

} // namespace platform

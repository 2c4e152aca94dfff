// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace platform {

/// An address as the control and the records hold it: a signed 32-bit offset into one reserved region. 0 is nil.
using Address = int32_t;

/// Takes `size` zeroed bytes, aligned to 64. A size of 0 gives a distinct address at which nothing may be read.
/// Returns 0 when the region is exhausted or the size is negative. The caller gives the block back with `FreeBlock`.
/// Any thread may call it.
Address AllocateBlock(int64_t size);

/// Takes `size` bytes whose content is undefined: for buffers that are overwritten as a whole. Otherwise as above.
Address AllocateUnclearedBlock(int64_t size);

/// Gives a block back. 0, and any number that is not the start of a living block, is ignored.
void FreeBlock(Address block);

/// Size in bytes of the living block that starts at `block`, or -1 when none does.
int64_t BlockSize(Address block);

/// Bytes from `address` to the end of the living block around it, or 0 when `address` lies in none.
int64_t BytesFrom(Address address);

/// Puts off filling a living block: `fill` runs once, on the thread that first asks for the block's bytes through
/// `BytesFrom`, `BytesAt` or any call that checks addresses by them. `PointerAt` and `BlockSize` do not count. A later
/// `fill` replaces one that has not run, and a freed block forgets it.
void FillWhenRead(Address block, std::function<void()> fill);

/// The memory at an address. Nil gives a null pointer. An address is not checked here: see `BytesAt`.
void* PointerAt(Address address);

/// The same as a pointer to `T`.
template <typename T> T* PointerAt(Address address)
{
    return static_cast<T*>(PointerAt(address));
}

/// The address of a pointer into the region, or 0 when it points elsewhere.
Address AddressOf(const void* pointer);

/// Checked view of `size` bytes at `address`: empty unless all of them lie within one living block.
std::span<uint8_t> BytesAt(Address address, int64_t size);

/// Reads a value of any trivially copyable type at `address`, in host byte order and at any alignment.
/// Gives a zero value where the block does not hold so many bytes.
template <typename T> T Peek(Address address)
{
    T value{};
    if (const auto bytes = BytesAt(address, sizeof(T)); !bytes.empty())
        __builtin_memcpy(&value, bytes.data(), sizeof(T));
    return value;
}

/// Writes a value at `address`. False, with nothing written, where the block does not hold so many bytes.
template <typename T> bool Poke(Address address, const T& value)
{
    const auto bytes = BytesAt(address, sizeof(T));
    if (bytes.empty())
        return false;
    __builtin_memcpy(bytes.data(), &value, sizeof(T));
    return true;
}

/// Bytes in all living blocks, for tests that watch for leaks.
int64_t BytesInUse();

/// A block that ends with its owner.
class OwnedBlock {
public:
    OwnedBlock() = default;
    /// Allocates a block of `size` bytes; empty when there is no room.
    explicit OwnedBlock(int64_t size) : start(AllocateBlock(size)) {}
    OwnedBlock(OwnedBlock&& other) noexcept : start(other.Release()) {}
    OwnedBlock& operator=(OwnedBlock&& other) noexcept
    {
        if (this != &other) {
            FreeBlock(start);
            start = other.Release();
        }
        return *this;
    }
    ~OwnedBlock() { FreeBlock(start); }

    /// A block whose content is undefined.
    static OwnedBlock Uncleared(int64_t size)
    {
        OwnedBlock block;
        block.start = AllocateUnclearedBlock(size);
        return block;
    }

    /// The address, still owned here; 0 when empty.
    Address Get() const { return start; }
    /// Bytes of the block; 0 when empty.
    int64_t Size() const { return start == 0 ? 0 : BlockSize(start); }
    /// The bytes of the block, valid as long as the object owns it.
    std::span<uint8_t> Bytes() const { return BytesAt(start, Size()); }

    /// Hands the block over to the caller, who frees it.
    Address Release()
    {
        const Address released = start;
        start = 0;
        return released;
    }

private:
    Address start = 0;
};

} // namespace platform

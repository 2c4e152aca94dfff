// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace platform {

/// An address in the 32-bit address space: a signed offset into one reserved region of memory. 0 is nil.
using Address = int32_t;

/// Allocates `size` zeroed bytes, aligned to 64. A size of 0 gives a distinct address at which nothing may be read.
/// Returns 0 if memory is full or the size is negative. The caller frees the block with `FreeBlock`. Any thread.
Address AllocateBlock(int64_t size);

/// The same with undefined content, for buffers that are completely overwritten.
Address AllocateUnclearedBlock(int64_t size);

/// Frees a block. Ignores 0 and any number that is not the start of an allocated block. Any thread.
void FreeBlock(Address block);

/// Size in bytes of the allocated block that starts at `block`; -1 if there is none.
int64_t BlockSize(Address block);

/// Bytes from `address` to the end of the allocated block around it; 0 if there is none.
int64_t BytesFrom(Address address);

/// Defers filling an allocated block: `fill` runs once, on the first thread that accesses the block through
/// `BytesFrom`, `BytesAt` or any call that uses these to check addresses. `PointerAt` and `BlockSize` do not count. A
/// later `fill` replaces one that has not run; freeing the block discards it.
void FillWhenRead(Address block, std::function<void()> fill);

/// The memory at an address; null for nil. The address is not checked: see `BytesAt`.
void* PointerAt(Address address);

/// The same as a pointer to `T`.
template <typename T> T* PointerAt(Address address)
{
    return static_cast<T*>(PointerAt(address));
}

/// The address of a pointer into the region; 0 for other pointers.
Address AddressOf(const void* pointer);

/// The `size` bytes at `address`; empty unless all of them are within one allocated block.
std::span<uint8_t> BytesAt(Address address, int64_t size);

/// Reads a value of any trivially copyable type at `address`, in host byte order and at any alignment.
/// Returns zero if the value is not within an allocated block.
template <typename T> T Peek(Address address)
{
    T value{};
    if (const auto bytes = BytesAt(address, sizeof(T)); !bytes.empty())
        __builtin_memcpy(&value, bytes.data(), sizeof(T));
    return value;
}

/// Writes a value at `address`. Returns false, and writes nothing, if it is not within an allocated block.
template <typename T> bool Poke(Address address, const T& value)
{
    const auto bytes = BytesAt(address, sizeof(T));
    if (bytes.empty())
        return false;
    __builtin_memcpy(bytes.data(), &value, sizeof(T));
    return true;
}

/// Bytes in all allocated blocks, for tests that look for leaks.
int64_t BytesInUse();

/// Owns a block and frees it.
class OwnedBlock {
public:
    OwnedBlock() = default;
    /// Allocates a block of `size` zeroed bytes; empty if memory is full.
    explicit OwnedBlock(int64_t size) : start(AllocateBlock(size)) {}
    /// Takes ownership of the block of `other`.
    OwnedBlock(OwnedBlock&& other) noexcept : start(other.Release()) {}
    /// Frees the present block and takes ownership of that of `other`.
    OwnedBlock& operator=(OwnedBlock&& other) noexcept
    {
        if (this != &other) {
            FreeBlock(start);
            start = other.Release();
        }
        return *this;
    }
    ~OwnedBlock() { FreeBlock(start); }

    /// Allocates a block with undefined content; empty if memory is full.
    static OwnedBlock Uncleared(int64_t size)
    {
        OwnedBlock block;
        block.start = AllocateUnclearedBlock(size);
        return block;
    }

    /// The address, still owned here; 0 if empty.
    Address Get() const { return start; }
    /// Size of the block in bytes; 0 if empty.
    int64_t Size() const { return start == 0 ? 0 : BlockSize(start); }
    /// The bytes of the block, valid while this object owns it.
    std::span<uint8_t> Bytes() const { return BytesAt(start, Size()); }

    /// Passes ownership of the block to the caller.
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

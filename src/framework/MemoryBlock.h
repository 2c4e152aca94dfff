// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"
#include "framework/String.h"
#include "platform/memory/AddressSpace.h"

#include <cstdint>

namespace framework {

/// A block of bytes in the platform's address space, read and written in host byte order.
///
/// Three kinds: owned (created with a size, zeroed, freed by the destructor), borrowed (memory at an address, bounded
/// by the allocated block around it), and without memory (`NullMemoryBlock`: a null pointer). Access outside of a
/// block's bounds raises `OutOfBoundsException`.
class MemoryBlock {
public:
    /// Creates an owned block. Raises `RuntimeException` for a negative size or when memory is full.
    explicit MemoryBlock(int32_t size);
    virtual ~MemoryBlock();
    MemoryBlock(const MemoryBlock&) = delete;
    MemoryBlock& operator=(const MemoryBlock&) = delete;

    /// A borrowed block for the memory at `address`; nil for address 0.
    static Reference<MemoryBlock> At(platform::Address address);

    /// The address of the first byte; 0 without memory.
    platform::Address Pointer() const { return address; }

    /// Size in bytes; of a borrowed block, up to the end of the allocated block around it.
    int32_t Size() const;

    int32_t Long(int32_t offset) const;            ///< signed 32 bits
    void Long(int32_t offset, int32_t value);      ///< stores 32 bits
    int32_t Short(int32_t offset) const;           ///< signed 16 bits
    void Short(int32_t offset, int32_t value);     ///< stores the low 16 bits
    int32_t Byte(int32_t offset) const;            ///< 0 to 255
    void Byte(int32_t offset, int32_t value);      ///< stores the low 8 bits
    bool BooleanValue(int32_t offset) const;       ///< whether the byte is not 0
    float SingleValue(int32_t offset) const;       ///< 32-bit floating point (IEEE 754)
    void SingleValue(int32_t offset, float value); ///< stores 32-bit floating point (IEEE 754)

    /// The block at the address stored at `offset`; nil if that is 0.
    Reference<MemoryBlock> Ptr(int32_t offset) const;

    /// A Pascal string (one length byte, then the text) as plain bytes.
    String PString(int32_t offset) const;
    /// Stores a Pascal string, truncated to the block and to 255 bytes.
    void PString(int32_t offset, const String& value);

    /// `size` bytes, without an encoding.
    String StringValue(int32_t offset, int32_t size) const;
    /// Stores the first `size` bytes of a text, padded with zero bytes.
    void StringValue(int32_t offset, int32_t size, const String& value);

protected:
    MemoryBlock() = default;

private:
    uint8_t* Checked(int32_t offset, int32_t size) const;
    platform::Address address = 0;
    bool owned = false;
};

/// Creates an owned block; nil where the constructor would raise.
Reference<MemoryBlock> NewMemoryBlock(int32_t size);

/// The address of a block; 0 for nil.
inline platform::Address PointerOf(const Reference<MemoryBlock>& block)
{
    return block ? block->Pointer() : 0;
}

} // namespace framework

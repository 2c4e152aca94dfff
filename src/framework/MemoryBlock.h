// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"
#include "framework/String.h"
#include "platform/memory/AddressSpace.h"

#include <cstdint>

namespace framework {

/// A block of bytes in the platform's address space, read and written in host byte order.
///
/// Three kinds: owned (made with a size, zeroed, freed at the end), borrowed (over memory at an address, whose bounds
/// are those of the living block around it), and without storage (`NullMemoryBlock`: a null pointer). An access outside
/// of a block's bounds raises `OutOfBoundsException`.
class MemoryBlock {
public:
    /// An owned block. A size below 0, or no memory, raises `RuntimeException`.
    explicit MemoryBlock(int32_t size);
    virtual ~MemoryBlock();
    MemoryBlock(const MemoryBlock&) = delete;
    MemoryBlock& operator=(const MemoryBlock&) = delete;

    /// A borrowed block over the memory at `address`; nil for address 0.
    static Reference<MemoryBlock> At(platform::Address address);

    /// The address of its first byte; 0 without storage.
    platform::Address Pointer() const { return address; }

    /// Bytes in an owned block; of a borrowed one, those to the end of the living block around it.
    int32_t Size() const;

    /// Numbers in the machine's byte order, at any offset from 0. Access outside of the block raises
    /// `OutOfBoundsException`. `Long` is signed and has 32 bits.
    int32_t Long(int32_t offset) const;
    void Long(int32_t offset, int32_t value);
    int32_t Short(int32_t offset) const;       ///< signed 16 bits
    void Short(int32_t offset, int32_t value); ///< stores the low 16 bits
    int32_t Byte(int32_t offset) const;        ///< 0 to 255
    void Byte(int32_t offset, int32_t value);  ///< stores the low 8 bits
    bool BooleanValue(int32_t offset) const;   ///< whether the byte is not 0
    /// A 32-bit floating-point number (IEEE 754, the machine's byte order).
    float SingleValue(int32_t offset) const;
    void SingleValue(int32_t offset, float value);

    /// The block at the address stored at `offset`: nil when that is 0.
    Reference<MemoryBlock> Ptr(int32_t offset) const;

    /// A text led by its length in one byte, as plain bytes; writing cuts it to what the block holds, at most 255.
    String PString(int32_t offset) const;
    void PString(int32_t offset, const String& value);

    /// `size` bytes as they lie, without an encoding; writing fills up with zero bytes or cuts.
    String StringValue(int32_t offset, int32_t size) const;
    void StringValue(int32_t offset, int32_t size, const String& value);

protected:
    MemoryBlock() = default;

private:
    uint8_t* Checked(int32_t offset, int32_t size) const;
    platform::Address address = 0;
    bool owned = false;
};

/// Makes an owned block; nil where its constructor would raise.
Reference<MemoryBlock> NewMemoryBlock(int32_t size);

/// Pointer of a block that may be nil: 0 then.
inline platform::Address PointerOf(const Reference<MemoryBlock>& block)
{
    return block ? block->Pointer() : 0;
}

} // namespace framework

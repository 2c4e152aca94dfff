// SPDX-License-Identifier: MIT
#include "framework/MemoryBlock.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace framework {
namespace {

constexpr size_t kMaxPString = 255;

template <typename T> T Read(const uint8_t* bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

template <typename T> void Write(uint8_t* bytes, T value)
{
    std::memcpy(bytes, &value, sizeof value);
}

} // namespace

MemoryBlock::MemoryBlock(int32_t size) : address(size < 0 ? 0 : platform::AllocateBlock(size)), owned(true)
{
    if (address == 0)
        throw RuntimeException(size < 0 ? "A memory block can't have a size below 0." : "Out of memory");
}

MemoryBlock::~MemoryBlock()
{
    if (owned)
        platform::FreeBlock(address);
}

Reference<MemoryBlock> MemoryBlock::At(platform::Address address)
{
    if (address == 0)
        return nullptr;
    Reference<MemoryBlock> block(std::shared_ptr<MemoryBlock>(new MemoryBlock));
    block->address = address;
    return block;
}

int32_t MemoryBlock::Size() const
{
    return static_cast<int32_t>(std::min<int64_t>(platform::BytesFrom(address), std::numeric_limits<int32_t>::max()));
}

uint8_t* MemoryBlock::Checked(int32_t offset, int32_t size) const
{
    if (address == 0 || offset < 0 || size < 0 || int64_t{offset} + size > Size())
        throw OutOfBoundsException();
    return platform::PointerAt<uint8_t>(address) + offset;
}

int32_t MemoryBlock::Long(int32_t offset) const
{
    return Read<int32_t>(Checked(offset, 4));
}

void MemoryBlock::Long(int32_t offset, int32_t value)
{
    Write(Checked(offset, 4), value);
}

int32_t MemoryBlock::Short(int32_t offset) const
{
    return Read<int16_t>(Checked(offset, 2));
}

void MemoryBlock::Short(int32_t offset, int32_t value)
{
    Write(Checked(offset, 2), static_cast<int16_t>(value));
}

int32_t MemoryBlock::Byte(int32_t offset) const
{
    return *Checked(offset, 1);
}

void MemoryBlock::Byte(int32_t offset, int32_t value)
{
    *Checked(offset, 1) = static_cast<uint8_t>(value);
}

bool MemoryBlock::BooleanValue(int32_t offset) const
{
    return Byte(offset) != 0;
}

float MemoryBlock::SingleValue(int32_t offset) const
{
    return Read<float>(Checked(offset, 4));
}

void MemoryBlock::SingleValue(int32_t offset, float value)
{
    Write(Checked(offset, 4), value);
}

Reference<MemoryBlock> MemoryBlock::Ptr(int32_t offset) const
{
    return At(Long(offset));
}

String MemoryBlock::PString(int32_t offset) const
{
    const int32_t length = Byte(offset);
    return StringValue(offset + 1, length);
}

void MemoryBlock::PString(int32_t offset, const String& value)
{
    Checked(offset, 1);
    const auto available = static_cast<size_t>(Size() - offset - 1);
    const auto length = static_cast<int32_t>(std::min({value.Bytes().size(), available, kMaxPString}));
    Byte(offset, length);
    StringValue(offset + 1, length, value);
}

String MemoryBlock::StringValue(int32_t offset, int32_t size) const
{
    const uint8_t* bytes = Checked(offset, size);
    return {std::string(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size)), kEncodingNone};
}

void MemoryBlock::StringValue(int32_t offset, int32_t size, const String& value)
{
    uint8_t* bytes = Checked(offset, size);
    const auto available = static_cast<size_t>(size);
    const size_t copied = std::min(available, value.Bytes().size());
    std::memcpy(bytes, value.Bytes().data(), copied);
    std::memset(bytes + copied, 0, available - copied);
}

Reference<MemoryBlock> NewMemoryBlock(int32_t size)
{
    try {
        return New<MemoryBlock>(size);
    } catch (const RuntimeException&) {
        return nullptr;
    }
}

} // namespace framework

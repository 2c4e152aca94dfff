// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Appends numbers and bytes as movie files hold them: big-endian.
class ByteWriter {
public:
    /// Appends a byte.
    void U8(uint8_t value) { bytes.push_back(value); }

    /// Appends 16 bits, big-endian.
    void U16(uint16_t value)
    {
        U8(static_cast<uint8_t>(value >> 8));
        U8(static_cast<uint8_t>(value));
    }

    /// Appends 32 bits, big-endian.
    void U32(uint32_t value)
    {
        U16(static_cast<uint16_t>(value >> 16));
        U16(static_cast<uint16_t>(value));
    }

    /// Appends 64 bits, big-endian.
    void U64(uint64_t value)
    {
        U32(static_cast<uint32_t>(value >> 32));
        U32(static_cast<uint32_t>(value));
    }

    /// Appends a whole number in groups of 7 bits, least significant group first: small numbers take one byte.
    void Number(uint64_t value)
    {
        for (; value >= 0x80; value >>= 7)
            U8(static_cast<uint8_t>(value | 0x80));
        U8(static_cast<uint8_t>(value));
    }

    /// Appends bytes unchanged.
    void Raw(std::span<const uint8_t> raw) { bytes.insert(bytes.end(), raw.begin(), raw.end()); }
    /// Appends zero bytes.
    void Zeros(size_t count) { bytes.resize(bytes.size() + count); }

    /// Overwrites four bytes that were written before.
    void SetU32(size_t at, uint32_t value)
    {
        for (size_t i = 0; i < 4; ++i)
            bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    }

    /// Number of bytes written.
    size_t Size() const { return bytes.size(); }
    /// The bytes written, valid until the next change.
    std::span<const uint8_t> Bytes() const { return bytes; }
    /// Discards all bytes.
    void Clear() { bytes.clear(); }

private:
    std::vector<uint8_t> bytes;
};

/// One box of the file. Size and type come first, then everything written while the object lives.
class Box {
public:
    /// Starts a box of that type; its size is set by the destructor.
    Box(ByteWriter& writer, std::string_view type) : out(writer), start(writer.Size())
    {
        out.U32(0);
        out.U32(CodeOf(type));
    }
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;
    ~Box() { out.SetU32(start, static_cast<uint32_t>(out.Size() - start)); }

private:
    ByteWriter& out;
    size_t start;
};

/// Reads what a `ByteWriter` wrote. Past the end every read gives 0 and `Failed` is true.
class ByteReader {
public:
    /// Reads from the start of `source`, which must outlive the reader.
    explicit ByteReader(std::span<const uint8_t> source) : bytes(source) {}

    /// Reads a byte.
    uint8_t U8() { return static_cast<uint8_t>(Fixed(1)); }
    /// Reads 16 bits, big-endian.
    uint16_t U16() { return static_cast<uint16_t>(Fixed(2)); }
    /// Reads 32 bits, big-endian.
    uint32_t U32() { return static_cast<uint32_t>(Fixed(4)); }
    /// Reads 64 bits, big-endian.
    uint64_t U64() { return Fixed(8); }

    /// Reads a number of variable length: seven bits per byte, least significant first.
    uint64_t Number()
    {
        uint64_t value = 0;
        for (int shift = 0; shift < 63; shift += 7) {
            const uint8_t byte = U8();
            value |= uint64_t{byte & 0x7FU} << shift;
            if ((byte & 0x80) == 0)
                return value;
        }
        failed = true;
        return 0;
    }

    /// Reads `count` bytes; none if there are fewer.
    std::span<const uint8_t> Raw(uint64_t count)
    {
        if (count > bytes.size()) {
            failed = true;
            return {};
        }
        const auto raw = bytes.first(count);
        bytes = bytes.subspan(count);
        return raw;
    }

    /// Whether everything has been read.
    bool AtEnd() const { return bytes.empty(); }
    /// Whether a read went past the end.
    bool Failed() const { return failed; }

private:
    uint64_t Fixed(size_t width)
    {
        uint64_t value = 0;
        for (const uint8_t byte : Raw(width))
            value = value << 8 | byte;
        return value;
    }

    std::span<const uint8_t> bytes;
    bool failed = false;
};

} // namespace platform

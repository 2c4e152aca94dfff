// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

namespace platform {

/// Reads bits, the most significant first, from bytes without stuffing. It reads up to 8 bytes at a time and does not
/// check for the end: the buffer must extend `kJpegReadAhead` bytes past the last byte of the scan, and the caller
/// compares `Position` with the end at least once per group of blocks.
class JpegBits {
public:
    explicit JpegBits(const uint8_t* bytes) : next(bytes) {}

    /// Makes at least 56 bits available.
    void Refill()
    {
        uint64_t word = 0;
        std::memcpy(&word, next, sizeof word);
        if constexpr (std::endian::native == std::endian::little)
            word = __builtin_bswap64(word);
        held |= word >> count;
        next += (63 - count) >> 3;
        count |= 56;
    }

    /// The next 1 to 32 bits.
    uint32_t Peek(uint32_t bits) const { return static_cast<uint32_t>(held >> (64 - bits)); }

    /// Moves on by up to 32 bits.
    void Drop(uint32_t bits)
    {
        held <<= bits;
        count -= bits;
    }

    /// How many bits are available without another `Refill`.
    uint32_t Available() const { return count; }

    /// The first byte of which no bit has been read.
    const uint8_t* Position() const { return next - count / 8; }

private:
    const uint8_t* next;
    uint64_t held = 0;
    uint32_t count = 0; ///< of the valid bits at the top of `held`
};

/// How far past its end a scan may be read: six blocks of 64 values of at most 31 bits each, rounded up.
inline constexpr size_t kJpegReadAhead = 2048;

/// A Huffman table of ITU-T T.81, Annex C, for lookups that give a code's run and value at once.
class JpegHuffmanTable {
public:
    /// One coded value: how many zeros precede it, the value, and its length in bits.
    struct Value {
        int16_t value;
        uint8_t step;   ///< the zeros before it and itself; `kEndOfBlock` ends the block
        uint8_t length; ///< of code and value together
    };

    /// The step of the code that ends a block; also of bits that are no code, whose length is 0.
    static constexpr uint8_t kEndOfBlock = 64;

    /// Builds the table from a segment's 16 counts of codes and the symbols; a DC table's symbols have no runs. False
    /// for tables that no canonical code has. Building the present table again takes no time.
    bool Build(std::span<const uint8_t, 16> counts, std::span<const uint8_t> symbols, bool isDc);

    bool IsBuilt() const { return isBuilt; }

    /// A copy of a DC table in which the lookup of a short code also takes the end of the block if it follows at once,
    /// as in every block of one even color. The step of such a value is `kEndOfBlock`.
    JpegHuffmanTable JoinedWithEnds(const JpegHuffmanTable& ac) const;

    /// The value at the reader's bits, of which at least 32 must be available. Does not move the reader.
    Value Look(const JpegBits& bits) const
    {
        const Value known = fast[bits.Peek(kFastBits)];
        if (known.length != 0) [[likely]]
            return known;
        return LookLonger(bits.Peek(32));
    }

private:
    static constexpr uint32_t kFastBits = 11;

    Value LookLonger(uint32_t bits) const;
    Value ValueOf(uint8_t symbol, uint32_t codeLength, uint32_t bits) const;

    std::array<Value, 1U << kFastBits> fast{}; ///< length 0: code and value do not fit
    std::array<uint32_t, 17> endOfLength{};    ///< of each length the first code that is longer, at 16 bits
    std::array<int32_t, 17> offsetOfLength{};  ///< from a code of that length to the index of its symbol
    std::array<uint8_t, 16> counts{};          ///< what the table was built from
    std::array<uint8_t, 256> symbols{};
    bool isDcTable = false;
    bool isBuilt = false;
};

} // namespace platform

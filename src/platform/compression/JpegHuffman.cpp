// SPDX-License-Identifier: MIT
#include "platform/compression/JpegHuffman.h"

#include <algorithm>

namespace platform {

bool JpegHuffmanTable::Build(std::span<const uint8_t, 16> givenCounts, std::span<const uint8_t> givenSymbols, bool isDc)
{
    if (givenSymbols.size() > symbols.size())
        return false;
    if (isBuilt && isDc == isDcTable && std::ranges::equal(givenCounts, counts) &&
        std::ranges::equal(givenSymbols, std::span(symbols).first(givenSymbols.size())))
        return true;
    isBuilt = false;
    isDcTable = isDc;
    std::ranges::copy(givenCounts, counts.begin());
    std::ranges::copy(givenSymbols, symbols.begin());
    uint32_t code = 0;
    size_t index = 0;
    for (uint32_t length = 1; length <= 16; ++length) {
        const uint32_t count = counts[length - 1];
        offsetOfLength[length] = static_cast<int32_t>(index) - static_cast<int32_t>(code);
        code += count;
        index += count;
        if (code > 1U << length || index > givenSymbols.size())
            return false;
        endOfLength[length] = code << (16 - length);
        code <<= 1;
    }
    fast.fill({});
    for (uint32_t pattern = 0; pattern < fast.size(); ++pattern) {
        // The bits that are missing do not matter where code and value fit.
        const uint32_t bits = pattern << (32 - kFastBits);
        const auto length = static_cast<uint32_t>(std::ranges::find_if(endOfLength.begin() + 1, endOfLength.end(),
                                                                       [&](uint32_t end) { return bits >> 16 < end; }) -
                                                  endOfLength.begin());
        if (length > kFastBits)
            continue;
        const int32_t at = static_cast<int32_t>(bits >> (32 - length)) + offsetOfLength[length];
        if (const Value value = ValueOf(symbols[static_cast<size_t>(at)], length, bits); value.length <= kFastBits)
            fast[pattern] = value;
    }
    isBuilt = true;
    return true;
}

JpegHuffmanTable JpegHuffmanTable::JoinedWithEnds(const JpegHuffmanTable& ac) const
{
    JpegHuffmanTable joined = *this;
    for (uint32_t pattern = 0; pattern < fast.size(); ++pattern) {
        Value& value = joined.fast[pattern];
        const Value next = ac.fast[pattern << value.length & (fast.size() - 1)];
        if (value.length == 0 || next.length == 0 || next.step != kEndOfBlock || value.length + next.length > kFastBits)
            continue;
        value.step = kEndOfBlock;
        value.length = static_cast<uint8_t>(value.length + next.length);
    }
    return joined;
}

JpegHuffmanTable::Value JpegHuffmanTable::LookLonger(uint32_t bits) const
{
    for (uint32_t length = 1; length <= 16; ++length)
        if (bits >> 16 < endOfLength[length]) {
            const int32_t at = static_cast<int32_t>(bits >> (32 - length)) + offsetOfLength[length];
            return ValueOf(symbols[static_cast<size_t>(at)], length, bits);
        }
    return {0, kEndOfBlock, 0};
}

// What a symbol and the bits after its code say (ITU-T T.81, F.2.2.1 and F.2.2.2). `bits` begin with the code.
JpegHuffmanTable::Value JpegHuffmanTable::ValueOf(uint8_t symbol, uint32_t codeLength, uint32_t bits) const
{
    const uint32_t run = isDcTable ? 0 : symbol >> 4;
    const uint32_t size = isDcTable ? symbol : symbol & 15;
    if (size > 15)
        return {0, kEndOfBlock, 0};
    if (size == 0) {
        const bool isEnd = !isDcTable && run != 15;
        return {0, isEnd ? kEndOfBlock : static_cast<uint8_t>(run + 1), static_cast<uint8_t>(codeLength)};
    }
    const auto magnitude = static_cast<int32_t>(bits << codeLength >> (32 - size));
    const int32_t value = magnitude < 1 << (size - 1) ? magnitude - (1 << size) + 1 : magnitude;
    return {static_cast<int16_t>(value), static_cast<uint8_t>(run + 1), static_cast<uint8_t>(codeLength + size)};
}

} // namespace platform

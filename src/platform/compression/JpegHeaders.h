// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/JpegHuffman.h"

#include <array>
#include <cstdint>
#include <span>

namespace platform {

/// Huffman tables of one kind: those of the frame, or the standard ones for frames without, as many cameras send them.
class JpegHuffmanTables {
public:
    /// The table with a number from 0 to 3. It may not be built.
    const JpegHuffmanTable& operator[](size_t number) const { return isOwn[number] ? own[number] : standard[number]; }

    /// Prepares for the next frame, which must not be decoded with the tables of another one.
    void ForgetOwn() { isOwn = {}; }

    /// Makes the present tables the standard ones.
    void KeepAsStandard() { standard = own; }

    /// The table of a frame, to be built.
    JpegHuffmanTable& Own(size_t number)
    {
        isOwn[number] = true;
        return own[number];
    }

private:
    std::array<JpegHuffmanTable, 4> standard, own;
    std::array<bool, 4> isOwn{};
};

/// Reads the headers of JPEG frames as cameras send them: sequential Huffman JPEG (ITU-T T.81) with 8 bits, and luma
/// and chroma in one scan, with 4:4:4, 4:2:2 or 4:2:0 sampling. The members are those of the frame that was read last.
class JpegHeaders {
public:
    struct Component {
        uint8_t id = 0;
        int32_t horizontal = 1; ///< blocks in a group
        int32_t vertical = 1;
        size_t quantization = 0; ///< the numbers of its tables, all of which are there
        size_t dcTable = 0;
        size_t acTable = 0;
    };

    JpegHeaders();

    /// Reads everything in front of the coded blocks. False for frames of another kind and damaged headers.
    bool Read(std::span<const uint8_t> jpeg);

    int32_t width = 0; ///< in pixels
    int32_t height = 0;
    int32_t restartInterval = 0; ///< in groups of blocks; 0 for none
    std::array<Component, 3> components;
    std::array<std::array<uint16_t, 64>, 4> quantization{}; ///< in the order of the coded coefficients
    JpegHuffmanTables dc, ac;
    std::span<const uint8_t> scan; ///< the coded blocks and whatever follows; borrowed from the frame

private:
    using Bytes = std::span<const uint8_t>;

    bool ReadSegment(uint8_t marker, Bytes content);
    bool ReadQuantization(Bytes content);
    bool ReadHuffman(Bytes content);
    bool ReadFrame(Bytes content);
    bool ReadScan(Bytes content);

    std::array<bool, 4> hasQuantization{};
};

} // namespace platform

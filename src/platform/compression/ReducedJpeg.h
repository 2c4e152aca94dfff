// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/JpegHeaders.h"
#include "platform/compression/ReducedConversion.h"

#include <optional>
#include <vector>

namespace platform {

/// Decodes JPEG frames at a half, a quarter or an eighth of their size, for the live picture. Most of the time of such
/// decoding is spent on the Huffman codes; here one lookup gives a code and its value, and what the reduced picture
/// does not show is skipped. It is meant for what cameras send: sequential Huffman JPEG (ITU-T T.81) with 8 bits, three
/// components in one scan, 4:4:4, 4:2:2 or 4:2:0. It makes no attempt at anything else, nor at damaged frames: these
/// are for TurboJPEG.
class ReducedJpeg {
public:
    /// Decodes a frame of `width` x `height` pixels at 1 / `factor` (2, 4 or 8) of its sides, rounded up. The planes
    /// have the full range and the matrix of BT.601 (ITU-T T.871), and are valid until the next call. Returns nothing
    /// for a frame of another size, one that is not supported, or one with any damage that shows in its structure.
    std::optional<PlanarPicture> Decode(std::span<const uint8_t> jpeg, int32_t width, int32_t height, int32_t factor);

private:
    struct Plane {
        int32_t horizontal = 1; ///< blocks in a group
        int32_t vertical = 1;
        JpegHuffmanTable first; ///< of a block's first code
        JpegHuffmanTable others;
        std::array<float, 16> scale{}; ///< of the coefficients, for the transform's input
        std::vector<uint8_t> pixels;
        int32_t rowBytes = 0;
        int32_t lastDc = 0;
    };

    void Prepare(int32_t factor);
    void PreparePlane(Plane& plane, const JpegHeaders::Component& component);
    void RemoveStuffing(std::span<const uint8_t> scan);
    bool DecodeScan();
    // Inline, so that the bits stay in registers from block to block.
    [[gnu::always_inline]] inline bool DecodeGroup(JpegBits& bits, int32_t column, int32_t row);
    [[gnu::always_inline]] inline bool DecodeBlock(JpegBits& bits, Plane& plane, uint8_t* target);
    PlanarPicture Picture(int32_t factor) const;

    JpegHeaders headers;
    std::array<Plane, 3> planes;
    int32_t columns = 0; ///< of groups
    int32_t rows = 0;
    int32_t side = 4;                ///< of a block's pixels
    std::vector<uint8_t> scanBytes;  ///< without stuffing
    std::vector<size_t> segmentEnds; ///< in `scanBytes`, at each restart
};

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

#include <vector>

namespace platform {

/// Turns the H.264 byte stream of a camera (ITU-T H.264, Annex B; one picture a buffer) into a movie's frames (ISO/IEC
/// 14496-15, "avc1"): units behind lengths of four bytes, parameter sets in the decoder configuration alone. Everything
/// else stays as the camera sent it.
class H264Stream {
public:
    enum class Found {
        Picture,
        Waiting, ///< no picture data, or the stream's first key frame or parameter sets have not come
        Damaged, ///< no units at all
    };

    /// Reads one buffer. `frame` gets bytes and configuration, borrowed from this object until the next call.
    Found Read(std::span<const uint8_t> bytes, RawFrame& frame);

private:
    using Bytes = std::vector<uint8_t>;

    void TakeParameterSets(Bytes newSequenceSets, Bytes newPictureSets);

    Bytes sequenceSets; ///< with start codes, and the next
    Bytes pictureSets;
    Bytes configuration;
    Bytes packed;
    bool hasBegun = false;
};

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"

#include <vector>

namespace platform {

/// Converts the H.264 byte stream of a camera (ITU-T H.264, Annex B; one picture per buffer) to the frames of a movie
/// (ISO/IEC 14496-15, "avc1"): units with lengths of four bytes before them, parameter sets only in the decoder
/// configuration. Everything else is unchanged.
class H264Stream {
public:
    enum class Found {
        Picture,
        Waiting, ///< no picture data, or the first key frame or parameter sets have not arrived
        Damaged, ///< no units at all
    };

    /// Reads one buffer. `frame` receives bytes and configuration, which are valid until the next call.
    Found Read(std::span<const uint8_t> bytes, RawFrame& frame);

private:
    using Bytes = std::vector<uint8_t>;

    void TakeParameterSets(Bytes newSequenceSets, Bytes newPictureSets);

    Bytes sequenceSets; ///< with start codes, like the next one
    Bytes pictureSets;
    Bytes configuration;
    Bytes packed;
    bool hasBegun = false;
};

} // namespace platform

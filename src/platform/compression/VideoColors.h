// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/ImageDescription.h"

namespace libyuv {
struct YuvConstants;
}

namespace platform {

/// How luma and chroma become colors, by the code points of ITU-T H.273. The defaults are those of USB video: BT.709
/// primaries and transfer, the matrix of BT.601, the limited range (luma 16 to 235, chroma 16 to 240).
struct VideoColors {
    uint8_t primaries = 1;
    uint8_t transfer = 1;
    uint8_t matrix = 6;
    bool isFullRange = false; ///< all 256 values

    bool operator==(const VideoColors&) const = default;
};

/// Whether the matrix is that of BT.601, which JPEG has.
bool HasMatrix601(const VideoColors& colors);

/// The same primaries and transfer with the matrix of BT.601 in the limited range: what a conversion from RGB gives.
VideoColors InLimited601(const VideoColors& colors);

/// Adds a "colr" atom to a description: "nclc" (QuickTime File Format, Color Parameter Atoms), or "nclx" (ISO/IEC
/// 14496-12, 12.1.5), which also has the range, where the range is full and the codec is not JPEG, which always has it.
void AppendColors(ImageDescription& description, const VideoColors& colors);

/// The colors that a description states, else the defaults.
VideoColors ColorsIn(const ImageDescription& description);

/// libyuv's constants for the conversion of such pixels to RGB. Each channel is within 2.5 of the exact value; on
/// processors other than x86, blue of limited BT.709 and BT.2020 is up to 13 and 16 off.
const libyuv::YuvConstants& ConstantsOf(const VideoColors& colors);

} // namespace platform

// SPDX-License-Identifier: MIT
#include "platform/grabber/FrameCheck.h"

#include "platform/digitizer/dv/DvFrame.h"
#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace platform {
namespace {

using Bytes = std::span<const uint8_t>;

// JPEG markers, each after a byte of 0xFF.
constexpr uint8_t kMarker = 0xFF;
constexpr uint8_t kStartOfImage = 0xD8;
constexpr uint8_t kEndOfImage = 0xD9;
constexpr uint8_t kStartOfScan = 0xDA;

bool HasNoLength(uint8_t marker)
{
    return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7);
}

// The position after the header of the first scan, or 0. `image` starts with its start marker.
size_t BeginOfScan(Bytes image)
{
    for (size_t at = 2; at + 3 < image.size();) {
        if (image[at] != kMarker)
            return 0;
        const uint8_t marker = image[at + 1];
        if (marker == kMarker) {
            ++at; // fill byte
            continue;
        }
        if (marker == kEndOfImage)
            return 0;
        at += 2;
        if (!HasNoLength(marker))
            at += size_t{image[at]} << 8 | image[at + 1];
        if (marker == kStartOfScan)
            return at;
    }
    return 0;
}

// Scan data contains no marker by chance. Cameras may leave padding after the image.
Bytes WholeJpeg(Bytes bytes)
{
    constexpr std::array start{kMarker, kStartOfImage};
    constexpr std::array end{kMarker, kEndOfImage};
    const auto begin = std::ranges::search(bytes, start).begin();
    const Bytes image = bytes.subspan(static_cast<size_t>(begin - bytes.begin()));
    const size_t scan = BeginOfScan(image);
    if (scan == 0 || scan > image.size())
        return {};
    const auto found = std::ranges::find_end(image.subspan(scan), end);
    if (found.empty())
        return {};
    return image.first(scan + static_cast<size_t>(found.end() - image.subspan(scan).begin()));
}

} // namespace

std::span<const uint8_t> WholeFrame(const RawFrame& frame)
{
    bool whole = !frame.bytes.empty();
    if (frame.format == CodeOf("jpeg"))
        return WholeJpeg(frame.bytes);
    if (frame.format == CodeOf("dvc ") || frame.format == CodeOf("dvcp"))
        whole = ReadDvFrame(frame.bytes).has_value();
    else
        whole = whole &&
                static_cast<int64_t>(frame.bytes.size()) >= PackedImageSize(frame.format, frame.width, frame.height);
    return whole ? frame.bytes : Bytes();
}

} // namespace platform

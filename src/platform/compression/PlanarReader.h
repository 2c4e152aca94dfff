// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameReader.h"
#include "platform/compression/LibavOwners.h"

#include <vector>

namespace platform {

/// One of libavcodec's pictures, with buffers; `format` is one of those that `PlanarReader` fills. RGB and grey have
/// the full range in any case. Null if memory is full.
FrameOwner NewVideoPicture(AVPixelFormat format, int32_t width, int32_t height, const VideoColors& colors);

/// Sets the colors of a picture.
void SetColors(AVFrame& picture, const VideoColors& colors);
/// The colors of a picture.
VideoColors ColorsOf(const AVFrame& picture);

/// Converts frames of devices to the planes that video encoders take, without a detour through RGB if the frame has
/// luma and chroma.
class PlanarReader {
public:
    /// The format without loss for frames of a device's format. Compressed frames are treated as 4:2:2.
    static AVPixelFormat KeepingFormat(FourCharCode format);

    /// Fills `target`: AV_PIX_FMT_YUV420P from any frame; AV_PIX_FMT_YUV422P, BGR0 or GRAY8 from frames with that
    /// `KeepingFormat`. Its colors are those of `ColorsAsPlanes`; if they have the limited range and the frame has not,
    /// values are converted. The target may be a column or a row larger: then the last one is repeated. Returns false
    /// for an unreadable frame.
    bool Read(const RawFrame& frame, AVFrame& target);

private:
    bool ReadJpeg(std::span<const uint8_t> jpeg, const RawFrame& frame, AVFrame& target);
    bool StoreRgb(const RawPicture& picture, AVFrame& target);

    FrameReader reader;
    std::unique_ptr<void, void (*)(void*)> turbo{nullptr, nullptr};
    std::vector<uint8_t> chroma;
};

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/H264Stream.h"
#include "platform/digitizer/v4l2/V4L2Device.h"

#include <vector>

namespace platform {

/// The format in which pictures of a kernel pixel format are passed on; 0 if it is not supported.
FourCharCode FormatOfPixelFormat(uint32_t pixelFormat);

/// The kernel's pixel formats that are passed on in a format, the one with the least work first.
std::vector<uint32_t> PixelFormatsOf(FourCharCode format);

/// Whether each buffer holds one field of an interlaced picture.
bool IsFieldByField(uint32_t field);

/// Number of lines of a whole picture in a layout.
int32_t PictureHeight(const V4L2Layout& layout);

/// Converts drivers' buffers to pictures: rows without padding, fields interleaved, planes and bytes in the order of
/// the target format. Buffers that need none of this are passed on in place.
class V4L2Pictures {
public:
    enum class Found {
        Picture,
        Half,    ///< the other field is still to come
        Waiting, ///< the first key frame is still to come
        Damaged,
    };

    /// Reads buffers of that layout.
    explicit V4L2Pictures(const V4L2Layout& layout);

    /// Reads one buffer: the bytes of each memory plane, and its field. `picture` is borrowed from the buffer or from
    /// this object.
    Found Read(std::span<const std::span<const uint8_t>> memory, uint32_t field, RawFrame& picture);

private:
    /// A plane of the picture: rows of the picture and of the driver's buffer.
    struct Plane {
        int64_t rowBytes = 0;
        int64_t rows = 0;       ///< of the picture
        int64_t bufferRows = 0; ///< of one buffer: half of them if a buffer holds a field
        int64_t stride = 0;
        size_t memory = 0;        ///< index of the memory plane that contains it
        int64_t offset = 0;       ///< within that plane
        int64_t placeInFrame = 0; ///< position in the packed picture
    };

    enum class Weave { None, TopThenBottom, BottomThenTop, Alternate, Double };

    static Weave WeaveOf(uint32_t field);
    void AddPlane(int64_t rowBytes, int64_t rows, int64_t stride);
    bool Suffices(std::span<const std::span<const uint8_t>> memory) const;
    void Copy(std::span<const std::span<const uint8_t>> memory, uint32_t field);
    bool CompleteAfter(uint32_t field);
    std::span<const uint8_t> Convert();

    V4L2Layout layout;
    FourCharCode format = 0;
    int32_t height = 0;
    VideoColors colors;
    H264Stream h264;
    Weave weave = Weave::None;
    std::vector<Plane> planes;
    int64_t packedSize = 0;
    bool inPlace = false;
    uint32_t firstField = V4L2_FIELD_ANY; ///< of a picture of which half has arrived
    std::vector<uint8_t> packed;
    std::vector<uint8_t> converted;
};

} // namespace platform

// SPDX-License-Identifier: MIT
// Pictures in drivers' buffers.
//
// A buffer is read in two steps. The first copies its rows: without padding, interleaved if the fields are separate,
// and the planes in the order of the target format. The second converts the bytes of formats that are not supported
// downstream to the nearest one that is. The usual formats of usual cameras need neither step.
#include "platform/digitizer/v4l2/V4L2Pictures.h"

#include "platform/digitizer/JpegFrames.h"
#include "platform/digitizer/v4l2/V4L2Colors.h"
#include "platform/drawing/PixelFormat.h"

#include <libyuv.h>

namespace platform {
namespace {

constexpr FourCharCode kJpeg = CodeOf("jpeg");
constexpr FourCharCode kH264 = CodeOf("avc1");

enum class Shape {
    Compressed,
    OneByte,
    TwoBytes,
    Pairs,
    ThreeBytes,
    FourBytes,
    Planar420,
    SemiPlanar420,
    SemiPlanar422
};

enum class Change {
    None,
    PlanesSwapped, // Cr before Cb
    ChromaSwapped, // likewise, within each pair
    TenBits,
    SixteenBits,
    Pairs, // two planes of 4:2:2 into one
    BGRX,
    XRGB,
    RGBX,
    XBGR,
};

struct Known {
    uint32_t pixelFormat;
    FourCharCode format;
    Shape shape;
    Change change = Change::None;
};

constexpr Known kKnown[] = {
    {V4L2_PIX_FMT_MJPEG, kJpeg, Shape::Compressed},
    {V4L2_PIX_FMT_JPEG, kJpeg, Shape::Compressed},
    {V4L2_PIX_FMT_H264, kH264, Shape::Compressed},
    {V4L2_PIX_FMT_YUYV, kYuvsPixelFormat, Shape::Pairs},
    {V4L2_PIX_FMT_UYVY, k2vuyPixelFormat, Shape::Pairs},
    {V4L2_PIX_FMT_YVYU, kYuvsPixelFormat, Shape::Pairs, Change::ChromaSwapped},
    {V4L2_PIX_FMT_VYUY, k2vuyPixelFormat, Shape::Pairs, Change::ChromaSwapped},
    {V4L2_PIX_FMT_NV16, k2vuyPixelFormat, Shape::SemiPlanar422, Change::Pairs},
    {V4L2_PIX_FMT_NV16M, k2vuyPixelFormat, Shape::SemiPlanar422, Change::Pairs},
    {V4L2_PIX_FMT_NV12, kNV12PixelFormat, Shape::SemiPlanar420},
    {V4L2_PIX_FMT_NV12M, kNV12PixelFormat, Shape::SemiPlanar420},
    {V4L2_PIX_FMT_NV21, kNV12PixelFormat, Shape::SemiPlanar420, Change::ChromaSwapped},
    {V4L2_PIX_FMT_NV21M, kNV12PixelFormat, Shape::SemiPlanar420, Change::ChromaSwapped},
    {V4L2_PIX_FMT_YUV420, kY420PixelFormat, Shape::Planar420},
    {V4L2_PIX_FMT_YUV420M, kY420PixelFormat, Shape::Planar420},
    {V4L2_PIX_FMT_YVU420, kY420PixelFormat, Shape::Planar420, Change::PlanesSwapped},
    {V4L2_PIX_FMT_YVU420M, kY420PixelFormat, Shape::Planar420, Change::PlanesSwapped},
    {V4L2_PIX_FMT_RGB24, kRGB24PixelFormat, Shape::ThreeBytes},
    {V4L2_PIX_FMT_BGR24, kBGR24PixelFormat, Shape::ThreeBytes},
    {V4L2_PIX_FMT_XBGR32, kPixelFormat32, Shape::FourBytes, Change::BGRX},
    {V4L2_PIX_FMT_ABGR32, kPixelFormat32, Shape::FourBytes, Change::BGRX},
    {V4L2_PIX_FMT_BGR32, kPixelFormat32, Shape::FourBytes, Change::BGRX},
    {V4L2_PIX_FMT_XRGB32, kPixelFormat32, Shape::FourBytes, Change::XRGB},
    {V4L2_PIX_FMT_ARGB32, kPixelFormat32, Shape::FourBytes, Change::XRGB},
    {V4L2_PIX_FMT_RGB32, kPixelFormat32, Shape::FourBytes, Change::XRGB},
    {V4L2_PIX_FMT_RGBX32, kPixelFormat32, Shape::FourBytes, Change::RGBX},
    {V4L2_PIX_FMT_RGBA32, kPixelFormat32, Shape::FourBytes, Change::RGBX},
    {V4L2_PIX_FMT_BGRX32, kPixelFormat32, Shape::FourBytes, Change::XBGR},
    {V4L2_PIX_FMT_BGRA32, kPixelFormat32, Shape::FourBytes, Change::XBGR},
    {V4L2_PIX_FMT_GREY, kGreyPixelFormat, Shape::OneByte},
    {V4L2_PIX_FMT_Y10, kGreyPixelFormat, Shape::TwoBytes, Change::TenBits},
    {V4L2_PIX_FMT_Y16, kGreyPixelFormat, Shape::TwoBytes, Change::SixteenBits},
};

const Known* Find(uint32_t pixelFormat)
{
    const auto* known = std::ranges::find(kKnown, pixelFormat, &Known::pixelFormat);
    return known == std::end(kKnown) ? nullptr : known;
}

// Swaps the bytes at `first` and `first + distance` of each `unit` bytes.
void Exchange(std::span<uint8_t> bytes, size_t unit, size_t first, size_t distance)
{
    for (size_t at = first; at + distance < bytes.size(); at += unit)
        std::swap(bytes[at], bytes[at + distance]);
}

void NarrowTo8(const std::vector<uint8_t>& wide, int bits, std::vector<uint8_t>& out)
{
    const int shift = bits - 8;
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<uint8_t>(std::min((wide[2 * i] | wide[2 * i + 1] << 8) >> shift, 255));
}

void JoinPlanes(const std::vector<uint8_t>& planes, int32_t width, int32_t height, std::vector<uint8_t>& out)
{
    const auto pairs = static_cast<size_t>((width + 1) / 2);
    const auto columns = static_cast<size_t>(width);
    uint8_t* to = out.data();
    for (size_t row = 0; row < static_cast<size_t>(height); ++row) {
        const uint8_t* luma = planes.data() + row * columns;
        const uint8_t* chroma = planes.data() + static_cast<size_t>(height) * columns + row * pairs * 2;
        for (size_t pair = 0; pair < pairs; ++pair, to += 4) {
            to[0] = chroma[2 * pair];
            to[1] = luma[2 * pair];
            to[2] = chroma[2 * pair + 1];
            to[3] = luma[std::min(2 * pair + 1, columns - 1)];
        }
    }
}

void OrderTo32(const std::vector<uint8_t>& from, Change order, int32_t width, int32_t height, std::vector<uint8_t>& out)
{
    // The library names the orders as in a register, the reverse of memory.
    const auto convert = order == Change::XRGB   ? libyuv::BGRAToARGB
                         : order == Change::RGBX ? libyuv::ABGRToARGB
                         : order == Change::XBGR ? libyuv::RGBAToARGB
                                                 : libyuv::ARGBCopy;
    convert(from.data(), width * 4, out.data(), width * 4, width, height);
    for (size_t at = 3; at < out.size(); at += 4)
        out[at] = 255;
}

// Bytes of a row of pixels in a single plane.
int64_t PackedBytes(Shape shape, int64_t width)
{
    switch (shape) {
    case Shape::OneByte:
        return width;
    case Shape::TwoBytes:
        return 2 * width;
    case Shape::ThreeBytes:
        return 3 * width;
    case Shape::FourBytes:
        return 4 * width;
    default:
        return (width + 1) / 2 * 4;
    }
}

} // namespace

FourCharCode FormatOfPixelFormat(uint32_t pixelFormat)
{
    const Known* known = Find(pixelFormat);
    return known == nullptr ? 0 : known->format;
}

std::vector<uint32_t> PixelFormatsOf(FourCharCode format)
{
    std::vector<uint32_t> found;
    for (const Known& known : kKnown)
        if (known.format == format)
            found.push_back(known.pixelFormat);
    return found;
}

bool IsFieldByField(uint32_t field)
{
    return field == V4L2_FIELD_ALTERNATE || field == V4L2_FIELD_TOP || field == V4L2_FIELD_BOTTOM;
}

int32_t PictureHeight(const V4L2Layout& layout)
{
    return static_cast<int32_t>(IsFieldByField(layout.field) ? 2 * layout.height : layout.height);
}

V4L2Pictures::Weave V4L2Pictures::WeaveOf(uint32_t field)
{
    switch (field) {
    case V4L2_FIELD_SEQ_TB:
        return Weave::TopThenBottom;
    case V4L2_FIELD_SEQ_BT:
        return Weave::BottomThenTop;
    case V4L2_FIELD_ALTERNATE:
        return Weave::Alternate;
    default:
        return IsFieldByField(field) ? Weave::Double : Weave::None;
    }
}

V4L2Pictures::V4L2Pictures(const V4L2Layout& taken)
    : layout(taken),
      format(FormatOfPixelFormat(taken.pixelFormat)),
      height(PictureHeight(taken)),
      colors(ColorsOfLayout(taken))
{
    const Known* known = Find(layout.pixelFormat);
    if (known == nullptr || known->shape == Shape::Compressed)
        return;
    weave = WeaveOf(layout.field);
    const int64_t width = layout.width;
    const int64_t half = (width + 1) / 2;
    const int64_t halfRows = (height + 1) / 2;
    const int64_t stride = layout.strides[0];
    const auto strideOf = [&](size_t plane, int64_t ofFirst) {
        return plane < layout.planes ? int64_t{layout.strides[plane]} : ofFirst;
    };
    switch (known->shape) {
    case Shape::SemiPlanar420:
    case Shape::SemiPlanar422:
        AddPlane(width, height, stride);
        AddPlane(2 * half, known->shape == Shape::SemiPlanar420 ? halfRows : height, strideOf(1, stride));
        break;
    case Shape::Planar420:
        AddPlane(width, height, stride);
        AddPlane(half, halfRows, strideOf(1, stride / 2));
        AddPlane(half, halfRows, strideOf(2, stride / 2));
        break;
    default:
        AddPlane(PackedBytes(known->shape, width), height, stride);
    }
    if (known->change == Change::PlanesSwapped)
        std::swap(planes[1].placeInFrame, planes[2].placeInFrame);
    inPlace = weave == Weave::None && known->change == Change::None && layout.planes == 1 &&
              std::ranges::all_of(planes, [](const Plane& plane) { return plane.stride == plane.rowBytes; });
}

void V4L2Pictures::AddPlane(int64_t rowBytes, int64_t rows, int64_t stride)
{
    Plane plane{.rowBytes = rowBytes,
                .rows = rows,
                .bufferRows = IsFieldByField(layout.field) ? (rows + 1) / 2 : rows,
                .stride = std::max(stride, rowBytes),
                .placeInFrame = packedSize};
    if (layout.planes > 1)
        plane.memory = std::min<size_t>(planes.size(), layout.planes - 1);
    else if (!planes.empty())
        plane.offset = planes.back().offset + planes.back().stride * planes.back().bufferRows;
    packedSize += rowBytes * rows;
    planes.push_back(plane);
}

// The last row may lack its padding.
bool V4L2Pictures::Suffices(std::span<const std::span<const uint8_t>> memory) const
{
    return std::ranges::all_of(planes, [&](const Plane& plane) {
        return plane.memory < memory.size() &&
               static_cast<int64_t>(memory[plane.memory].size()) >=
                   plane.offset + plane.stride * (plane.bufferRows - 1) + plane.rowBytes;
    });
}

void V4L2Pictures::Copy(std::span<const std::span<const uint8_t>> memory, uint32_t field)
{
    packed.resize(static_cast<size_t>(packedSize));
    for (const Plane& plane : planes) {
        const int64_t topRows = (plane.rows + 1) / 2;
        const auto write = [&](int64_t row, int64_t line) {
            if (line < plane.rows)
                std::memcpy(packed.data() + plane.placeInFrame + line * plane.rowBytes,
                            memory[plane.memory].data() + plane.offset + row * plane.stride,
                            static_cast<size_t>(plane.rowBytes));
        };
        for (int64_t row = 0; row < plane.bufferRows; ++row)
            switch (weave) {
            case Weave::None:
                write(row, row);
                break;
            case Weave::TopThenBottom:
                write(row, row < topRows ? 2 * row : 2 * (row - topRows) + 1);
                break;
            case Weave::BottomThenTop:
                write(row, row < plane.rows - topRows ? 2 * row + 1 : 2 * (row - (plane.rows - topRows)));
                break;
            case Weave::Alternate:
                write(row, field == V4L2_FIELD_BOTTOM ? 2 * row + 1 : 2 * row);
                break;
            case Weave::Double:
                write(row, 2 * row);
                write(row, 2 * row + 1);
            }
    }
}

// Whether the picture is complete with a buffer of that field. Two consecutive fields of the same kind are halves of
// two pictures.
bool V4L2Pictures::CompleteAfter(uint32_t field)
{
    if (weave != Weave::Alternate)
        return true;
    const auto other = static_cast<uint32_t>(field == V4L2_FIELD_BOTTOM ? V4L2_FIELD_TOP : V4L2_FIELD_BOTTOM);
    const bool isWhole = firstField == other;
    firstField = isWhole ? uint32_t{V4L2_FIELD_ANY} : field;
    return isWhole;
}

std::span<const uint8_t> V4L2Pictures::Convert()
{
    const auto width = static_cast<int32_t>(layout.width);
    const Change change = Find(layout.pixelFormat)->change;
    if (change == Change::ChromaSwapped && planes.size() == 2)
        Exchange(std::span(packed).subspan(static_cast<size_t>(planes[1].placeInFrame)), 2, 0, 1);
    else if (change == Change::ChromaSwapped)
        Exchange(packed, 4, format == k2vuyPixelFormat ? 0 : 1, 2);
    if (change == Change::None || change == Change::PlanesSwapped || change == Change::ChromaSwapped)
        return packed;
    converted.resize(static_cast<size_t>(PackedImageSize(format, width, height)));
    if (change == Change::TenBits || change == Change::SixteenBits)
        NarrowTo8(packed, change == Change::TenBits ? 10 : 16, converted);
    else if (change == Change::Pairs)
        JoinPlanes(packed, width, height, converted);
    else
        OrderTo32(packed, change, width, height, converted);
    return converted;
}

V4L2Pictures::Found V4L2Pictures::Read(std::span<const std::span<const uint8_t>> memory, uint32_t field,
                                       RawFrame& picture)
{
    const auto width = static_cast<int32_t>(layout.width);
    if (memory.empty())
        return Found::Damaged;
    if (format == kJpeg) {
        const auto read = ReadJpegFrame(memory[0], packed);
        picture = read.value_or(RawFrame());
        picture.colors = colors;
        return read ? Found::Picture : Found::Damaged;
    }
    if (format == kH264) {
        picture = {{}, format, width, height, colors};
        const auto found = h264.Read(memory[0], picture);
        return found == H264Stream::Found::Picture   ? Found::Picture
               : found == H264Stream::Found::Waiting ? Found::Waiting
                                                     : Found::Damaged;
    }
    if (planes.empty() || !Suffices(memory))
        return Found::Damaged;
    if (inPlace) {
        picture = {memory[0].first(static_cast<size_t>(packedSize)), format, width, height, colors};
        return Found::Picture;
    }
    Copy(memory, field);
    if (!CompleteAfter(field))
        return Found::Half;
    picture = {Convert(), format, width, height, colors};
    return Found::Picture;
}

} // namespace platform

// SPDX-License-Identifier: MIT
// Converts frames of IIDC cameras to the pixel formats that are decoded downstream.
//
// Grey and RGB are passed on unchanged. The cameras' YUV has the full range of 8 bits, "2vuy" has the video range, so
// each value is converted by a table; 4:1:1 and 4:4:4 become 4:2:2 in the same pass. Raw pixels get the two missing
// colours from their neighbours.
#include "platform/digitizer/iidc/IIDCFrames.h"

#include "platform/drawing/PixelFormat.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

using Table = std::array<uint8_t, 256>;

constexpr Table MakeTable(int lowest, int range)
{
    Table table{};
    for (int i = 0; i < 256; ++i)
        table[static_cast<size_t>(i)] = static_cast<uint8_t>(lowest + (i * range + 127) / 255);
    return table;
}

constexpr Table kLuma = MakeTable(16, 219);
constexpr Table kChroma = MakeTable(16, 224);

int64_t FrameSize(const IIDCFrame& frame)
{
    const int64_t pixels = int64_t{frame.width} * frame.height;
    switch (frame.coding) {
    case IIDCCoding::Mono16:
    case IIDCCoding::Yuv422:
        return pixels * 2;
    case IIDCCoding::Yuv411:
        return pixels * 3 / 2;
    case IIDCCoding::Yuv444:
    case IIDCCoding::Rgb8:
        return pixels * 3;
    default:
        return pixels;
    }
}

// Pixels that share chroma are in the same row.
int32_t WidthUnit(IIDCCoding coding)
{
    return coding == IIDCCoding::Yuv411 ? 4 : FormatOfCoding(coding) == k2vuyPixelFormat ? 2 : 1;
}

uint8_t* WritePair(uint8_t* out, unsigned u, uint8_t y0, unsigned v, uint8_t y1)
{
    out[0] = kChroma[u];
    out[1] = kLuma[y0];
    out[2] = kChroma[v];
    out[3] = kLuma[y1];
    return out + 4;
}

void ConvertYuv(const IIDCFrame& frame, uint8_t* out)
{
    const uint8_t* const end = frame.bytes.data() + FrameSize(frame);
    const uint8_t* in = frame.bytes.data();
    if (frame.coding == IIDCCoding::Yuv422)
        for (; in < end; in += 4)
            out = WritePair(out, in[0], in[1], in[2], in[3]);
    else if (frame.coding == IIDCCoding::Yuv411)
        for (; in < end; in += 6) {
            out = WritePair(out, in[0], in[1], in[3], in[2]);
            out = WritePair(out, in[0], in[4], in[3], in[5]);
        }
    else
        for (; in < end; in += 6)
            out = WritePair(out, (in[0] + in[3] + 1U) / 2, in[1], (in[2] + in[5] + 1U) / 2, in[4]);
}

void ConvertMono16(const IIDCFrame& frame, uint8_t* out)
{
    const int shift = std::clamp(frame.depth, 8, 16) - 8;
    const uint8_t* in = frame.bytes.data();
    for (int64_t left = int64_t{frame.width} * frame.height; left > 0; --left, in += 2)
        *out++ = static_cast<uint8_t>(std::min((in[0] << 8 | in[1]) >> shift, 255));
}

// Interpolates each colour of a pixel as the mean of the pixels around and including it that have this colour.
void ConvertRaw(const IIDCFrame& frame, uint8_t* out)
{
    // Red, green or blue (0, 1, 2) by row and column of the filter's cell.
    static constexpr uint8_t kCells[][4] = {{0, 1, 1, 2}, {1, 2, 0, 1}, {1, 0, 2, 1}, {2, 1, 1, 0}};
    const uint8_t* cell = kCells[static_cast<size_t>(frame.filter)];
    for (int32_t row = 0; row < frame.height; ++row)
        for (int32_t column = 0; column < frame.width; ++column, out += 3) {
            unsigned sum[3] = {};
            unsigned count[3] = {};
            for (int32_t y = std::max(row - 1, 0); y <= std::min(row + 1, frame.height - 1); ++y)
                for (int32_t x = std::max(column - 1, 0); x <= std::min(column + 1, frame.width - 1); ++x) {
                    const uint8_t color = cell[(y & 1) * 2 + (x & 1)];
                    sum[color] +=
                        frame.bytes[static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x)];
                    ++count[color];
                }
            for (int color = 0; color < 3; ++color)
                out[color] = static_cast<uint8_t>(sum[color] / std::max(count[color], 1U));
        }
}

} // namespace

FourCharCode FormatOfCoding(IIDCCoding coding)
{
    switch (coding) {
    case IIDCCoding::Mono8:
    case IIDCCoding::Mono16:
        return kGreyPixelFormat;
    case IIDCCoding::Rgb8:
    case IIDCCoding::Raw8:
        return kRGB24PixelFormat;
    default:
        return k2vuyPixelFormat;
    }
}

std::optional<RawFrame> ReadIIDCFrame(const IIDCFrame& frame, std::vector<uint8_t>& converted)
{
    if (frame.width < 1 || frame.height < 1 || frame.width % WidthUnit(frame.coding) != 0 ||
        static_cast<int64_t>(frame.bytes.size()) < FrameSize(frame))
        return std::nullopt;
    const FourCharCode format = FormatOfCoding(frame.coding);
    const auto size = static_cast<size_t>(PackedRowBytes(format, frame.width)) * static_cast<size_t>(frame.height);
    if (frame.coding == IIDCCoding::Mono8 || frame.coding == IIDCCoding::Rgb8)
        return RawFrame{frame.bytes.first(size), format, frame.width, frame.height};
    converted.resize(size);
    if (frame.coding == IIDCCoding::Mono16)
        ConvertMono16(frame, converted.data());
    else if (frame.coding == IIDCCoding::Raw8)
        ConvertRaw(frame, converted.data());
    else
        ConvertYuv(frame, converted.data());
    return RawFrame{converted, format, frame.width, frame.height};
}

} // namespace platform

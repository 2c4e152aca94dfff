// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/FrameCompressor.h"
#include "platform/compression/FrameDecoder.h"
#include "platform/drawing/Ports.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace pictures {

struct Color {
    int red = 0, green = 0, blue = 0;
    bool operator==(const Color&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Color& color)
{
    return out << "(" << color.red << " " << color.green << " " << color.blue << ")";
}

inline int Distance(const Color& a, const Color& b)
{
    return std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

inline constexpr Color kRed{200, 30, 30}, kGreen{30, 190, 40}, kBlue{40, 50, 210}, kWhite{235, 235, 235};

inline Color ColorIn(const platform::PortPixels& pixels, int32_t x, int32_t y)
{
    const uint8_t* pixel = pixels.pixels + ptrdiff_t{y} * pixels.rowBytes + ptrdiff_t{x} * 4;
    return {pixel[2], pixel[1], pixel[0]};
}

/// A port that ends with its owner.
class TestPort {
public:
    TestPort(int32_t width, int32_t height) : port(platform::NewPort(width, height)) {}
    ~TestPort() { platform::ReleasePort(port); }
    TestPort(const TestPort&) = delete;
    TestPort& operator=(const TestPort&) = delete;

    platform::PortReference Number() const { return port; }
    platform::PortPixels Pixels() const { return *platform::PixelsOfPort(port); }

    Color ColorAt(int32_t x, int32_t y) const { return ColorIn(Pixels(), x, y); }
    void Clear() const
    {
        const auto pixels = Pixels();
        std::fill_n(pixels.pixels, ptrdiff_t{pixels.rowBytes} * pixels.height, uint8_t{0});
    }

private:
    platform::PortReference port;
};

inline int LumaOf(const Color& c)
{
    return static_cast<int>(std::lround(0.299 * c.red + 0.587 * c.green + 0.114 * c.blue));
}

/// Luma, blue and red difference of a colour in video range.
inline std::array<int, 3> YuvOf(const Color& c)
{
    const auto rounded = [](double value) { return static_cast<int>(std::lround(value)); };
    const double luma = 0.299 * c.red + 0.587 * c.green + 0.114 * c.blue;
    return {rounded(16 + luma * 219 / 255), rounded(128 + (c.blue - luma) / 1.772 * 224 / 255),
            rounded(128 + (c.red - luma) / 1.402 * 224 / 255)};
}

/// The colour of a place in a test picture: a quarter each of red, green, blue and white, in reading order.
inline Color QuarterColor(int32_t x, int32_t y, int32_t width, int32_t height)
{
    const bool right = x >= width / 2;
    return y < height / 2 ? (right ? kGreen : kRed) : (right ? kWhite : kBlue);
}

/// The bytes of a picture of four quarters in a pixel format.
inline std::vector<uint8_t> Quarters(platform::FourCharCode format, int32_t width, int32_t height)
{
    using namespace platform;
    std::vector<uint8_t> bytes(static_cast<size_t>(PackedImageSize(format, width, height)));
    const int32_t rowBytes = PackedRowBytes(format, width), half = (width + 1) / 2;
    const int32_t chroma = rowBytes * height, second = chroma + half * ((height + 1) / 2);
    const auto put = [&](int32_t at, std::initializer_list<int> values) {
        for (const int value : values)
            bytes[static_cast<size_t>(at++)] = static_cast<uint8_t>(value);
    };
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const Color c = QuarterColor(x, y, width, height);
            const auto [luma, blue, red] = YuvOf(c);
            const int32_t row = y * rowBytes, pair = row + x / 2 * 4, block = y / 2 * half + x / 2;
            if (format == kPixelFormat32) {
                put(row + x * 4, {c.blue, c.green, c.red, 255});
            } else if (format == kRGB24PixelFormat) {
                put(row + x * 3, {c.red, c.green, c.blue});
            } else if (format == kBGR24PixelFormat) {
                put(row + x * 3, {c.blue, c.green, c.red});
            } else if (format == k2vuyPixelFormat || format == kYuvsPixelFormat) {
                const int32_t chromaFirst = format == k2vuyPixelFormat ? 1 : 0;
                put(row + x * 2 + chromaFirst, {luma});
                put(pair + 1 - chromaFirst, {blue});
                put(pair + 3 - chromaFirst, {red});
            } else if (format == kGreyPixelFormat) {
                put(row + x, {LumaOf(c)});
            } else {
                put(row + x, {luma});
                put(format == kNV12PixelFormat ? chroma + 2 * block : chroma + block, {blue});
                put(format == kNV12PixelFormat ? chroma + 2 * block + 1 : second + block, {red});
            }
        }
    return bytes;
}

/// The centres of the four quarters of a picture, in reading order.
inline std::array<std::array<int32_t, 2>, 4> QuarterCentres(int32_t width, int32_t height)
{
    const int32_t left = width / 4, top = height / 4, right = width * 3 / 4, bottom = height * 3 / 4;
    return {{{left, top}, {right, top}, {left, bottom}, {right, bottom}}};
}

/// Checks the middle of each quarter.
inline void ExpectQuarters(const TestPort& port, int tolerance, const std::string& name, bool grey = false)
{
    const auto pixels = port.Pixels();
    for (const auto& [x, y] : QuarterCentres(pixels.width, pixels.height)) {
        Color expected = QuarterColor(x, y, pixels.width, pixels.height);
        if (grey)
            expected = {LumaOf(expected), LumaOf(expected), LumaOf(expected)};
        EXPECT_LE(Distance(port.ColorAt(x, y), expected), tolerance)
            << name << " at " << x << "," << y << ": " << port.ColorAt(x, y) << " for " << expected;
    }
}

/// The bytes at an address, as the calls take them.
inline platform::OwnedBlock BlockOf(const std::vector<uint8_t>& bytes)
{
    platform::OwnedBlock block(static_cast<int64_t>(bytes.size()));
    std::ranges::copy(bytes, block.Bytes().begin());
    return block;
}

/// A JPEG of four quarters.
inline std::vector<uint8_t> QuartersJpeg(int32_t width, int32_t height)
{
    const auto pixels = Quarters(platform::kPixelFormat32, width, height);
    const auto block =
        platform::FrameCompressor::Create({})->Compress({pixels, platform::kPixelFormat32, width, height});
    return {block.Bytes().begin(), block.Bytes().end()};
}

// The frame with its Huffman tables cut out, as many cameras deliver it.
inline std::vector<uint8_t> WithoutHuffmanTables(const std::vector<uint8_t>& jpeg)
{
    std::vector<uint8_t> result = {0xFF, 0xD8};
    for (size_t at = 2; at + 4 < jpeg.size();) {
        const size_t size = jpeg[at + 1] == 0xDA ? jpeg.size() - at : 2U + jpeg[at + 2] * 256U + jpeg[at + 3];
        if (jpeg[at + 1] != 0xC4)
            result.insert(result.end(), jpeg.begin() + static_cast<ptrdiff_t>(at),
                          jpeg.begin() + static_cast<ptrdiff_t>(at + size));
        at += size;
    }
    return result;
}

} // namespace pictures

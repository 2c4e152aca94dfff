// SPDX-License-Identifier: MIT
// Decoding JPEG at a reduced size.
//
// A block's reduced picture is the inverse transform of its lowest frequencies at the reduced size: four by four of
// them for half the size, two by two for a quarter, the mean for an eighth.
#include "platform/compression/ReducedJpeg.h"

#include <algorithm>
#include <numbers>

namespace platform {
namespace {

constexpr uint8_t kMarker = 0xFF;
constexpr size_t kUnused = 16; ///< where coefficients go that the reduced picture does not have

// Of each number of coefficients decoded in a block, the place of the last one: a vertical frequency has four places in
// a row, one for each horizontal frequency. The last numbers are those of codes that run past the block's end.
constexpr std::array<uint8_t, 160> kPlaces = [] {
    std::array<uint8_t, 160> places{};
    places.fill(kUnused);
    size_t x = 0, y = 0;
    for (size_t number = 1; number <= 64; ++number) {
        if (x < 4 && y < 4)
            places[number] = static_cast<uint8_t>(4 * y + x);
        const bool isUpwards = (x + y) % 2 == 0;
        size_t& away = isUpwards ? x : y;
        size_t& back = isUpwards ? y : x;
        if (away == 7)
            ++back;
        else if (back == 0)
            ++away;
        else {
            ++away;
            --back;
        }
    }
    return places;
}();

using Floats = float __attribute__((vector_size(16)));
using Integers = int32_t __attribute__((vector_size(16)));

Floats LoadScaled(const int32_t* coefficients, const float* scale)
{
    Integers values;
    Floats factors;
    std::memcpy(&values, coefficients, sizeof values);
    std::memcpy(&factors, scale, sizeof factors);
    return __builtin_convertvector(values, Floats) * factors;
}

// Named members stay in registers, which those of an array do not.
struct FourVectors {
    Floats a, b, c, d;
};

// The transform of four values in one direction, whose scale is in the coefficients.
FourVectors Transformed(const FourVectors& v)
{
    constexpr float kCos1 = 0.92387953F; // of pi / 8
    constexpr float kCos3 = 0.38268343F; // of 3 pi / 8
    const Floats even0 = v.a + v.c, even1 = v.a - v.c;
    const Floats odd0 = v.b * kCos1 + v.d * kCos3;
    const Floats odd1 = v.b * kCos3 - v.d * kCos1;
    return {even0 + odd0, even1 + odd1, even1 - odd1, even0 - odd0};
}

FourVectors Transposed(const FourVectors& v)
{
    const Floats low01 = __builtin_shufflevector(v.a, v.b, 0, 4, 1, 5);
    const Floats low23 = __builtin_shufflevector(v.c, v.d, 0, 4, 1, 5);
    const Floats high01 = __builtin_shufflevector(v.a, v.b, 2, 6, 3, 7);
    const Floats high23 = __builtin_shufflevector(v.c, v.d, 2, 6, 3, 7);
    return {__builtin_shufflevector(low01, low23, 0, 1, 4, 5), __builtin_shufflevector(low01, low23, 2, 3, 6, 7),
            __builtin_shufflevector(high01, high23, 0, 1, 4, 5), __builtin_shufflevector(high01, high23, 2, 3, 6, 7)};
}

constexpr float kMiddle = 128.5F; ///< the middle of the range, and half for rounding

uint8_t ToPixel(float value)
{
    return static_cast<uint8_t>(std::clamp(value + kMiddle, 0.0F, 255.0F));
}

// Without a loop, which the compiler would keep.
void PutRows(const std::array<int32_t, 4>& rows, uint8_t* target, int32_t rowBytes)
{
    const ptrdiff_t step = rowBytes;
    std::memcpy(target, &rows[0], 4);
    std::memcpy(target + step, &rows[1], 4);
    std::memcpy(target + 2 * step, &rows[2], 4);
    std::memcpy(target + 3 * step, &rows[3], 4);
}

Integers ToPixels(const Floats& values)
{
    const Floats positive = values > 0.0F ? values : Floats{};
    const Floats limited = positive < 255.0F ? positive : Floats{} + 255.0F;
    return __builtin_convertvector(limited, Integers);
}

void DrawFour(const int32_t* coefficients, const float* scale, uint8_t* target, int32_t rowBytes)
{
    FourVectors v{LoadScaled(coefficients, scale), LoadScaled(coefficients + 4, scale + 4),
                  LoadScaled(coefficients + 8, scale + 8), LoadScaled(coefficients + 12, scale + 12)};
    v.a += Floats{kMiddle};
    v = Transformed(Transposed(Transformed(v)));
    // Each vector is a column now. A row of four pixels has one byte of each.
    constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;
    const auto& [first, second, third, fourth] = kIsLittleEndian ? v : FourVectors{v.d, v.c, v.b, v.a};
    const Integers rows = ToPixels(first) | ToPixels(second) << 8 | ToPixels(third) << 16 | ToPixels(fourth) << 24;
    PutRows({rows[0], rows[1], rows[2], rows[3]}, target, rowBytes);
}

void DrawTwo(const int32_t* coefficients, const float* scale, uint8_t* target, int32_t rowBytes)
{
    const auto at = [&](size_t place) { return static_cast<float>(coefficients[place]) * scale[place]; };
    const float mean = at(0), across = at(1), down = at(4), both = at(5);
    target[0] = ToPixel(mean + across + down + both);
    target[1] = ToPixel(mean - across + down - both);
    target[rowBytes] = ToPixel(mean + across - down - both);
    target[rowBytes + 1] = ToPixel(mean - across - down + both);
}

// A row of up to four equal pixels is one number.
void Fill(uint8_t pixel, int32_t side, uint8_t* target, int32_t rowBytes)
{
    const auto row = static_cast<int32_t>(pixel * 0x01010101U);
    if (side == 4)
        PutRows({row, row, row, row}, target, rowBytes);
    else if (side == 2)
        for (int32_t y = 0; y < 2; ++y)
            std::memcpy(target + ptrdiff_t{y} * rowBytes, &row, 2);
    else
        *target = pixel;
}

void Draw(const int32_t* coefficients, const float* scale, int32_t side, uint8_t* target, int32_t rowBytes)
{
    if (side == 4)
        DrawFour(coefficients, scale, target, rowBytes);
    else if (side == 2)
        DrawTwo(coefficients, scale, target, rowBytes);
    else
        Fill(ToPixel(static_cast<float>(coefficients[0]) * scale[0]), side, target, rowBytes);
}

int32_t DividedUp(int32_t value, int32_t divisor)
{
    return (value + divisor - 1) / divisor;
}

} // namespace

std::optional<PlanarPicture> ReducedJpeg::Decode(std::span<const uint8_t> jpeg, int32_t width, int32_t height,
                                                 int32_t factor)
{
    if (!headers.Read(jpeg) || headers.width != width || headers.height != height)
        return std::nullopt;
    RemoveStuffing(headers.scan);
    Prepare(factor);
    if (!DecodeScan())
        return std::nullopt;
    return Picture(factor);
}

// Copies the scan without the zeros after bytes of 0xFF, split at the restart markers, to the first other marker.
void ReducedJpeg::RemoveStuffing(std::span<const uint8_t> scan)
{
    segmentEnds.clear();
    if (scanBytes.size() < scan.size() + kJpegReadAhead)
        scanBytes.resize(scan.size() + kJpegReadAhead);
    uint8_t* target = scanBytes.data();
    const auto position = [&] { return static_cast<size_t>(target - scanBytes.data()); };
    while (!scan.empty()) {
        const void* found = std::memchr(scan.data(), kMarker, scan.size());
        const size_t length =
            found == nullptr ? scan.size() : static_cast<size_t>(static_cast<const uint8_t*>(found) - scan.data());
        std::memcpy(target, scan.data(), length);
        target += length;
        scan = scan.subspan(length);
        if (scan.size() < 2)
            break;
        const uint8_t code = scan[1];
        if (code == 0)
            *target++ = kMarker;
        else if (code >= 0xD0 && code <= 0xD7)
            segmentEnds.push_back(position());
        else if (code != kMarker)
            break;
        scan = scan.subspan(code == kMarker ? 1 : 2);
    }
    segmentEnds.push_back(position());
    std::memset(target, 0, kJpegReadAhead);
}

void ReducedJpeg::Prepare(int32_t factor)
{
    side = 8 / factor;
    columns = DividedUp(headers.width, 8 * headers.components[0].horizontal);
    rows = DividedUp(headers.height, 8 * headers.components[0].vertical);
    for (size_t i = 0; i < planes.size(); ++i)
        PreparePlane(planes[i], headers.components[i]);
}

void ReducedJpeg::PreparePlane(Plane& plane, const JpegHeaders::Component& component)
{
    plane.horizontal = component.horizontal;
    plane.vertical = component.vertical;
    plane.others = headers.ac[component.acTable];
    plane.first = headers.dc[component.dcTable].JoinedWithEnds(plane.others);
    plane.rowBytes = columns * plane.horizontal * side;
    const int32_t lines = rows * plane.vertical * side;
    plane.pixels.resize(static_cast<size_t>(plane.rowBytes) * static_cast<size_t>(lines));
    // In each direction half for even frequencies, the root of half for odd ones, and half for the size.
    constexpr float kOdd = std::numbers::sqrt2_v<float> / 2;
    for (size_t number = 1; number <= 64; ++number)
        if (const size_t place = kPlaces[number]; place < kUnused) {
            const float across = side == 4 && place % 2 == 1 ? kOdd : 0.5F;
            const float down = side == 4 && place / 4 % 2 == 1 ? kOdd : 0.5F;
            plane.scale[place] =
                static_cast<float>(headers.quantization[component.quantization][number - 1]) * across * down * 0.5F;
        }
}

// Decodes a block's codes and draws it. False for bits that are no code.
bool ReducedJpeg::DecodeBlock(JpegBits& reader, Plane& plane, uint8_t* target)
{
    // A copy stays in registers.
    JpegBits bits = reader;
    bits.Refill();
    const auto first = plane.first.Look(bits);
    bits.Drop(first.length);
    plane.lastDc = static_cast<int16_t>(plane.lastDc + first.value);
    bool isCode = first.length != 0;
    if (first.step == JpegHuffmanTable::kEndOfBlock) {
        reader = bits;
        Fill(ToPixel(static_cast<float>(plane.lastDc) * plane.scale[0]), side, target, plane.rowBytes);
        return isCode;
    }
    alignas(16) std::array<int32_t, kUnused + 1> coefficients{};
    coefficients[0] = plane.lastDc;
    size_t decoded = 1;
    const auto take = [&] {
        const auto value = plane.others.Look(bits);
        bits.Drop(value.length);
        isCode = isCode && value.length != 0;
        decoded += value.step;
        coefficients[kPlaces[decoded]] = value.value;
    };
    while (true) {
        take();
        if (decoded >= 64)
            break;
        bits.Refill();
        take();
        if (decoded >= 64)
            break;
        if (bits.Available() < 32) [[unlikely]]
            bits.Refill();
    }
    reader = bits;
    Draw(coefficients.data(), plane.scale.data(), side, target, plane.rowBytes);
    return isCode;
}

bool ReducedJpeg::DecodeGroup(JpegBits& bits, int32_t column, int32_t row)
{
    for (Plane& plane : planes)
        for (int32_t y = 0; y < plane.vertical; ++y)
            for (int32_t x = 0; x < plane.horizontal; ++x) {
                const ptrdiff_t line = ptrdiff_t{row * plane.vertical + y} * side;
                const ptrdiff_t pixel = ptrdiff_t{column * plane.horizontal + x} * side;
                if (!DecodeBlock(bits, plane, plane.pixels.data() + line * plane.rowBytes + pixel))
                    return false;
            }
    return true;
}

bool ReducedJpeg::DecodeScan()
{
    const int32_t groups = columns * rows;
    const int32_t interval = headers.restartInterval == 0 ? groups : headers.restartInterval;
    if (static_cast<int64_t>(segmentEnds.size()) < DividedUp(groups, interval))
        return false;
    for (int32_t group = 0; group < groups;) {
        const auto segment = static_cast<size_t>(group / interval);
        JpegBits bits(scanBytes.data() + (segment == 0 ? 0 : segmentEnds[segment - 1]));
        const uint8_t* end = scanBytes.data() + segmentEnds[segment];
        for (Plane& plane : planes)
            plane.lastDc = 0;
        for (const int32_t last = std::min(groups - group, interval) + group; group < last; ++group)
            if (!DecodeGroup(bits, group % columns, group / columns) || bits.Position() > end)
                return false;
    }
    return true;
}

PlanarPicture ReducedJpeg::Picture(int32_t factor) const
{
    PlanarPicture picture;
    for (size_t i = 0; i < planes.size(); ++i) {
        picture.planes[i] = planes[i].pixels.data();
        picture.rowBytes[i] = planes[i].rowBytes;
    }
    picture.width = DividedUp(headers.width, factor);
    picture.height = DividedUp(headers.height, factor);
    picture.chromaWidth = DividedUp(headers.width, factor * planes[0].horizontal);
    picture.chromaHeight = DividedUp(headers.height, factor * planes[0].vertical);
    return picture;
}

} // namespace platform

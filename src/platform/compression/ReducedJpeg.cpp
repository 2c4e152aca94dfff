// SPDX-License-Identifier: MIT
// Decoding JPEG at a reduced size.
//
// A block's reduced picture is the inverse transform of its lowest frequencies at the reduced size: four by four of
// them for half the size, two by two for a quarter, the mean for an eighth.
#include "platform/compression/ReducedJpeg.h"

#include <algorithm>
#include <numbers>
#include <turbojpeg.h>

namespace platform {
namespace {

constexpr uint8_t kMarker = 0xFF;
constexpr uint8_t kStartOfImage = 0xD8;
constexpr uint8_t kStartOfScan = 0xDA;
constexpr size_t kUnused = 16; ///< where coefficients go that the reduced picture does not have

// Of each number of coefficients decoded in a block, the place of the last one: a horizontal frequency has four places
// in a row, one for each vertical frequency. The last numbers are those of codes that run past the block's end.
constexpr std::array<uint8_t, 160> kPlaces = [] {
    std::array<uint8_t, 160> places{};
    places.fill(kUnused);
    size_t x = 0, y = 0;
    for (size_t number = 1; number <= 64; ++number) {
        if (x < 4 && y < 4)
            places[number] = static_cast<uint8_t>(4 * x + y);
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

// The transform of four values in one direction, whose scale is in the coefficients.
void Transform(std::array<Floats, 4>& v)
{
    constexpr float kCos1 = 0.92387953F; // of pi / 8
    constexpr float kCos3 = 0.38268343F; // of 3 pi / 8
    const Floats even0 = v[0] + v[2], even1 = v[0] - v[2];
    const Floats odd0 = v[1] * kCos1 + v[3] * kCos3;
    const Floats odd1 = v[1] * kCos3 - v[3] * kCos1;
    v = {even0 + odd0, even1 + odd1, even1 - odd1, even0 - odd0};
}

void Transpose(std::array<Floats, 4>& v)
{
    const Floats low01 = __builtin_shufflevector(v[0], v[1], 0, 4, 1, 5);
    const Floats low23 = __builtin_shufflevector(v[2], v[3], 0, 4, 1, 5);
    const Floats high01 = __builtin_shufflevector(v[0], v[1], 2, 6, 3, 7);
    const Floats high23 = __builtin_shufflevector(v[2], v[3], 2, 6, 3, 7);
    v = {__builtin_shufflevector(low01, low23, 0, 1, 4, 5), __builtin_shufflevector(low01, low23, 2, 3, 6, 7),
         __builtin_shufflevector(high01, high23, 0, 1, 4, 5), __builtin_shufflevector(high01, high23, 2, 3, 6, 7)};
}

constexpr float kMiddle = 128.5F; ///< the middle of the range, and half for rounding

uint8_t ToPixel(float value)
{
    return static_cast<uint8_t>(std::clamp(value + kMiddle, 0.0F, 255.0F));
}

void DrawFour(const int32_t* coefficients, const float* scale, uint8_t* target, int32_t rowBytes)
{
    std::array<Floats, 4> v;
    for (size_t i = 0; i < 4; ++i)
        v[i] = LoadScaled(coefficients + 4 * i, scale + 4 * i);
    v[0][0] += kMiddle;
    Transform(v);
    Transpose(v);
    Transform(v);
    for (const Floats& row : v) {
        const Floats positive = row > 0.0F ? row : Floats{};
        const Floats limited = positive < 255.0F ? positive : Floats{} + 255.0F;
        const auto values = __builtin_convertvector(limited, Integers);
        for (int32_t x = 0; x < 4; ++x)
            target[x] = static_cast<uint8_t>(values[x]);
        target += rowBytes;
    }
}

void DrawTwo(const int32_t* coefficients, const float* scale, uint8_t* target, int32_t rowBytes)
{
    const auto at = [&](size_t place) { return static_cast<float>(coefficients[place]) * scale[place]; };
    const float mean = at(0), across = at(4), down = at(1), both = at(5);
    target[0] = ToPixel(mean + across + down + both);
    target[1] = ToPixel(mean - across + down - both);
    target[rowBytes] = ToPixel(mean + across - down - both);
    target[rowBytes + 1] = ToPixel(mean - across - down + both);
}

// A row of up to four equal pixels is one number.
void Fill(uint8_t pixel, int32_t side, uint8_t* target, int32_t rowBytes)
{
    const uint32_t row = pixel * 0x01010101U;
    if (side == 4)
        for (int32_t y = 0; y < 4; ++y)
            std::memcpy(target + ptrdiff_t{y} * rowBytes, &row, 4);
    else if (side == 2)
        for (int32_t y = 0; y < 2; ++y)
            std::memcpy(target + ptrdiff_t{y} * rowBytes, &row, 2);
    else
        *target = pixel;
}

int32_t DividedUp(int32_t value, int32_t divisor)
{
    return (value + divisor - 1) / divisor;
}

int32_t Word(std::span<const uint8_t> bytes, size_t at)
{
    return bytes[at] * 256 + bytes[at + 1];
}

// The library writes the tables of ITU-T T.81, Annex K, which frames without tables are meant to be decoded with.
std::vector<uint8_t> JpegWithStandardTables()
{
    const std::array<uint8_t, 3> pixel{};
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    std::vector<uint8_t> jpeg;
    if (tjhandle compressor = tjInitCompress()) {
        if (tjCompress2(compressor, pixel.data(), 1, 3, 1, TJPF_RGB, &bytes, &size, TJSAMP_444, 50, 0) == 0)
            jpeg.assign(bytes, bytes + size);
        tjDestroy(compressor);
    }
    tjFree(bytes);
    return jpeg;
}

} // namespace

ReducedJpeg::ReducedJpeg()
{
    if (ReadHeaders(JpegWithStandardTables()))
        standard = tables;
    standard.hasQuantization = {};
}

std::optional<PlanarPicture> ReducedJpeg::Decode(std::span<const uint8_t> jpeg, int32_t givenWidth, int32_t givenHeight,
                                                 int32_t factor)
{
    if (!ReadHeaders(jpeg) || width != givenWidth || height != givenHeight)
        return std::nullopt;
    Prepare(factor);
    if (!DecodeScan())
        return std::nullopt;
    return Picture(factor);
}

// Reads all segments to the scan, and the scan's bytes. Sets up for the next frame first, since a frame must not be
// decoded with another one's tables.
bool ReducedJpeg::ReadHeaders(Bytes jpeg)
{
    tables = standard;
    width = height = restartInterval = 0;
    if (jpeg.size() < 4 || jpeg[0] != kMarker || jpeg[1] != kStartOfImage)
        return false;
    size_t at = 2;
    while (at + 4 <= jpeg.size()) {
        if (jpeg[at] != kMarker)
            return false;
        const uint8_t marker = jpeg[at + 1];
        if (marker == kMarker) {
            ++at;
            continue;
        }
        const auto length = static_cast<size_t>(Word(jpeg, at + 2));
        if (length < 2 || at + 2 + length > jpeg.size())
            return false;
        const Bytes content = jpeg.subspan(at + 4, length - 2);
        at += 2 + length;
        if (marker == kStartOfScan) {
            if (!ReadScanHeader(content))
                return false;
            RemoveStuffing(jpeg.subspan(at));
            return true;
        }
        if (!ReadSegment(marker, content))
            return false;
    }
    return false;
}

bool ReducedJpeg::ReadSegment(uint8_t marker, Bytes content)
{
    constexpr uint8_t kBaseline = 0xC0, kExtended = 0xC1, kHuffman = 0xC4, kQuantization = 0xDB, kRestart = 0xDD;
    constexpr uint8_t kFirstApplication = 0xE0, kColorTransform = 0xEE, kLastApplication = 0xEF, kComment = 0xFE;
    switch (marker) {
    case kBaseline:
    case kExtended:
        return ReadFrame(content);
    case kHuffman:
        return ReadHuffman(content);
    case kQuantization:
        return ReadQuantization(content);
    case kRestart:
        restartInterval = content.size() == 2 ? Word(content, 0) : 0;
        return content.size() == 2;
    case kColorTransform: // may state RGB
        return false;
    default:
        return (marker >= kFirstApplication && marker <= kLastApplication) || marker == kComment;
    }
}

bool ReducedJpeg::ReadQuantization(Bytes content)
{
    while (!content.empty()) {
        const size_t bytes = content[0] >> 4 == 0 ? 1 : 2;
        const size_t table = content[0] & 15;
        if (table > 3 || content.size() < 1 + 64 * bytes)
            return false;
        for (size_t i = 0; i < 64; ++i)
            tables.quantization[table][i] =
                static_cast<uint16_t>(bytes == 1 ? content[1 + i] : Word(content, 1 + 2 * i));
        tables.hasQuantization[table] = true;
        content = content.subspan(1 + 64 * bytes);
    }
    return true;
}

bool ReducedJpeg::ReadHuffman(Bytes content)
{
    while (!content.empty()) {
        const uint8_t destination = content[0];
        if ((destination & 0xEF) > 3 || content.size() < 17)
            return false;
        const auto counts = content.subspan<1, 16>();
        size_t symbols = 0;
        for (const uint8_t count : counts)
            symbols += count;
        if (content.size() < 17 + symbols)
            return false;
        const bool isDc = destination < 16;
        auto& table = (isDc ? tables.dc : tables.ac)[destination & 15];
        if (!table.Build(counts, content.subspan(17, symbols), isDc))
            return false;
        content = content.subspan(17 + symbols);
    }
    return true;
}

bool ReducedJpeg::ReadFrame(Bytes content)
{
    if (width != 0 || content.size() != 15 || content[0] != 8 || content[5] != 3)
        return false;
    height = Word(content, 1);
    width = Word(content, 3);
    for (size_t i = 0; i < components.size(); ++i) {
        const Bytes each = content.subspan(6 + 3 * i, 3);
        components[i].id = each[0];
        components[i].horizontal = each[1] >> 4;
        components[i].vertical = each[1] & 15;
        components[i].quantization = each[2];
        if (each[2] > 3)
            return false;
    }
    const auto& [luma, blue, red] = components;
    const bool isRgb = luma.id == 'R' && blue.id == 'G' && red.id == 'B';
    const bool hasOneChroma = blue.horizontal == 1 && blue.vertical == 1 && red.horizontal == 1 && red.vertical == 1;
    const bool isSupported = (luma.horizontal == 1 && luma.vertical == 1) ||
                             (luma.horizontal == 2 && (luma.vertical == 1 || luma.vertical == 2));
    return width > 0 && height > 0 && !isRgb && hasOneChroma && isSupported;
}

// A scan of all components, whose tables are there.
bool ReducedJpeg::ReadScanHeader(Bytes content)
{
    if (width == 0 || content.size() != 10 || content[0] != 3)
        return false;
    for (size_t i = 0; i < components.size(); ++i) {
        Component& component = components[i];
        component.dcTable = content[2 + 2 * i] >> 4;
        component.acTable = content[2 + 2 * i] & 15;
        if (content[1 + 2 * i] != component.id || component.dcTable > 3 || component.acTable > 3 ||
            !tables.dc[component.dcTable].IsBuilt() || !tables.ac[component.acTable].IsBuilt() ||
            !tables.hasQuantization[component.quantization])
            return false;
    }
    return true;
}

// Copies the scan without the zeros after bytes of 0xFF, split at the restart markers, to the first other marker.
void ReducedJpeg::RemoveStuffing(Bytes scan)
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
    columns = DividedUp(width, 8 * components[0].horizontal);
    rows = DividedUp(height, 8 * components[0].vertical);
    for (Component& component : components) {
        component.rowBytes = columns * component.horizontal * side;
        const int32_t lines = rows * component.vertical * side;
        component.pixels.resize(static_cast<size_t>(component.rowBytes) * static_cast<size_t>(lines));
        // In each direction half for even frequencies, the root of half for odd ones, and half for the size.
        constexpr float kOdd = std::numbers::sqrt2_v<float> / 2;
        for (size_t number = 1; number <= 64; ++number)
            if (const size_t place = kPlaces[number]; place < kUnused) {
                const float across = side == 4 && place / 4 % 2 == 1 ? kOdd : 0.5F;
                const float down = side == 4 && place % 2 == 1 ? kOdd : 0.5F;
                component.scale[place] =
                    static_cast<float>(tables.quantization[component.quantization][number - 1]) * across * down * 0.5F;
            }
    }
}

// Decodes a block's codes and draws it. False for bits that are no code.
bool ReducedJpeg::DecodeBlock(JpegBits& reader, Component& component, uint8_t* target)
{
    // A copy stays in registers.
    JpegBits bits = reader;
    alignas(16) std::array<int32_t, kUnused + 1> coefficients{};
    bits.Refill();
    const auto dc = tables.dc[component.dcTable].Look(bits);
    bits.Drop(dc.length);
    component.lastDc = static_cast<int16_t>(component.lastDc + dc.value);
    coefficients[0] = component.lastDc;
    const JpegHuffmanTable& table = tables.ac[component.acTable];
    bool isCode = dc.length != 0;
    size_t decoded = 1;
    const auto take = [&] {
        const auto value = table.Look(bits);
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
    const bool isFlat = decoded == 1 + JpegHuffmanTable::kEndOfBlock;
    if (isFlat || side == 1)
        Fill(ToPixel(static_cast<float>(coefficients[0]) * component.scale[0]), side, target, component.rowBytes);
    else if (side == 2)
        DrawTwo(coefficients.data(), component.scale.data(), target, component.rowBytes);
    else
        DrawFour(coefficients.data(), component.scale.data(), target, component.rowBytes);
    return isCode;
}

bool ReducedJpeg::DecodeGroup(JpegBits& bits, int32_t column, int32_t row)
{
    for (Component& component : components)
        for (int32_t y = 0; y < component.vertical; ++y)
            for (int32_t x = 0; x < component.horizontal; ++x) {
                const ptrdiff_t line = ptrdiff_t{row * component.vertical + y} * side;
                const ptrdiff_t pixel = ptrdiff_t{column * component.horizontal + x} * side;
                if (!DecodeBlock(bits, component, component.pixels.data() + line * component.rowBytes + pixel))
                    return false;
            }
    return true;
}

bool ReducedJpeg::DecodeScan()
{
    const int32_t groups = columns * rows;
    const int32_t interval = restartInterval == 0 ? groups : restartInterval;
    if (static_cast<int64_t>(segmentEnds.size()) < DividedUp(groups, interval))
        return false;
    for (int32_t group = 0; group < groups;) {
        const auto segment = static_cast<size_t>(group / interval);
        JpegBits bits(scanBytes.data() + (segment == 0 ? 0 : segmentEnds[segment - 1]));
        const uint8_t* end = scanBytes.data() + segmentEnds[segment];
        for (Component& component : components)
            component.lastDc = 0;
        for (const int32_t last = std::min(groups - group, interval) + group; group < last; ++group)
            if (!DecodeGroup(bits, group % columns, group / columns) || bits.Position() > end)
                return false;
    }
    return true;
}

PlanarPicture ReducedJpeg::Picture(int32_t factor) const
{
    PlanarPicture picture;
    for (size_t i = 0; i < components.size(); ++i) {
        picture.planes[i] = components[i].pixels.data();
        picture.rowBytes[i] = components[i].rowBytes;
    }
    picture.width = DividedUp(width, factor);
    picture.height = DividedUp(height, factor);
    picture.chromaWidth = DividedUp(width, factor * components[0].horizontal);
    picture.chromaHeight = DividedUp(height, factor * components[0].vertical);
    return picture;
}

} // namespace platform

// SPDX-License-Identifier: MIT
#include "platform/compression/JpegHeaders.h"

#include <turbojpeg.h>
#include <vector>

namespace platform {
namespace {

constexpr uint8_t kMarker = 0xFF;
constexpr uint8_t kStartOfImage = 0xD8;
constexpr uint8_t kStartOfScan = 0xDA;

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

JpegHeaders::JpegHeaders()
{
    Read(JpegWithStandardTables());
    scan = {};
    dc.KeepAsStandard();
    ac.KeepAsStandard();
}

bool JpegHeaders::Read(Bytes jpeg)
{
    dc.ForgetOwn();
    ac.ForgetOwn();
    hasQuantization = {};
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
            scan = jpeg.subspan(at);
            return ReadScan(content);
        }
        if (!ReadSegment(marker, content))
            return false;
    }
    return false;
}

bool JpegHeaders::ReadSegment(uint8_t marker, Bytes content)
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

bool JpegHeaders::ReadQuantization(Bytes content)
{
    while (!content.empty()) {
        const size_t bytes = content[0] >> 4 == 0 ? 1 : 2;
        const size_t table = content[0] & 15;
        if (table > 3 || content.size() < 1 + 64 * bytes)
            return false;
        for (size_t i = 0; i < 64; ++i)
            quantization[table][i] = static_cast<uint16_t>(bytes == 1 ? content[1 + i] : Word(content, 1 + 2 * i));
        hasQuantization[table] = true;
        content = content.subspan(1 + 64 * bytes);
    }
    return true;
}

bool JpegHeaders::ReadHuffman(Bytes content)
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
        if (!(isDc ? dc : ac).Own(destination & 15).Build(counts, content.subspan(17, symbols), isDc))
            return false;
        content = content.subspan(17 + symbols);
    }
    return true;
}

bool JpegHeaders::ReadFrame(Bytes content)
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
bool JpegHeaders::ReadScan(Bytes content)
{
    if (width == 0 || content.size() != 10 || content[0] != 3)
        return false;
    for (size_t i = 0; i < components.size(); ++i) {
        Component& component = components[i];
        component.dcTable = content[2 + 2 * i] >> 4;
        component.acTable = content[2 + 2 * i] & 15;
        if (content[1 + 2 * i] != component.id || component.dcTable > 3 || component.acTable > 3 ||
            !dc[component.dcTable].IsBuilt() || !ac[component.acTable].IsBuilt() ||
            !hasQuantization[component.quantization])
            return false;
    }
    return true;
}

} // namespace platform

// SPDX-License-Identifier: MIT
#include "platform/compression/NalUnits.h"

#include <algorithm>

namespace platform {
namespace {

constexpr size_t kLengthSize = 4;

// Unit types.
constexpr uint8_t kH264Slice = 1, kH264IdrSlice = 5, kH264Sps = 7, kH264Pps = 8;
constexpr uint8_t kHevcFirstKeySlice = 16, kHevcLastKeySlice = 23, kHevcLastSlice = 31;
constexpr uint8_t kHevcVps = 32, kHevcSps = 33, kHevcPps = 34;

uint8_t TypeOf(NalCodec codec, std::span<const uint8_t> unit)
{
    return codec == NalCodec::H264 ? unit[0] & 0x1F : (unit[0] >> 1) & 0x3F;
}

using Units = std::vector<std::span<const uint8_t>>;

Units UnitsOfType(NalCodec codec, std::span<const uint8_t> header, uint8_t type)
{
    Units found;
    NalReader units(header, NalFraming::StartCodes);
    while (const auto unit = units.Next())
        if (TypeOf(codec, *unit) == type)
            found.push_back(*unit);
    return found;
}

// The first bytes of a unit without the emulation prevention bytes (a 3 after two zeros).
std::vector<uint8_t> Unescaped(std::span<const uint8_t> unit, size_t count)
{
    std::vector<uint8_t> plain;
    size_t zeros = 0;
    for (const uint8_t byte : unit) {
        if (plain.size() == count)
            break;
        const bool isEscape = zeros >= 2 && byte == 3;
        zeros = byte == 0 ? zeros + 1 : 0;
        if (!isEscape)
            plain.push_back(byte);
    }
    return plain;
}

void AppendSize16(std::vector<uint8_t>& record, size_t size)
{
    record.push_back(static_cast<uint8_t>(size >> 8));
    record.push_back(static_cast<uint8_t>(size));
}

void AppendUnits(std::vector<uint8_t>& record, const Units& units)
{
    for (const auto& unit : units) {
        AppendSize16(record, unit.size());
        record.insert(record.end(), unit.begin(), unit.end());
    }
}

std::vector<uint8_t> AvcConfiguration(std::span<const uint8_t> header)
{
    constexpr uint8_t kHigh = 100;
    const Units sps = UnitsOfType(NalCodec::H264, header, kH264Sps);
    const Units pps = UnitsOfType(NalCodec::H264, header, kH264Pps);
    constexpr size_t kMaxSequenceSets = 31, kMaxPictureSets = 255;
    if (sps.empty() || sps[0].size() < 4 || pps.empty() || sps.size() > kMaxSequenceSets ||
        pps.size() > kMaxPictureSets)
        return {};
    const uint8_t profile = sps[0][1];
    std::vector<uint8_t> record{1, profile, sps[0][2], sps[0][3]};
    record.push_back(0xFC | (kLengthSize - 1));
    record.push_back(static_cast<uint8_t>(0xE0 | sps.size()));
    AppendUnits(record, sps);
    record.push_back(static_cast<uint8_t>(pps.size()));
    AppendUnits(record, pps);
    if (profile >= kHigh)
        record.insert(record.end(), {0xFC | 1, 0xF8, 0xF8, 0}); // 4:2:0, 8 bits of luma and chroma, no extension
    return record;
}

std::vector<uint8_t> HevcConfiguration(std::span<const uint8_t> header)
{
    // Two bytes of unit header, one of identifiers, then profile, tier and level.
    constexpr size_t kIdentifiers = 2, kProfile = 3, kProfileSize = 12;
    const uint8_t types[] = {kHevcVps, kHevcSps, kHevcPps};
    const Units sps = UnitsOfType(NalCodec::Hevc, header, kHevcSps);
    const auto start = sps.empty() ? std::vector<uint8_t>() : Unescaped(sps[0], kProfile + kProfileSize);
    if (start.size() < kProfile + kProfileSize)
        return {};
    std::vector<uint8_t> record{1};
    record.insert(record.end(), start.begin() + kProfile, start.end());
    record.insert(record.end(), {0xF0, 0, 0xFC, 0xFC | 1, 0xF8, 0xF8}); // no restrictions, 4:2:0, 8 bits
    record.insert(record.end(), {0, 0});                                // no constant rate
    const uint8_t layers = ((start[kIdentifiers] >> 1) & 7) + 1, nested = start[kIdentifiers] & 1;
    record.push_back(static_cast<uint8_t>(layers << 3 | nested << 2 | (kLengthSize - 1)));
    record.push_back(std::size(types));
    for (const uint8_t type : types) {
        const Units units = UnitsOfType(NalCodec::Hevc, header, type);
        if (units.empty())
            return {};
        record.push_back(0x80 | type); // complete
        AppendSize16(record, units.size());
        AppendUnits(record, units);
    }
    return record;
}

} // namespace

NalReader::NalReader(std::span<const uint8_t> bytes, NalFraming framing) : bytes(bytes), framing(framing)
{
    if (framing == NalFraming::StartCodes)
        at = FindStartCode(0);
}

std::optional<std::span<const uint8_t>> NalReader::Next()
{
    if (framing == NalFraming::Lengths)
        return NextByLength();
    while (at < bytes.size()) {
        const size_t start = at + 3;
        at = FindStartCode(start);
        size_t end = at;
        while (end > start && bytes[end - 1] == 0)
            --end;
        if (end > start)
            return bytes.subspan(start, end - start);
    }
    return std::nullopt;
}

std::optional<std::span<const uint8_t>> NalReader::NextByLength()
{
    while (bytes.size() - at > kLengthSize) {
        size_t length = 0;
        for (const size_t end = at + kLengthSize; at < end; ++at)
            length = length << 8 | bytes[at];
        if (length > bytes.size() - at)
            return std::nullopt;
        const auto unit = bytes.subspan(at, length);
        at += length;
        if (!unit.empty())
            return unit;
    }
    return std::nullopt;
}

// The position of the next 0, 0, 1; the end if there is none. Every third byte shows whether one may be near.
size_t NalReader::FindStartCode(size_t from) const
{
    for (size_t i = from + 2; i < bytes.size(); i += bytes[i] == 0 ? 1U : 3U)
        if (bytes[i] <= 1) {
            if (bytes[i] == 1 && bytes[i - 1] == 0 && bytes[i - 2] == 0)
                return i - 2;
        }
    return bytes.size();
}

bool IsSequenceParameterSet(std::span<const uint8_t> unit)
{
    return TypeOf(NalCodec::H264, unit) == kH264Sps;
}

bool IsPictureParameterSet(std::span<const uint8_t> unit)
{
    return TypeOf(NalCodec::H264, unit) == kH264Pps;
}

void AppendWithLength(std::span<const uint8_t> unit, std::vector<uint8_t>& target)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        target.push_back(static_cast<uint8_t>(unit.size() >> shift));
    target.insert(target.end(), unit.begin(), unit.end());
}

std::optional<bool> IsKeyPicture(NalCodec codec, std::span<const uint8_t> unit)
{
    const uint8_t type = TypeOf(codec, unit);
    if (codec == NalCodec::H264)
        return type >= kH264Slice && type <= kH264IdrSlice ? std::optional(type == kH264IdrSlice) : std::nullopt;
    if (type > kHevcLastSlice)
        return std::nullopt;
    return type >= kHevcFirstKeySlice && type <= kHevcLastKeySlice;
}

size_t SizeWithLengths(std::span<const uint8_t> frame)
{
    size_t size = 0;
    NalReader units(frame, NalFraming::StartCodes);
    while (const auto unit = units.Next())
        size += kLengthSize + unit->size();
    return size;
}

void StoreWithLengths(std::span<const uint8_t> frame, std::span<uint8_t> target)
{
    auto out = target.begin();
    NalReader units(frame, NalFraming::StartCodes);
    while (const auto unit = units.Next()) {
        for (int shift = 24; shift >= 0; shift -= 8)
            *out++ = static_cast<uint8_t>(unit->size() >> shift);
        out = std::ranges::copy(*unit, out).out;
    }
}

std::vector<uint8_t> DecoderConfiguration(NalCodec codec, std::span<const uint8_t> header)
{
    return codec == NalCodec::H264 ? AvcConfiguration(header) : HevcConfiguration(header);
}

} // namespace platform

// SPDX-License-Identifier: MIT
#include "platform/compression/ImageDescription.h"

#include "platform/components/FunctionTable.h"
#include "platform/compression/RawPictures.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/drawing/Ports.h"
#include "platform/memory/FixedPoint.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

constexpr size_t kMaxNameLength = 31;
constexpr FourCharCode kVendor = CodeOf("velm");
constexpr int32_t kResolution = 72;

// The stride of raw pixels: eight bytes of atom header, then the bytes from row to row.
constexpr FourCharCode kRowBytesAtom = CodeOf("rowB");
constexpr size_t kRowBytesAtomSize = 12;

enum Offset : size_t {
    kSizeOffset = 0,
    kCodecOffset = 4,
    kDataReferenceOffset = 14,
    kVendorOffset = 20,
    kTemporalQualityOffset = 24,
    kSpatialQualityOffset = 28,
    kWidthOffset = 32,
    kHeightOffset = 34,
    kHorizontalResolutionOffset = 36,
    kVerticalResolutionOffset = 40,
    kDataSizeOffset = 44,
    kFrameCountOffset = 48,
    kNameOffset = 50,
    kDepthOffset = 82,
    kColorTableOffset = 84,
};

template <typename T> void Put(std::vector<uint8_t>& record, size_t offset, T value)
{
    std::memcpy(record.data() + offset, &value, sizeof(T));
}

template <typename T> T Get(std::span<const uint8_t> record, size_t offset)
{
    T value;
    std::memcpy(&value, record.data() + offset, sizeof(T));
    return value;
}

// Atoms are big-endian, as in files.
void AppendBig(std::vector<uint8_t>& bytes, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t BigAt(std::span<const uint8_t> bytes, size_t offset)
{
    return __builtin_bswap32(Get<uint32_t>(bytes, offset));
}

// Removes the stride's atom from a description's extensions, so that they contain only what belongs to the codec.
// Extensions that are not a well-formed list of atoms are not changed.
void TakeRowBytes(ImageDescription& description)
{
    auto& atoms = description.extensions;
    for (size_t at = 0; at + 8 <= atoms.size();) {
        const size_t size = BigAt(atoms, at);
        if (size < 8 || size > atoms.size() - at)
            return;
        if (BigAt(atoms, at + 4) == kRowBytesAtom && size == kRowBytesAtomSize) {
            description.rowBytes = static_cast<int32_t>(BigAt(atoms, at + 8));
            const auto start = atoms.begin() + static_cast<ptrdiff_t>(at);
            atoms.erase(start, start + static_cast<ptrdiff_t>(size));
            return;
        }
        at += size;
    }
}

} // namespace

std::optional<std::span<const uint8_t>> FindAtom(std::span<const uint8_t> atoms, FourCharCode type)
{
    constexpr size_t kHeader = 8;
    while (atoms.size() >= kHeader) {
        const size_t size = BigAt(atoms, 0);
        if (size < kHeader || size > atoms.size())
            return std::nullopt;
        if (BigAt(atoms, 4) == type)
            return atoms.subspan(kHeader, size - kHeader);
        atoms = atoms.subspan(size);
    }
    return std::nullopt;
}

bool IsDecodedAlike(const ImageDescription& a, const ImageDescription& b)
{
    return a.codec == b.codec && a.depth == b.depth && a.width == b.width && a.height == b.height &&
           a.rowBytes == b.rowBytes && a.extensions == b.extensions;
}

void AppendExtension(ImageDescription& description, FourCharCode type, std::span<const uint8_t> content)
{
    constexpr size_t kHeader = 8;
    AppendBig(description.extensions, static_cast<uint32_t>(kHeader + content.size()));
    AppendBig(description.extensions, type);
    description.extensions.insert(description.extensions.end(), content.begin(), content.end());
}

std::vector<uint8_t> RecordOf(const ImageDescription& description)
{
    std::vector<uint8_t> record(kImageDescriptionSize);
    Put(record, kCodecOffset, description.codec);
    Put(record, kDataReferenceOffset, int16_t{1});
    Put(record, kVendorOffset, kVendor);
    Put(record, kTemporalQualityOffset, description.temporalQuality);
    Put(record, kSpatialQualityOffset, description.spatialQuality);
    Put(record, kWidthOffset, static_cast<int16_t>(description.width));
    Put(record, kHeightOffset, static_cast<int16_t>(description.height));
    Put(record, kHorizontalResolutionOffset, Long2Fix(kResolution));
    Put(record, kVerticalResolutionOffset, Long2Fix(kResolution));
    Put(record, kDataSizeOffset, description.rowBytes * description.height);
    Put(record, kFrameCountOffset, int16_t{1});
    const size_t length = std::min(description.name.size(), kMaxNameLength);
    record[kNameOffset] = static_cast<uint8_t>(length);
    std::memcpy(record.data() + kNameOffset + 1, description.name.data(), length);
    Put(record, kDepthOffset, static_cast<int16_t>(description.depth));
    Put(record, kColorTableOffset, int16_t{-1});
    record.insert(record.end(), description.extensions.begin(), description.extensions.end());
    if (description.rowBytes != 0) {
        AppendBig(record, kRowBytesAtomSize);
        AppendBig(record, kRowBytesAtom);
        AppendBig(record, static_cast<uint32_t>(description.rowBytes));
    }
    Put(record, kSizeOffset, static_cast<int32_t>(record.size()));
    return record;
}

bool ReadImageDescription(std::span<const uint8_t> record, ImageDescription& description)
{
    if (record.size() < kImageDescriptionSize)
        return false;
    const auto size = Get<int32_t>(record, kSizeOffset);
    if (size < kImageDescriptionSize || static_cast<size_t>(size) > record.size())
        return false;
    ImageDescription read;
    read.codec = Get<FourCharCode>(record, kCodecOffset);
    read.temporalQuality = Get<int32_t>(record, kTemporalQualityOffset);
    read.spatialQuality = Get<int32_t>(record, kSpatialQualityOffset);
    read.width = Get<int16_t>(record, kWidthOffset);
    read.height = Get<int16_t>(record, kHeightOffset);
    read.depth = Get<int16_t>(record, kDepthOffset);
    if (!IsPictureSize(read.width, read.height))
        return false;
    const size_t length = std::min<size_t>(record[kNameOffset], kMaxNameLength);
    const auto* name = reinterpret_cast<const char*>(record.data() + kNameOffset + 1);
    read.name.assign(name, length);
    read.extensions.assign(record.begin() + kImageDescriptionSize, record.begin() + size);
    TakeRowBytes(read);
    description = std::move(read);
    return true;
}

Result MakeImageDescriptionForPixMap(PixMapReference map, Address handleCell)
{
    const auto pixels = LayoutOfPixMap(map);
    if (!pixels)
        return paramErr;
    ImageDescription description = DescriptionOfLayout(pixels->format, pixels->width, pixels->height);
    description.rowBytes = pixels->rowBytes;
    const Result result = SetHandleBytes(Peek<Handle>(handleCell), RecordOf(description));
    return result == nilHandleErr ? paramErr : result;
}

void StartCompression()
{
    ExportFunction("QuickTime.framework", "MakeImageDescriptionForPixMap", MakeImageDescriptionForPixMap);
}

} // namespace platform

// SPDX-License-Identifier: MIT
#include "platform/movies/SampleDescriptions.h"

#include "platform/compression/ImageDescription.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/movies/Movies.h"
#include "platform/movies/PictureAtoms.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

constexpr size_t kFormat = 4;
constexpr size_t kDataReferenceIndex = 14;
constexpr size_t kImageWidth = 32;
constexpr size_t kImageHeight = 34;
constexpr size_t kImageDataSize = 44;
constexpr size_t kSoundVersion = 16;
constexpr size_t kSoundChannels = 24;
constexpr size_t kSoundSampleSize = 26;
constexpr size_t kSoundRate = 32; // 16.16 fixed-point
constexpr size_t kSoundDescriptionSize = 36;
constexpr size_t kSoundDescriptionV1Size = 52;

constexpr size_t kTimecodeDescriptionSize = 34;

constexpr size_t kTimecode32[] = {0, 4, 20, 24, 28};
constexpr size_t kImage32[] = {0, 4, 20, 24, 28, 36, 40, 44};
constexpr size_t kImage16[] = {14, 16, 18, 32, 34, 48, 82, 84};
constexpr size_t kSound32[] = {0, 4, 20, 32};
constexpr size_t kSound16[] = {14, 16, 18, 24, 26, 28, 30};
constexpr size_t kSoundV132[] = {36, 40, 44, 48};

void Swap(std::vector<uint8_t>& record, std::span<const size_t> fields, size_t width)
{
    for (const size_t field : fields)
        std::reverse(record.begin() + static_cast<std::ptrdiff_t>(field),
                     record.begin() + static_cast<std::ptrdiff_t>(field + width));
}

template <typename T> T HostField(std::span<const uint8_t> record, size_t at)
{
    T value{};
    std::memcpy(&value, record.data() + at, sizeof(T));
    return value;
}

uint32_t FileField16(std::span<const uint8_t> record, size_t at)
{
    return ByteReader(record.subspan(at)).U16();
}

Result FileFormOfImage(std::span<const uint8_t> record, std::span<const uint8_t> sample, std::vector<uint8_t>& fileForm)
{
    ImageDescription description;
    if (!ReadImageDescription(record, description))
        return badImageDescription;
    fileForm.assign(record.begin(), record.begin() + HostField<int32_t>(record, 0));
    Swap(fileForm, kImage32, 4);
    Swap(fileForm, kImage16, 2);
    // The size of one frame's data says nothing about the track and would give each frame a description of its own.
    std::fill_n(fileForm.begin() + kImageDataSize, 4, uint8_t{0});
    AddPictureAtoms(description, sample, fileForm);
    return noErr;
}

// Samples of 24 bits need a description of version 1, which has the bytes per sample and per frame; its sample size
// field is 16 for anything larger.
void MakeVersion1(std::vector<uint8_t>& fileForm)
{
    constexpr uint32_t kSampleBytes = 3;
    ByteWriter version1;
    version1.U32(1); // samples per packet
    version1.U32(kSampleBytes);
    version1.U32(kSampleBytes * FileField16(fileForm, kSoundChannels));
    version1.U32(2); // uncompressed
    fileForm.insert(fileForm.begin() + kSoundDescriptionSize, version1.Bytes().begin(), version1.Bytes().end());
    fileForm[kSoundVersion + 1] = 1;
    fileForm[kSoundSampleSize + 1] = 16;
    fileForm[3] = static_cast<uint8_t>(fileForm.size());
}

Result FileFormOfTimecode(std::span<const uint8_t> record, std::vector<uint8_t>& fileForm)
{
    if (record.size() < kTimecodeDescriptionSize)
        return badImageDescription;
    fileForm.assign(record.begin(), record.begin() + kTimecodeDescriptionSize);
    Swap(fileForm, kTimecode32, 4);
    return noErr;
}

Result FileFormOfSound(std::span<const uint8_t> record, std::vector<uint8_t>& fileForm)
{
    if (record.size() < kSoundDescriptionSize)
        return badImageDescription;
    const auto size = HostField<uint32_t>(record, 0);
    const auto version = HostField<uint16_t>(record, kSoundVersion);
    const size_t fixedPart = version == 0 ? kSoundDescriptionSize : kSoundDescriptionV1Size;
    if (version > 1 || size < fixedPart || size > record.size() || HostField<int16_t>(record, kSoundChannels) < 1)
        return badImageDescription;
    fileForm.assign(record.begin(), record.begin() + size);
    Swap(fileForm, kSound32, 4);
    Swap(fileForm, kSound16, 2);
    if (version == 1)
        Swap(fileForm, kSoundV132, 4);
    else if (FormatOf(fileForm) == CodeOf("in24"))
        MakeVersion1(fileForm);
    return noErr;
}

} // namespace

Result FileFormOfDescription(FourCharCode mediaType, std::span<const uint8_t> record, std::span<const uint8_t> sample,
                             std::vector<uint8_t>& fileForm)
{
    const Result result = mediaType == kVideoMediaType      ? FileFormOfImage(record, sample, fileForm)
                          : mediaType == kTimecodeMediaType ? FileFormOfTimecode(record, fileForm)
                                                            : FileFormOfSound(record, fileForm);
    if (result == noErr) {
        // The movie's data is in one file, the first and only data reference.
        fileForm[kDataReferenceIndex] = 0;
        fileForm[kDataReferenceIndex + 1] = 1;
    }
    return result;
}

std::vector<uint8_t> MakeTimecodeDescription(int32_t timeScale, int32_t frameDuration, int32_t framesPerSecond,
                                             bool dropFrame)
{
    constexpr int32_t kDropFrame = 1;
    constexpr int32_t kDayOf24Hours = 2;
    std::vector<uint8_t> record(kTimecodeDescriptionSize);
    const auto put = [&record](size_t at, int32_t value) { std::memcpy(&record[at], &value, sizeof value); };
    put(0, static_cast<int32_t>(record.size()));
    put(kFormat, static_cast<int32_t>(kTimecodeMediaType));
    put(20, (dropFrame ? kDropFrame : 0) | kDayOf24Hours);
    put(24, timeScale);
    put(28, frameDuration);
    record[32] = static_cast<uint8_t>(framesPerSecond);
    return record;
}

bool ShapeDependsOnSample(FourCharCode mediaType, std::span<const uint8_t> record)
{
    return mediaType == kVideoMediaType && record.size() >= kImageDescriptionSize &&
           IsTapeFormat(HostField<FourCharCode>(record, kFormat));
}

ShownSize ShownSizeOf(const TrackContents& track)
{
    if (track.mediaType != kVideoMediaType || track.descriptions.empty() ||
        track.descriptions.front().size() < kImageDescriptionSize)
        return {track.width, track.height};
    const auto& description = track.descriptions.front();
    const PixelAspect aspect = PixelAspectIn(std::span(description).subspan(kImageDescriptionSize));
    const int64_t width = int64_t{FileField16(description, kImageWidth)} << 16;
    return {static_cast<Fixed>(std::min<int64_t>(width * aspect.horizontal / aspect.vertical, INT32_MAX)),
            static_cast<Fixed>(FileField16(description, kImageHeight) << 16)};
}

FourCharCode FormatOf(std::span<const uint8_t> fileForm)
{
    return fileForm.size() < kFormat + 4 ? 0 : ByteReader(fileForm.subspan(kFormat)).U32();
}

int64_t BytesPerSoundFrame(std::span<const uint8_t> fileForm)
{
    if (fileForm.size() < kSoundDescriptionSize)
        return 0;
    const int64_t channels = FileField16(fileForm, kSoundChannels);
    switch (FormatOf(fileForm)) {
    case CodeOf("raw "):
    case CodeOf("twos"):
    case CodeOf("sowt"):
        return channels * FileField16(fileForm, kSoundSampleSize) / 8;
    case CodeOf("in24"):
        return channels * 3;
    case CodeOf("ulaw"):
    case CodeOf("alaw"):
        return channels;
    default:
        return 0;
    }
}

int32_t SampleRateOf(std::span<const uint8_t> fileForm)
{
    if (fileForm.size() < kSoundDescriptionSize)
        return 0;
    const uint32_t half = FileField16(fileForm, kSoundRate + 2) >> 15;
    return static_cast<int32_t>(FileField16(fileForm, kSoundRate) + half);
}

std::vector<uint8_t> UnknownDescription(const TrackContents& track)
{
    constexpr uint32_t kImageSize = kImageDescriptionSize;
    const bool video = track.mediaType == kVideoMediaType;
    ByteWriter out;
    out.U32(video ? kImageSize : kSoundDescriptionSize);
    out.U32(CodeOf(video ? "raw " : "twos"));
    out.Zeros(6);
    out.U16(1); // data reference
    out.Zeros(8);
    if (video) {
        out.Zeros(8); // qualities
        out.U16(static_cast<uint16_t>(std::clamp(track.width >> 16, 1, kMaxPictureSide)));
        out.U16(static_cast<uint16_t>(std::clamp(track.height >> 16, 1, kMaxPictureSide)));
        out.U32(72U << 16); // pixels per inch
        out.U32(72U << 16);
        out.U32(0);
        out.U16(1);    // frames per sample
        out.Zeros(32); // name
        out.U16(24);
        out.U16(0xFFFF); // no colour table
    } else {
        out.U16(1);
        out.U16(16);
        out.U32(0);
        out.U32(static_cast<uint32_t>(std::clamp(track.timeScale, 1, 65535)) << 16);
    }
    return {out.Bytes().begin(), out.Bytes().end()};
}

} // namespace platform

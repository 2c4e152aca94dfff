// SPDX-License-Identifier: MIT
// Converts PCM from a source to the encoding of a channel.
//
// Each sample is widened to a signed 32-bit value with the same full scale; each encoding has a small function that
// writes this value or its upper half. Multi-byte encodings are written byte by byte, so that the result does not
// depend on the host's byte order.
#include "platform/sound/SoundFormatConversion.h"

#include "platform/sound/Sample24.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace platform {
namespace {

constexpr FourCharCode kRaw = CodeOf("raw ");
constexpr FourCharCode kTwos = CodeOf("twos");
constexpr FourCharCode kSowt = CodeOf("sowt");
constexpr FourCharCode kIn24 = CodeOf("in24");
constexpr FourCharCode kMuLaw = CodeOf("ulaw");
constexpr FourCharCode kALaw = CodeOf("alaw");

// ITU-T G.711 mu-law: the leading bit of the magnitude plus a bias of 132 selects one of eight segments; the four bits
// after it are kept. All bits are inverted.
uint8_t MuLawOf(int sample)
{
    constexpr int bias = 132;
    constexpr int highest = 32767 - bias;
    const int magnitude = std::min(std::abs(sample), highest) + bias;
    const int segment = static_cast<int>(std::bit_width(static_cast<unsigned>(magnitude))) - 8;
    const int code = (sample < 0 ? 0x80 : 0) | segment << 4 | (magnitude >> (segment + 3) & 0x0F);
    return static_cast<uint8_t>(~code);
}

// ITU-T G.711 A-law: the first segment is linear, the sign bit is set for positive values, every second bit is
// inverted.
uint8_t ALawOf(int sample)
{
    const int magnitude = (sample < 0 ? ~sample : sample) >> 3;
    const int segment = std::max(0, static_cast<int>(std::bit_width(static_cast<unsigned>(magnitude))) - 5);
    const int code = (sample < 0 ? 0 : 0x80) | segment << 4 | (magnitude >> std::max(1, segment) & 0x0F);
    return static_cast<uint8_t>(code ^ 0x55);
}

int Narrowed(int sample)
{
    return std::min((sample + 128) >> 8, 127);
}

int SampleAt(const uint8_t* source, int32_t sampleSize, size_t index)
{
    if (sampleSize == 8)
        return (source[index] - 128) * (1 << 24);
    if (sampleSize == 24)
        return WideSample24(source + index * 3);
    int16_t sample;
    std::memcpy(&sample, source + index * 2, sizeof sample);
    return sample * (1 << 16);
}

template <typename Writer>
void ConvertSamples(const uint8_t* source, int32_t sampleSize, size_t count, uint8_t* target, Writer write)
{
    for (size_t i = 0; i < count; ++i)
        write(SampleAt(source, sampleSize, i), target, i);
}

template <typename T> void PutAt(SoundDescription& record, size_t offset, T value)
{
    std::memcpy(record.data() + offset, &value, sizeof value);
}

} // namespace

std::vector<SoundCompressionName> AvailableSoundCompressions()
{
    return {{kRaw, "None"},
            {kSowt, "None, signed, little-endian"},
            {kTwos, "None, signed, big-endian"},
            {kMuLaw, "µ-law 2:1"},
            {kALaw, "A-law 2:1"}};
}

Result FindSoundCoding(FourCharCode compression, int32_t sampleSize, SoundCoding& coding)
{
    const auto isIt = [&](const SoundCompressionName& known) { return known.format == compression; };
    if (std::ranges::none_of(AvailableSoundCompressions(), isIt))
        return siInvalidCompression;
    if (sampleSize != 8 && sampleSize != 16 && sampleSize != 24)
        return siInvalidSampleSize;
    if (compression == kMuLaw || compression == kALaw)
        coding = {compression, 8};
    else if (sampleSize == 24)
        coding = {kIn24, 24};
    else
        coding = {compression == kRaw && sampleSize == 16 ? kSowt : compression, sampleSize};
    return noErr;
}

int32_t SourceSampleSize(const SoundCoding& coding)
{
    return coding.format == kMuLaw || coding.format == kALaw ? 16 : coding.sampleSize;
}

size_t CodedSize(size_t sourceBytes, int32_t sourceSampleSize, const SoundCoding& coding)
{
    return sourceBytes / static_cast<size_t>(sourceSampleSize / 8) * static_cast<size_t>(coding.sampleSize / 8);
}

size_t ConvertSound(std::span<const uint8_t> source, int32_t sourceSampleSize, const SoundCoding& coding,
                    std::span<uint8_t> target)
{
    const auto targetSampleBytes = static_cast<size_t>(coding.sampleSize / 8);
    const size_t count =
        std::min(source.size() / static_cast<size_t>(sourceSampleSize / 8), target.size() / targetSampleBytes);
    const auto convert = [&](auto write) {
        ConvertSamples(source.data(), sourceSampleSize, count, target.data(),
                       [write](int sample, uint8_t* bytes, size_t i) { write(sample >> 16, bytes, i); });
    };
    if (coding.format == kIn24)
        ConvertSamples(source.data(), sourceSampleSize, count, target.data(), [](int sample, uint8_t* bytes, size_t i) {
            for (const int shift : {24, 16, 8})
                bytes[3 * i + static_cast<size_t>(2 - (shift - 8) / 8)] = static_cast<uint8_t>(sample >> shift);
        });
    else if (coding.format == kMuLaw)
        convert([](int sample, uint8_t* bytes, size_t i) { bytes[i] = MuLawOf(sample); });
    else if (coding.format == kALaw)
        convert([](int sample, uint8_t* bytes, size_t i) { bytes[i] = ALawOf(sample); });
    else if (coding.format == kRaw)
        convert([](int sample, uint8_t* bytes, size_t i) { bytes[i] = static_cast<uint8_t>(Narrowed(sample) + 128); });
    else if (coding.sampleSize == 8)
        convert([](int sample, uint8_t* bytes, size_t i) { bytes[i] = static_cast<uint8_t>(Narrowed(sample)); });
    else
        convert([high = coding.format == kTwos ? 0U : 1U](int sample, uint8_t* bytes, size_t i) {
            bytes[2 * i + high] = static_cast<uint8_t>(sample >> 8);
            bytes[2 * i + 1 - high] = static_cast<uint8_t>(sample);
        });
    return count * targetSampleBytes;
}

SoundDescription DescribeSound(const SoundCoding& coding, double sampleRate, int32_t channels)
{
    SoundDescription record{};
    PutAt(record, 0, static_cast<int32_t>(record.size()));
    PutAt(record, 4, coding.format);
    PutAt(record, 14, int16_t{1});
    PutAt(record, 24, static_cast<int16_t>(channels));
    PutAt(record, 26, static_cast<int16_t>(coding.sampleSize));
    PutAt(record, 32, static_cast<uint32_t>(std::lround(std::clamp(sampleRate, 0.0, 65535.0) * 65536.0)));
    return record;
}

} // namespace platform

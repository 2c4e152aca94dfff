// SPDX-License-Identifier: MIT
// DV frames.
//
// A frame is 10 (525 lines) or 12 (625 lines) DIF sequences of 150 blocks of 80 bytes: one header, two subcode, three
// VAUX, then nine groups of one audio block and fifteen video blocks. An audio block has three bytes of identification,
// five of auxiliary data (a pack) and 72 bytes of samples. Samples are shuffled over the sequences so that a scratch on
// the tape spreads: sample n of a channel lies where `PlaceOf` says (SMPTE 314M, 4.6.2).
#include "platform/digitizer/dv/DvFrame.h"

#include "platform/dv/DvStream.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr size_t kBlockSize = 80;
constexpr size_t kSequenceSize = 150 * kBlockSize;
constexpr size_t kFirstAudioBlock = 6;
constexpr size_t kBlocksPerAudioGroup = 16;
constexpr size_t kSamplesStart = 8;
constexpr uint8_t kAudioSourcePack = 0x50;
constexpr int16_t kLostSample = INT16_MIN;

struct SoundLayout {
    bool isPal = false;
    double sampleRate = 0;
    size_t samples = 0; // of each channel in this frame
    bool twelveBit = false;
};

std::span<const uint8_t> AudioBlock(std::span<const uint8_t> frame, size_t sequence, size_t block)
{
    const size_t start = sequence * kSequenceSize + (kFirstAudioBlock + block * kBlocksPerAudioGroup) * kBlockSize;
    return frame.subspan(start, kBlockSize);
}

// The source pack is in the audio blocks of every sequence, so a lost one is found in another.
std::optional<std::span<const uint8_t>> FindSourcePack(std::span<const uint8_t> frame, size_t sequences)
{
    for (size_t sequence = 0; sequence < sequences; ++sequence)
        for (size_t block = 0; block < 9; ++block) {
            const auto audio = AudioBlock(frame, sequence, block);
            if (audio[0] != kLostSoundBlock && audio[3] == kAudioSourcePack)
                return audio.subspan(3, 5);
        }
    return std::nullopt;
}

std::optional<SoundLayout> ReadLayout(std::span<const uint8_t> frame, const DvFrameInfo& info)
{
    // Minimum number of samples per frame at 48, 44.1 and 32 kHz; the pack has the number in excess of it.
    static constexpr size_t kMinSamples[2][3] = {{1580, 1452, 1053}, {1896, 1742, 1264}};
    static constexpr double kRates[] = {48'000, 44'100, 32'000};
    const auto pack = FindSourcePack(frame, info.isPal ? 12 : 10);
    if (!pack)
        return std::nullopt;
    const size_t rate = ((*pack)[4] >> 3) & 7;
    const size_t quantisation = (*pack)[4] & 7;
    if (rate > 2 || quantisation > 1)
        return std::nullopt;
    return SoundLayout{info.isPal, kRates[rate], kMinSamples[info.isPal ? 1 : 0][rate] + ((*pack)[1] & 0x3F),
                       quantisation == 1};
}

struct Place {
    size_t sequence;
    size_t block;
    size_t byte;
};

// The position of sample n of a channel. The left channel is in the first half of the sequences, the right one in the
// second.
Place PlaceOf(size_t n, size_t channel, const SoundLayout& layout)
{
    const size_t half = layout.isPal ? 6 : 5;
    const size_t inRow = layout.isPal ? 54 : 45;
    const size_t bytes = layout.twelveBit ? 3 : 2;
    return {(n / 3 + 2 * (n % 3)) % half + channel * half, 3 * (n % 3) + n % inRow / (inRow / 3),
            kSamplesStart + bytes * (n / inRow)};
}

// 12-bit samples are companded: beyond the first 512 values each step of 256 doubles (IEC 61834-2).
int16_t ExpandTwelveBits(uint16_t code)
{
    if (code == 0x800)
        return kLostSample;
    const int value = code < 0x800 ? code : static_cast<int>(code) - 0x1000;
    const int magnitude = value < 0 ? -(value + 1) : value;
    const int segment = magnitude >> 8;
    if (segment < 2)
        return static_cast<int16_t>(value);
    const int expanded = (magnitude - ((segment - 1) << 8)) << (segment - 1);
    return static_cast<int16_t>(value < 0 ? -expanded - 1 : expanded);
}

int16_t SampleAt(std::span<const uint8_t> frame, size_t n, size_t channel, const SoundLayout& layout)
{
    // With 12 bits both channels of the pair share one half: three bytes contain one sample of each.
    const Place place = PlaceOf(n, layout.twelveBit ? 0 : channel, layout);
    const auto block = AudioBlock(frame, place.sequence, place.block);
    if (block[0] == kLostSoundBlock || place.byte + (layout.twelveBit ? 3 : 2) > kBlockSize)
        return kLostSample;
    const uint8_t* bytes = &block[place.byte];
    if (!layout.twelveBit)
        return static_cast<int16_t>(bytes[0] << 8 | bytes[1]);
    return ExpandTwelveBits(
        static_cast<uint16_t>(channel == 0 ? bytes[0] << 4 | bytes[2] >> 4 : bytes[1] << 4 | (bytes[2] & 0x0F)));
}

// Interpolates lost samples from `begin` to `end` linearly between their neighbours.
void FillGap(DvSound& sound, size_t channel, size_t begin, size_t end, int16_t before, int16_t after)
{
    const auto steps = static_cast<double>(end - begin + 1);
    for (size_t n = begin; n < end; ++n)
        sound.samples[n * 2 + channel] =
            static_cast<int16_t>(std::lround(before + (after - before) * static_cast<double>(n - begin + 1) / steps));
}

} // namespace

std::optional<DvFrameInfo> ReadDvFrame(std::span<const uint8_t> frame)
{
    // The first block is the header of sequence 0; bit 7 of its fourth byte is the system.
    if (frame.size() < kBlockSize || frame[0] != 0x1F || frame[1] != 0x07)
        return std::nullopt;
    const bool isPal = (frame[3] & 0x80) != 0;
    if (frame.size() != (isPal ? kDvPalFrameSize : kDvNtscFrameSize))
        return std::nullopt;
    return isPal ? DvFrameInfo{true, 720, 576, 25.0} : DvFrameInfo{};
}

bool ExtractDvSound(std::span<const uint8_t> frame, DvSound& sound)
{
    const auto info = ReadDvFrame(frame);
    const auto layout = info ? ReadLayout(frame, *info) : std::nullopt;
    const size_t before = sound.samples.size();
    const int16_t last[2] = {before < 2 ? int16_t{0} : sound.samples[before - 2],
                             before < 2 ? int16_t{0} : sound.samples[before - 1]};
    sound.samples.clear();
    if (!layout)
        return false;
    sound.sampleRate = layout->sampleRate;
    sound.samples.resize(layout->samples * 2);
    for (size_t channel = 0; channel < 2; ++channel) {
        size_t next = 0; // after the last valid sample
        int16_t known = last[channel];
        for (size_t n = 0; n < layout->samples; ++n) {
            const int16_t sample = SampleAt(frame, n, channel, *layout);
            if (sample == kLostSample)
                continue;
            FillGap(sound, channel, next, n, known, sample);
            sound.samples[n * 2 + channel] = known = sample;
            next = n + 1;
        }
        FillGap(sound, channel, next, layout->samples, known, known);
    }
    return true;
}

} // namespace platform

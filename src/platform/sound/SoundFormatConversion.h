// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/FourCharCode.h"
#include "platform/sound/SoundSource.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// How the samples handed over by a channel are coded.
struct SoundCoding {
    FourCharCode format = CodeOf("sowt"); ///< "raw ", "twos", "sowt", "in24", "ulaw" or "alaw"
    int32_t sampleSize = 16;              ///< bits that one stored sample takes: 8, 16 or 24

    bool operator==(const SoundCoding&) const = default;
};

struct SoundCompressionName {
    FourCharCode format;
    std::string name; ///< readable, for people
};

/// The compression types that `FindSoundCoding` knows.
std::vector<SoundCompressionName> AvailableSoundCompressions();

/// What is delivered when a compression type and a sample size are asked for. "raw " is unsigned and so has 8 bits: at
/// 16 bits it becomes "sowt". At 24 bits all three uncompressed types become "in24", which is big-endian. "ulaw" and
/// "alaw" store 8 bits a sample, whatever was asked for. `siInvalidCompression` and `siInvalidSampleSize` leave
/// `coding` as it was.
Result FindSoundCoding(FourCharCode compression, int32_t sampleSize, SoundCoding& coding);

/// The sample size that a source should deliver for a coding: 16 for "ulaw" and "alaw", else its own.
int32_t SourceSampleSize(const SoundCoding& coding);

/// Bytes that `sourceBytes` of PCM at `sourceSampleSize` bits take in a coding.
size_t CodedSize(size_t sourceBytes, int32_t sourceSampleSize, const SoundCoding& coding);

/// Converts PCM as a source delivers it (host byte order, 8 bits unsigned, 16 or 24 bits signed) into `target`, which
/// has room for `CodedSize`. Returns the bytes written: whole samples only, and no more than there is room for. Source
/// and target don't overlap.
size_t ConvertSound(std::span<const uint8_t> source, int32_t sourceSampleSize, const SoundCoding& coding,
                    std::span<uint8_t> target);

/// The sound description record in host byte order: size (32 bits at 0), format (32 at 4), data reference index (16 at
/// 14), version 0, channels (16 at 24), sample size (16 at 26), rate (unsigned, 16 fraction bits, at 32).
using SoundDescription = std::array<uint8_t, 36>;
SoundDescription DescribeSound(const SoundCoding& coding, double sampleRate, int32_t channels);

} // namespace platform

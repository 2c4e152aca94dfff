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

/// The encoding of the samples that a channel delivers.
struct SoundCoding {
    FourCharCode format = CodeOf("sowt"); ///< "raw ", "twos", "sowt", "in24", "ulaw" or "alaw"
    int32_t sampleSize = 16;              ///< bits per stored sample: 8, 16 or 24

    bool operator==(const SoundCoding&) const = default;
};

/// A compression type and its name.
struct SoundCompressionName {
    FourCharCode format;
    std::string name; ///< for the user
};

/// The compression types that `FindSoundCoding` supports.
std::vector<SoundCompressionName> AvailableSoundCompressions();

/// The encoding for a requested compression type and sample size in bits. "raw " is unsigned and so has 8 bits: at 16
/// bits it becomes "sowt". At 24 bits all uncompressed types become "in24", which is big-endian. "ulaw" and "alaw"
/// (ITU-T G.711) always store 8 bits per sample. On `siInvalidCompression` and `siInvalidSampleSize`, `coding` is
/// unchanged.
Result FindSoundCoding(FourCharCode compression, int32_t sampleSize, SoundCoding& coding);

/// The sample size in bits that a source should deliver for an encoding: 16 for "ulaw" and "alaw", else its own.
int32_t SourceSampleSize(const SoundCoding& coding);

/// The size in bytes of `sourceBytes` of PCM with `sourceSampleSize` bits when encoded.
size_t CodedSize(size_t sourceBytes, int32_t sourceSampleSize, const SoundCoding& coding);

/// Encodes PCM (host byte order, 8 bits unsigned, 16 or 24 bits signed) into `target`, which should have `CodedSize`
/// bytes. Returns the number of bytes written: whole samples, as many as fit. Source and target must not overlap.
size_t ConvertSound(std::span<const uint8_t> source, int32_t sourceSampleSize, const SoundCoding& coding,
                    std::span<uint8_t> target);

/// The sound description record in host byte order: size (32 bits at 0), format (32 at 4), data reference index (16 at
/// 14), version 0, channels (16 at 24), sample size (16 at 26), rate (unsigned 16.16 fixed point, at 32).
using SoundDescription = std::array<uint8_t, 36>;
/// The sound description of an encoding at a sample rate in hertz.
SoundDescription DescribeSound(const SoundCoding& coding, double sampleRate, int32_t channels);

} // namespace platform

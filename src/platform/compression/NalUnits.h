// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace platform {

// The units of an H.264 or HEVC stream (ITU-T H.264 7.3.1, H.265 7.3.1), and the records in which movie files store the
// parameter sets (ISO/IEC 14496-15).

enum class NalCodec { H264, Hevc };

/// How units are separated: by start codes (Annex B of both standards), or by a big-endian length of four bytes before
/// each, as in movie files.
enum class NalFraming { StartCodes, Lengths };

/// Iterates over the units of a frame or of an encoder's header. A unit is borrowed and has no start code, length or
/// trailing zeros. Ends early if a length is out of bounds.
class NalReader {
public:
    /// Reads the NAL units of `bytes`, which must outlive the reader.
    NalReader(std::span<const uint8_t> bytes, NalFraming framing);

    /// The next NAL unit without its framing; nothing at the end.
    std::optional<std::span<const uint8_t>> Next();

private:
    std::optional<std::span<const uint8_t>> NextByLength();
    size_t FindStartCode(size_t from) const;

    std::span<const uint8_t> bytes;
    NalFraming framing;
    size_t at = 0;
};

/// Whether an H.264 unit is a sequence parameter set.
bool IsSequenceParameterSet(std::span<const uint8_t> unit);
/// Whether an H.264 unit is a picture parameter set.
bool IsPictureParameterSet(std::span<const uint8_t> unit);

/// Appends a unit with its length before it.
void AppendWithLength(std::span<const uint8_t> unit, std::vector<uint8_t>& target);

/// For a unit with picture data: whether decoding can start at its picture. Nothing for other units.
std::optional<bool> IsKeyPicture(NalCodec codec, std::span<const uint8_t> unit);

/// Size of a frame with start codes after conversion to lengths, in bytes.
size_t SizeWithLengths(std::span<const uint8_t> frame);

/// Writes the converted frame to `target`, which must have `SizeWithLengths` bytes.
void StoreWithLengths(std::span<const uint8_t> frame, std::span<uint8_t> target);

/// The content of an "avcC" or "hvcC" atom (AVCDecoderConfigurationRecord 5.3.3.1, HEVCDecoderConfigurationRecord
/// 8.3.3.1) for 8-bit 4:2:0 pictures and lengths of four bytes, from an encoder's header with start codes. Empty if a
/// parameter set is missing.
std::vector<uint8_t> DecoderConfiguration(NalCodec codec, std::span<const uint8_t> header);

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace platform {

// The units of an H.264 or HEVC stream (ITU-T H.264 7.3.1, H.265 7.3.1), and the records in which movie files keep
// the parameter sets (ISO/IEC 14496-15).

enum class NalCodec { H264, Hevc };

/// How units are told apart: by start codes (Annex B of both standards), or by a big-endian length of four bytes before
/// each, as in movie files.
enum class NalFraming { StartCodes, Lengths };

/// Goes through the units of a frame or of an encoder's header. A unit is borrowed and comes without start code, length
/// or trailing zeros. Ends early where lengths lead out of the bytes.
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

/// Whether an H.264 unit is a parameter set of that kind.
bool IsSequenceParameterSet(std::span<const uint8_t> unit);
bool IsPictureParameterSet(std::span<const uint8_t> unit);

/// Appends a unit behind its length.
void AppendWithLength(std::span<const uint8_t> unit, std::vector<uint8_t>& target);

/// For a unit with picture data: whether decoding can begin with its picture. Nothing for other units.
std::optional<bool> IsKeyPicture(NalCodec codec, std::span<const uint8_t> unit);

/// The bytes that a frame with start codes has with lengths instead.
size_t SizeWithLengths(std::span<const uint8_t> frame);

/// Writes that frame to `target`, which has `SizeWithLengths` bytes.
void StoreWithLengths(std::span<const uint8_t> frame, std::span<uint8_t> target);

/// The content of an "avcC" or "hvcC" atom (AVCDecoderConfigurationRecord 5.3.3.1, HEVCDecoderConfigurationRecord
/// 8.3.3.1) for 8-bit 4:2:0 pictures and lengths of four bytes, from an encoder's header with start codes. Empty where
/// a parameter set is missing.
std::vector<uint8_t> DecoderConfiguration(NalCodec codec, std::span<const uint8_t> header);

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace platform {

/// A position on a tape, as recorded by the deck.
struct TapeTimecode {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
    bool dropFrame = false; ///< 525 lines: two frame numbers are skipped in each minute except every tenth

    auto operator<=>(const TapeTimecode&) const = default;
};

/// "01:02:03:04", with ";" before the frames of a drop-frame timecode.
std::string TextOf(const TapeTimecode& timecode);

/// The number of a frame, counted from 00:00:00:00.
int32_t FrameNumberOf(const TapeTimecode& timecode, bool isPal);

/// When a frame was recorded, by the camera's clock: seconds since 1970, as if that clock showed UTC.
using TapeTime = int64_t;

/// "2004-05-12 14:03:21", with `separator` between date and time.
std::string TextOf(TapeTime time, char separator = ' ');

/// The data of a DV frame besides picture and sound.
struct DvFrameData {
    std::optional<TapeTimecode> timecode;
    std::optional<TapeTime> recorded;
    int concealedBlocks = 0; ///< video blocks that the deck could not read from the tape and replaced by others
};

/// Reads the packs in the subcode and video auxiliary data of a whole frame (IEC 61834-4). Each is repeated many times;
/// the most frequent one is used, not one that was misread or is left over from the previous frame.
DvFrameData ReadDvFrameData(std::span<const uint8_t> frame);

/// A timecode from four BCD numbers (frames, seconds, minutes, hours) with flags in the upper bits of each; nothing for
/// an invalid timecode.
std::optional<TapeTimecode> TimecodeOfPackedDecimals(std::span<const uint8_t, 4> numbers, bool isPal);

} // namespace platform

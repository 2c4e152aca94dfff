// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace platform {

/// A place on a tape, as the deck that recorded it counted.
struct TapeTimecode {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
    bool dropFrame = false; ///< 525 lines: two numbers of each minute but every tenth are left out

    auto operator<=>(const TapeTimecode&) const = default;
};

/// "01:02:03:04", with ";" before the frames of a drop-frame timecode.
std::string TextOf(const TapeTimecode& timecode);

/// The number of a frame, counted from 00:00:00:00.
int32_t FrameNumberOf(const TapeTimecode& timecode, bool isPal);

/// When a frame was recorded, by the clock of the camera: seconds since 1970, as if that clock showed UTC.
using TapeTime = int64_t;

/// "2004-05-12 14:03:21", with another letter between date and time where wanted.
std::string TextOf(TapeTime time, char separator = ' ');

/// What a DV frame holds beside picture and sound.
struct DvFrameData {
    std::optional<TapeTimecode> timecode;
    std::optional<TapeTime> recorded;
    int concealedBlocks = 0; ///< of video, in whose place the deck sent others, as it could not read them from the tape
};

/// Reads the packs of a whole frame (IEC 61834-4) in its subcode and video auxiliary data, where each is
/// repeated many times: the most frequent one counts, not one that was misread or is left from the frame before.
DvFrameData ReadDvFrameData(std::span<const uint8_t> frame);

/// A timecode of four packed decimal numbers, of frames, seconds, minutes and hours, with flags above each; nothing for
/// one that does not exist.
std::optional<TapeTimecode> TimecodeOfPackedDecimals(std::span<const uint8_t, 4> numbers, bool isPal);

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/dv/DvFrame.h"
#include "platform/dv/DvPacks.h"
#include "platform/movies/MovieBuilder.h"
#include "platform/sound/DriftCorrection.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmora {

/// A movie of frames from a tape, all of one television system: the unchanged frames, their sound, and a track with the
/// tape's own timecode. Frames are counted, not timed: each has the exact duration of its system, and a frame that is
/// followed by lost ones is extended over them.
class TapeMovie {
public:
    /// Creates the file, replacing an existing one. Null on failure, with the reason in `result`.
    static std::unique_ptr<TapeMovie> Create(const std::string& path, bool isPal, platform::Result& result);

    /// Adds a frame that follows `lostBefore` lost ones. `sound` is the frame's sound; empty if it has none.
    platform::Result Add(std::span<const uint8_t> frame, const platform::DvSound& sound,
                         const std::optional<platform::TapeTimecode>& timecode, uint32_t lostBefore);

    /// Completes the file. `recorded`: when its first frame was recorded.
    platform::Result Finish(std::optional<platform::TapeTime> recorded);

    /// Length so far in frames, including lost ones.
    int64_t Length() const { return length; }

private:
    /// Frames with a continuous timecode.
    struct TimecodeRun {
        int64_t start = 0; ///< position in the movie, in frames
        int32_t number = 0;
        int64_t known = 0; ///< end of the last frame whose timecode could be read
        bool dropFrame = false;
    };

    explicit TapeMovie(bool isPalTape) : isPal(isPalTape) {}
    int32_t FrameHeight() const { return isPal ? 576 : 480; }
    platform::Result AddPending(uint32_t lostAfter);
    platform::Result AddSound(const platform::DvSound& sound, uint32_t lostBefore);
    platform::Result AddSilence(int64_t fromFrame, int64_t toFrame);
    platform::Result AddSamples(std::span<const int16_t> samples, int64_t frame);
    platform::Result NoteTimecode(const std::optional<platform::TapeTimecode>& timecode);
    platform::Result EndTimecodeRun();
    platform::Result Keep(platform::Result result);
    platform::Result Failure() const { return movie.Failure(); }
    int64_t TimeOf(int64_t frame) const; ///< in nanoseconds
    int32_t FrameUnits() const { return isPal ? 1200 : 1001; }

    const bool isPal;
    platform::MovieBuilder movie;
    std::shared_ptr<platform::MovieTrack> video;
    std::shared_ptr<platform::MovieTrack> sound;     ///< created with the first sound
    std::shared_ptr<platform::MovieTrack> timecodes; ///< created with the first timecode
    std::vector<uint8_t> videoDescription;
    std::vector<uint8_t> soundDescription;
    double soundRate = 0; ///< 0 until the first sound
    platform::DriftCorrection clock;
    std::vector<int16_t> silence;
    std::vector<uint8_t> pending; ///< the newest frame, until it is known how many lost ones follow it
    int64_t length = 0;
    std::optional<TimecodeRun> run;
    int32_t timecodeTime = 0;  ///< of its media, in units
    int32_t timecodePlace = 0; ///< end of its track, in the movie's units
};

} // namespace velmora

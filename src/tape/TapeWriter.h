// SPDX-License-Identifier: MIT
#pragma once

#include "tape/TapeMovie.h"
#include "tape/TapeReport.h"

#include <fstream>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace velmora {

/// What to write of a tape.
struct TapeOutputs {
    /// The path of movie number `number` (from 1 on), of a recording made at that time: seconds since 1970 by the clock
    /// of the camera, or now where the tape does not say. Nothing: no movies.
    std::function<std::string(int number, platform::TapeTime recorded)> movieName = {};
    bool splitRecordings = false; ///< a movie for each recording
    std::string dvFile = {};      ///< the frames as they come, one behind the other; empty: none
    bool replace = false;         ///< files of these names; else that is refused
};

/// Writes what a tape holds: movies, subtitles with the recording dates beside them, the plain stream of frames, and a
/// report. A movie holds one television system and one rate of sound, so a change of either begins another.
class TapeWriter {
public:
    /// Writes the outputs asked for.
    explicit TapeWriter(TapeOutputs wanted);
    ~TapeWriter();
    TapeWriter(const TapeWriter&) = delete;
    TapeWriter& operator=(const TapeWriter&) = delete;

    /// Takes the next frame, behind so many lost ones. `isWhole`: all its packets came. What is no DV frame counts as a
    /// lost one. False when a file can't be written any more: then `Finish` is left to do.
    bool Add(std::span<const uint8_t> frame, bool isWhole, uint32_t lostBefore);

    /// Completes all files. False when that, or anything before, failed.
    bool Finish();

    /// What went wrong, in one line; empty when nothing did.
    const std::string& Problem() const { return problem; }
    /// The first failure, or 0.
    platform::Result Failure() const { return failure; }

    /// The files so far, the one that is being written last.
    const std::vector<TapeFileReport>& Files() const { return files; }
    /// What was read out of the newest frame.
    const platform::DvFrameData& Newest() const { return newest; }

private:
    struct DateCue {
        int64_t frame;
        platform::TapeTime time;
    };

    bool BeginsMovie(const platform::DvFrameInfo& info) const;
    bool BeginMovie(const platform::DvFrameInfo& info);
    bool FinishMovie();
    bool WriteSubtitles(const TapeFileReport& file);
    void NoteFrame(bool isWhole, uint32_t lostBefore);
    void NoteFault(TapeFault::Kind kind, int64_t frame, uint32_t count, int64_t blocks);
    bool MayWrite(const std::string& path);
    bool Fail(const std::string& path, platform::Result result);

    const TapeOutputs outputs;
    std::ofstream dv;
    std::unique_ptr<TapeMovie> movie;
    std::vector<TapeFileReport> files;
    std::vector<DateCue> cues; ///< of the movie being written
    platform::DvFrameData newest;
    platform::DvSound sound;
    double soundRate = 0;                       ///< of the movie being written; 0: not known yet
    std::optional<platform::TapeTime> recorded; ///< of the last frame whose date could be read
    int64_t framesSince = 0;                    ///< that frame
    uint32_t noFrames = 0;                      ///< that came since the last frame and were none
    std::string problem;
    platform::Result failure = platform::noErr;
};

} // namespace velmora

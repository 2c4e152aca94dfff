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

/// What to write from a tape.
struct TapeOutputs {
    /// Returns the path of movie `number` (from 1), of a recording made at that time: seconds since 1970 by the
    /// camera's clock, or the present time if the tape has no date. Not set: no movies.
    std::function<std::string(int number, platform::TapeTime recorded)> movieName = {};
    bool splitRecordings = false; ///< a movie for each recording
    std::string dvFile = {};      ///< the unchanged frames, one after the other; empty: none
    bool replace = false;         ///< replace existing files; otherwise they are an error
};

/// Writes the content of a tape: movies, subtitles with the recording dates, the raw stream of frames, and a report. A
/// movie has one television system and one sample rate, so a change of either starts another movie.
class TapeWriter {
public:
    /// Prepares the requested outputs.
    explicit TapeWriter(TapeOutputs wanted);
    ~TapeWriter();
    TapeWriter(const TapeWriter&) = delete;
    TapeWriter& operator=(const TapeWriter&) = delete;

    /// Takes the next frame, which follows `lostBefore` lost ones. `isWhole`: all its packets arrived. Data that is not
    /// a DV frame counts as a lost frame. Returns false if a file can't be written any more; then call `Finish`.
    bool Add(std::span<const uint8_t> frame, bool isWhole, uint32_t lostBefore);

    /// Completes all files. Returns false if that, or anything before, failed.
    bool Finish();

    /// The reason of the first failure, in one line; empty if there is none.
    const std::string& Problem() const { return problem; }
    /// Its result code, or 0.
    platform::Result Failure() const { return failure; }

    /// The files so far; the last one may still be open.
    const std::vector<TapeFileReport>& Files() const { return files; }
    /// The data of the newest frame besides picture and sound.
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
    std::vector<DateCue> cues; ///< of the present movie
    platform::DvFrameData newest;
    platform::DvSound sound;
    double soundRate = 0;                       ///< of the present movie; 0: not known yet
    std::optional<platform::TapeTime> recorded; ///< of the last frame with a readable date
    int64_t framesSince = 0;                    ///< frames since then
    uint32_t noFrames = 0;                      ///< data since the last frame that was not a frame
    std::string problem;
    platform::Result failure = platform::noErr;
};

} // namespace velmora

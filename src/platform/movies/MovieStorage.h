// SPDX-License-Identifier: MIT
#pragma once

#include "platform/movies/MediaDataWriter.h"
#include "platform/movies/MovieContents.h"
#include "platform/movies/MovieFragments.h"
#include "platform/movies/Movies.h"
#include "platform/movies/RecoveryJournal.h"
#include "platform/movies/TrackAlignment.h"
#include "platform/movies/WritingRate.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// One movie and the file that it is written to.
class MovieStorage {
public:
    /// Creates the file and its head, and marks it as being written.
    static Result Create(const std::string& path, bool replace, FourCharCode creator,
                         std::shared_ptr<MovieStorage>& storage);

    /// The movie of a file that is at its beginning: `FileHead` is written. `bufferLimit`: as of `MediaDataWriter`.
    MovieStorage(std::unique_ptr<OutputFile> file, std::string path, FourCharCode creator, int64_t bufferLimit = 0);

    /// Closes the file.
    ~MovieStorage();

    /// Whether the file is open.
    bool IsOpen() const { return writer != nullptr && !closed; }

    /// True for a movie whose samples are complete, as its finishing has begun.
    bool IsFinishing() const { return finishing; }

    /// Waits for a moment for room in front of the disk; false where there is none. A frame that later ones build on
    /// asks before it is added: it can't be replaced by repeating the one before.
    bool WaitForRoom(int64_t size) { return writer->WaitForRoom(size); }

    /// Counts a frame that is in no movie.
    void CountLostFrame() { ++framesLost; }

    /// Adds samples whose bytes are given, and sets the run's position. The caller has set its other fields but size.
    /// `captureTime`: of the first one, if it is known.
    Result AddSamples(std::span<const uint8_t> bytes, SampleRun run, std::optional<int64_t> captureTime = {});

    /// Has the header written, which makes the file a complete movie, and comes back at once.
    void Finish();

    /// Waits for the end of that. False when it hasn't come within the time.
    bool WaitForFinish(std::chrono::milliseconds time) { return writer->WaitForFinish(time); }

    /// How the finishing gets on, while it does.
    FinishingMovie Progress() const;

    /// Ends the writing. What was recorded is on disk then, with the journal where the header was not written. The
    /// movie's tracks stay known, its single samples are forgotten. A movie that is finished in the background goes on.
    Result Close();

    /// From now on `Close` doesn't wait for the end of the finishing.
    void GoOnInBackground() { inBackground = true; }

    /// The finishing in the background has ended. A storage that was closed meanwhile now releases its file.
    void EndBackground();

    /// How the writing gets on, while the storage is open.
    MovieStorageStatus Status() const;

    /// What the header is made of, up to now.
    MovieContents& Contents() { return contents; }

private:
    struct TrackState {
        CaptureOffsets captured;
        std::optional<SampleRun> last;
    };

    Result TakeBytes(std::span<const uint8_t> bytes, SampleRun& run);
    void RepeatFrame(SampleRun& run);
    void NoteSamples(const SampleRun& run, std::optional<int64_t> captureTime);
    void BeginFragmentFor(const SampleRun& run);
    void EndFragment();
    void WriteInitialHeader();
    SampleRun InFragment(const SampleRun& run) const;
    std::vector<size_t> DescriptionCounts() const;
    Result CloseUnfinished();
    bool IsFragmentDue() const;
    int64_t BytesKept() const;
    int64_t FreeBytes() const;

    std::string path;
    MovieContents contents;
    std::vector<TrackState> states;
    RecoveryJournal journal;
    MovieFragment fragment;
    std::vector<size_t> described; // descriptions of each track when the initial header was made last
    std::vector<size_t> announced; // those of them that it has
    int64_t fragmentStart = 0;     // when it was begun
    WritingRate rate;
    int64_t framesLost = 0;
    bool roomEnded = false;
    bool finishing = false;
    bool inBackground = false;
    bool closed = false;
    int64_t finishStart = 0;                 // what was written when the finishing began
    std::unique_ptr<MediaDataWriter> writer; // null when closed and written
};

} // namespace platform

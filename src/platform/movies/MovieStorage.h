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

/// One movie and the file to which it is written.
class MovieStorage {
public:
    /// Creates the file and its head, and locks it as being written.
    static Result Create(const std::string& path, bool replace, FourCharCode creator,
                         std::shared_ptr<MovieStorage>& storage);

    /// A movie in a file that is still empty; writes `FileHead`. `bufferLimit`: as for `MediaDataWriter`.
    MovieStorage(std::unique_ptr<OutputFile> file, std::string path, FourCharCode creator, int64_t bufferLimit = 0);

    /// Closes the file.
    ~MovieStorage();

    /// Whether the file is open.
    bool IsOpen() const { return writer != nullptr && !closed; }

    /// Whether finishing has started, after which no samples are accepted.
    bool IsFinishing() const { return finishing; }

    /// Waits a moment for space in the buffer; returns false if there is none. Ask this before adding a frame that
    /// later ones depend on: it cannot be replaced by repeating the previous one.
    bool WaitForSpace(int64_t size) { return writer->WaitForSpace(size); }

    /// Counts a frame that is missing from the movie.
    void CountLostFrame() { ++framesLost; }

    /// Adds samples from their bytes and sets the run's position. The caller has set its other fields except size.
    /// `captureTime`: of the first one, if known.
    Result AddSamples(std::span<const uint8_t> bytes, SampleRun run, std::optional<int64_t> captureTime = {});

    /// Requests the header, which makes the file a complete movie, and returns at once.
    void Finish();

    /// Waits until that is done. Returns false after the timeout.
    bool WaitForFinish(std::chrono::milliseconds time) { return writer->WaitForFinish(time); }

    /// Progress of finishing, while it runs.
    FinishingMovie Progress() const;

    /// Ends the writing. Everything recorded is on disk afterwards, with the journal if the header was not written. The
    /// movie's tracks are kept, its samples are discarded. A movie that is being finished in the background is not
    /// interrupted.
    Result Close();

    /// From now on `Close` doesn't wait until the movie is finished.
    void ContinueInBackground() { inBackground = true; }

    /// Finishing in the background has ended. A storage that was closed meanwhile now releases its file.
    void EndBackground();

    /// Progress of writing, while the storage is open.
    MovieStorageStatus Status() const;

    /// The contents of the header so far.
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
    int64_t ReservedBytes() const;
    int64_t FreeBytes() const;

    std::string path;
    MovieContents contents;
    std::vector<TrackState> states;
    RecoveryJournal journal;
    MovieFragment fragment;
    std::vector<size_t> described; // number of descriptions per track in the last initial header
    std::vector<size_t> announced; // how many of these it contains
    int64_t fragmentStart = 0;     // when it was started
    WritingRate rate;
    int64_t framesLost = 0;
    bool roomEnded = false;
    bool finishing = false;
    bool inBackground = false;
    bool closed = false;
    int64_t finishStart = 0;                 // bytes written when finishing started
    std::unique_ptr<MediaDataWriter> writer; // null once closed and written
};

} // namespace platform

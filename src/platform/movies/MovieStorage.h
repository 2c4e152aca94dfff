#pragma once

#include "platform/movies/MediaDataWriter.h"
#include "platform/movies/MovieContents.h"
#include "platform/movies/Movies.h"
#include "platform/movies/RecoveryJournal.h"

#include <memory>
#include <span>
#include <string>

namespace platform {

/// One movie and the file that it is written to.
class MovieStorage {
public:
    /// Creates the file and its head.
    static Result Create(const std::string& path, bool replace, FourCharCode creator,
                         std::shared_ptr<MovieStorage>& storage);

    /// Closes the file.
    ~MovieStorage();

    bool IsOpen() const { return writer != nullptr; }

    /// Adds samples whose bytes are given, and sets the run's position. The caller has set its other fields but size.
    Result AddSamples(std::span<const uint8_t> bytes, SampleRun run);

    /// Writes the header, which makes the file a complete movie. May be called again after more edits or samples.
    Result WriteHeader();

    /// Ends the writing. What was recorded is on disk then, with the journal where the header was not written. The
    /// movie's tracks stay known, its single samples are forgotten.
    Result Close();

    /// How the writing gets on, while the storage is open.
    MovieStorageStatus Status() const;

    MovieContents& Contents() { return contents; }

private:
    MovieStorage(std::unique_ptr<OutputFile> file, std::string path, FourCharCode creator);

    Result WriteJournal();
    Result WriteHead(int64_t mediaDataEnd);

    std::string path;
    int64_t startTime;
    MovieContents contents;
    RecoveryJournal journal;
    std::unique_ptr<MediaDataWriter> writer; // null when closed
    bool complete = false;                   // the header stands behind the media data
};

} // namespace platform

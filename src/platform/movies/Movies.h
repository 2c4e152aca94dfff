// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FixedPoint.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/Handles.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace platform {

// Movies, tracks and media by number. Calls return `invalidMovie`, `invalidTrack` or `invalidMedia` for invalid
// numbers, and `badComponentInstance` for an invalid data handler. All calls for one movie must come from one thread.

using Movie = int32_t;
using Track = int32_t;
using Media = int32_t;
using DataHandler = int32_t;

/// Creates a data reference (a handle with the absolute path in UTF-8) for a full path and writes the handle and its
/// type ("alis") as 32 bits each. The caller disposes the handle. Returns `bdNamErr` for an empty or relative path.
/// Only `pathStyle` -1 and `flags` 0 are supported.
Result QTNewDataReferenceFromFullPathCFString(int32_t path, int32_t pathStyle, int32_t flags, Address dataRef,
                                              Address dataRefType);

/// Flag of `CreateMovieStorage`: replace an existing file.
inline constexpr uint32_t createMovieFileDeleteCurFile = 0x80000000U;

/// Creates the file and an empty movie, and opens the file for media data with its own writer thread. Writes the
/// numbers as 32 bits each at `handler` and `movie` (0 on failure). Returns `dupFNErr` for an existing file without the
/// flag; `permErr`, `dskFulErr`, `dirNFErr` or `ioErr` if the system reports an error.
Result CreateMovieStorage(int32_t dataRef, FourCharCode dataRefType, FourCharCode creator, int32_t scriptTag,
                          uint32_t flags, Address handler, Address movie);

/// Writes the movie's header after the media data, which completes the file. Waits until all data is on its way to the
/// disk. Returns a failure of the writer thread since the last call.
Result AddMovieToStorage(Movie movie, DataHandler handler);

/// Progress of writing a movie.
struct MovieStorageStatus {
    std::string path;
    int64_t fileBytes = 0;    ///< recorded so far, written or pending
    int64_t waitingBytes = 0; ///< in memory, waiting to be written
    int64_t bufferBytes = 0;  ///< maximum of `waitingBytes`
    int64_t freeBytes = 0;    ///< space left for samples, not counting that reserved to finish the movie
    double secondsLeft = -1;  ///< until `freeBytes` are used up at the present rate; negative: not known yet
    int64_t framesLost = 0;   ///< frames that did not fit the buffer; the movie repeats the previous frame instead
    Result failure = noErr;   ///< the first failure of writing
};

/// The status of an open storage. Returns false for an invalid or closed data handler.
bool GetMovieStorageStatus(DataHandler handler, MovieStorageStatus& status);

/// Called on the main thread about 20 times a second while `AddMovieToStorage` waits for the disk for more than 150 ms.
/// Return false to finish the movie in the background.
using MovieFinishHandler = std::function<bool(const std::string& path, int64_t doneBytes, int64_t totalBytes)>;

/// Sets the handler. Without one (null) `AddMovieToStorage` waits to the end.
void SetMovieFinishHandler(MovieFinishHandler handler);

/// A movie that its writer thread is finishing in the background.
struct FinishingMovie {
    std::string path;
    int64_t doneBytes = 0;
    int64_t totalBytes = 0;
    bool done = false;
    Result result = noErr; ///< how it ended
};

/// The movies in the background, until `TakeFinishedMovies` has reported their end. Main thread.
std::vector<FinishingMovie> FinishingMovies();

/// The movies that have ended since the last call.
std::vector<FinishingMovie> TakeFinishedMovies();

/// Waits until all movies in the background have ended.
void WaitForFinishingMovies();

/// Closes the file. Without a complete header it stays recoverable. The movie's numbers stay valid.
Result CloseMovieStorage(DataHandler handler);

/// Sets when the movie's pictures were recorded, as ISO 8601 text, for the user data of the finished file.
Result SetMovieRecordingDate(Movie movie, const std::string& date);

/// A timecode description (QuickTime File Format, "Timecode Sample Description"): the number of frames per second and
/// their duration, `frameDuration` units of `timeScale`.
std::vector<uint8_t> MakeTimecodeDescription(int32_t timeScale, int32_t frameDuration, int32_t framesPerSecond,
                                             bool dropFrame);

/// Removes a movie with its tracks and media, written or not.
void DisposeMovie(Movie movie);

/// Creates an empty file. Flags: 0x80000000 replaces an existing file (otherwise `dupFNErr`); the other flags that
/// callers pass mean that no movie is created in the file and that it is not opened, which is all that this platform
/// offers. `file`: as for `SGSetDataOutput`. `refNum` and `resId` are 0.
Result CreateMovieFile(Address file, FourCharCode creator, int32_t scriptTag, uint32_t flags, Address refNum,
                       Address resId);

/// The full path of a file specification record: 16-bit volume, 32-bit directory, Pascal string name. Returns
/// `paramErr` for an address without one, `bdNamErr` if the name is empty, truncated by the block's end or not a file's
/// name, `dirNFErr` for an unknown folder.
Result PathOfFileRecord(Address file, std::string& path);

/// Adds a track with a display size (`Fixed`, 0 for sound) and a volume (256 is full). Returns 0 on failure.
Track NewMovieTrack(Movie movie, Fixed width, Fixed height, int16_t volume);

/// Creates a track's media: "vide", "soun" or "tmcd", with `timeScale` units per second. The last two arguments are 0.
/// Returns 0 on failure: an invalid track, a track that has media already, another type, or a negative scale. A scale
/// of 0 is that of an absent source: such media accepts samples but stays empty, and the file gets no track for it.
/// Sound that the grabber delivers changes the scale to its own rate if it is the first in the media.
Media NewTrackMedia(Track track, FourCharCode mediaType, int32_t timeScale, int32_t dataRef, FourCharCode dataRefType);

/// Opens media for samples.
Result BeginMediaEdits(Media media);
/// Closes media. `invalidMedia` unless edits were begun.
Result EndMediaEdits(Media media);

/// Adds `count` samples of `durationPerSample` units each, from `size` bytes at `offset` of the handle `data`, with the
/// description in the handle `description`: an image description, a sound description of 36 bytes or more, or a
/// timecode description, in host byte order. A timecode sample is the number of its first frame, 32 bits big-endian,
/// and lasts as long as the timecode is continuous. The data is copied before the call returns. `flags` 0 marks sync
/// samples; only those at which a decoder can really start are stored as such. A sample that depends on one that the
/// media lacks (at the start, or after a failure) is left out, and its duration is added to the next one that does not.
/// Writes the media time of the first sample as 32 bits at `time` unless that is 0. Returns `paramErr` for a range
/// outside of the handle, a size or count below 1, or a size that does not match the count; `invalidDuration` for a
/// negative duration, `badImageDescription` for an unreadable description, `invalidMedia` outside of edits,
/// `couldNotResolveDataRef` for a closed file, `invalidSampleTable` for more samples than a file can count. A failure
/// of the writer thread (`dskFulErr`, `ioErr`) is returned by the next call and all that follow; what was written
/// before stays and can be recovered.
Result AddMediaSample(Media media, Handle data, int32_t offset, int32_t size, int32_t durationPerSample,
                      Handle description, int32_t count, int16_t flags, Address time);

/// Whether samples can be added to media: its edits have begun and its file is open.
bool IsMediaOpen(Media media);
/// Whether samples can be added to any media.
bool IsAnyMediaOpen();

/// Sum of the durations added so far, in the media's units, at most 2^31 - 1; 0 for invalid media.
int32_t GetMediaDuration(Media media);
/// Time scale of media in units per second; 0 for an invalid reference.
int32_t GetMediaTimeScale(Media media);

/// Inserts a piece of the media into the track: at the track's time `trackStart` (in the movie's units; -1: at its
/// end), from `mediaTime` on, for `mediaDuration` units, at `mediaRate`, which is `Fixed` 1.0. A duration of 0 is valid
/// and inserts nothing; 2^31 - 1 from time 0 means all of longer media. Returns `invalidTime` or `invalidDuration` for
/// a piece outside of the media.
Result InsertMediaIntoTrack(Track track, int32_t trackStart, int32_t mediaTime, int32_t mediaDuration, Fixed mediaRate);

/// The path in a data reference handle; empty for any other handle.
std::string PathOfDataReference(Handle dataRef);

} // namespace platform

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

// Movies, tracks and media by number. Calls answer `invalidMovie`, `invalidTrack` or `invalidMedia` for dead numbers,
// and `badComponentInstance` for a dead data handler. All calls for one movie are made by one thread.

using Movie = int32_t;
using Track = int32_t;
using Media = int32_t;
using DataHandler = int32_t;

/// Makes a data reference (a handle that holds the absolute path, in UTF-8) of a full path and writes the handle and
/// its type ("alis") as 32 bits each. The caller disposes the handle. `bdNamErr` for an empty or relative path;
/// `pathStyle` -1 and `flags` 0 are the only ones.
Result QTNewDataReferenceFromFullPathCFString(int32_t path, int32_t pathStyle, int32_t flags, Address dataRef,
                                              Address dataRefType);

/// Flag of `CreateMovieStorage`: an existing file is replaced.
inline constexpr uint32_t createMovieFileDeleteCurFile = 0x80000000U;

/// Creates the file and an empty movie, and opens the file for media data on a writing thread of its own. Writes the
/// numbers as 32 bits each at `handler` and `movie` (0 on failure). `dupFNErr` for a file that exists without the
/// flag; `permErr`, `dskFulErr`, `dirNFErr`, `ioErr` for what the system answers.
Result CreateMovieStorage(int32_t dataRef, FourCharCode dataRefType, FourCharCode creator, int32_t scriptTag,
                          uint32_t flags, Address handler, Address movie);

/// Writes the movie's header behind the media data, which makes the file complete. Waits until all data is on its
/// way to the disk; a failure of the writing thread since the last call is the result.
Result AddMovieToStorage(Movie movie, DataHandler handler);

/// How the writing of a movie is getting on.
struct MovieStorageStatus {
    std::string path;
    int64_t fileBytes = 0;    ///< recorded so far, written and waiting
    int64_t waitingBytes = 0; ///< in memory, on their way to the disk
    int64_t bufferBytes = 0;  ///< that may wait in memory
    int64_t freeBytes = 0;    ///< room left for samples, behind the room kept to finish the movie
    double secondsLeft = -1;  ///< that `freeBytes` last at the present rate; negative: not known yet
    int64_t framesLost = 0;   ///< frames for which the buffer had no room: in the movie the frame before is repeated
    Result failure = noErr;   ///< the first one of the writing
};

/// The status of an open storage. False for a dead or closed data handler.
bool GetMovieStorageStatus(DataHandler handler, MovieStorageStatus& status);

/// Called on the main thread about 20 times a second while `AddMovieToStorage` waits for the disk for more than 150 ms.
/// False means that the movie is to be finished in the background.
using MovieFinishHandler = std::function<bool(const std::string& path, int64_t doneBytes, int64_t totalBytes)>;

/// Sets the handler, or none (null): `AddMovieToStorage` then waits to the end.
void SetMovieFinishHandler(MovieFinishHandler handler);

/// A movie that is being finished in the background, by its own writing thread.
struct FinishingMovie {
    std::string path;
    int64_t doneBytes = 0;
    int64_t totalBytes = 0;
    bool done = false;
    Result result = noErr; ///< how it ended
};

/// The movies in the background, each until `TakeFinishedMovies` has reported its end. The main thread asks.
std::vector<FinishingMovie> FinishingMovies();

/// Those that have ended since the last call.
std::vector<FinishingMovie> TakeFinishedMovies();

/// Waits until all movies in the background have ended.
void WaitForFinishingMovies();

/// Closes the file. What the header lacked to be complete stays recoverable. The movie's numbers stay valid.
Result CloseMovieStorage(DataHandler handler);

/// Notes when the movie's pictures were recorded, as ISO 8601 text, for the user data of the finished file.
Result SetMovieRecordingDate(Movie movie, const std::string& date);

/// A timecode description (QuickTime File Format, "Timecode Sample Description"): so many frames a second, of
/// `frameDuration` units of `timeScale` each.
std::vector<uint8_t> MakeTimecodeDescription(int32_t timeScale, int32_t frameDuration, int32_t framesPerSecond,
                                             bool dropFrame);

/// Ends a movie with its tracks and media, written or not.
void DisposeMovie(Movie movie);

/// Creates an empty file. Flags: 0x80000000 replaces an existing one (else `dupFNErr`); the others that are passed mean
/// that no movie is made in it and that it is not opened, which is all this platform offers. `file`: as
/// `SGSetDataOutput`. `refNum` and `resId` are 0.
Result CreateMovieFile(Address file, FourCharCode creator, int32_t scriptTag, uint32_t flags, Address refNum,
                       Address resId);

/// The full path that a file specification record stands for: 16-bit volume, 32-bit directory, Pascal string name.
/// `paramErr` for an address that holds none, `bdNamErr` for a name that is empty, cut short by the block's end or no
/// file's, `dirNFErr` for a folder unknown.
Result PathOfFileRecord(Address file, std::string& path);

/// Adds a track with a display size (`Fixed`, 0 for sound) and a volume (256 is full). 0 on failure.
Track NewMovieTrack(Movie movie, Fixed width, Fixed height, int16_t volume);

/// Gives a track its media: "vide", "soun" or "tmcd", in units of `timeScale` a second. The last two arguments are 0. 0
/// on failure: a dead track, one that has media already, another type, or a scale below 0. A scale of 0 is that of a
/// source which isn't there: such media takes samples and stays empty, and the file gets no track for it.
Media NewTrackMedia(Track track, FourCharCode mediaType, int32_t timeScale, int32_t dataRef, FourCharCode dataRefType);

/// Opens and closes media for samples.
Result BeginMediaEdits(Media media);
/// Closes media. `invalidMedia` unless edits were begun.
Result EndMediaEdits(Media media);

/// Adds `count` samples of `durationPerSample` units each, whose bytes are `size` bytes from `offset` of the handle
/// `data`, in the description of the handle `description`: an image description, a sound description of 36 bytes or
/// more, or a timecode description, in host byte order. A sample of timecode is the number of its first frame, 32 bits
/// in big-endian order, and lasts as long as the timecode runs on evenly. The data is copied before the call returns.
/// `flags` 0 marks sync samples, of which those are kept as such that a decoder can begin with. A sample that builds on
/// one that the media lacks (at the beginning, or after a failure) is left out, and its duration goes to the next one
/// that doesn't. Writes the media time of the first as 32 bits at `time` unless that is 0. `paramErr` for a range
/// outside of the handle, a size or count below 1, or a size that is not that of so many samples; `invalidDuration` for
/// a negative duration, `badImageDescription` for a description that can't be read, `invalidMedia` outside of edits,
/// `couldNotResolveDataRef` for a closed file, `invalidSampleTable` for more samples than a file can count. A failure
/// of the writing thread (`dskFulErr`, `ioErr`) is the result of the next call and of all that follow; what was written
/// before stays and can be recovered.
Result AddMediaSample(Media media, Handle data, int32_t offset, int32_t size, int32_t durationPerSample,
                      Handle description, int32_t count, int16_t flags, Address time);

/// Whether samples can be added to media: its edits are begun, and its file is open.
bool IsMediaOpen(Media media);

/// Sum of the durations added so far, in the media's units, held at 2^31 - 1; 0 for dead media.
int32_t GetMediaDuration(Media media);
/// Time scale of media in units per second; 0 for an invalid reference.
int32_t GetMediaTimeScale(Media media);

/// Puts a piece of the media into the track: at the track's time `trackStart` (in the movie's units; -1: its end), from
/// `mediaTime` on, for `mediaDuration` units, at `mediaRate`, which is `Fixed` 1.0. A length of 0 is valid and inserts
/// nothing; 2^31 - 1 from time 0 means the whole of longer media.
/// `invalidTime` or `invalidDuration` for a piece that the media doesn't hold.
Result InsertMediaIntoTrack(Track track, int32_t trackStart, int32_t mediaTime, int32_t mediaDuration, Fixed mediaRate);

/// Path in a data reference handle, empty for any other handle.
std::string PathOfDataReference(Handle dataRef);

} // namespace platform

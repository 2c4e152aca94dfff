// SPDX-License-Identifier: MIT
// The published calls on movies, tracks and media: they convert numbers and addresses to objects; `MovieStorage` and
// `MovieTrack` do the work.
//
// A movie and its data handler are numbers of one `MovieStorage`, a track and its media numbers of one `MovieTrack`.
// The storage lives as long as any of them. Closing the data handler closes the file; the movie's numbers stay valid.
// At the end of the process the tables are destroyed, and with them each storage that is still open: it writes its
// pending data and closes its file, which can be recovered.
#include "platform/movies/Movies.h"

#include "platform/memory/ReferenceTable.h"
#include "platform/movies/CaptureInHand.h"
#include "platform/movies/FinishMovie.h"
#include "platform/movies/MovieTrack.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

constexpr Fixed kNormalRate = 0x00010000;
constexpr int16_t kNotSyncSample = 1;

ReferenceTable<MovieStorage>& Movies()
{
    static ReferenceTable<MovieStorage> table(kMovieReference);
    return table;
}

ReferenceTable<MovieStorage>& DataHandlers()
{
    static ReferenceTable<MovieStorage> table(kDataHandlerReference);
    return table;
}

ReferenceTable<MovieTrack>& Tracks()
{
    static ReferenceTable<MovieTrack> table(kTrackReference);
    return table;
}

ReferenceTable<MovieTrack>& AllMedia()
{
    static ReferenceTable<MovieTrack> table(kMediaReference);
    return table;
}

// Removes the numbers of a movie's tracks or media.
void RemoveAllOf(const std::shared_ptr<MovieStorage>& storage, ReferenceTable<MovieTrack>& table)
{
    for (const int32_t number : table.Numbers())
        if (const auto track = table.Find(number); track && track->Storage() == storage)
            table.Remove(number);
}

} // namespace

Result CreateMovieStorage(int32_t dataRef, FourCharCode dataRefType, FourCharCode creator, int32_t /*scriptTag*/,
                          uint32_t flags, Address handler, Address movie)
{
    if (!Poke<int32_t>(handler, 0) || !Poke<int32_t>(movie, 0))
        return paramErr;
    const std::string path = PathOfDataReference(dataRef);
    if (dataRefType != CodeOf("alis") || path.empty())
        return couldNotResolveDataRef;
    std::shared_ptr<MovieStorage> storage;
    const bool replace = (flags & createMovieFileDeleteCurFile) != 0;
    if (const Result result = MovieStorage::Create(path, replace, creator, storage); result != noErr)
        return result;
    Poke(handler, DataHandlers().Add(storage));
    Poke(movie, Movies().Add(storage));
    return noErr;
}

Result AddMovieToStorage(Movie movie, DataHandler handler)
{
    const auto storage = Movies().Find(movie);
    if (!storage)
        return invalidMovie;
    const auto handled = DataHandlers().Find(handler);
    if (!handled)
        return badComponentInstance;
    if (handled != storage)
        return invalidMovie;
    return storage->IsOpen() ? FinishMovie(storage) : couldNotResolveDataRef;
}

bool GetMovieStorageStatus(DataHandler handler, MovieStorageStatus& status)
{
    const auto storage = DataHandlers().Find(handler);
    if (!storage || !storage->IsOpen())
        return false;
    status = storage->Status();
    return true;
}

Result CloseMovieStorage(DataHandler handler)
{
    const auto storage = DataHandlers().Remove(handler);
    return storage ? storage->Close() : badComponentInstance;
}

Result SetMovieRecordingDate(Movie movie, const std::string& date)
{
    const auto storage = Movies().Find(movie);
    if (!storage)
        return invalidMovie;
    storage->Contents().recordingDate = date;
    return noErr;
}

void DisposeMovie(Movie movie)
{
    const auto storage = Movies().Remove(movie);
    if (!storage)
        return;
    RemoveAllOf(storage, AllMedia());
    RemoveAllOf(storage, Tracks());
}

Track NewMovieTrack(Movie movie, Fixed width, Fixed height, int16_t volume)
{
    const auto storage = Movies().Find(movie);
    if (!storage || width < 0 || height < 0)
        return 0;
    auto track = MovieTrack::Add(storage, width, height, volume);
    return track ? Tracks().Add(std::move(track)) : 0;
}

Media NewTrackMedia(Track track, FourCharCode mediaType, int32_t timeScale, int32_t /*dataRef*/,
                    FourCharCode /*dataRefType*/)
{
    const auto found = Tracks().Find(track);
    return found && found->MakeMedia(mediaType, timeScale) ? AllMedia().Add(found) : 0;
}

Result BeginMediaEdits(Media media)
{
    const auto found = AllMedia().Find(media);
    return found ? found->BeginEdits() : invalidMedia;
}

Result EndMediaEdits(Media media)
{
    const auto found = AllMedia().Find(media);
    return found ? found->EndEdits() : invalidMedia;
}

Result AddMediaSample(Media media, Handle data, int32_t offset, int32_t size, int32_t durationPerSample,
                      Handle description, int32_t count, int16_t flags, Address time)
{
    const auto found = AllMedia().Find(media);
    if (!found)
        return invalidMedia;
    if (const Result closed = found->WhyClosed(); closed != noErr)
        return closed;
    const auto bytes = HandleBytes(data);
    if (offset < 0 || size < 1 || count < 1 || int64_t{offset} + size > static_cast<int64_t>(bytes.size()))
        return paramErr;
    const FourCharCode type = found->Contents().mediaType;
    const int32_t start = found->Duration();
    const Result result =
        found->AddSamples({.bytes = bytes.subspan(static_cast<size_t>(offset), static_cast<size_t>(size)),
                           .description = HandleBytes(description),
                           .count = count,
                           .durationPerSample = durationPerSample,
                           .sync = (flags & kNotSyncSample) == 0,
                           .captureTime = CaptureInHand::TimeOf(type),
                           .bytesBefore = offset});
    if (result != noErr)
        return result;
    CaptureInHand::NoteAdded(type, media);
    return time == 0 || Poke(time, start) ? noErr : paramErr;
}

bool IsAnyMediaOpen()
{
    return std::ranges::any_of(AllMedia().Numbers(), IsMediaOpen);
}

bool IsMediaOpen(Media media)
{
    const auto found = AllMedia().Find(media);
    return found && found->IsOpen();
}

int32_t GetMediaDuration(Media media)
{
    const auto found = AllMedia().Find(media);
    return found ? found->Duration() : 0;
}

int32_t GetMediaTimeScale(Media media)
{
    const auto found = AllMedia().Find(media);
    return found ? found->Contents().timeScale : 0;
}

Result InsertMediaIntoTrack(Track track, int32_t trackStart, int32_t mediaTime, int32_t mediaDuration, Fixed mediaRate)
{
    const auto found = Tracks().Find(track);
    if (!found)
        return invalidTrack;
    if (found->Contents().mediaType == 0)
        return invalidMedia;
    return mediaRate == kNormalRate ? found->Insert(trackStart, mediaTime, mediaDuration) : paramErr;
}

} // namespace platform

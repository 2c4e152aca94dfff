// SPDX-License-Identifier: MIT
// The calls on movies, tracks and media: numbers are looked up, arguments checked, and what is left is done by the
// movie's storage.
//
// A movie, its tracks, its media and its data handler are four kinds of numbers for one `MovieStorage`, which lives
// as long as any of them. Closing the data handler closes the file; the movie's numbers stay valid after it. The
// tables end with the process, and with them each storage still open: it then writes what waits and closes its file,
// which can be recovered.
#include "platform/movies/Movies.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/KeyFrames.h"
#include "platform/memory/ReferenceTable.h"
#include "platform/movies/CaptureInHand.h"
#include "platform/movies/FinishMovie.h"
#include "platform/movies/MovieStorage.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace platform {
namespace {

constexpr Fixed kNormalRate = 0x00010000;
constexpr int16_t kNotSyncSample = 1;
constexpr int32_t kWholeMedia = std::numeric_limits<int32_t>::max();

struct TrackOfMovie {
    std::shared_ptr<MovieStorage> storage;
    uint32_t index;

    TrackContents& Contents() const { return storage->Contents().tracks[index]; }
};

struct MediaOfTrack {
    TrackOfMovie track;
    bool editing = false;
    // The description given last, as the caller had it, and which one of the track it is.
    std::vector<uint8_t> lastRecord;
    uint32_t lastDescription = 0;
    // Of an inter-frame codec: whether the frame is missing that the next one may build on, and the time of those that
    // were left out since.
    bool needsKey = true;
    int64_t leftOutUnits = 0;
};

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

ReferenceTable<TrackOfMovie>& Tracks()
{
    static ReferenceTable<TrackOfMovie> table(kTrackReference);
    return table;
}

ReferenceTable<MediaOfTrack>& AllMedia()
{
    static ReferenceTable<MediaOfTrack> table(kMediaReference);
    return table;
}

// Finds the description among those of the track, or adds it.
Result UseDescription(MediaOfTrack& media, std::span<const uint8_t> record, std::span<const uint8_t> sample)
{
    TrackContents& track = media.track.Contents();
    if (!record.empty() && std::ranges::equal(record, media.lastRecord) &&
        !ShapeDependsOnSample(track.mediaType, record))
        return noErr;
    std::vector<uint8_t> fileForm;
    if (const Result result = FileFormOfDescription(track.mediaType, record, sample, fileForm); result != noErr)
        return result;
    auto found = std::ranges::find(track.descriptions, fileForm);
    if (found == track.descriptions.end())
        found = track.descriptions.insert(track.descriptions.end(), std::move(fileForm));
    media.lastDescription = static_cast<uint32_t>(found - track.descriptions.begin());
    media.lastRecord.assign(record.begin(), record.end());
    return noErr;
}

// Samples of one call are of one size; frames of uncompressed sound are of the size that their description gives.
bool HoldsSamples(const TrackContents& track, uint32_t description, int64_t size, int64_t count)
{
    if (track.mediaType == kSoundMediaType)
        if (const int64_t frame = BytesPerSoundFrame(track.descriptions[description]); frame > 0)
            return count * frame <= size;
    return size % count == 0;
}

// The file counts samples in 32 bits, but for frames of uncompressed sound, which it can tell in larger samples.
bool HasRoomFor(const TrackContents& track, uint32_t description, int64_t count, int64_t duration)
{
    const bool isCounted =
        track.mediaType != kSoundMediaType || BytesPerSoundFrame(track.descriptions[description]) == 0;
    return (!isCounted || track.samples + count <= UINT32_MAX) && track.duration + count * duration <= kLongestMedia;
}

// Callers know nothing of key frames and mark every sample as one, so the sample itself is looked at.
bool IsKeySample(const TrackContents& track, uint32_t description, std::span<const uint8_t> sample)
{
    return track.mediaType != kVideoMediaType || IsKeyFrame(FormatOf(track.descriptions[description]), sample);
}

// Whether a frame that builds on the one before has it in the movie, and finds room in front of the disk. Frames of
// other codecs and sound need neither.
bool MayAddFrame(MediaOfTrack& media, int32_t size, bool isKey)
{
    const TrackContents& track = media.track.Contents();
    if (track.mediaType != kVideoMediaType || !IsInterFrame(FormatOf(track.descriptions[media.lastDescription])))
        return true;
    const bool hadKey = !media.needsKey;
    media.needsKey = (media.needsKey && !isKey) || !media.track.storage->WaitForRoom(size);
    if (media.needsKey && (hadKey || isKey))
        RequestKeyFrame();
    // Those that came before the first key frame belong to the time before the recording.
    if (media.needsKey && track.samples > 0)
        media.track.storage->CountLostFrame();
    return !media.needsKey;
}

// When the first sample of what is added was captured, if the buffer in hand tells.
std::optional<int64_t> CaptureTimeOf(const TrackContents& track, uint32_t description, int32_t offset)
{
    const auto time = CaptureInHand::TimeOf(track.mediaType);
    if (!time || track.mediaType != kSoundMediaType)
        return time;
    const int64_t frameBytes = std::max<int64_t>(1, BytesPerSoundFrame(track.descriptions[description]));
    return *time + offset / frameBytes * kNanosecondsPerSecond / track.timeScale;
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
    RequestKeyFrame(); // for the movie to begin with
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
    for (const int32_t number : AllMedia().Numbers())
        if (const auto media = AllMedia().Find(number); media && media->track.storage == storage)
            AllMedia().Remove(number);
    for (const int32_t number : Tracks().Numbers())
        if (const auto track = Tracks().Find(number); track && track->storage == storage)
            Tracks().Remove(number);
}

Track NewMovieTrack(Movie movie, Fixed width, Fixed height, int16_t volume)
{
    const auto storage = Movies().Find(movie);
    if (!storage || width < 0 || height < 0)
        return 0;
    auto& tracks = storage->Contents().tracks;
    if (tracks.size() == kMaximumTracks)
        return 0;
    TrackContents track;
    track.width = width;
    track.height = height;
    track.volume = volume;
    tracks.push_back(std::move(track));
    return Tracks().Add(
        std::make_shared<TrackOfMovie>(TrackOfMovie{storage, static_cast<uint32_t>(tracks.size() - 1)}));
}

Media NewTrackMedia(Track track, FourCharCode mediaType, int32_t timeScale, int32_t /*dataRef*/,
                    FourCharCode /*dataRefType*/)
{
    const auto found = Tracks().Find(track);
    if (!found || found->Contents().mediaType != 0 || timeScale < 0 ||
        (mediaType != kVideoMediaType && mediaType != kSoundMediaType && mediaType != kTimecodeMediaType))
        return 0;
    found->Contents().mediaType = mediaType;
    found->Contents().timeScale = timeScale;
    auto media = std::make_shared<MediaOfTrack>();
    media->track = *found;
    return AllMedia().Add(std::move(media));
}

Result BeginMediaEdits(Media media)
{
    const auto found = AllMedia().Find(media);
    if (!found)
        return invalidMedia;
    if (!found->track.storage->IsOpen())
        return couldNotResolveDataRef;
    found->editing = true;
    return noErr;
}

Result EndMediaEdits(Media media)
{
    const auto found = AllMedia().Find(media);
    if (!found || !found->editing)
        return invalidMedia;
    found->editing = false;
    return noErr;
}

Result AddMediaSample(Media media, Handle data, int32_t offset, int32_t size, int32_t durationPerSample,
                      Handle description, int32_t count, int16_t flags, Address time)
{
    const auto found = AllMedia().Find(media);
    if (!found || !found->editing)
        return invalidMedia;
    if (!found->track.storage->IsOpen() || found->track.storage->IsFinishing())
        return couldNotResolveDataRef;
    const auto bytes = HandleBytes(data);
    if (offset < 0 || size < 1 || count < 1 || int64_t{offset} + size > static_cast<int64_t>(bytes.size()))
        return paramErr;
    if (durationPerSample < 0)
        return invalidDuration;
    const auto samples = bytes.subspan(static_cast<size_t>(offset), static_cast<size_t>(size));
    if (const Result result = UseDescription(*found, HandleBytes(description), samples); result != noErr)
        return result;
    const TrackContents& track = found->track.Contents();
    const uint32_t described = found->lastDescription;
    if (!HoldsSamples(track, described, size, count))
        return paramErr;
    if (track.timeScale == 0)
        return noErr;
    const bool isKey = IsKeySample(track, described, samples);
    if (!MayAddFrame(*found, size, isKey)) {
        found->leftOutUnits += int64_t{count} * durationPerSample;
        return noErr;
    }
    const int64_t duration = durationPerSample + std::exchange(found->leftOutUnits, 0);
    if (!HasRoomFor(track, described, count, duration))
        return invalidSampleTable;
    const int32_t start = GetMediaDuration(media);
    SampleRun run;
    run.track = found->track.index;
    run.description = described;
    run.sync = isKey && (flags & kNotSyncSample) == 0;
    run.count = count;
    run.duration = duration;
    if (const Result result = found->track.storage->AddSamples(samples, run, CaptureTimeOf(track, described, offset));
        result != noErr)
        return result;
    CaptureInHand::NoteAdded(track.mediaType, media);
    return time == 0 || Poke(time, start) ? noErr : paramErr;
}

bool IsMediaOpen(Media media)
{
    const auto found = AllMedia().Find(media);
    return found && found->editing && found->track.storage->IsOpen();
}

int32_t GetMediaDuration(Media media)
{
    const auto found = AllMedia().Find(media);
    return found ? static_cast<int32_t>(std::min<int64_t>(found->track.Contents().duration, kWholeMedia)) : 0;
}

int32_t GetMediaTimeScale(Media media)
{
    const auto found = AllMedia().Find(media);
    return found ? found->track.Contents().timeScale : 0;
}

Result InsertMediaIntoTrack(Track track, int32_t trackStart, int32_t mediaTime, int32_t mediaDuration, Fixed mediaRate)
{
    constexpr int32_t kTrackEnd = -1;
    const auto found = Tracks().Find(track);
    if (!found)
        return invalidTrack;
    TrackContents& contents = found->Contents();
    if (contents.mediaType == 0)
        return invalidMedia;
    if (mediaRate != kNormalRate)
        return paramErr;
    if (trackStart < kTrackEnd || mediaTime < 0 || mediaTime > contents.duration)
        return invalidTime;
    // A media longer than 32 bits can tell says the most they can: that stands for all of it.
    const int64_t duration = mediaTime == 0 && mediaDuration == kWholeMedia && contents.duration > kWholeMedia
                                 ? contents.duration
                                 : mediaDuration;
    if (duration < 0 || mediaTime + duration > contents.duration)
        return invalidDuration;
    if (duration == 0)
        return noErr;
    const int64_t at = trackStart == kTrackEnd ? DurationOf(contents.edits) : trackStart;
    InsertEdit(contents.edits, at, {MovieTimeOf(duration, contents.timeScale), mediaTime}, contents.timeScale);
    return noErr;
}

} // namespace platform

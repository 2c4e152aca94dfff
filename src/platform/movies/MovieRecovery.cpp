// SPDX-License-Identifier: MIT
// Recovery reads nothing but the journal and rebuilds the movie's header from it. In place, the header is written at
// the end of the file, and once it is durable the file's head is overwritten, as at the end of a recording. Until then
// the file only differs in bytes after its end. A copy gets the media data unchanged (on file systems that support it,
// sharing the disk space), the header and the head.
#include "platform/movies/MovieRecovery.h"

#include "platform/movies/JournalReplay.h"
#include "platform/movies/MovieFragments.h"
#include "platform/movies/MovieHeader.h"
#include "platform/movies/RecordingFile.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace platform {
namespace {

RecoveredMovie FiguresOf(const MovieContents& movie, int64_t mediaBytes)
{
    RecoveredMovie found;
    for (const TrackContents& track : movie.tracks) {
        if (track.mediaType != kVideoMediaType && track.mediaType != kSoundMediaType)
            continue;
        auto& frames = track.mediaType == kVideoMediaType ? found.videoFrames : found.soundFrames;
        frames += static_cast<uint64_t>(track.samples);
        found.seconds = std::max(found.seconds, static_cast<double>(track.duration) / track.timeScale);
    }
    found.bytes = mediaBytes;
    return found;
}

Result WriteCopy(const RecordingFile& recording, int64_t dataEnd, const MovieContents& movie, const std::string& path)
{
    std::unique_ptr<DiskFile> file;
    if (const Result result = CreateOutputFile(path, false, movie.creator, file); result != noErr)
        return result;
    Result result = file->CopyFrom(recording.Descriptor(), dataEnd);
    if (result == noErr)
        result = file->Write(MovieHeader(movie), dataEnd);
    if (result == noErr)
        result = file->Write(FinishedFront(dataEnd), 0);
    if (result == noErr)
        result = file->Sync();
    if (result != noErr)
        unlink(path.c_str());
    return result;
}

Result FinishInPlace(const RecordingFile& recording, const MovieContents& movie, const std::string& path)
{
    if (recording.WriteFailure() != noErr)
        return recording.WriteFailure();
    DiskFile file(UniqueFD(fcntl(recording.Descriptor(), F_DUPFD_CLOEXEC, 0)), path);
    Result result = file.Write(MovieHeader(movie), recording.Size());
    if (result == noErr)
        result = file.Sync();
    if (result != noErr) {
        // Without the header the file should be as it was before; part of a header does no harm.
        static_cast<void>(ftruncate(recording.Descriptor(), recording.Size()));
        return result;
    }
    // The recorder may have reserved space beyond the end, which an interrupted recording still has.
    file.ReleaseReserved();
    result = file.Write(FinishedFront(recording.Size()), 0);
    return result == noErr ? file.Sync() : result;
}

} // namespace

Result RecoverMovie(const std::string& input, const std::string& output, RecoveredMovie& found, std::string& written)
{
    written.clear();
    RecordingFile recording;
    if (const Result result = recording.Open(input); result != noErr)
        return result;
    const auto boxes = recording.IsOurs() ? recording.ReadJournal() : std::vector<JournalBox>();
    JournalReplay replay;
    for (const JournalBox& box : boxes)
        replay.Add(box);
    const MovieContents movie = replay.TakeMovie();
    found = FiguresOf(movie, replay.MediaBytes());
    if (found.bytes == 0)
        return invalidMovie;
    found.wasComplete = recording.IsFinished();
    written = found.wasComplete || output.empty() ? input : output;
    if (found.wasComplete)
        return noErr;
    if (output.empty())
        return FinishInPlace(recording, movie, input);
    const JournalBox& last = boxes.back();
    const auto dataEnd = last.position + static_cast<int64_t>(kJournalHeadSize + last.payload.size());
    return WriteCopy(recording, dataEnd, movie, output);
}

} // namespace platform

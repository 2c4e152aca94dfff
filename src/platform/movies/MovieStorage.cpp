// States: open (media data grows, the head of the file says no length), complete (header written, head says where the
// data ends), closed. Samples added to a complete movie make it incomplete first: the length goes from the head, and
// the header is left behind as dead bytes among the media data.
//
// The length in the head is what makes a file a movie, and it is written last: after the header has reached the disk.
// So at each moment a file is either complete or known as one to recover.
#include "platform/movies/MovieStorage.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/movies/MovieHeader.h"

#include <algorithm>
#include <sys/statvfs.h>

namespace platform {

Result MovieStorage::Create(const std::string& path, bool replace, FourCharCode creator,
                            std::shared_ptr<MovieStorage>& storage)
{
    std::unique_ptr<DiskFile> file;
    if (const Result result = CreateOutputFile(path, replace, creator, file); result != noErr)
        return result;
    // Written at once, so that a full disk shows before the recording begins.
    if (const Result result = file->Write(FileHead(0), 0); result != noErr)
        return result;
    storage.reset(new MovieStorage(std::move(file), path, creator));
    return noErr;
}

MovieStorage::MovieStorage(std::unique_ptr<OutputFile> file, std::string where, FourCharCode creator)
    : path(std::move(where)),
      startTime(MonotonicNow()),
      writer(std::make_unique<MediaDataWriter>(std::move(file), kFileHeadSize))
{
    contents.creationTime = PresentMovieTime();
    contents.creator = creator;
}

MovieStorage::~MovieStorage()
{
    Close();
}

MovieStorageStatus MovieStorage::Status() const
{
    MovieStorageStatus status;
    status.path = path;
    status.fileBytes = writer->End();
    status.waitingBytes = writer->Waiting();
    status.bufferBytes = writer->Limit();
    status.failure = writer->Failure();
    struct statvfs disk {};
    if (statvfs(path.c_str(), &disk) == 0)
        status.freeBytes = std::max<int64_t>(
            0, static_cast<int64_t>(disk.f_bavail) * static_cast<int64_t>(disk.f_frsize) - status.waitingBytes);
    const auto seconds = static_cast<double>(MonotonicNow() - startTime) / kNanosecondsPerSecond;
    if (seconds > 1 && status.fileBytes > kFileHeadSize)
        status.secondsLeft = static_cast<double>(status.freeBytes) * seconds / static_cast<double>(status.fileBytes);
    return status;
}

Result MovieStorage::AddSamples(std::span<const uint8_t> bytes, SampleRun run)
{
    if (complete) {
        if (const Result result = WriteHead(0); result != noErr)
            return result;
        complete = false;
    }
    run.position = writer->End();
    run.size = static_cast<int64_t>(bytes.size());
    if (const Result result = writer->Append(bytes); result != noErr)
        return result;
    TrackContents& track = contents.tracks[run.track];
    track.duration += run.count * run.duration;
    track.samples += run.count;
    contents.samples.Add(run);
    // The samples are in: a failure from here on is the next call's.
    if (journal.IsDue(contents))
        WriteJournal();
    return noErr;
}

Result MovieStorage::WriteJournal()
{
    const Result result = writer->Append(journal.MakeBlock(contents, writer->End()));
    writer->RequestSync();
    return result;
}

Result MovieStorage::WriteHead(int64_t mediaDataEnd)
{
    return writer->File().Write(FileHead(mediaDataEnd), 0);
}

Result MovieStorage::WriteHeader()
{
    if (contents.samples.HasNew())
        WriteJournal();
    const int64_t mediaDataEnd = writer->End();
    Result result = writer->Append(MovieHeader(contents));
    if (result == noErr)
        result = writer->Flush();
    if (result == noErr)
        result = writer->File().Sync();
    if (result == noErr)
        result = WriteHead(mediaDataEnd);
    complete = result == noErr;
    return result;
}

Result MovieStorage::Close()
{
    if (!IsOpen())
        return noErr;
    if (!complete && contents.samples.HasNew())
        WriteJournal();
    Result result = writer->Flush();
    if (result == noErr)
        result = writer->File().Sync();
    writer.reset();
    contents.samples.Clear();
    return result;
}

} // namespace platform

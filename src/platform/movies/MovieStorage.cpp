// SPDX-License-Identifier: MIT
// States: recording (the file is a fragmented movie that grows), finishing (the header is written, and after it the
// head of the media data, which makes it an ordinary movie), closed. At each moment the file plays as far as it has
// been written.
//
// Data that cannot be written any more is refused in advance: the writer keeps space reserved on the disk for the
// header and knows how far the file can grow. A sample that would exceed that is refused, and so are all that follow.
//
// A frame that does not fit the buffer in front of the disk is lost, since the recording thread must not wait. The
// movie repeats the bytes of the previous frame instead, so that later frames keep their times.
#include "platform/movies/MovieStorage.h"

#include "platform/clock/MonotonicClock.h"
#include "platform/compression/KeyFrames.h"
#include "platform/log/Log.h"
#include "platform/movies/MovieHeader.h"
#include "platform/movies/SampleDescriptions.h"

#include <algorithm>
#include <unistd.h>

namespace platform {
namespace {

constexpr int64_t kFragmentDuration = 400 * kNanosecondsPerMillisecond;

bool IsUncompressedSound(const TrackContents& track, uint32_t description)
{
    return track.mediaType == kSoundMediaType && BytesPerSoundFrame(track.descriptions[description]) > 0;
}

} // namespace

Result MovieStorage::Create(const std::string& path, bool replace, FourCharCode creator,
                            std::shared_ptr<MovieStorage>& storage)
{
    std::unique_ptr<DiskFile> file;
    if (const Result result = CreateOutputFile(path, replace, creator, file); result != noErr)
        return result;
    file->Lock();
    // Written at once, so that a full disk is noticed before the recording starts.
    Result result = file->Write(FileHead(), 0);
    const int64_t wanted = kFileHeadSize + MaxMovieHeaderSize({});
    if (result == noErr && file->Reserve(wanted) < wanted)
        result = dskFulErr;
    if (result == noErr) {
        storage = std::make_shared<MovieStorage>(std::move(file), path, creator);
        RequestKeyFrame(); // the movie must start with one
    } else {
        unlink(path.c_str());
    }
    moviesLog.Info(path, ": created, result ", result);
    return result;
}

MovieStorage::MovieStorage(std::unique_ptr<OutputFile> file, std::string where, FourCharCode creator,
                           int64_t bufferLimit)
    : path(std::move(where)), writer(std::make_unique<MediaDataWriter>(std::move(file), kFileHeadSize, bufferLimit))
{
    contents.creationTime = PresentMovieTime();
    contents.creator = creator;
    rate.Note(MonotonicNow(), 0);
}

MovieStorage::~MovieStorage()
{
    Close();
}

Result MovieStorage::AddSamples(std::span<const uint8_t> bytes, SampleRun run, std::optional<int64_t> captureTime)
{
    states.resize(contents.tracks.size());
    announced.resize(contents.tracks.size());
    writer->Reserve(ReservedBytes());
    if (roomEnded || FreeBytes() < static_cast<int64_t>(bytes.size())) {
        roomEnded = true;
        return dskFulErr;
    }
    run.position = writer->End() + static_cast<int64_t>(MovieFragment::kHeadSize);
    run.size = static_cast<int64_t>(bytes.size());
    BeginFragmentFor(run);
    if (const Result result = TakeBytes(bytes, run); result != noErr)
        return result;
    NoteSamples(run, captureTime);
    // The samples are stored: a failure from here on is reported by the next call.
    if (IsFragmentDue())
        EndFragment();
    return noErr;
}

Result MovieStorage::TakeBytes(std::span<const uint8_t> bytes, SampleRun& run)
{
    const bool isVideo = contents.tracks[run.track].mediaType == kVideoMediaType;
    // Sound is small, and repeating it would be heard: it may use a part of the buffer that is kept for it.
    const int64_t beyondLimit = isVideo ? 0 : writer->Limit() / 8;
    if (!writer->WaitForSpace(run.size, beyondLimit)) {
        if (!isVideo || !states[run.track].last || run.count != 1)
            return ioErr;
        RepeatFrame(run);
        return noErr;
    }
    run.position = writer->End();
    return writer->Append(bytes);
}

void MovieStorage::RepeatFrame(SampleRun& run)
{
    const int64_t duration = run.duration;
    run = *states[run.track].last;
    run.duration = duration;
    ++framesLost;
}

void MovieStorage::NoteSamples(const SampleRun& run, std::optional<int64_t> captureTime)
{
    TrackContents& track = contents.tracks[run.track];
    TrackState& state = states[run.track];
    if (captureTime)
        state.captured.Add(*captureTime, track.duration, track.timeScale);
    const bool isRepeated = state.last && run.position == state.last->position;
    const SampleRun sample = InFragment(run);
    if (!isRepeated && fragment.HasSpaceFor(sample))
        fragment.Add(sample, track.duration);
    track.duration += run.count * run.duration;
    track.samples += run.count;
    contents.samples.Add(run);
    state.last = run;
}

// In a fragment a buffer of uncompressed sound is one sample.
SampleRun MovieStorage::InFragment(const SampleRun& run) const
{
    return IsUncompressedSound(contents.tracks[run.track], run.description) ? RunAsOneSample(run) : run;
}

void MovieStorage::BeginFragmentFor(const SampleRun& run)
{
    if (fragment.IsOpen() && !fragment.HasSpaceFor(InFragment(run)))
        EndFragment();
    if (fragment.IsOpen())
        return;
    fragment.Begin(writer->End());
    fragmentStart = MonotonicNow();
    writer->Append(MovieFragment::OpenHead());
}

// The first samples of a new description should be playable at once.
bool MovieStorage::IsFragmentDue() const
{
    return MonotonicNow() - fragmentStart >= kFragmentDuration || described != DescriptionCounts();
}

std::vector<size_t> MovieStorage::DescriptionCounts() const
{
    std::vector<size_t> counts;
    for (const TrackContents& track : contents.tracks)
        counts.push_back(track.descriptions.size());
    return counts;
}

void MovieStorage::EndFragment()
{
    for (size_t i = 0; i < states.size(); ++i)
        contents.tracks[i].captureOffset = states[i].captured.Median();
    WriteInitialHeader();
    const int64_t dataEnd = writer->End();
    const int64_t position = fragment.Position();
    writer->Append(journal.MakeBox(contents, dataEnd));
    writer->Overwrite(fragment.End(dataEnd, announced), position);
    rate.Note(MonotonicNow(), writer->End());
}

void MovieStorage::WriteInitialHeader()
{
    described = DescriptionCounts();
    const auto header = InitialHeader(contents);
    if (header.empty())
        return;
    announced = described;
    writer->Overwrite(header, kInitialHeaderPosition);
}

void MovieStorage::Finish()
{
    if (fragment.IsOpen())
        EndFragment();
    finishing = true;
    finishStart = writer->Written();
    const int64_t headerPosition = writer->End();
    writer->Append(MovieHeader(contents));
    writer->Finish(MediaDataHead(headerPosition), kReservedPosition);
    moviesLog.Info(path, ": ended with ", writer->End(), " bytes");
}

FinishingMovie MovieStorage::Progress() const
{
    FinishingMovie progress;
    progress.path = path;
    progress.doneBytes = writer->Written() - finishStart;
    progress.totalBytes = writer->End() - finishStart;
    progress.done = writer->WaitForFinish(std::chrono::milliseconds(0));
    progress.result = writer->Failure();
    return progress;
}

Result MovieStorage::Close()
{
    if (!IsOpen())
        return noErr;
    closed = true;
    Result result = noErr;
    if (!inBackground) {
        result = finishing ? writer->Failure() : CloseUnfinished();
        writer.reset();
    }
    contents.samples.Clear();
    return result;
}

void MovieStorage::EndBackground()
{
    inBackground = false;
    if (closed)
        writer.reset();
}

Result MovieStorage::CloseUnfinished()
{
    if (fragment.IsOpen())
        EndFragment();
    Result result = writer->Flush();
    if (result == noErr)
        result = writer->File().Sync();
    writer->File().ReleaseReserved();
    return result;
}

int64_t MovieStorage::ReservedBytes() const
{
    return MaxMovieHeaderSize(contents) + static_cast<int64_t>(MovieFragment::kHeadSize);
}

int64_t MovieStorage::FreeBytes() const
{
    return std::max<int64_t>(0, writer->WritableEnd() - writer->End() - ReservedBytes());
}

MovieStorageStatus MovieStorage::Status() const
{
    MovieStorageStatus status;
    status.path = path;
    status.fileBytes = writer->End();
    status.waitingBytes = writer->Waiting();
    status.bufferBytes = writer->Limit();
    status.freeBytes = FreeBytes();
    if (const double bytesPerSecond = rate.BytesPerSecond(); bytesPerSecond > 0)
        status.secondsLeft = static_cast<double>(status.freeBytes) / bytesPerSecond;
    status.framesLost = framesLost;
    status.failure = writer->Failure();
    if (status.failure == noErr && roomEnded)
        status.failure = dskFulErr;
    return status;
}

} // namespace platform

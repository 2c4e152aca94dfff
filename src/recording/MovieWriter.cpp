// SPDX-License-Identifier: MIT
// The movie of data procedure mode: one video and one sound track, whose media take each buffer exactly as the grabber
// delivered it.
//
// States: closed, open (storage made), editing (tracks and media made, samples may come), closed again when the edits
// are finished. Video samples carry measured durations in the channel's time scale. Sound is counted in samples of
// duration 1, and the first sound buffer of the control's life loses its beginning, so that it ends with the video that
// has gone before it. That it came, and the sum of video durations, outlive a recording.
//
// The media are held open for the whole recording and put into their tracks in one piece at its end. Until the movie
// has been added to its storage the file holds media data without a header.
#include "capture/VelmoraCanvas.h"

#include "corefoundation/CFString.h"
#include "framework/Application.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "platform/movies/Movies.h"
#include "recording/FirstSoundBuffer.h"
#include "recording/Utilities.h"

namespace velmora {

using framework::Break;
using framework::MsgBox;
using framework::New;
using framework::Str;
using framework::StringToOSType;
using Utilities::double2int;
using Utilities::int2fixed;

namespace {

constexpr int32_t kNativePathStyle = -1;
constexpr int16_t kFullVolume = 256;
constexpr int32_t kEndOfTrack = -1;

// Fields of a sound description.
constexpr int32_t kSoundChannels = 24;
constexpr int32_t kSoundSampleSize = 26;
constexpr int32_t kSoundSampleRate = 32;

// For failures that are of interest to a debugger alone.
void BreakUnlessZero(int32_t result)
{
    if (result != 0)
        Break();
}

// Shows a message and tells that something failed.
bool Failed(bool failed, const char* message)
{
    if (failed)
        MsgBox(message);
    return failed;
}

// How a failed end of a recording leaves it: an exception that carries no object.
[[noreturn]] void GiveUp(const framework::String& message)
{
    MsgBox(message);
    throw Reference<framework::RuntimeException>();
}

} // namespace

void VelmoraCanvas::createmoviestorage(const Reference<FolderItem>& file)
{
    // Taking out the shell's backslashes gives the plain path again; a name with one of its own loses that too.
    const CFString path(ReplaceAll(file->ShellPath(), "\\", ""));
    const MemoryBlock dataRef(4);
    const MemoryBlock dataRefType(4);
    BreakUnlessZero(platform::QTNewDataReferenceFromFullPathCFString(path, kNativePathStyle, 0, dataRef.Pointer(),
                                                                     dataRefType.Pointer()));
    moviedatahandler = New<MemoryBlock>(4);
    outputMovie = New<MemoryBlock>(4);
    BreakUnlessZero(platform::CreateMovieStorage(dataRef.Long(0), dataRefType.Long(0), StringToOSType("TVOD"), 0,
                                                 platform::createMovieFileDeleteCurFile, moviedatahandler->Pointer(),
                                                 outputMovie->Pointer()));
    platform::DisposeHandle(dataRef.Long(0));
}

// Makes both tracks and opens their media, up to the first failure; what was made before it stays. The media take the
// channels' time scales as they are at this moment.
void VelmoraCanvas::addtracksToMovie(int32_t movie)
{
    myvideotrack =
        platform::NewMovieTrack(movie, int2fixed(videoRecordWidth), int2fixed(videoRecordHeight), kFullVolume);
    if (Failed(myvideotrack == 0, "NewMovieTrack failed(video)."))
        return;
    myvideomedia = platform::NewTrackMedia(myvideotrack, StringToOSType("vide"), VideoTimeScale(), 0, 0);
    if (Failed(myvideomedia == 0, "NewTrackMedia failed. (video)"))
        return;
    mysoundtrack = platform::NewMovieTrack(movie, int2fixed(0), int2fixed(0), kFullVolume);
    if (Failed(mysoundtrack == 0, "NewMovieTrack failed. (sound)"))
        return;
    mysoundmedia = platform::NewTrackMedia(mysoundtrack, StringToOSType("soun"), SoundTimeScale(), 0, 0);
    if (Failed(mysoundmedia == 0, "NewTrackMedia failed. (sound)"))
        return;
    if (Failed(platform::BeginMediaEdits(myvideomedia) != 0, "error beginmediaedits (video)"))
        return;
    Failed(platform::BeginMediaEdits(mysoundmedia) != 0, "error beginmediaedits (sound)");
}

int32_t VelmoraCanvas::AppendDataProcDataToMovie(int32_t c, int32_t p, int32_t len, int32_t duration)
{
    if (p == 0)
        return 0;
    const Reference<MemoryBlock> data = MemoryBlock::At(p);
    const MemoryBlock info(4);
    const int32_t result = platform::SGGetChannelInfo(c, info.Pointer());
    if (result != 0)
        MsgBox("SGGetChannelInfo error " + Str(result));
    else if ((info.Long(0) & platform::seqGrabHasBounds) != 0)
        AppendVideo(c, data, len, duration);
    else if ((info.Long(0) & platform::seqGrabHasVolume) != 0)
        AppendSound(c, data, len);
    return 0;
}

// One sample, marked as a sync sample whatever the compressor did.
void VelmoraCanvas::AppendVideo(int32_t c, const Reference<MemoryBlock>& data, int32_t len, int32_t duration)
{
    if (!isRecording)
        return;
    preaudiotimeval = static_cast<int32_t>(int64_t{preaudiotimeval} + duration);
    const int32_t description = Utilities::newclearhandle();
    if (const int32_t result = platform::SGGetChannelSampleDescription(c, description); result != 0)
        MsgBox("SGGetChannelSampleDescription (video) error " + Str(result));
    const int32_t copy = Utilities::memoryblocktohandle(data, len);
    if (copy == 0)
        MsgBox("error in memoryblocktohandle");
    const int32_t result = platform::AddMediaSample(myvideomedia, copy, 0, len, duration, description, 1, 0, 0);
    if (result != 0)
        MsgBox("AddMediaSample (video) error " + Str(result));
    ++(result == 0 ? tally.frames : tally.refused);
    Utilities::DisposeHandle(description);
    Utilities::DisposeHandle(copy);
}

// A run of samples of duration 1, taken to be uncompressed. Nothing is clamped: sizes and counts that don't fit the
// buffer are the platform's to refuse.
void VelmoraCanvas::AppendSound(int32_t c, const Reference<MemoryBlock>& data, int32_t len)
{
    if (!isRecording)
        return;
    const int32_t description = Utilities::newclearhandle();
    BreakUnlessZero(platform::SGGetChannelSampleDescription(c, description));
    const int32_t copy = Utilities::memoryblocktohandle(data, len);
    if (copy == 0)
        Break();
    const Reference<MemoryBlock> desc = handletomemoryblock(description);
    const auto bytesPerSample = static_cast<int16_t>(desc->Short(kSoundSampleSize) / 8.0);
    const auto channels = static_cast<int16_t>(desc->Short(kSoundChannels));
    const int32_t rate = Utilities::fixed2int(static_cast<uint32_t>(desc->Long(kSoundSampleRate)));
    const int32_t count = double2int(static_cast<double>(len) / bytesPerSample / channels);
    if (gotaudio) {
        BreakUnlessZero(platform::AddMediaSample(mysoundmedia, copy, 0, len, 1, description, count, 0, 0));
    } else {
        const SoundPart part =
            TrimFirstSoundBuffer(len, bytesPerSample, channels, rate, preaudiotimeval, VideoTimeScale());
        if (part.samples > 0)
            BreakUnlessZero(platform::AddMediaSample(mysoundmedia, copy, part.offset, part.bytes, 1, description,
                                                     part.samples, 0, 0));
    }
    Utilities::DisposeHandle(description);
    Utilities::DisposeHandle(copy);
    gotaudio = true;
}

void VelmoraCanvas::FinishMovieEdits()
{
    const int32_t videoDuration = platform::GetMediaDuration(myvideomedia);
    const int32_t soundDuration = platform::GetMediaDuration(mysoundmedia);
    // Asked as well, but neither track is cut to the other's length.
    platform::GetMediaTimeScale(myvideomedia);
    platform::GetMediaTimeScale(mysoundmedia);

    // The one failure that ends the operation without an exception.
    if (Failed(platform::EndMediaEdits(myvideomedia) != 0, "error EndMediaEdits (video buffer)"))
        return;
    if (platform::InsertMediaIntoTrack(myvideotrack, kEndOfTrack, 0, videoDuration, int2fixed(1)) != 0)
        GiveUp("error InsertMediaIntoTrack (video) clip");
    if (platform::EndMediaEdits(mysoundmedia) != 0)
        GiveUp("error EndMediaEdits (sound)");
    const int32_t result = platform::InsertMediaIntoTrack(mysoundtrack, kEndOfTrack, 0, soundDuration, int2fixed(1));
    if (result != 0)
        GiveUp("error InsertMediaIntoTrack (sound) clip: " + Str(result));
    const int32_t added = platform::AddMovieToStorage(outputMovie->Long(0), moviedatahandler->Long(0));
    BreakUnlessZero(tally.Keep(added));
    const int32_t closed = platform::CloseMovieStorage(moviedatahandler->Long(0));
    BreakUnlessZero(tally.Keep(closed));
    tally.finished = added == 0 && closed == 0;
}

// A copy of a handle's data; nil for an empty one.
Reference<MemoryBlock> VelmoraCanvas::handletomemoryblock(int32_t handle)
{
    const int32_t size = platform::GetHandleSize(handle);
    if (size < 1)
        return nullptr;
    auto block = NewMemoryBlock(size);
    if (block)
        platform::BlockMove(MemoryBlock::At(handle)->Long(0), block->Pointer(), size);
    return block;
}

} // namespace velmora

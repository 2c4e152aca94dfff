// SPDX-License-Identifier: MIT
// The movie of data procedure mode: one video and one sound track. Each buffer is added to its media exactly as the
// grabber delivered it.
//
// States: closed, open (storage created), editing (tracks and media created, samples can be added), closed again when
// the edits are finished. Video samples have measured durations in the channel's time scale. Sound samples have
// duration
// 1. The first sound buffer of the control's life is trimmed at its start, so that it is as long as the video before
// it. `gotaudio` and the sum of video durations are kept from one recording to the next.
//
// The media stay open for the whole recording and are inserted into their tracks in one piece at its end. The complete
// movie header is written when the movie is added to its storage.
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

// For failures that only concern a debugger.
void BreakUnlessZero(int32_t result)
{
    if (result != 0)
        Break();
}

// Shows the message if `failed` is true. Returns `failed`.
bool Failed(bool failed, const char* message)
{
    if (failed)
        MsgBox(message);
    return failed;
}

// Shows the message and throws an exception that carries no object.
[[noreturn]] void ThrowAfterMessage(const framework::String& message)
{
    MsgBox(message);
    throw Reference<framework::RuntimeException>();
}

} // namespace

void VelmoraCanvas::createmoviestorage(const Reference<FolderItem>& file)
{
    // Without the shell's backslashes this is the plain path again, except for names with a backslash of their own.
    const CFString path(ReplaceAll(file->ShellPath(), "\\", ""));
    const MemoryBlock dataRef(4);
    const MemoryBlock dataRefType(4);
    BreakUnlessZero(platform::QTNewDataReferenceFromFullPathCFString(path, kNativePathStyle, 0, dataRef.Pointer(),
                                                                     dataRefType.Pointer()));
    moviedatahandler = New<MemoryBlock>(4);
    outputMovie = New<MemoryBlock>(4);
    BreakUnlessZero(platform::CreateMovieStorage(dataRef.Long(0), static_cast<OSType>(dataRefType.Long(0)),
                                                 StringToOSType("TVOD"), 0, platform::createMovieFileDeleteCurFile,
                                                 moviedatahandler->Pointer(), outputMovie->Pointer()));
    platform::DisposeHandle(dataRef.Long(0));
}

// Creates both tracks and opens their media. Stops at the first failure and keeps what was created before it. The media
// take the present time scales of the channels.
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

// Adds one sample and marks it as a sync sample, whatever the compressor made of it.
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

// Adds samples of duration 1, assuming uncompressed sound. Nothing is clamped: the platform rejects sizes and counts
// that do not fit the buffer.
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
    // The time scales are read but not used: neither track is cut to the other's length.
    platform::GetMediaTimeScale(myvideomedia);
    platform::GetMediaTimeScale(mysoundmedia);

    // The only failure that does not throw.
    if (Failed(platform::EndMediaEdits(myvideomedia) != 0, "error EndMediaEdits (video buffer)"))
        return;
    if (platform::InsertMediaIntoTrack(myvideotrack, kEndOfTrack, 0, videoDuration, int2fixed(1)) != 0)
        ThrowAfterMessage("error InsertMediaIntoTrack (video) clip");
    if (platform::EndMediaEdits(mysoundmedia) != 0)
        ThrowAfterMessage("error EndMediaEdits (sound)");
    const int32_t result = platform::InsertMediaIntoTrack(mysoundtrack, kEndOfTrack, 0, soundDuration, int2fixed(1));
    if (result != 0)
        ThrowAfterMessage("error InsertMediaIntoTrack (sound) clip: " + Str(result));
    const int32_t added = platform::AddMovieToStorage(outputMovie->Long(0), moviedatahandler->Long(0));
    BreakUnlessZero(tally.KeepFirstFailure(added));
    const int32_t closed = platform::CloseMovieStorage(moviedatahandler->Long(0));
    BreakUnlessZero(tally.KeepFirstFailure(closed));
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

// SPDX-License-Identifier: MIT
// The channels: both are set up when a session opens, sound first, and each can be disposed and created again later.
//
// During set-up, failures are only traced, and a failure of the sound channel never prevents the video channel: a sound
// channel that could not be created is configured anyway, and each call fails and is traced. A channel that is created
// again later is configured less: it gets bounds, even if it is a sound channel, and its usage.
#include "capture/VelmoraCanvas.h"

#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "recording/Utilities.h"

#include <array>

namespace velmora {

using framework::StringToOSType;
using Utilities::Trace;

struct VelmoraCanvas::ChannelKind {
    const char* mediaType;
    const char* newChannelTrace;
    const char* usageName; // in the traces of a channel's usage
    int32_t VelmoraCanvas::*channel;
    bool VelmoraCanvas::*wanted;
};

const VelmoraCanvas::ChannelKind VelmoraCanvas::kVideo{"vide", "New VideoChannel err: ", "sgVideoChannel2",
                                                       &VelmoraCanvas::sgVideoChannel, &VelmoraCanvas::EnableVideo};
const VelmoraCanvas::ChannelKind VelmoraCanvas::kSound{"soun", "New SoundChannel err: ", "sgSoundChannel2",
                                                       &VelmoraCanvas::sgSoundChannel, &VelmoraCanvas::EnableSound};

namespace {

constexpr int16_t kSampleSize = 16;
constexpr int16_t kSoundChannels = 2;
constexpr std::array<int32_t, 5> kAdditionalRates{8000, 11025, 16000, 22050, 32000};

// Adds sample rates to those that the device of a sound channel offers.
void SetAdditionalRates(int32_t channel)
{
    Trace("Long2Fix(8000)=", platform::Long2Fix(8000));
    MemoryBlock rates(4);
    rates.Long(0, platform::NewHandleClear(kAdditionalRates.size() * 4));
    const Reference<MemoryBlock> data = rates.Ptr(0)->Ptr(0);
    for (size_t i = 0; i < kAdditionalRates.size(); ++i)
        data->Long(static_cast<int32_t>(i) * 4, platform::Long2Fix(kAdditionalRates[i]));
    Trace("***** SGSetAdditionalSoundRates=", platform::SGSetAdditionalSoundRates(channel, rates.Long(0)));
    platform::DisposeHandle(rates.Long(0));
}

} // namespace

void VelmoraCanvas::CreateSGChannel()
{
    sgVideoChannel = -1;
    MemoryBlock soundPtr(4);
    MemoryBlock channelPtr(4);
    Trace("Create theSGComp=", theSGComp);
    Trace("*** SGNewChannel theSGComp=", theSGComp);
    Trace("*** SGNewChannel OSTypeToLong(VideoMediaType)=", OSTypeToLong("vide"));
    Trace("*** SGNewChannel channelPtr.long(0)=", channelPtr.Long(0));

    const int32_t err = platform::SGNewChannel(theSGComp, StringToOSType("soun"), soundPtr.Pointer());
    Trace("New SoundChannel err: ", err);
    sgSoundChannel = soundPtr.Long(0);
    if (sgSoundChannel < 1)
        Trace("New SoundChannel err: ", err);
    SetCaptureUsage(sgSoundChannel, "sgSoundChannel sgSoundChannel");
    inDevNum = platform::SGGetSoundInputDriver(sgSoundChannel);
    if (inDevNum < 1)
        Trace("Get Sound Input Driver err: ", inDevNum);
    SetAdditionalRates(sgSoundChannel);
    Trace("***** SGSetSoundInputParameters=",
          platform::SGSetSoundInputParameters(sgSoundChannel, kSampleSize, kSoundChannels, StringToOSType("raw ")));

    if (!NewChannel(kVideo, channelPtr))
        return;
    PlaceChannel(sgVideoChannel);
    SetCaptureUsage(sgVideoChannel, kVideo.usageName);
    StartRequestedPreview();
}

// Creates a channel and stores its number; `block` receives it from the platform. Returns false, and traces why, if
// there is no usable number. If the call fails the control keeps the number it had.
bool VelmoraCanvas::NewChannel(const ChannelKind& kind, MemoryBlock& block)
{
    const int32_t err = platform::SGNewChannel(theSGComp, StringToOSType(kind.mediaType), block.Pointer());
    Trace(kind.newChannelTrace, err); // on success too
    if (err != 0)
        return false;
    this->*kind.channel = block.Long(0);
    if (this->*kind.channel >= 1)
        return true;
    Trace("Invalid Channel err: ", err);
    return false;
}

// Sets the channel's bounds to the control's rectangle. The trace of a failure names another call, as it always has.
void VelmoraCanvas::PlaceChannel(int32_t channel)
{
    const int32_t err = platform::SGSetChannelBounds(channel, GetRect()->Pointer());
    Trace(err != 0 ? "SetChannelUsage err: " : "SGSetChannelBounds = ", err);
}

// Record only in data procedure mode, where the control shows the frames itself; otherwise record, preview and play
// during record.
void VelmoraCanvas::SetCaptureUsage(int32_t channel, const String& name)
{
    constexpr int32_t all = platform::seqGrabRecord | platform::seqGrabPreview | platform::seqGrabPlayDuringRecord;
    const int32_t err = platform::SGSetChannelUsage(channel, UseDataProc ? platform::seqGrabRecord : all);
    const String mode = UseDataProc ? "UseDataProc " : "";
    if (err != 0)
        Trace(mode + "SetChannelUsage " + name + " err: ", err);
    else
        Trace(mode + "SGSetChannelUsage " + name + " = ", err);
}

// Starts the session, in the way of its mode, if a preview is requested.
void VelmoraCanvas::StartRequestedPreview()
{
    if (!VideoPreviewState)
        return;
    if (UseDataProc)
        SGRecord();
    else
        SGStartPreview(theSGComp);
}

// Disposes or creates a channel. Creating does not check for an existing channel: that one stays in the session, but
// the control loses its number. Returns true if a new channel was created.
bool VelmoraCanvas::EnableChannel(bool value, const ChannelKind& kind)
{
    MemoryBlock block(4);
    this->*kind.wanted = value;
    if (!value && this->*kind.channel != 0) {
        const int32_t result = platform::SGDisposeChannel(theSGComp, this->*kind.channel);
        if (result != 0) {
            RaiseError(result);
        } else {
            this->*kind.channel = 0;
            Refresh(true);
        }
    }
    if (!(this->*kind.wanted) || !NewChannel(kind, block))
        return false;
    PlaceChannel(this->*kind.channel);
    SetCaptureUsage(this->*kind.channel, kind.usageName);
    return true;
}

bool VelmoraCanvas::VideoEnabled()
{
    return EnableVideo;
}

void VelmoraCanvas::VideoEnabled(bool value)
{
    if (EnableChannel(value, kVideo))
        StartRequestedPreview();
}

bool VelmoraCanvas::SoundEnabled()
{
    return EnableSound;
}

// Unlike video, a new sound channel does not restart the session.
void VelmoraCanvas::SoundEnabled(bool value)
{
    EnableChannel(value, kSound);
}

} // namespace velmora

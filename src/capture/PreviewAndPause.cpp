// SPDX-License-Identifier: MIT
// Preview and pause. In data procedure mode a preview is a recording whose samples are dropped once shown. So the
// session's record flag says whether the preview runs, and starting the preview means starting to record.
#include "capture/VelmoraCanvas.h"

#include "platform/grabber/SequenceGrabber.h"
#include "recording/Utilities.h"

namespace velmora {

using Utilities::Trace;

bool VelmoraCanvas::VideoPreview()
{
    const MemoryBlock previewMode(4);
    const MemoryBlock recordMode(4);
    if (platform::SGGetMode(theSGComp, previewMode.Pointer(), recordMode.Pointer()) == 0)
        RaiseError(0); // success raises the event, as in `RecordState`
    VideoPreviewState = (UseDataProc ? recordMode : previewMode).BooleanValue(0);
    return VideoPreviewState;
}

void VelmoraCanvas::VideoPreview(bool value)
{
    if (!UseDataProc) {
        // The start or stop below ends this pause.
        SGPause(theSGComp, 1);
        platform::SGSetChannelUsage(sgVideoChannel, PlayUsage(value));
    }
    if (value) {
        VideoPreviewState = true;
        if (UseDataProc) {
            DestroyImageSeqs();
            SGRecord();
        } else {
            SGStartPreview(theSGComp);
        }
    } else {
        SGStop(theSGComp);
        VideoPreviewState = false;
        Refresh(true);
    }
}

// Usage of a channel that records, and that previews and plays during record if requested.
int32_t VelmoraCanvas::PlayUsage(bool preview) const
{
    return platform::seqGrabRecord | (preview ? platform::seqGrabPreview : 0) |
           (mPreviewWhileRecording ? platform::seqGrabPlayDuringRecord : 0);
}

void VelmoraCanvas::Pause(bool value)
{
    mPauseEnabled = value;
    Trace("Pause = ", SGPause(theSGComp, value ? 1 : 0));
}

bool VelmoraCanvas::Pause()
{
    return mPauseEnabled;
}

int32_t VelmoraCanvas::PreviewMode()
{
    const MemoryBlock flags(4);
    const int32_t result = platform::SGGetChannelPlayFlags(sgVideoChannel, flags.Pointer());
    return result == 0 ? flags.Long(0) : result;
}

void VelmoraCanvas::PreviewMode(int32_t flags)
{
    Trace("here comes n =", flags);
    Trace("SGSetChannelPlayFlags err =", platform::SGSetChannelPlayFlags(sgVideoChannel, flags));
}

String VelmoraCanvas::PreviewModeName(int32_t flags)
{
    switch (flags) {
    case 0:
        return "Channel Play Normal";
    case 1:
        return "Channel Play Fast";
    case 2:
        return "Channel Play High Quality";
    case 4:
        return "Channel Play All Data";
    case 8:
        return "Channel Play Pre Mix";
    case 16:
        return "Channel Play Post Mix";
    case 32:
        return "Channel Play Pre Conversion";
    case 64:
        return "Channel Play Post Conversion";
    default:
        return ""; // combinations of flags too
    }
}

bool VelmoraCanvas::PreviewWhileRecording()
{
    return mPreviewWhileRecording;
}

void VelmoraCanvas::PreviewWhileRecording(bool value)
{
    mPreviewWhileRecording = value;
    SGPause(theSGComp, 1);
    const int32_t usage = PlayUsage(VideoPreview());
    if (sgVideoChannel > 0)
        platform::SGSetChannelUsage(sgVideoChannel, usage);
    if (sgSoundChannel > 0)
        platform::SGSetChannelUsage(sgSoundChannel, usage);
    SGPause(theSGComp, 0);
}

} // namespace velmora

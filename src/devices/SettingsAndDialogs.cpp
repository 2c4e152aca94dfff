// SPDX-License-Identifier: MIT
// The platform's settings dialogs, and the settings of the whole session as a string of bytes.
//
// A dialog needs the grabber at rest: it is stopped before one in data procedure mode and paused in direct mode, and
// runs again afterwards only if a preview is wished for. Restoring settings replaces the session's channels, so the
// control looks its own up again by their types.
#include "capture/VelmoraCanvas.h"

#include "framework/Application.h"
#include "platform/atoms/UserData.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "recording/NullMemoryBlock.h"
#include "recording/Utilities.h"

namespace velmora {

using Utilities::Trace;

// What differs between the four dialogs: words of their traces (only the video dialog with a result has a 2 in its
// operation's name), and that a video dialog may change the size of the frames, so that the image sequences end.
struct VelmoraCanvas::SettingsDialogKind {
    const char* operation;
    const char* tag;
    bool endsImageSequences;
};

void VelmoraCanvas::ShowVideoSettingsDialog()
{
    ShowSettingsDialog(sgVideoChannel, {"ShowVideoSettingsDialog", "SHOW", true});
}

String VelmoraCanvas::ShowVideoSettingsDialogForName()
{
    ShowSettingsDialog(sgVideoChannel, {"ShowVideoSettingsDialog2", "SHOW2", true});
    return VideoDeviceName();
}

String VelmoraCanvas::ShowSoundSettingsDialogForName()
{
    ShowSettingsDialog(sgSoundChannel, {"ShowSoundSettingsDialog", "SHOW3", false});
    return SoundDeviceName();
}

void VelmoraCanvas::ShowSoundSettingsDialog()
{
    ShowSettingsDialog(sgSoundChannel, {"ShowSoundSettingsDialog", "SHOW4", false});
}

void VelmoraCanvas::ShowSettingsDialog(int32_t channel, const SettingsDialogKind& kind)
{
    NullMemoryBlock null;
    null.Constructor();
    const String arrow = String(kind.operation) + " -->";
    if (UseDataProc)
        Trace(arrow + "SGStop = ", SGStop(theSGComp));
    else
        Trace(arrow + "SGPause = ", SGPause(theSGComp, 1));

    const int32_t filter = platform::NewSGModalFilterUPP(&VelmoraCanvas::SeqGrabberModalFilterProc);
    Trace(arrow + "seqGragModalFilterUPP = ", filter);
    Trace("SGSettingsDialog = ",
          platform::SGSettingsDialog(theSGComp, channel, 0, null.Pointer(), 0, filter, null.Pointer()));
    platform::DisposeSGModalFilterUPP(filter);

    if (UseDataProc && kind.endsImageSequences)
        DestroyImageSeqs();
    if (!VideoPreviewState)
        return; // what was stopped or paused stays so
    const String tag = kind.tag;
    if (UseDataProc) {
        SGRecord();
        Utilities::Display(tag + " SGRecord");
    } else {
        Trace(tag + " SGSettingsDialog SGPause = ", SGPause(theSGComp, 0));
    }
}

// Takes no event away from the dialog.
bool VelmoraCanvas::SeqGrabberModalFilterProc(int32_t, int32_t, int32_t, int32_t)
{
    return false;
}

String VelmoraCanvas::UserSettings()
{
    const MemoryBlock userData(4);
    MemoryBlock handleBlock(4);
    int32_t result = platform::SGGetSettings(theSGComp, userData.Pointer(), 0);
    if (result != 0) {
        RaiseError(result);
        return "";
    }
    // Putting and disposing are traced under one text.
    const auto check = [this](int32_t err) {
        if (err == 0)
            return;
        Utilities::Display("PutUserDataIntoHandle err");
        RaiseError(err);
    };
    const int32_t handle = platform::NewHandle(0);
    check(platform::PutUserDataIntoHandle(userData.Long(0), handle));
    handleBlock.Long(0, handle);
    const Reference<MemoryBlock> data = handleBlock.Ptr(0)->Ptr(0);
    String settings = data->StringValue(0, platform::GetHandleSize(handle));
    platform::DisposeHandle(handle);
    check(platform::DisposeUserData(userData.Long(0)));
    return settings;
}

void VelmoraCanvas::UserSettings(const String& settings)
{
    const MemoryBlock userData(4);
    MemoryBlock handleBlock(4);
    const int32_t size = Len(settings);
    MemoryBlock bytes(size);
    bytes.StringValue(0, size, settings);
    sgVideoChannel = 0;
    sgSoundChannel = 0;
    SGStop(theSGComp);
    const int32_t handle = platform::NewHandle(size);
    handleBlock.Long(0, handle);
    platform::BlockMove(bytes.Pointer(), handleBlock.Ptr(0)->Long(0), size);
    platform::NewUserDataFromHandle(handle, userData.Pointer());
    const int32_t err = platform::SGSetSettings(theSGComp, userData.Long(0), 0);
    platform::DisposeUserData(userData.Long(0));
    platform::DisposeHandle(handle);
    if (err == 0)
        FindChannels();
    // A restore starts the picture even if it was off.
    if (UseDataProc)
        SGRecord();
    else
        SGStartPreview(theSGComp);
}

// Looks the session's channels up by their types; of several of one type the last one counts.
void VelmoraCanvas::FindChannels()
{
    const MemoryBlock channel(4);
    const MemoryBlock type(4);
    int32_t err = 0;
    for (int16_t index = 1; err == 0; ++index) {
        err = platform::SGGetIndChannel(theSGComp, index, channel.Pointer(), type.Pointer());
        if (type.Long(0) == OSTypeToLong("vide"))
            sgVideoChannel = channel.Long(0);
        if (type.Long(0) == OSTypeToLong("soun"))
            sgSoundChannel = channel.Long(0);
        framework::YieldToBackground();
    }
}

} // namespace velmora

// SPDX-License-Identifier: MIT
// The platform's settings dialogs, and the settings of the whole session as a string of bytes.
//
// The grabber must not run while a dialog is open: it is stopped in data procedure mode and paused in direct mode, and
// started again afterwards only if a preview is requested. Restoring settings replaces the session's channels, so the
// control finds its channels again by their types.
#include "capture/VelmoraCanvas.h"

#include "framework/Application.h"
#include "platform/atoms/UserData.h"
#include "platform/grabber/SequenceGrabber.h"
#include "platform/memory/Handles.h"
#include "recording/NullMemoryBlock.h"
#include "recording/Utilities.h"

namespace velmora {

using Utilities::Trace;

// What differs between the four dialogs: the words of their traces (only the video dialog with a result has a 2 in its
// operation's name). And a video dialog may change the frame size, so it must end the image sequences.
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
        return; // stays stopped or paused
    const String tag = kind.tag;
    if (UseDataProc) {
        SGRecord();
        Utilities::Display(tag + " SGRecord");
    } else {
        Trace(tag + " SGSettingsDialog SGPause = ", SGPause(theSGComp, 0));
    }
}

// Handles no event, so the dialog handles all of them.
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
    // Both failures are traced with the same text.
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
    // Restoring settings starts the preview even if it was off.
    if (UseDataProc)
        SGRecord();
    else
        SGStartPreview(theSGComp);
}

// Finds the session's channels by their types; if there are several of a type, takes the last one.
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

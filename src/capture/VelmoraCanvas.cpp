// SPDX-License-Identifier: MIT
// The capture control, and its session of the Sequence Grabber from opening to release.
//
// The control owns the component instance, one video and one sound channel, the poll timer, the grabber's port
// (`GWorld`), the two image sequences of the live picture and the movie being written. The platform calls back plain
// procedures, so each control is in `SeqGrabbers` under its `refCon`, by which the data procedure finds the control of
// a buffer.
//
// States: constructed (poll timer and key, no component), session running or failed (`Initialize`; the timer runs in
// both), closed (`Event_Close`: the timer is stopped, and as only `SGIdle` drives the grabber, nothing more happens),
// destroyed (`Destructor`: the platform's objects are released and the key is removed).
//
// Everything happens on the main thread: the poll timer, `SGIdle` within it, the data procedure within that.
#include "capture/VelmoraCanvas.h"

#include "platform/compression/DecompressionSequence.h"
#include "platform/grabber/SequenceGrabber.h"
#include "recording/Utilities.h"

#include <cmath>

namespace velmora {

using framework::New;
using framework::StringToOSType;
using Utilities::Trace;

Reference<framework::Dictionary<VelmoraCanvas>> VelmoraCanvas::SeqGrabbers;

void VelmoraCanvas::Constructor(const Reference<VelmoraCanvas>& self)
{
    mPreviewWhileRecording = true;
    BlueScreenCaption = "No Active Device";
    VideoPreview(true);
    pollTimer = New<CaptureClassTimer>();
    pollTimer->Constructor(self);
    if (!SeqGrabbers)
        SeqGrabbers = New<framework::Dictionary<VelmoraCanvas>>();
    refCon = SeqGrabbers->Count() + 1;
    SeqGrabbers->Value(refCon, self);
}

void VelmoraCanvas::Initialize()
{
    OpenSession();
    if (pollTimer)
        pollTimer->Start();
}

// Opens and starts the grabber. Stops at the first failure, which is only traced.
void VelmoraCanvas::OpenSession()
{
    theSGComp = -1;
    Utilities::Display("*******************************");
    theSGComp = OpenDefaultComponent("barg");
    if (theSGComp < 1) {
        Trace("OpenComponent err: ", theSGComp);
        return;
    }
    Trace("OpenComponent noErr: ", theSGComp);
    int32_t err = SGInitialize(theSGComp);
    Trace("SGInitialize=", err);
    if (err != 0)
        return;

    // The wrapper of a window takes `top` first, so left and top are swapped here. This has no effect, as the picture
    // is placed by the channel's bounds.
    GWorld = UseDataProc ? New<GWorldWrapper>(Width(), Height(), String("2vuy"))
                         : New<GWorldWrapper>(Left(), Top(), Width(), Height(), Window());
    err = SGSetGWorld(theSGComp, GWorld->handle->Long(0), 0);
    if (err != 0)
        return;
    if (UseDataProc) {
        err = SGSetDataRef(theSGComp, 0, 0, 32);
        Trace("SGSetDataRef=", err);
    }
    if (err == 0) {
        Trace("err dataRef=", err);
        CreateSGChannel();
        if (UseDataProc) {
            // A data procedure can only be installed on a stopped grabber. Its recording is the live picture, so it
            // starts whether or not a preview is requested.
            SGStop(theSGComp);
            platform::SGSetDataProc(theSGComp, platform::NewSGDataUPP(&VelmoraCanvas::DataProc), refCon);
            SGRecord();
        }
    }
    videoRecordWidth = VideoSourceWidth();
    videoRecordHeight = VideoSourceHeight();
}

void VelmoraCanvas::Event_Open()
{
    if (Open)
        Open();
}

void VelmoraCanvas::Event_Close()
{
    StopPollTimer();
    if (Close)
        Close();
}

void VelmoraCanvas::Destructor()
{
    const auto report = [this](const char* text, int32_t err) {
        if (err == 0)
            return;
        LastError = text + framework::Format(err, "-#");
        RaiseError(err);
    };
    if (theSGSoundDeviceList)
        report("SGDisposeDeviceList err: ", platform::SGDisposeDeviceList(theSGComp, theSGSoundDeviceList->Long(0)));
    report("SGDisposeChannel err: ", platform::SGDisposeChannel(theSGComp, sgSoundChannel));
    if (theSGVideoDeviceList)
        report("SGDisposeDeviceList err: ", platform::SGDisposeDeviceList(theSGComp, theSGVideoDeviceList->Long(0)));
    report("SGDisposeChannel err: ", platform::SGDisposeChannel(theSGComp, sgVideoChannel));
    report("Close Component err: ", platform::CloseComponent(theSGComp));
    if (EndSequenceQuietly(decompSeq) && EndSequenceQuietly(displaySeq))
        SeqGrabbers->Remove(refCon);
}

// Ends a sequence, if there is one, without a message box. On failure it keeps the reference and traces a text that is
// the same for both sequences.
bool VelmoraCanvas::EndSequenceQuietly(Reference<MemoryBlock>& sequence)
{
    if (sequence && platform::CDSequenceEnd(sequence->Long(0)) != 0) {
        Utilities::Display("error destorying decompseq");
        return false;
    }
    sequence = nullptr;
    return true;
}

void VelmoraCanvas::Idle()
{
    RaiseFailure(SGIdle(theSGComp));
}

void VelmoraCanvas::StartPollTimer()
{
    if (pollTimer)
        pollTimer->Start();
}

void VelmoraCanvas::StopPollTimer()
{
    if (pollTimer)
        pollTimer->Stop();
}

void VelmoraCanvas::Resize()
{
    DestroyImageSeqs();
}

Reference<MemoryBlock> VelmoraCanvas::GetRect()
{
    auto rect = New<MemoryBlock>(8);
    rect->Short(0, Top());
    rect->Short(2, Left());
    rect->Short(4, Top() + Height());
    rect->Short(6, Left() + Width());
    return rect;
}

int32_t VelmoraCanvas::OSTypeToLong(const String& code)
{
    if (Len(code) != 4)
        return -1;
    int32_t result = 0;
    for (int position = 4, power = 0; position >= 1; --position, ++power)
        result = Utilities::double2int(result + Asc(Mid(code, position, 1)) * std::pow(256.0, power));
    return result;
}

void VelmoraCanvas::RaiseError(int32_t result)
{
    if (Error)
        Error(result);
}

void VelmoraCanvas::RaiseFailure(int32_t result)
{
    if (result != 0)
        RaiseError(result);
}

int32_t VelmoraCanvas::OpenDefaultComponent(const String& type)
{
    return platform::OpenDefaultComponent(StringToOSType(type), 0);
}

int32_t VelmoraCanvas::SGInitialize(int32_t component)
{
    return platform::SGInitialize(component);
}

int32_t VelmoraCanvas::SGIdle(int32_t component)
{
    return platform::SGIdle(component);
}

int32_t VelmoraCanvas::SGSetGWorld(int32_t component, int32_t port, int32_t)
{
    return platform::SGSetGWorld(component, port, 0);
}

// Only used to set "don't make a movie".
int32_t VelmoraCanvas::SGSetDataRef(int32_t component, int32_t, int32_t, int32_t)
{
    return platform::SGSetDataRef(component, 0, 0, platform::seqGrabDontMakeMovie);
}

int32_t VelmoraCanvas::SGRelease(int32_t component)
{
    const int32_t result = platform::SGRelease(component);
    Trace("SGRelease=", result);
    return result;
}

int32_t VelmoraCanvas::SGStartPreview(int32_t component)
{
    return platform::SGStartPreview(component);
}

int32_t VelmoraCanvas::SGStop(int32_t component)
{
    const int32_t result = platform::SGStop(component);
    Trace("SGStop=", result);
    return result;
}

// Pauses the control's own session, whatever component is named.
int32_t VelmoraCanvas::SGPause(int32_t, int32_t pause)
{
    return platform::SGPause(theSGComp, pause);
}

void VelmoraCanvas::SGRecord()
{
    platform::SGStartRecord(theSGComp);
}

} // namespace velmora

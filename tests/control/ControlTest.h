// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "control/ScriptedPlatform.h"
#include "framework/Application.h"
#include "platform/components/Components.h"
#include "recording/Utilities.h"

#include <gtest/gtest.h>

namespace velmora {

using Lines = std::vector<std::string>;

inline Lines operator+(Lines left, const Lines& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Gives access to the control's private state.
struct VelmoraCanvasInspector {
    VelmoraCanvas& canvas;
    int32_t& theSGComp = canvas.theSGComp;
    int32_t& sgVideoChannel = canvas.sgVideoChannel;
    int32_t& sgSoundChannel = canvas.sgSoundChannel;
    bool& VideoPreviewState = canvas.VideoPreviewState;
    bool& isRecording = canvas.isRecording;
    bool& gotaudio = canvas.gotaudio;
    int32_t& preaudiotimeval = canvas.preaudiotimeval;
    int32_t& videoRecordWidth = canvas.videoRecordWidth;
    Reference<CaptureClassTimer>& pollTimer = canvas.pollTimer;
    Reference<Picture>& decomppicture = canvas.decomppicture;
    Reference<MemoryBlock>& decompSeq = canvas.decompSeq;
    Reference<MemoryBlock>& displaySeq = canvas.displaySeq;
    Reference<MemoryBlock>& videoList = canvas.theSGVideoDeviceList;
    Reference<MemoryBlock>& soundList = canvas.theSGSoundDeviceList;

    void CloseEvent() { canvas.Event_Close(); }
    void CreateChannels() { canvas.CreateSGChannel(); }
    void Append(int32_t c, int32_t p, int32_t len, int32_t duration = 40)
    {
        canvas.AppendDataProcDataToMovie(c, p, len, duration);
    }
    int32_t Deliver(int32_t c, int32_t p, int32_t len, int32_t time, int16_t writeType = 0)
    {
        return VelmoraCanvas::DataProc(c, p, len, 0, 0, time, writeType, canvas.refCon);
    }
};

/// A control of 640 by 480 at 20, 14 in a hidden window, on a scripted machine without faults. Traces are logged as
/// "> text", with the component's number written as "session"; events and message boxes are logged too.
class ControlTest : public ::testing::Test {
protected:
    ControlTest();
    ~ControlTest() override;

    /// Registers a component for sessions until the test ends.
    void OfferSession();

    /// Opens a session with both channels.
    void OpenSession();

    /// The lines logged since the last call.
    void Expect(const Lines& expected) { EXPECT_EQ(script.Take(), expected); }

    /// Whether the lines of `expected` were logged in this order, with any lines in between.
    void ExpectAmong(const Lines& expected);

    scripted::Script& script = scripted::TheScript();
    framework::Window window;
    Reference<VelmoraCanvas> canvas = framework::New<VelmoraCanvas>();
    VelmoraCanvasInspector inside{*canvas};
    platform::Component component = 0;
};

} // namespace velmora

// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "control/ScriptedPlatform.h"
#include "framework/Application.h"
#include "platform/components/Components.h"
#include "platform/drawing/Ports.h"
#include "recording/Utilities.h"

#include <gtest/gtest.h>

#include <algorithm>

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
    ControlTest()
    {
        framework::RegisterApplication(std::make_shared<framework::Application>());
        scripted::Reset();
        platform::StartDrawing();
        CarbonTimer::timers = std::make_unique<std::vector<Reference<CarbonTimer>>>();
        Utilities::displayHook = [this](const String& text) {
            const bool open = inside.theSGComp > 1000;
            const String plain = open ? ReplaceAll(text, framework::Str(inside.theSGComp), "session") : text;
            script.Note("> " + plain.Bytes());
        };
        framework::SetMsgBoxHandler([this](const String& text) { script.Note("MsgBox(" + text.Bytes() + ")"); });
        window.Add<VelmoraCanvas>("VelmoraCanvas1", canvas.Shared());
        canvas->Constructor(canvas);
        canvas->Place(20, 14, 640, 480);
        canvas->UseDataProc = true;
        canvas->EnableSound = true;
        canvas->Error = [this](int32_t result) { script.Note("Error(" + std::to_string(result) + ")"); };
        script.Take();
    }
    // A control and its timer reference each other, so the cycle is broken explicitly.
    ~ControlTest() override
    {
        canvas->StopPollTimer();
        inside.pollTimer = nullptr;
        CarbonTimer::timers.reset();
        VelmoraCanvas::SeqGrabbers = nullptr;
        Utilities::displayHook = nullptr;
        framework::SetMsgBoxHandler({});
        platform::UnregisterComponent(component);
        framework::RegisterApplication(nullptr);
    }

    /// Registers a component for sessions until the test ends.
    void OfferSession()
    {
        component = platform::RegisterComponent({.type = platform::CodeOf("barg")}, "Grabber",
                                                [] { return std::make_shared<platform::ComponentObject>(); });
    }

    /// Opens a session with both channels.
    void OpenSession()
    {
        inside.theSGComp = 12;
        inside.sgSoundChannel = scripted::kSound;
        inside.sgVideoChannel = scripted::kVideo;
    }

    /// The lines logged since the last call.
    void Expect(const Lines& expected) { EXPECT_EQ(script.Take(), expected); }

    /// Whether the lines of `expected` were logged in this order, with any lines in between.
    void ExpectAmong(const Lines& expected)
    {
        const Lines noted = script.Take();
        auto from = noted.begin();
        for (const std::string& line : expected) {
            from = std::find(from, noted.end(), line);
            ASSERT_NE(from, noted.end()) << line << " is not among " << ::testing::PrintToString(noted);
            ++from;
        }
    }

    scripted::Script& script = scripted::TheScript();
    framework::Window window;
    Reference<VelmoraCanvas> canvas = framework::New<VelmoraCanvas>();
    VelmoraCanvasInspector inside{*canvas};
    platform::Component component = 0;
};

} // namespace velmora

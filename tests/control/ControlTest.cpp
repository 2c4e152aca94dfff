// SPDX-License-Identifier: MIT
#include "control/ControlTest.h"

#include "platform/drawing/Ports.h"

#include <algorithm>

namespace velmora {

ControlTest::ControlTest()
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
ControlTest::~ControlTest()
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

void ControlTest::OfferSession()
{
    component = platform::RegisterComponent({.type = platform::CodeOf("barg")}, "Grabber",
                                            [] { return std::make_shared<platform::ComponentObject>(); });
}

void ControlTest::OpenSession()
{
    inside.theSGComp = 12;
    inside.sgSoundChannel = scripted::kSound;
    inside.sgVideoChannel = scripted::kVideo;
}

void ControlTest::ExpectAmong(const Lines& expected)
{
    const Lines noted = script.Take();
    auto from = noted.begin();
    for (const std::string& line : expected) {
        from = std::find(from, noted.end(), line);
        ASSERT_NE(from, noted.end()) << line << " is not among " << ::testing::PrintToString(noted);
        ++from;
    }
}

} // namespace velmora

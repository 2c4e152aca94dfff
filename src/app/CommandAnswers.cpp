// SPDX-License-Identifier: MIT
// Errors are only shown while a command runs: at other times the control reports what is of no interest to a user, such
// as a request for the level of a device without a meter, many times per second.
#include "app/CommandAnswers.h"

#include "platform/grabber/SessionSettings.h"
#include "ui/MessageTexts.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace velmora {

using framework::Explanation;
using framework::MessageKind;
using framework::MsgBox;

namespace {

constexpr const char* kDeckButton = "PushButton1";
constexpr const char* kNoDeck = "No camcorder or deck answered. Connect one by FireWire, switch it on and to playing "
                                "tapes (VCR or VTR), and send the command again.";
constexpr const char* kVideoOff = "Video is off. Choose Disabled in the Video menu to switch it on.";
constexpr const char* kSoundOff = "Sound is off. Choose Enabled in the Sound menu to switch it on.";

constexpr const char* kNoPicture = "There is no picture to grab: the camera has not sent one yet.";

// Commands without a visible result: only an error shows that they failed.
constexpr std::array<std::string_view, 7> kSilent{"MonitorPreviewWhileRecording",
                                                  "SizeFullSize",
                                                  "SizeHalfSize",
                                                  "SizeQuarterSize",
                                                  "VideoEnabled",
                                                  "SoundEnabled",
                                                  "FileSaveSettings"};

} // namespace

CommandAnswers::CommandAnswers(Reference<MovieWindow> answered) : window(std::move(answered))
{
    window->VelmoraCanvas1()->Error = [this](int32_t code) {
        failed = carryingOut;
        result = code;
    };
    window->CarriesOutMenuItem = [this](const framework::MenuItem& item, const std::function<void()>& action) {
        CarryOut(item.Name.Bytes(), action);
    };
    auto* deck = window->ControlNamed<framework::PushButton>(kDeckButton);
    deck->Action = [this, action = deck->Action] { CarryOut(kDeckButton, action); };
    framework::SetMsgBoxExplainer([this](const String& text) { return Explain(text.Bytes()); });
}

CommandAnswers::~CommandAnswers()
{
    framework::SetMsgBoxExplainer(nullptr);
    window->CarriesOutMenuItem = nullptr;
    if (const auto canvas = window->VelmoraCanvas1())
        canvas->Error = nullptr;
}

void CommandAnswers::CarryOut(const std::string& name, const std::function<void()>& action)
{
    command = name;
    failed = false;
    carryingOut = true;
    try {
        action();
    } catch (...) {
        carryingOut = false;
        throw;
    }
    carryingOut = false;
    Answer();
}

void CommandAnswers::Answer()
{
    if (command == "VideoSettings" || command == "SoundSettings")
        AnswerSettingsDialog(command == "VideoSettings");
    else if (command == "FileOpenSettings")
        AnswerOpenedSettings();
    else if (command == kDeckButton && failed)
        MsgBox(kNoDeck, MessageKind::Warning);
    else if (command == "MonitorGrabPicture" && !framework::HasImplicitWindow("GrabWindow.GrabWindow"))
        MsgBox(window->VelmoraCanvas1()->VideoEnabled() ? kNoPicture : kVideoOff);
    else if (failed && result != 0 && std::ranges::find(kSilent, command) != kSilent.end())
        MsgBox("This could not be carried out: " + SentenceFor(result), MessageKind::Warning);
}

// A dialog is only shown for a channel that exists.
void CommandAnswers::AnswerSettingsDialog(bool video)
{
    const auto canvas = window->VelmoraCanvas1();
    if (!(video ? canvas->VideoEnabled() : canvas->SoundEnabled()))
        MsgBox(video ? kVideoOff : kSoundOff);
}

void CommandAnswers::AnswerOpenedSettings()
{
    std::string text;
    for (const platform::ReplacedDevice& device : platform::TakeReplacedDevices())
        text += (text.empty() ? "" : "\n") + std::string("The ") + (device.isVideo ? "camera" : "sound input") + " \"" +
                device.wanted + "\" is not connected: \"" + device.taken + "\" is used in its place.";
    if (!text.empty())
        MsgBox(text, MessageKind::Warning);
}

std::string CommandAnswers::ChannelOff() const
{
    const auto canvas = window->VelmoraCanvas1();
    if (command.starts_with("Video") && !canvas->VideoEnabled())
        return kVideoOff;
    if (command.starts_with("Sound") && !canvas->SoundEnabled())
        return kSoundOff;
    return "";
}

Explanation CommandAnswers::Explain(const std::string& text) const
{
    if (const std::string meaning = MeaningOfMessage(text); !meaning.empty())
        return {meaning, MessageKind::Warning};
    // The values of a channel that is off are meaningless, but the text shows them all the same.
    const std::string off = carryingOut || text == framework::kNotCarriedOut ? ChannelOff() : "";
    if (!off.empty() && text != off)
        return {off, MessageKind::Note};
    return {};
}

} // namespace velmora

// SPDX-License-Identifier: MIT
// Sets up the devices as the command line requests, in a fixed order, since each setting depends on the ones before it.
// Everything goes through the control, and is read back if a device may choose another value.
#include "record/DeviceSetUp.h"

#include "framework/TextStreams.h"
#include "platform/digitizer/VideoDigitizer.h"
#include "platform/digitizer/testpattern/TestPattern.h"
#include "platform/grabber/DeviceLists.h"
#include "platform/memory/ResultCodes.h"
#include "platform/sound/SoundSource.h"
#include "record/FormatNames.h"
#include "record/NearestNames.h"
#include "record/OptionValues.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <strings.h>
#include <unistd.h>

namespace velmora {
namespace {

constexpr auto kMaxWaitForSoundServer = std::chrono::seconds(4);
constexpr const char* kTestTone = "Test Tone";
constexpr int kVideoNodes = 64;
constexpr double kRateTolerance = 0.01;
constexpr double kGainTolerance = 0.02;

[[noreturn]] void WrongUse(const std::string& message)
{
    throw SetUpFailure(ExitCode::WrongUse, message);
}

// The path of a camera that this user has no permission for; empty if there is none.
std::string ForbiddenCamera()
{
    for (int node = 0; node < kVideoNodes; ++node) {
        const std::string path = "/dev/video" + std::to_string(node);
        if (access(path.c_str(), R_OK | W_OK) != 0 && errno == EACCES)
            return path;
    }
    return {};
}

// The name in the device lists of the device with that name or identity.
template <typename Entry>
std::string ListedName(const std::string& wanted, const std::vector<Entry>& entries, const char* kind)
{
    const auto listed = platform::ListedDevices(entries);
    std::vector<std::string> names;
    for (const auto& device : listed) {
        if (device.name == wanted || device.identity == wanted)
            return device.name;
        names.push_back(device.name);
    }
    throw SetUpFailure(ExitCode::NoDevice,
                       std::string("there is no ") + kind + " \"" + wanted + "\"" + DidYouMean(wanted, names));
}

// The digitizer of the control's camera.
platform::Digitizer& CameraOf(VelmoraCanvas& canvas)
{
    const auto instance = platform::FindInstance<platform::DigitizerInstance>(canvas.VideoDigitizer());
    if (!instance)
        throw SetUpFailure(ExitCode::NoDevice, "there is no camera");
    return *instance->device;
}

std::string SizeText(int width, int height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string NumberText(double number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.5g", number);
    return text;
}

// The control returns codes in memory byte order, so the first character comes last.
platform::FourCharCode CompressorOf(VelmoraCanvas& canvas)
{
    std::string text = canvas.VideoCompressionType().Bytes();
    std::ranges::reverse(text);
    return platform::CodeOf(text);
}

const platform::ImageControl* FindControl(const std::vector<platform::ImageControl>& controls, const std::string& name)
{
    const auto found = std::ranges::find_if(
        controls, [&](const auto& control) { return strcasecmp(control.name.c_str(), name.c_str()) == 0; });
    return found == controls.end() ? nullptr : &*found;
}

// Converts a text to a value of the control.
std::optional<int64_t> ControlValue(const platform::ImageControl& control, const std::string& text)
{
    for (const auto& [value, name] : control.choices)
        if (strcasecmp(name.c_str(), text.c_str()) == 0)
            return value;
    if (control.kind == platform::ImageControl::Kind::Boolean && (text == "on" || text == "off"))
        return text == "on" ? 1 : 0;
    int64_t value = 0;
    if (!ReadNumber(text, value) || value < control.minimum || value > control.maximum)
        return std::nullopt;
    return value;
}

std::string AllowedValues(const platform::ImageControl& control)
{
    std::vector<std::string> names;
    for (const auto& [value, name] : control.choices)
        names.push_back(name);
    if (!names.empty())
        return Joined(names);
    return control.kind == platform::ImageControl::Kind::Boolean
               ? "on or off"
               : "an integer from " + std::to_string(control.minimum) + " to " + std::to_string(control.maximum);
}

} // namespace

void DeviceSetUp::ChooseCamera()
{
    ApplySettingsFile();
    TakeCamera();
    TakeFormat();
    TakeCompressor();
}

void DeviceSetUp::ApplySettingsFile()
{
    if (command.settingsFile.empty())
        return;
    const auto settings = framework::FolderItem(command.settingsFile).OpenAsTextFile();
    if (!settings)
        WrongUse("can't read the settings in " + command.settingsFile);
    canvas.UserSettings(settings->ReadAll());
    withPicture = !canvas.VideoDeviceName().IsEmpty();
    withSound = !canvas.SoundDeviceName().IsEmpty();
    if (!withPicture && !withSound)
        WrongUse(command.settingsFile + " contains no settings");
}

// The Test Pattern is only used if it is requested by name.
void DeviceSetUp::TakeCamera()
{
    if (!command.camera.empty()) {
        const std::string name = ListedName(command.camera, platform::ListDigitizers(), "camera");
        if (canvas.ChooseVideoDevice(name) != platform::noErr)
            throw SetUpFailure(ExitCode::NoDevice, name + " can't be opened");
        return;
    }
    if (!withPicture || canvas.VideoDeviceName().Bytes() != platform::TestPattern::kName)
        return;
    const std::string forbidden = ForbiddenCamera();
    throw SetUpFailure(ExitCode::NoDevice,
                       forbidden.empty() ? "there is no camera; --camera \"Test Pattern\" records the built-in picture"
                                         : "there is no camera that you have permission for: " + forbidden +
                                               " belongs to the group \"video\"");
}

// Uses the nearest size and frame rate that the camera supports, and says so. A format must match exactly.
void DeviceSetUp::TakeFormat()
{
    const std::string camera = canvas.VideoDeviceName().Bytes();
    if (command.width > 0) {
        canvas.VideoCaptureSize(command.width, command.height);
        if (canvas.VideoWidth() != command.width || canvas.VideoHeight() != command.height)
            say(camera + " does not support the size " + SizeText(command.width, command.height) + "; using " +
                SizeText(canvas.VideoWidth(), canvas.VideoHeight()));
    }
    if (!command.frameFormat.empty()) {
        std::vector<NamedCode> known;
        for (const auto& offered : CameraOf(canvas).Formats())
            if (std::ranges::find(known, offered.format, &NamedCode::code) == known.end())
                known.push_back({offered.format, NameOfFormat(offered.format)});
        const auto code = FindCode(command.frameFormat, known);
        if (!code)
            WrongUse("--format: " + camera + " has no format \"" + command.frameFormat + "\"" +
                     NearestCodes(command.frameFormat, known));
        canvas.VideoCaptureFormat(static_cast<int32_t>(*code));
        if (CameraOf(canvas).Format().format != *code)
            WrongUse("--format: " + camera + " does not support " + ShownCode(*code) + " at " +
                     SizeText(canvas.VideoWidth(), canvas.VideoHeight()));
    }
    if (command.frameRate > 0) {
        canvas.VideoFrameRate(command.frameRate);
        if (std::abs(canvas.VideoFrameRate() - command.frameRate) > kRateTolerance)
            say(camera + " does not support " + NumberText(command.frameRate) + " frames per second here; using " +
                NumberText(canvas.VideoFrameRate()));
    }
}

void DeviceSetUp::TakeCompressor()
{
    if (!command.codec.empty()) {
        const auto known = NamedCompressors();
        const auto code = FindCode(command.codec, known);
        if (!code)
            WrongUse("--codec: there is no compressor \"" + command.codec + "\"" + NearestCodes(command.codec, known));
        canvas.VideoCompressionType(platform::TextOf(*code));
        if (CompressorOf(canvas) != *code)
            WrongUse("--codec: " + ShownCode(*code) + " can't be used with this format of the camera");
    }
    const auto compressors = platform::AvailableCompressors();
    const auto used = std::ranges::find(compressors, CompressorOf(canvas), &platform::CompressorName::codec);
    const std::string name = ShownCode(CompressorOf(canvas));
    if (command.quality) {
        if (used == compressors.end() || !used->hasQuality)
            WrongUse("--quality: " + name + " has no quality setting");
        const int32_t quality = *command.quality * platform::kHighestQuality / 100;
        canvas.VideoSpatialQuality(quality);
        canvas.VideoTemporalQuality(quality);
    }
    if (command.keyFrames) {
        if (used == compressors.end() || !used->isInterFrame)
            WrongUse("--key-frames: each frame of " + name + " is a key frame");
        canvas.VideoKeyFrameRate(*command.keyFrames);
    }
}

// The Test Tone is only used if it is requested by name; otherwise waits for the sound server's list.
bool DeviceSetUp::ChooseMicrophone()
{
    if (microphoneChosen || (!withSound && command.microphone.empty()))
        return true;
    if (command.microphone != kNoMicrophone && command.microphone != kTestTone && platform::SoundSourcesArePending() &&
        Clock::now() - began < kMaxWaitForSoundServer)
        return false;
    microphoneChosen = true;
    canvas.Idle(); // lets the channel use what the server has just listed
    TakeMicrophone();
    if (withSound)
        TakeSoundFormat();
    return true;
}

void DeviceSetUp::TakeMicrophone()
{
    if (!command.microphone.empty() && command.microphone != kNoMicrophone) {
        const std::string name = ListedName(command.microphone, platform::ListSoundSources(), "microphone");
        withSound = true;
        if (canvas.ChooseSoundDevice(name) != platform::noErr)
            throw SetUpFailure(ExitCode::NoDevice, name + " can't be opened");
        return;
    }
    const bool isTone = canvas.SoundDeviceName().Bytes() == kTestTone;
    if (command.microphone.empty() && !isTone)
        return;
    if (command.microphone.empty())
        say("there is no microphone; recording without sound");
    canvas.SoundEnabled(false);
    withSound = false;
}

void DeviceSetUp::TakeSoundFormat()
{
    const std::string source = canvas.SoundDeviceName().Bytes();
    if (command.soundRate > 0) {
        canvas.SoundSampleRate(command.soundRate);
        if (canvas.SoundSampleRate() != command.soundRate)
            WrongUse("--sound-rate: " + source + " does not support " + std::to_string(command.soundRate) + " Hz");
    }
    if (!command.soundCodec.empty())
        canvas.SoundCompressionType(command.soundCodec);
    if (command.soundBits > 0)
        canvas.SoundSampleSize(command.soundBits);
    if (command.soundBits > 0 && canvas.SoundSampleSize() != command.soundBits)
        WrongUse("--sound-bits: " + source + " does not support " + std::to_string(command.soundBits) +
                 " bits in this format");
    if (command.channels > 0) {
        canvas.SoundChannelCount(command.channels);
        if (canvas.SoundChannelCount() != command.channels)
            WrongUse("--channels: " + source + " does not support " + std::to_string(command.channels) + " channels");
    }
    if (command.gain) {
        canvas.SoundInputGain(*command.gain);
        if (std::abs(canvas.SoundInputGain() - *command.gain) > kGainTolerance)
            WrongUse("--gain: the gain of " + source + " can't be set");
    }
}

void DeviceSetUp::SetControls()
{
    for (const auto& [name, value] : command.controls)
        SetControl(name, value);
}

void DeviceSetUp::SetControl(const std::string& name, const std::string& value)
{
    platform::Digitizer& camera = CameraOf(canvas);
    const auto controls = camera.Controls();
    const platform::ImageControl* const control = FindControl(controls, name);
    if (control == nullptr) {
        std::vector<std::string> names;
        for (const auto& known : controls)
            names.push_back(known.name);
        WrongUse("--set: " + camera.Name() + " has no control \"" + name + "\"" + DidYouMean(name, names));
    }
    const auto number = ControlValue(*control, value);
    if (!number)
        WrongUse("--set: " + control->name + ": expected " + AllowedValues(*control) + ", got \"" + value + "\"");
    if (control->readOnly || camera.SetControl(control->identity, *number) != platform::noErr)
        WrongUse("--set: " + control->name + " of " + camera.Name() + " can't be set at present");
}

void DeviceSetUp::SaveSettings()
{
    if (command.savedSettingsFile.empty())
        return;
    std::ofstream file(command.savedSettingsFile, std::ios::binary);
    file << canvas.UserSettings().Bytes();
    file.close();
    if (!file)
        throw SetUpFailure(ExitCode::Unwritable, "can't write the settings to " + command.savedSettingsFile);
}

} // namespace velmora

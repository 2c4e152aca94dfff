// SPDX-License-Identifier: MIT
// velmora-record: records from the command line, and lists the devices.
#include "framework/Application.h"
#include "platform/Platform.h"
#include "platform/sound/SoundSource.h"
#include "record/Recorder.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

namespace velmora {
namespace {

constexpr auto kLongestWaitForSoundServer = std::chrono::seconds(4);

// The control's text of a video device leads with the length of its name and goes on with its inputs.
String NameIn(const String& deviceText)
{
    return framework::Mid(deviceText, 2, framework::Asc(framework::LeftB(deviceText, 1)));
}

ExitCode ListDevices()
{
    auto control = std::make_shared<VelmoraCanvas>();
    framework::Window window;
    control->Constructor(Reference<VelmoraCanvas>(control));
    VelmoraCanvas* canvas = window.Add<VelmoraCanvas>("VelmoraCanvas1", control);
    canvas->Place(0, 0, 640, 480);
    canvas->Initialize();
    std::printf("Video:\n");
    const int32_t videoDevices = canvas->VideoDeviceCount();
    for (int32_t i = 0; i < videoDevices; ++i)
        std::printf("  %s\n", NameIn(canvas->VideoDevice(i)).Bytes().c_str());
    const auto longest = std::chrono::steady_clock::now() + kLongestWaitForSoundServer;
    while (platform::SoundSourcesAreDue() && std::chrono::steady_clock::now() < longest)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::printf("Sound:\n");
    for (int32_t i = 0; i < canvas->SoundDeviceCount(); ++i)
        std::printf("  %s\n", canvas->SoundDevice(i).Bytes().c_str());
    canvas->Destructor();
    return videoDevices < 1 ? ExitCode::NoDevice : ExitCode::Recorded;
}

// A signal that the caller ignores, as `nohup` does with a hang-up, stays ignored.
void InterruptAt(int signal)
{
    if (std::signal(signal, [](int) { Recorder::Interrupt(); }) == SIG_IGN)
        std::signal(signal, SIG_IGN);
}

void SetUpSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        InterruptAt(signal);
    // A reader of our lines that goes away, and a limit to the size of files, don't end a recording: the calls fail.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

ExitCode RunWithPlatform(int argc, char** argv, const RecordCommand& command)
{
    framework::StartRuntime(argc, argv, false);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    CarbonTimer::timers = std::make_unique<std::vector<Reference<CarbonTimer>>>();
    platform::StartPlatform();
    const ExitCode code = command.listDevices ? ListDevices() : std::make_shared<Recorder>(command)->Run();
    VelmoraCanvas::SeqGrabbers = nullptr;
    CarbonTimer::timers.reset();
    framework::EndRuntime();
    return code;
}

ExitCode Main(int argc, char** argv)
{
    std::string problem;
    const auto command = ReadCommandLine(argc, argv, problem);
    if (!command) {
        std::fprintf(stderr, "velmora-record: %s\n%s", problem.c_str(), UsageText());
        return ExitCode::WrongUse;
    }
    if (command->help) {
        std::fputs(UsageText(), stdout);
        return ExitCode::Recorded;
    }
    SetUpSignals();
    try {
        return RunWithPlatform(argc, argv, *command);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "velmora-record: %s\n", exception.what());
    }
    return ExitCode::Failed;
}

} // namespace
} // namespace velmora

int main(int argc, char** argv)
{
    return static_cast<int>(velmora::Main(argc, argv));
}

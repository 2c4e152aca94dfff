// velmora-record: the capture control without a window on screen.
//
// The control wants a window to live in, so there is one that is never shown. It runs in direct mode with no picture
// drawn during the recording, which spares the decoding of frames that nobody sees; `--live` runs it as the main window
// does. The recorder is a state machine on one timer: it waits for the first frame, records, and ends on time, on
// Ctrl-C or on a failure; in each case the movie is finished.
#include "capture/VelmoraCanvas.h"
#include "framework/Application.h"
#include "framework/TextStreams.h"
#include "framework/Timer.h"
#include "platform/Platform.h"
#include "platform/memory/ResultCodes.h"
#include "record/RecordCommand.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

namespace velmora {
namespace {

using Clock = std::chrono::steady_clock;

enum ExitCode : int { Recorded = 0, WrongUse = 1, NoDevice = 2, Unwritable = 3, DiskFull = 4, Failed = 5 };

constexpr auto kLongestWaitForPicture = std::chrono::seconds(5);

volatile std::sig_atomic_t interrupted = 0;

double SecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class Recorder : public framework::Window {
public:
    explicit Recorder(const RecordCommand& asked) : command(asked) {}

    ExitCode Run();

protected:
    void Layout() override { Visible(false); }
    void CreateControls() override;

private:
    enum class State { WaitingForPicture, Recording, Done };

    void ApplyCommand();
    void Tick();
    void StartRecording();
    void Finish(ExitCode code, const std::string& message);
    void Failure(int32_t result);
    void ShowProgress(bool last);

    RecordCommand command;
    VelmoraCanvas* canvas = nullptr;
    framework::Timer* timer = nullptr;
    State state = State::WaitingForPicture;
    Clock::time_point stateBegan = Clock::now();
    CaptureCounts countsAtStart;
    double lastProgress = -1;
    ExitCode exitCode = Recorded;
    bool finishing = false;
};

void Recorder::CreateControls()
{
    auto control = std::make_shared<VelmoraCanvas>();
    control->Constructor(Reference<VelmoraCanvas>(control));
    canvas = Add<VelmoraCanvas>("VelmoraCanvas1", control);
    canvas->Place(0, 0, 640, 480);
    canvas->EnableSound = true;
    canvas->UseDataProc = command.live;
    canvas->Error = [this](int32_t result) { Failure(result); };
    canvas->Open = [this] {
        canvas->Initialize();
        ApplyCommand();
    };
    timer = Add<framework::Timer>("ProgressTimer");
    timer->Period(100);
    timer->Action = [this] { Tick(); };
}

void Recorder::ApplyCommand()
{
    if (!command.settingsFile.empty()) {
        const auto settings = FolderItem(command.settingsFile).OpenAsTextFile();
        if (!settings)
            return Finish(WrongUse, "can't read the settings in " + command.settingsFile);
        canvas->UserSettings(settings->ReadAll());
    }
    if (command.width > 0)
        canvas->VideoCaptureSize(command.width, command.height);
    if (!command.live)
        canvas->PreviewWhileRecording(false);
    timer->Mode(framework::Timer::Multiple);
}

ExitCode Recorder::Run()
{
    Construct();
    if (exitCode == Recorded)
        framework::RunEventLoop();
    Close();
    return exitCode;
}

void Recorder::Tick()
{
    if (state == State::WaitingForPicture) {
        if (interrupted != 0)
            Finish(Failed, "interrupted before the first picture");
        else if (canvas->VideoCounts().delivered > 0)
            StartRecording();
        else if (Clock::now() - stateBegan > kLongestWaitForPicture)
            Finish(NoDevice, "no picture comes from " + canvas->VideoDeviceName().Bytes());
        return;
    }
    if (state != State::Recording)
        return;
    if (interrupted != 0 || (command.seconds > 0 && SecondsSince(stateBegan) >= command.seconds))
        return Finish(Recorded, {});
    ShowProgress(false);
}

void Recorder::StartRecording()
{
    const int32_t width = command.width > 0 ? command.width : canvas->VideoWidth();
    const int32_t height = command.height > 0 ? command.height : canvas->VideoHeight();
    canvas->VideoRecordSize(width, height);
    countsAtStart = canvas->VideoCounts();
    canvas->SoundLevelMeterActive(true);
    canvas->Record(framework::New<FolderItem>(command.output));
    state = State::Recording;
    stateBegan = Clock::now();
    if (!std::filesystem::exists(command.output))
        Finish(Unwritable, "can't write " + command.output);
    else
        std::printf("Recording %s with %s to %s\n", canvas->VideoDeviceName().Bytes().c_str(),
                    canvas->SoundDeviceName().Bytes().c_str(), command.output.c_str());
}

void Recorder::Failure(int32_t result)
{
    // The state queries of the control raise their event with 0 when all is well.
    if (result == platform::noErr || state != State::Recording)
        return;
    if (result == platform::dskFulErr)
        Finish(DiskFull, "the disk is full; velmora-recover brings back what was written");
    else if (result == platform::ioErr || result == platform::permErr)
        Finish(Failed, "the file can't be written any more (" + std::to_string(result) + ")");
    else
        std::fprintf(stderr, "\nvelmora-record: a device failed (%d); recording goes on\n", result);
}

void Recorder::Finish(ExitCode code, const std::string& message)
{
    if (exitCode == Recorded)
        exitCode = code;
    if (!message.empty())
        std::fprintf(stderr, "%svelmora-record: %s\n", isatty(STDOUT_FILENO) ? "\n" : "", message.c_str());
    if (finishing)
        return;
    finishing = true;
    const bool wasRecording = state == State::Recording;
    timer->Mode(framework::Timer::Off);
    if (wasRecording) {
        ShowProgress(true);
        canvas->Stop();
    }
    state = State::Done;
    framework::TheApplication()->Quit();
}

void Recorder::ShowProgress(bool last)
{
    const double seconds = SecondsSince(stateBegan);
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    if (!last && seconds - lastProgress < (terminal ? 0.25 : 1.0))
        return;
    lastProgress = seconds;
    const CaptureCounts counts = canvas->VideoCounts();
    std::error_code unknown;
    const auto size = std::filesystem::file_size(command.output, unknown);
    const int level = std::max(canvas->SoundLevelMeterLeft(), canvas->SoundLevelMeterRight());
    std::printf("%s%02d:%02d:%04.1f  %llu frames  %llu lost  %.1f MB  sound %3d %%%s", terminal ? "\r" : "",
                static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60) % 60,
                seconds - 60 * static_cast<int>(seconds / 60),
                static_cast<unsigned long long>(counts.delivered - countsAtStart.delivered),
                static_cast<unsigned long long>(counts.lost - countsAtStart.lost),
                unknown ? 0.0 : static_cast<double>(size) / 1e6, level * 100 / 255, terminal && !last ? "" : "\n");
    std::fflush(stdout);
}

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
    std::printf("Sound:\n");
    for (int32_t i = 0; i < canvas->SoundDeviceCount(); ++i)
        std::printf("  %s\n", canvas->SoundDevice(i).Bytes().c_str());
    return videoDevices < 1 ? NoDevice : Recorded;
}

int Main(int argc, char** argv)
{
    std::string problem;
    const auto command = ReadCommandLine(argc, argv, problem);
    if (!command) {
        std::fprintf(stderr, "velmora-record: %s\n%s", problem.c_str(), UsageText());
        return WrongUse;
    }
    if (command->help) {
        std::fputs(UsageText(), stdout);
        return Recorded;
    }
    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });

    framework::StartRuntime(argc, argv, false);
    framework::RegisterApplication(std::make_shared<framework::Application>());
    CarbonTimer::timers = std::make_unique<std::vector<Reference<CarbonTimer>>>();
    platform::StartPlatform();
    // No window is there to show a message in.
    framework::SetMsgBoxHandler(
        [](const String& text) { std::fprintf(stderr, "velmora-record: %s\n", text.Bytes().c_str()); });
    const int code = command->listDevices ? ListDevices() : std::make_shared<Recorder>(*command)->Run();
    VelmoraCanvas::SeqGrabbers = nullptr;
    CarbonTimer::timers.reset();
    framework::EndRuntime();
    return code;
}

} // namespace
} // namespace velmora

int main(int argc, char** argv)
{
    return velmora::Main(argc, argv);
}

// SPDX-License-Identifier: MIT
// A recording from the command line.
//
// The control needs a window, so there is one that is never shown. It runs in direct mode and does not show the picture
// while recording, which saves decoding frames that no one sees; `--live` runs it like the main window.
//
// The recorder is a state machine driven by a timer. Opening: the devices are open, but the sound server's list may be
// pending. WaitingForPicture: until the first frame arrives, so that the movie starts with one. WaitingForTime: until
// the requested start time. Recording: until a limit is reached, a signal arrives, or the writer fails. In each case
// the movie is finished; the exit code reports failures on the way.
#include "record/Recorder.h"

#include "framework/Application.h"
#include "platform/Platform.h"
#include "platform/events/EventLoop.h"
#include "platform/memory/ResultCodes.h"
#include "platform/movies/MovieRecovery.h"
#include "platform/movies/Movies.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <unistd.h>
#include <utility>

namespace velmora {
namespace {

constexpr auto kMaxWaitForPicture = std::chrono::seconds(5);
constexpr double kMaxWaitForLastFrame = 2; // seconds
constexpr auto kMaxRelease = std::chrono::seconds(3);

double SecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Say(const std::string& message)
{
    std::fprintf(stderr, "%svelmora-record: %s\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "", message.c_str());
}

std::string Seconds(double seconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", seconds);
    return text;
}

} // namespace

Recorder::Recorder(const RecordCommand& command) : command(command), names(command.output, command.Splits()) {}

void Recorder::CreateControls()
{
    auto control = std::make_shared<VelmoraCanvas>();
    control->Constructor(Reference<VelmoraCanvas>(control));
    canvas = Add<VelmoraCanvas>("VelmoraCanvas1", control);
    canvas->Place(0, 0, 640, 480);
    canvas->EnableSound = true;
    canvas->UseDataProc = command.live;
    canvas->Error = [this](int32_t result) { Failure(result); };
    canvas->Open = [this] { Open(); };
    timer = Add<framework::Timer>("ProgressTimer");
    timer->Period(100);
    timer->Action = [this] { Guarded([this] { Step(); }); };
}

ExitCode Recorder::Run()
{
    if (!command.output.empty() && !NameOutput())
        return exitCode;
    framework::Application::Instance()->TerminationRequested = [this](framework::Termination) { Interrupted(); };
    if (!command.reportFile.empty() && !(report.emplace(command.reportFile)).IsWritable()) {
        Fail(ExitCode::Unwritable, "can't write the report to " + command.reportFile);
        return exitCode;
    }
    framework::SetMsgBoxHandler([this](const String& text) { MessageShown(text.Bytes()); });
    Construct();
    if (state != State::Done)
        framework::RunEventLoop();
    // If something else ended the event loop, finish the movie here.
    if (state != State::Done)
        Finish(ExitCode::Failed, "the program was ended");
    framework::Application::Instance()->TerminationRequested = nullptr;
    platform::EndWithin(kMaxRelease, static_cast<int>(exitCode));
    canvas->Error = nullptr;
    Close();
    canvas->Destructor();
    framework::SetMsgBoxHandler({});
    return exitCode;
}

// Determines the file for a recording that starts now. Returns false, after saying why, if it cannot be written.
bool Recorder::NameOutput()
{
    std::string problem;
    output = std::make_unique<RecordingOutput>(names.Name(1, std::time(nullptr)));
    const auto refusal = output->Check(command.force, problem);
    if (refusal != RecordingOutput::Refusal::None)
        Fail(refusal == RecordingOutput::Refusal::DiskFull ? ExitCode::DiskFull : ExitCode::Unwritable, problem);
    return refusal == RecordingOutput::Refusal::None;
}

void Recorder::Open()
{
    canvas->Initialize();
    setUp = std::make_unique<DeviceSetUp>(command, *canvas, Say);
    Guarded([this] {
        setUp->ChooseCamera();
        if (!command.live)
            canvas->PreviewWhileRecording(false);
        stateBegan = Clock::now();
        timer->Mode(framework::Timer::Multiple);
    });
}

// Runs a step; an exception ends the recording.
void Recorder::Guarded(const std::function<void()>& step)
{
    try {
        step();
    } catch (const SetUpFailure& failure) {
        Finish(failure.code, failure.what());
    } catch (const std::exception& exception) {
        Finish(ExitCode::Failed, exception.what());
    } catch (const Reference<framework::RuntimeException>& exception) {
        Finish(ExitCode::Failed, exception ? exception->what() : "an operation failed");
    }
}

void Recorder::Step()
{
    if (state == State::Opening && setUp->ChooseMicrophone())
        state = State::WaitingForPicture;
    if (state == State::WaitingForPicture)
        WaitForPicture();
    else if (state == State::WaitingForTime)
        WaitForTime();
    else if (state == State::Recording)
        WatchRecording();
}

void Recorder::Interrupted()
{
    if (state == State::Recording)
        Finish(ExitCode::Recorded, "");
    else if (state != State::Done)
        Finish(ExitCode::Failed, state == State::WaitingForTime ? "interrupted before the recording started"
                                                                : "interrupted before the first picture");
}

void Recorder::WaitForPicture()
{
    if (!setUp->WithPicture() || canvas->VideoCounts().delivered > 0)
        Prepared();
    else if (Clock::now() - stateBegan > kMaxWaitForPicture)
        Finish(ExitCode::NoDevice, WhyNoPicture());
}

std::string Recorder::WhyNoPicture()
{
    const std::string name = canvas->VideoDeviceName().Bytes();
    const int32_t selected = canvas->VideoDeviceSelected();
    if (const std::string reason = canvas->VideoDeviceReason(); !reason.empty())
        return reason.starts_with(name) ? reason : name + ": " + reason;
    if (deviceFailure == platform::permErr)
        return name + ": permission denied (cameras belong to the group \"video\")";
    if (selected < 0)
        return name + " is no longer connected";
    if (!canvas->VideoDeviceAvailable(selected))
        return name + " is in use by another program";
    return name + " sent no picture within " + std::to_string(std::chrono::seconds(kMaxWaitForPicture).count()) +
           " s after it was opened";
}

void Recorder::Prepared()
{
    setUp->SetControls();
    setUp->SaveSettings();
    if (!output)
        return Finish(ExitCode::Recorded, {});
    if (!command.startAt)
        return StartRecording();
    state = State::WaitingForTime;
    std::printf("Waiting until the recording starts\n");
    std::fflush(stdout);
}

void Recorder::WaitForTime()
{
    if (std::time(nullptr) < *command.startAt)
        return;
    if (NameOutput()) // the time may be part of the name
        StartRecording();
    else
        Finish(exitCode, {});
}

void Recorder::StartRecording()
{
    const bool withPicture = setUp->WithPicture();
    const bool withSound = setUp->WithSound();
    canvas->VideoRecordSize(canvas->VideoWidth(), canvas->VideoHeight());
    canvas->SoundLevelMeterActive(withSound);
    const std::string camera = withPicture ? canvas->VideoDeviceName().Bytes() : "no picture";
    const std::string microphone = withSound ? canvas->SoundDeviceName().Bytes() : "no sound";
    state = State::Recording;
    stateBegan = Clock::now();
    canvas->Limits = {.fileSeconds = command.splitSeconds,
                      .fileBytes = command.splitBytes,
                      .seconds = command.seconds,
                      .frames = command.frames};
    canvas->NextRecordingFile = [this](bool ends) { return NextFile(ends); };
    // Files that are full are finished in the background.
    if (command.Splits())
        platform::SetMovieFinishHandler([this](const std::string&, int64_t, int64_t) { return stopping; });
    if (report)
        report->Begin(camera, microphone);
    canvas->Record(framework::New<FolderItem>(output->PathForControl()));
    std::string problem;
    if (!output->TakeName(problem))
        return Finish(ExitCode::Unwritable, problem);
    note = RecordingNote::Write(std::filesystem::absolute(output->Path()));
    std::printf("Recording %s with %s to %s\n", camera.c_str(), microphone.c_str(), output->Path().c_str());
    std::fflush(stdout);
}

// The count of delivered frames goes on after the last recorded frame.
void Recorder::TakeStatus()
{
    status = canvas->Status();
    if (command.frames > 0)
        status.frames = std::min(status.frames, static_cast<uint64_t>(command.frames));
}

// The recording ends by the capture time of a frame. This is for a camera that delivers no more frames.
bool Recorder::IsTimeOver() const
{
    const double patience = setUp->WithPicture() ? kMaxWaitForLastFrame : 0;
    return command.seconds > 0 && SecondsSince(stateBegan) >= command.seconds + patience;
}

void Recorder::WatchRecording()
{
    TakeStatus();
    if (status.failure != platform::noErr)
        return WriterFailed(status.failure);
    TakeNextFile();
    CheckFinishedFiles();
    ShowOutage();
    NoteLostFrames();
    if (limitReached || IsTimeOver())
        return Finish(ExitCode::Recorded, {});
    ShowProgress();
}

// The next file of the recording; null to continue in the present file, or at the end.
Reference<FolderItem> Recorder::NextFile(bool ends)
{
    limitReached |= ends;
    if (ends)
        return nullptr;
    TakeNextFile(); // the previous one, if there was no step in between
    std::string problem;
    const int number = static_cast<int>(files.size()) + 2;
    nextOutput = std::make_unique<RecordingOutput>(names.Name(number, std::time(nullptr)));
    if (nextOutput->Check(command.force, problem) == RecordingOutput::Refusal::None)
        return framework::New<FolderItem>(nextOutput->PathForControl());
    nextOutput.reset();
    Trouble(problem + "; recording continues in " + output->Path());
    return nullptr;
}

// Gives the next file its name, once it exists.
void Recorder::TakeNextFile()
{
    if (!nextOutput)
        return;
    auto next = std::move(nextOutput);
    std::string problem;
    if (!next->TakeName(problem))
        return Trouble(problem + "; recording continues in " + output->Path());
    files.push_back({output->Path(), std::move(note)});
    output = std::move(next);
    note = RecordingNote::Write(std::filesystem::absolute(output->Path()));
    std::printf("%sContinuing in %s\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "", output->Path().c_str());
    std::fflush(stdout);
}

void Recorder::CheckFinishedFiles()
{
    for (const platform::FinishingMovie& movie : platform::TakeFinishedMovies())
        if (movie.result != platform::noErr)
            Fail(movie.result == platform::dskFulErr ? ExitCode::DiskFull : ExitCode::Failed,
                 "finishing " + movie.path + " failed (" + std::to_string(movie.result) + ")");
}

void Recorder::ShowOutage()
{
    if (status.cameraAway && !cameraAway)
        Say("the camera is disconnected; recording continues");
    if (!status.cameraAway && cameraAway)
        Say("the camera is back; it was disconnected for " + Seconds(status.awaySeconds));
    cameraAway = status.cameraAway;
}

void Recorder::WriterFailed(int32_t result)
{
    if (result == platform::dskFulErr)
        Finish(ExitCode::DiskFull, "the disk is full; the movie ends here");
    else
        Finish(ExitCode::Failed,
               "the file can no longer be written (" + std::to_string(result) + "); the movie ends here");
}

// Handles the control's `Error` event: a device or the writer failed.
void Recorder::Failure(int32_t result)
{
    // The control's state queries raise the event with 0 on success, and queries of a disposed channel raise it too.
    if (result == platform::noErr ||
        (result == platform::badSGChannel && setUp && !(setUp->WithSound() && setUp->WithPicture())))
        return;
    // While a full disk ends the movie, waiting samples fail like the one before; the movie itself can be finished.
    if (stopping && exitCode == ExitCode::DiskFull && result == platform::dskFulErr)
        return;
    if (stopping)
        Fail(result == platform::dskFulErr ? ExitCode::DiskFull : ExitCode::Failed,
             "finishing the movie failed (" + std::to_string(result) + ")");
    else if (const int32_t writer = canvas->Status().failure; writer != platform::noErr)
        WriterFailed(writer);
    else if (result == platform::dskFulErr)
        WriterFailed(result);
    else if (state == State::Recording)
        DeviceFailed(result);
    else
        deviceFailure = result;
}

// Reports an outage of the camera with its duration, other failures with their result code.
void Recorder::DeviceFailed(int32_t result)
{
    status = canvas->Status();
    if (status.cameraAway)
        ShowOutage();
    else
        Trouble("a device failed (" + std::to_string(result) + "); recording continues");
}

// Handles the control's message boxes and exceptions, which report a failed operation.
void Recorder::MessageShown(const std::string& text)
{
    // A failure of the writer ends the recording with its own message at the next step.
    if (state == State::Recording && canvas->Status().failure != platform::noErr)
        return;
    Trouble(text);
    Fail(ExitCode::Failed, {});
}

// Reports a problem that does not end the recording. Consecutive identical problems are reported once, since one
// failing frame is usually followed by others.
void Recorder::Trouble(const std::string& text)
{
    if (text != lastTrouble)
        Say(text);
    lastTrouble = text;
}

void Recorder::Fail(ExitCode code, const std::string& message)
{
    if (exitCode == ExitCode::Recorded)
        exitCode = code;
    if (!message.empty())
        Say(message);
}

// Ends the recording in any state and finishes a movie that is being written.
void Recorder::Finish(ExitCode code, const std::string& message)
{
    Fail(code, message);
    if (state == State::Done)
        return;
    const bool wasRecording = state == State::Recording;
    state = State::Done;
    timer->Mode(framework::Timer::Off);
    if (wasRecording)
        StopRecording();
    framework::Application::Instance()->Quit();
}

void Recorder::StopRecording()
{
    stopping = true;
    const int32_t breaks = framework::BreakCount();
    try {
        platform::NoteInput(); // records what was captured until now
        TakeStatus();
        canvas->Stop();
    } catch (const std::exception& exception) {
        Fail(ExitCode::Failed, exception.what());
    } catch (const Reference<framework::RuntimeException>&) {
        Fail(ExitCode::Failed, {}); // its message has been shown
    }
    stopping = false;
    const int32_t failure = canvas->Status().failure;
    if (exitCode == ExitCode::Recorded && (failure != platform::noErr || framework::BreakCount() > breaks))
        Fail(failure == platform::dskFulErr ? ExitCode::DiskFull : ExitCode::Failed,
             "finishing the movie failed (" + std::to_string(failure) + ")");
    TakeNextFile();
    platform::WaitForFinishingMovies();
    CheckFinishedFiles();
    platform::SetMovieFinishHandler(nullptr);
    files.push_back({output->Path(), std::move(note)});
    for (const RecordedFile& file : files)
        ShowMovie(file);
    WriteReport();
}

void Recorder::NoteLostFrames()
{
    const auto lost = canvas->TakeLostFrames();
    if (std::ranges::find(lost, "unreadable", &LostFrame::cause) != lost.end() &&
        !std::exchange(compressionFailed, true))
        Say("a frame could not be compressed; recording continues");
    if (report)
        report->Note(status, lost);
}

void Recorder::WriteReport()
{
    if (!report)
        return;
    NoteLostFrames();
    std::vector<std::string> paths;
    for (const RecordedFile& file : files)
        paths.push_back(file.path);
    if (!report->Write(paths))
        Fail(ExitCode::Unwritable, "can't write the report to " + command.reportFile);
}

// Prints the counts of the file. Lost frames are printed once, with the last file.
void Recorder::ShowMovie(const RecordedFile& file)
{
    platform::RecoveredMovie movie;
    std::string written;
    const bool found = platform::RecoverMovie(file.path, {}, movie, written) == platform::noErr;
    if (exitCode == ExitCode::Recorded && (!found || (setUp->WithPicture() && movie.videoFrames == 0)))
        Fail(ExitCode::Failed, file.path + (found ? " contains no video" : " contains no movie"));
    if (!found)
        return;
    if (file.note)
        file.note->Remove();
    const bool last = &file == &files.back();
    std::printf("%s%s: %.2f s, %llu frames, ", isatty(STDOUT_FILENO) != 0 && &file == &files.front() ? "\n" : "",
                written.c_str(), movie.seconds, static_cast<unsigned long long>(movie.videoFrames));
    if (last)
        std::printf("%llu lost, %llu damaged, ", static_cast<unsigned long long>(status.lost),
                    static_cast<unsigned long long>(status.damaged));
    std::printf("%.1f MB\n", static_cast<double>(movie.bytes) / 1e6);
}

void Recorder::ShowProgress()
{
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    const double seconds = SecondsSince(stateBegan);
    if (seconds - lastProgress < (terminal ? 0.25 : 1.0))
        return;
    lastProgress = seconds;
    std::printf("%s%02d:%02d:%04.1f  %llu frames  %llu lost  %llu damaged  %.1f MB%s%s%s", terminal ? "\r" : "",
                static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60) % 60,
                seconds - 60 * static_cast<int>(seconds / 60), static_cast<unsigned long long>(status.frames),
                static_cast<unsigned long long>(status.lost), static_cast<unsigned long long>(status.damaged),
                static_cast<double>(status.bytes) / 1e6, SoundText().c_str(), TroubleText().c_str(),
                terminal ? "\033[K" : "\n");
    std::fflush(stdout);
}

std::string Recorder::SoundText() const
{
    if (!setUp->WithSound())
        return "  no sound";
    const int level = std::max(canvas->SoundLevelMeterLeft(), canvas->SoundLevelMeterRight());
    return "  sound " + std::to_string(level) + " %";
}

std::string Recorder::TroubleText() const
{
    if (status.tooSlow)
        return "  this machine is too slow for this compressor, frame size and frame rate";
    if (status.awaySeconds <= 0)
        return {};
    return (status.cameraAway ? "  camera disconnected for " : "  camera was disconnected for ") +
           Seconds(status.awaySeconds);
}

} // namespace velmora

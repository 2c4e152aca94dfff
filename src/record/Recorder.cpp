// SPDX-License-Identifier: MIT
// A recording from the command line.
//
// The control wants a window to live in, so there is one that is never shown. It runs in direct mode with no picture
// drawn during the recording, which spares the decoding of frames that nobody sees; `--live` runs it as the main window
// does.
//
// The recorder is a state machine on one timer. Opening: the devices are open, and a sound server may still owe its
// answer. Waiting for the picture: until the first frame has come, so that the movie begins with one. Waiting for the
// time at which the recording is to start. Recording: until its time is over, a signal comes, or the writer fails. In
// each case the movie is finished; what went wrong on the way is in the exit code.
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

constexpr auto kLongestWaitForPicture = std::chrono::seconds(5);
constexpr double kMaxWaitForLastFrame = 2; // seconds
constexpr auto kLongestRelease = std::chrono::seconds(3);
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
    framework::TheApplication()->TerminationRequested = [this](framework::Termination) { Interrupted(); };
    if (!command.reportFile.empty() && !(report.emplace(command.reportFile)).IsWritable()) {
        Fail(ExitCode::Unwritable, "can't write the report to " + command.reportFile);
        return exitCode;
    }
    framework::SetMsgBoxHandler([this](const String& text) { MessageShown(text.Bytes()); });
    Construct();
    if (state != State::Done)
        framework::RunEventLoop();
    // A loop that something else has ended leaves the movie to be finished here.
    if (state != State::Done)
        Finish(ExitCode::Failed, "the program had to end");
    framework::TheApplication()->TerminationRequested = nullptr;
    platform::EndWithin(kLongestRelease, static_cast<int>(exitCode));
    canvas->Error = nullptr;
    Close();
    canvas->Destructor();
    framework::SetMsgBoxHandler({});
    return exitCode;
}

// Names the file that a recording which starts now goes to. False, and said why, where it can't be written.
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

// Runs a step; what it throws ends the recording.
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
    else if (Clock::now() - stateBegan > kLongestWaitForPicture)
        Finish(ExitCode::NoDevice, WhyNoPicture());
}

std::string Recorder::WhyNoPicture()
{
    const std::string name = canvas->VideoDeviceName().Bytes();
    const int32_t selected = canvas->VideoDeviceSelected();
    if (const std::string reason = canvas->VideoDeviceReason(); !reason.empty())
        return reason.starts_with(name) ? reason : name + ": " + reason;
    if (deviceFailure == platform::permErr)
        return name + " may not be used: permission denied (cameras belong to the group \"video\")";
    if (selected < 0)
        return name + " is no longer there";
    if (!canvas->VideoDeviceAvailable(selected))
        return name + " is busy: another program is using it";
    return name + " is silent: no picture came within " +
           std::to_string(std::chrono::seconds(kLongestWaitForPicture).count()) + " s after it was opened";
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
    // A file that the recording has left is completed in the background.
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

// Past the last frame the count of those delivered runs on.
void Recorder::TakeStatus()
{
    status = canvas->Status();
    if (command.frames > 0)
        status.frames = std::min(status.frames, static_cast<uint64_t>(command.frames));
}

// The recording ends at a frame, by the time at which that was captured. Where none comes, by the clock.
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

// The file in which the recording goes on; null where it stays in the present one, or ends.
Reference<FolderItem> Recorder::NextFile(bool ends)
{
    limitReached |= ends;
    if (ends)
        return nullptr;
    TakeNextFile(); // the one before, where no step came between the two
    std::string problem;
    const int number = static_cast<int>(files.size()) + 2;
    nextOutput = std::make_unique<RecordingOutput>(names.Name(number, std::time(nullptr)));
    if (nextOutput->Check(command.force, problem) == RecordingOutput::Refusal::None)
        return framework::New<FolderItem>(nextOutput->PathForControl());
    nextOutput.reset();
    Trouble(problem + "; recording goes on in " + output->Path());
    return nullptr;
}

// Gives the next file its name, once it has been made.
void Recorder::TakeNextFile()
{
    if (!nextOutput)
        return;
    auto next = std::move(nextOutput);
    std::string problem;
    if (!next->TakeName(problem))
        return Trouble(problem + "; recording goes on in " + output->Path());
    files.push_back({output->Path(), std::move(note)});
    output = std::move(next);
    note = RecordingNote::Write(std::filesystem::absolute(output->Path()));
    std::printf("%sGoing on in %s\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "", output->Path().c_str());
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
        Say("the camera is away; recording goes on");
    if (!status.cameraAway && cameraAway)
        Say("the camera is back; it has been away for " + Seconds(status.awaySeconds));
    cameraAway = status.cameraAway;
}

void Recorder::WriterFailed(int32_t result)
{
    if (result == platform::dskFulErr)
        Finish(ExitCode::DiskFull, "the disk is full; the movie ends here");
    else
        Finish(ExitCode::Failed,
               "the file can't be written any more (" + std::to_string(result) + "); the movie ends here");
}

// The control's event for a failing device or writer.
void Recorder::Failure(int32_t result)
{
    // The state queries of the control raise their event with 0 when all is well, and questions about a channel that
    // was given up raise it as well.
    if (result == platform::noErr ||
        (result == platform::badSGChannel && setUp && !(setUp->WithSound() && setUp->WithPicture())))
        return;
    // What waits while a full disk ends the movie is refused like the sample before; the movie itself has room.
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

// An outage of the camera is reported with its length; other failures have their number alone.
void Recorder::DeviceFailed(int32_t result)
{
    status = canvas->Status();
    if (status.cameraAway)
        ShowOutage();
    else
        Trouble("a device failed (" + std::to_string(result) + "); recording goes on");
}

// The control's boxes and exceptions: something was not done that should have been.
void Recorder::MessageShown(const std::string& text)
{
    // A failure of the writer ends the recording in words of its own, at the next look.
    if (state == State::Recording && canvas->Status().failure != platform::noErr)
        return;
    Trouble(text);
    Fail(ExitCode::Failed, {});
}

// Says something that did not end the recording, and the same thing once in a row: a failing frame is followed by
// others.
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

// Ends the recording in any state; a movie that is being written is finished.
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
    framework::TheApplication()->Quit();
}

void Recorder::StopRecording()
{
    stopping = true;
    const int32_t breaks = framework::BreakCount();
    try {
        platform::NoteInput(); // what was captured until now belongs to the movie
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
        Say("a frame could not be compressed; recording goes on");
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

// The counts are those of the file; what was lost is told once, with the last one.
void Recorder::ShowMovie(const RecordedFile& file)
{
    platform::RecoveredMovie movie;
    std::string written;
    const bool found = platform::RecoverMovie(file.path, {}, movie, written) == platform::noErr;
    if (exitCode == ExitCode::Recorded && (!found || (setUp->WithPicture() && movie.videoFrames == 0)))
        Fail(ExitCode::Failed, file.path + (found ? " holds no picture" : " holds no movie"));
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
        return "  this machine is too slow for this compressor, size and rate";
    if (status.awaySeconds <= 0)
        return {};
    return (status.cameraAway ? "  camera away for " : "  camera was away for ") + Seconds(status.awaySeconds);
}

} // namespace velmora

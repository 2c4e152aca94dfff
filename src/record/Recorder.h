// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Timer.h"
#include "framework/Window.h"
#include "record/RecordCommand.h"
#include "record/RecordingOutput.h"

#include <chrono>

namespace velmora {

/// How `velmora-record` ends, for scripts.
enum class ExitCode { Recorded = 0, WrongUse = 1, NoDevice = 2, Unwritable = 3, DiskFull = 4, Failed = 5 };

/// The capture control without a window on screen, recording what a command line asks for.
class Recorder : public framework::Window {
public:
    explicit Recorder(const RecordCommand& command) : command(command), output(command.output) {}

    /// Records, and returns when the movie is finished or can't be made; each reason has been written to standard
    /// error.
    ExitCode Run();

    /// Makes a recorder that runs in this process finish its movie. Signal handlers may call it.
    static void Interrupt();

protected:
    void Layout() override { Visible(false); }
    void CreateControls() override;

private:
    using Clock = std::chrono::steady_clock;
    enum class State { Opening, WaitingForPicture, Recording, Done };

    void Open();
    bool ApplySettings();
    bool ChooseCamera();
    bool ChooseMicrophone();
    void Tick();
    void WaitForPicture();
    std::string WhyNoPicture();
    void StartRecording();
    void WatchRecording();
    void ShowOutage();
    void ShowProgress();
    std::string SoundText() const;
    std::string AwayText() const;
    void Failure(int32_t result);
    void DeviceFailed(int32_t result);
    void WriterFailed(int32_t result);
    void MessageShown(const std::string& text);
    void Trouble(const std::string& text);
    void Fail(ExitCode code, const std::string& message);
    void Finish(ExitCode code, const std::string& message);
    void StopRecording();
    void ReportMovie();

    const RecordCommand command;
    RecordingOutput output;
    VelmoraCanvas* canvas = nullptr;
    framework::Timer* timer = nullptr;
    State state = State::Opening;
    Clock::time_point stateBegan;
    RecordingStatus status; ///< the newest one of the recording
    bool cameraAway = false;
    bool withPicture = true;
    bool withSound = true;
    bool microphoneChosen = false;
    int32_t deviceFailure = 0; ///< the last one before the first picture
    std::string lastTrouble;
    double lastProgress = -1;
    bool stopping = false;
    ExitCode exitCode = ExitCode::Recorded;
};

} // namespace velmora

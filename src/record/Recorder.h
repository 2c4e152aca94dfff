// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "framework/Timer.h"
#include "framework/Window.h"
#include "record/DeviceSetUp.h"
#include "record/OutputNames.h"
#include "record/RecordCommand.h"
#include "record/RecordingOutput.h"
#include "record/RecordingReport.h"
#include "recording/RecordingNote.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// Records as the command line requests, with the capture control in a window that is never shown.
class Recorder : public framework::Window {
public:
    /// Opens no device yet.
    explicit Recorder(const RecordCommand& command);

    /// Records, and returns when the movie is finished or has failed. Failures are written to standard error.
    ExitCode Run();

protected:
    void Layout() override { Visible(false); }
    void CreateControls() override;

private:
    using Clock = std::chrono::steady_clock;

    /// A file that is complete or being finished in the background.
    struct RecordedFile {
        std::string path;
        std::unique_ptr<RecordingNote> note;
    };

    enum class State { Opening, WaitingForPicture, WaitingForTime, Recording, Done };

    void Open();
    bool NameOutput();
    void Step();
    void Guarded(const std::function<void()>& step);
    void Interrupted();
    void Prepared();
    void WaitForTime();
    void WaitForPicture();
    std::string WhyNoPicture();
    void StartRecording();
    void TakeStatus();
    bool IsTimeOver() const;
    void WatchRecording();
    Reference<FolderItem> NextFile(bool ends);
    void TakeNextFile();
    void CheckFinishedFiles();
    void NoteLostFrames();
    void WriteReport();
    void ShowOutage();
    void ShowProgress();
    std::string SoundText() const;
    std::string TroubleText() const;
    void Failure(int32_t result);
    void DeviceFailed(int32_t result);
    void WriterFailed(int32_t result);
    void MessageShown(const std::string& text);
    void Trouble(const std::string& text);
    void Fail(ExitCode code, const std::string& message);
    void Finish(ExitCode code, const std::string& message);
    void StopRecording();
    void ShowMovie(const RecordedFile& file);

    const RecordCommand command;
    OutputNames names;
    std::unique_ptr<RecordingOutput> output;     ///< null if only settings are saved
    std::unique_ptr<RecordingOutput> nextOutput; ///< passed to the control, which creates the file
    std::unique_ptr<RecordingNote> note;         ///< of `output`
    std::vector<RecordedFile> files;             ///< earlier files of this recording
    std::optional<RecordingReport> report;
    bool limitReached = false;
    bool compressionFailed = false;
    VelmoraCanvas* canvas = nullptr;
    std::unique_ptr<DeviceSetUp> setUp;
    framework::Timer* timer = nullptr;
    State state = State::Opening;
    Clock::time_point stateBegan;
    RecordingStatus status; ///< the latest one
    bool cameraAway = false;
    int32_t deviceFailure = 0; ///< last failure before the first picture
    std::string lastTrouble;
    double lastProgress = -1;
    bool stopping = false;
    ExitCode exitCode = ExitCode::Recorded;
};

} // namespace velmora

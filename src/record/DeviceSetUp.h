// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"
#include "record/ExitCode.h"
#include "record/RecordCommand.h"

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace velmora {

/// Why the devices cannot be set up as requested, in one line, and the exit code.
struct SetUpFailure : std::runtime_error {
    /// Takes the exit code and the line.
    SetUpFailure(ExitCode code, const std::string& message) : std::runtime_error(message), code(code) {}
    ExitCode code;
};

/// Sets up the control's devices as the command line requests. Each step throws `SetUpFailure` on failure.
class DeviceSetUp {
public:
    /// `say` shows a line about a setting that differs from the requested one. `command` and `canvas` must outlive
    /// this.
    DeviceSetUp(const RecordCommand& command, VelmoraCanvas& canvas, std::function<void(const std::string&)> say)
        : command(command), canvas(canvas), say(std::move(say))
    {
    }

    /// Applies the settings file and sets the camera, its format and the compressor.
    void ChooseCamera();

    /// Sets the microphone and its format. Returns false while the sound server's list is pending; call it again then.
    bool ChooseMicrophone();

    /// Sets image controls. Call it once the camera delivers.
    void SetControls();

    /// Saves the settings to the file of `--save-settings`, if given.
    void SaveSettings();

    bool WithPicture() const { return withPicture; } ///< whether the recording has video
    bool WithSound() const { return withSound; }     ///< whether the recording has sound

private:
    using Clock = std::chrono::steady_clock;

    void ApplySettingsFile();
    void TakeCamera();
    void TakeFormat();
    void TakeCompressor();
    void TakeMicrophone();
    void TakeSoundFormat();
    void SetControl(const std::string& name, const std::string& value);

    const RecordCommand& command;
    VelmoraCanvas& canvas;
    std::function<void(const std::string&)> say;
    bool withPicture = true;
    bool withSound = true;
    bool microphoneChosen = false;
    Clock::time_point began = Clock::now();
};

} // namespace velmora

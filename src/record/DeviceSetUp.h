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

/// Why a recording can't be made as the command line asks, in one line.
struct SetUpFailure : std::runtime_error {
    SetUpFailure(ExitCode code, const std::string& message) : std::runtime_error(message), code(code) {}
    ExitCode code;
};

/// Brings the control's devices and their settings into the state that a command line asks for. Each step throws
/// `SetUpFailure` where that is not possible.
class DeviceSetUp {
public:
    /// `say` shows one line about what is not quite as asked.
    DeviceSetUp(const RecordCommand& command, VelmoraCanvas& canvas, std::function<void(const std::string&)> say)
        : command(command), canvas(canvas), say(std::move(say))
    {
    }

    /// The settings file, the camera, its format, and the compressor.
    void ChooseCamera();

    /// The microphone and its format. False as long as the sound server's answer is waited for; to be called again.
    bool ChooseMicrophone();

    /// Image controls, once the camera delivers.
    void SetControls();

    void SaveSettings();

    bool WithPicture() const { return withPicture; }
    bool WithSound() const { return withSound; }

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

// SPDX-License-Identifier: MIT
#pragma once

namespace velmora {

/// What a program needs around its use of the capture control: the framework with its event loop, the platform with its
/// devices, and the control's own tables. One object of it, made first thing in `main` and destroyed last.
///
/// It is for programs with a `main` of their own. No window and no `VelmoraCanvas` may be alive when it is destroyed.
class CaptureRuntime {
public:
    /// Starts everything; no device is opened yet. `argc` and `argv` are those of `main`, from which the framework
    /// takes its own options ("-platform", "-display"). Without `needsDisplay` everything works without a screen and no
    /// window shows.
    CaptureRuntime(int& argc, char** argv, bool needsDisplay = true);

    /// Closes every device and ends the framework.
    ~CaptureRuntime();

    CaptureRuntime(const CaptureRuntime&) = delete;
    CaptureRuntime& operator=(const CaptureRuntime&) = delete;

    /// Handles events until a window with `EndsProgram` has closed or `Quit` is called. Returns the exit code for
    /// `main`.
    int Run();

    /// Ends `Run` once the present event has been handled.
    static void Quit();
};

} // namespace velmora

// SPDX-License-Identifier: MIT
#pragma once

namespace velmora {

/// Sets up what the capture control needs: the framework with its event loop, the platform with its devices, and the
/// control's own tables. Create one object first thing in `main` and destroy it last. No window and no `VelmoraCanvas`
/// may be alive when it is destroyed.
class CaptureRuntime {
public:
    /// Starts the framework and the platform; no device is opened yet. `argc` and `argv` are those of `main`; the
    /// framework removes its own options ("-platform", "-display"). Pass false for `needsDisplay` to run without a
    /// display server; windows are then not shown.
    CaptureRuntime(int& argc, char** argv, bool needsDisplay = true);

    /// Closes every device and ends the framework.
    ~CaptureRuntime();

    CaptureRuntime(const CaptureRuntime&) = delete;
    CaptureRuntime& operator=(const CaptureRuntime&) = delete;

    /// Handles events until a window with `EndsProgram` is closed or `Quit` is called. Returns the exit code for
    /// `main`.
    int Run();

    /// Makes `Run` return once the present event has been handled.
    static void Quit();
};

} // namespace velmora

// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <vector>

class QApplication;

namespace framework {

class Window;

/// The state behind `Runtime.h` and the runtime's part of `Application.h`.
struct Runtime {
    /// The one object. It is never destroyed: when the display server dies, Qt calls `exit` in the middle of an event.
    static Runtime& Instance();

    QApplication* qt = nullptr; ///< deleted by `EndRuntime` only, never by a static destructor
    bool hasDisplay = false;
    bool loopRuns = false;
    bool endRequested = false;
    int exitCode = EXIT_SUCCESS;
    bool reporting = false; ///< the box of an unhandled exception is open
    std::shared_ptr<Application> application;
    std::vector<Window*> windows;
    std::map<const Window*, std::function<void()>> menuBarReplaced;
    bool hadWindows = false;
    bool askingToQuit = false;
};

} // namespace framework

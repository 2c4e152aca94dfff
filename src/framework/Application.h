#pragma once

#include "framework/Menu.h"
#include "framework/Reference.h"

#include <functional>
#include <memory>

namespace framework {

/// The application object. One is registered at a time; it carries the menu bar of all windows.
class Application {
public:
    virtual ~Application() = default;

    framework::Reference<framework::MenuBar> MenuBar() const { return bar; }
    void MenuBar(framework::Reference<framework::MenuBar> value);

    /// Handles waiting events, and waits up to `milliseconds` for one (0 and below: not at all).
    void DoEvents(int32_t milliseconds = 0);

    /// Ends the event loop with exit code 0.
    void Quit();

private:
    framework::Reference<framework::MenuBar> bar;
};

/// Starts the framework's runtime: once, before anything else of it. `argc` and `argv` outlive the process.
/// With `needsDisplay` False, everything works without a screen and no window shows.
void StartRuntime(int& argc, char** argv, bool needsDisplay = true);

/// Runs the event loop until the last window has closed or `Quit`; returns the exit code.
int RunEventLoop();

/// Ends the runtime; nothing of the framework may be used behind it.
void EndRuntime();

/// Makes `application` the one that `TheApplication` returns.
void RegisterApplication(std::shared_ptr<Application> application);
std::shared_ptr<Application> TheApplication();

/// Gives the framework a chance to run its background work in the midst of a loop: no event is handled.
void YieldToBackground();

/// A text in a box with an OK button; returns when it is closed. The same text, brought again by a timer within five
/// seconds of its answer, is passed over, so that the user can act on it. Tests may answer it themselves.
void MsgBox(const String& text);
void SetMsgBoxHandler(std::function<void(const String& text)> handler); ///< empty: the box itself

/// A short sound or flash of the system.
void Beep();

/// Opens a page in the user's browser.
void ShowURL(const String& url);
void SetShowURLHandler(std::function<void(const String& url)> handler); ///< empty: the browser itself

/// Stops in a debugger that is attached; otherwise counts and goes on.
void Break();
int32_t BreakCount();

/// Writes a line to the system's log, at a level from 1000 (emergency) to 1007 (debugging); `DebugLog` only in builds
/// for debugging, to standard error.
namespace System {
void DebugLog(const String& text);
void Log(int32_t level, const String& text);
} // namespace System

} // namespace framework

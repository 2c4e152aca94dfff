// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"
#include "framework/Reference.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace framework {

/// Why a program ends without asking.
enum class Termination {
    Signal,      ///< SIGTERM, SIGHUP or SIGINT, or a session that ends and allows no question
    DisplayLost, ///< the display server is gone: no window can be used any more
};

/// The application object. One is registered at a time; it carries the menu bar of all windows.
class Application {
public:
    virtual ~Application() = default;

    framework::Reference<framework::MenuBar> MenuBar() const { return bar; }
    void MenuBar(framework::Reference<framework::MenuBar> value);

    /// Handles waiting events, and waits up to `milliseconds` for one (0 and below: not at all).
    void DoEvents(int32_t milliseconds = 0);

    /// Ends the event loop with exit code 0, without asking `MayQuit`.
    void Quit();

    /// Asked before the user's wish to end the program is followed: Quit, the closing of a window that ends the
    /// program, logging out. False: the program goes on.
    std::function<bool()> MayQuit;

    /// The program ends when this returns. What must not be lost is to be finished here.
    std::function<void(Termination reason)> TerminationRequested;

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

/// Has SIGTERM, SIGHUP and SIGINT end the event loop by way of `TerminationRequested`, except one that the process was
/// started to ignore. A third signal ends the process at once, and so does any outside of the event loop. Once, after
/// `StartRuntime`.
void HandleTerminationSignals();

/// The signal that ended the event loop, or 0.
int32_t TerminationSignal();

/// For the end of `main`: a process that a signal asked to end dies by that signal, as its parent expects. Otherwise
/// returns `exitCode`.
int ExitStatus(int exitCode);

/// Puts the step that raises `TerminationRequested` for a lost display ahead of the destructors of all static objects
/// made so far. `RunEventLoop` does it once; again after work that makes new ones.
void GuardExit();

/// Makes `application` the one that `TheApplication` returns.
void RegisterApplication(std::shared_ptr<Application> application);
std::shared_ptr<Application> TheApplication();

/// Gives the framework a chance to run its background work in the midst of a loop: no event is handled.
void YieldToBackground();

/// The program's name in the title bars of its boxes and of windows without a title. `desktopEntry` is the name of its
/// entry in the desktop's menu, by which the desktop finds its icon. After `StartRuntime`.
void SetProgramName(const String& name, const String& desktopEntry);

/// What a message is, shown by the sign in its box.
enum class MessageKind { Note, Warning };

/// A text in a box with an OK button; returns when it is closed. The same text, brought again by a timer within five
/// seconds of its answer, is passed over, so that the user can act on it. Tests may answer it themselves.
void MsgBox(const String& text, MessageKind kind = MessageKind::Note);
void SetMsgBoxHandler(std::function<void(const String& text)> handler); ///< empty: the box itself

/// A sentence to be shown below a message, and the sign that goes with it. Empty: the message speaks for itself.
struct Explanation {
    String text;
    MessageKind kind = MessageKind::Warning;
};

/// Asked for each message whose text may say no more than a code.
void SetMsgBoxExplainer(std::function<Explanation(const String& text)> explain);

/// A question whose answers are the captions of buttons, the first one being the preset. Returns the number of the one
/// pressed; `otherwise` when the box is closed without an answer, or without a screen.
int32_t Ask(const String& text, const std::vector<String>& answers, int32_t otherwise);

/// A text with an OK button in a small window that holds nothing up: work goes on behind it.
void Notify(const String& text, MessageKind kind = MessageKind::Note);

/// The same for a passing state: a second one replaces the first, and an empty text takes it away.
void ShowNote(const String& text);

/// A short sound of the system, and a frame that lights up round the window in front: many machines are silent.
void Beep();

/// Opens a page in the user's browser; one that is installed with the program, where no browser opens, in a window.
void ShowURL(const String& url);

/// Pages that are installed with the program, in place of those of a site: from URLs to paths of files.
void SetLocalPages(std::map<std::string, std::string> pages);

/// The folder that the running program is in.
String ProgramFolder();
void SetShowURLHandler(std::function<void(const String& url)> handler); ///< empty: the browser itself

/// Stops in a debugger that is attached; otherwise counts and goes on.
void Break();
int32_t BreakCount();

/// Writes a line to the system's log, at a level from 1000 (emergency) to 1007 (debugging), any other number counting
/// as 1003 (error); `DebugLog` writes at 1007.
namespace System {
void DebugLog(const String& text);
void Log(int32_t level, const String& text);
} // namespace System

} // namespace framework

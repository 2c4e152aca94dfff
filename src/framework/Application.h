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

/// Why a program ends without asking the user.
enum class Termination {
    Signal,      ///< SIGTERM, SIGHUP or SIGINT, or the desktop session ends and allows no interaction
    DisplayLost, ///< the connection to the display server is lost; windows can no longer be used
};

/// The application object. One is registered at a time; it holds the menu bar of all windows.
class Application {
public:
    virtual ~Application() = default;

    /// The registered application object; null before `RegisterApplication` and after `EndRuntime`.
    static std::shared_ptr<Application> Instance();

    /// The menu bar of all windows; nil without one.
    framework::Reference<framework::MenuBar> MenuBar() const { return bar; }
    /// Sets the menu bar and rebuilds the menus of all open windows.
    void MenuBar(framework::Reference<framework::MenuBar> value);

    /// Handles pending events. Waits up to `milliseconds` for one; 0 or less: does not wait.
    void DoEvents(int32_t milliseconds = 0);

    /// Ends the event loop with exit code 0, without asking `MayQuit`.
    void Quit();

    /// Called when the user wants to end the program: by Quit, by closing a window with `EndsProgram`, by logging out.
    /// Return false to keep the program running.
    std::function<bool()> MayQuit;

    /// Called before the program ends without asking; finish here what must not be lost. The program ends when it
    /// returns.
    std::function<void(Termination reason)> TerminationRequested;

private:
    framework::Reference<framework::MenuBar> bar;
};

/// Starts the framework's runtime. Call it once, before anything else of the framework. `argc` and `argv` must stay
/// valid until `EndRuntime`. With `needsDisplay` false the program runs without a display server and shows no window.
void StartRuntime(int& argc, char** argv, bool needsDisplay = true);

/// Runs the event loop until the last window is closed or `Quit` is called. Returns the exit code.
int RunEventLoop();

/// Ends the runtime. Nothing of the framework may be used afterwards.
void EndRuntime();

/// Makes SIGTERM, SIGHUP and SIGINT call `TerminationRequested` and end the event loop, except signals that the process
/// was started to ignore. A third signal ends the process at once, and so does any signal outside of the event loop.
/// Call it once, after `StartRuntime`.
void HandleTerminationSignals();

/// The number of the signal that ended the event loop, or 0.
int32_t TerminationSignal();

/// Call it at the end of `main`. If a signal ended the event loop, the process dies by that signal, as its parent
/// expects. Otherwise returns `exitCode`.
int ExitStatus(int exitCode);

/// Registers the exit handler that calls `TerminationRequested` for a lost display. It runs before the destructors of
/// all static objects created so far. `RunEventLoop` registers it; call this again after creating further ones.
void GuardExit();

/// Sets the object that `Application::Instance` returns.
void RegisterApplication(std::shared_ptr<Application> application);

/// Lets other threads run; call it in long loops. No event is handled.
void YieldToBackground();

/// Sets the program's name, which is the title of message boxes and of windows without a title. `desktopEntry` is the
/// name of its desktop entry, by which the desktop finds its icon. Call it after `StartRuntime`.
void SetProgramName(const String& name, const String& desktopEntry);

/// The kind of a message, which selects the icon in its box.
enum class MessageKind { Note, Warning };

/// Shows a message box with an OK button and returns when it is closed. When a timer brings up the same text within
/// five seconds of its answer, the box is not shown, so that the user can act on the first one.
void MsgBox(const String& text, MessageKind kind = MessageKind::Note);
/// Calls `handler` instead of showing message boxes, for tests; empty: shows them.
void SetMsgBoxHandler(std::function<void(const String& text)> handler);

/// An explanation shown below a message, and the kind of the message. Empty: none is shown.
struct Explanation {
    String text;
    MessageKind kind = MessageKind::Warning;
};

/// Sets the function that explains messages whose text is little more than a result code.
void SetMsgBoxExplainer(std::function<Explanation(const String& text)> explain);

/// Asks a question with one button for each answer; the first is the default. Returns the index of the button that was
/// pressed, or `otherwise` if the box was closed without an answer or there is no display.
int32_t Ask(const String& text, const std::vector<String>& answers, int32_t otherwise);

/// Shows a message with an OK button in a small window and returns at once.
void Notify(const String& text, MessageKind kind = MessageKind::Note);

/// The same for a temporary state: a new text replaces the previous one, and an empty text closes the window.
void ShowNote(const String& text);

/// Plays the system's beep and flashes a frame around the front window, since many machines are silent.
void Beep();

/// Opens a page in the user's browser. If no browser opens, shows a page that is installed with the program in a
/// window.
void ShowURL(const String& url);

/// Sets the installed pages that replace pages of a site: a map from URLs to file paths.
void SetLocalPages(std::map<std::string, std::string> pages);

/// The folder of the running program.
String ProgramFolder();
/// Calls `handler` instead of opening a browser, for tests; empty: opens it.
void SetShowURLHandler(std::function<void(const String& url)> handler);

/// Stops in the debugger if one is attached. Otherwise only counts the call.
void Break();
/// How often `Break` was called.
int32_t BreakCount();

/// The system's log.
namespace System {
/// Writes a line at level 1007 (debug).
void DebugLog(const String& text);
/// Writes a line at a level from 1000 (emergency) to 1007 (debug); other numbers count as 1003 (error).
void Log(int32_t level, const String& text);
} // namespace System

} // namespace framework

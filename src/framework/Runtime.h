// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <vector>

namespace framework {

class Window;

/// Whether the runtime was started with a display. Without one, nothing waits for the user.
bool HasDisplay();

/// Makes `HasDisplay` return false, once the connection to the display server is lost.
void MarkDisplayLost();

/// Whether `RunEventLoop` is running.
bool EventLoopRuns();

/// Ends the program at the user's request unless the application's `MayQuit` returns false. Returns whether it ends.
bool RequestQuit();

/// Ends the event loop with that exit code. If it is not running yet, it will end at once when it starts.
void EndEventLoop(int exitCode);

/// Adds a window to `OpenWindows`. `menuBarReplaced` is called when the application gets another menu bar.
void NoteWindowOpened(Window& window, std::function<void()> menuBarReplaced);

/// Removes a window from `OpenWindows`. Ends the event loop if it was the last one.
void NoteWindowClosed(Window& window);

/// All open windows, in the order in which they were opened.
const std::vector<Window*>& OpenWindows();

} // namespace framework

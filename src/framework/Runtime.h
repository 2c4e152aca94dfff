// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Window.h"

namespace framework {

/// Whether the runtime was started for a screen. Without one, nothing waits for an answer of the user.
bool HasDisplay();

/// From now on nothing may touch the screen.
void GiveUpDisplay();

bool EventLoopRuns();

/// Ends the program as the user wishes, unless the application's `MayQuit` objects. Tells whether it ends.
bool RequestQuit();

/// Ends the event loop; one that has not begun yet ends at once when it does.
void EndEventLoop(int exitCode);

/// Tells the runtime that a window opened, and that one closed.
void NoteWindowOpened(Window& window);
void NoteWindowClosed(Window& window);

/// All windows that are open, in order of opening.
const std::vector<Window*>& OpenWindows();

} // namespace framework

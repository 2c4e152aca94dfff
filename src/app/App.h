// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"

namespace velmora {

/// The application object: the framework's, with the program's menu bar.
class App : public framework::Application {
public:
    /// The application that the framework holds; nil before `_NewAppInstance` ran.
    static framework::Reference<App> Instance();
};

/// Makes the application object with its menu bar and registers it.
void _NewAppInstance();

/// The application binds no menu item of its own: every action belongs to a window.
void _ApplicationAddMenuHandlers();

/// Opens the one window that comes up by itself.
void _MakeDefaultView();

/// The start sequence up to the end of the event loop; the loop's exit code.
int _Main();

/// What stands before the start sequence: the platform's offers and the empty list of timers.
void _InitialiseModules();

/// What stands behind it: gives back what the program holds at module level, windows first, timers last.
void _FinaliseModules();

} // namespace velmora

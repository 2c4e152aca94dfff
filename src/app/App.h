// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"

namespace velmora {

/// The application object with the program's menu bar.
class App : public framework::Application {
public:
    /// The registered application; nil before `_NewAppInstance` has run.
    static framework::Reference<App> Instance();
};

/// Creates the application object with its menu bar and registers it.
void _NewAppInstance();

/// Binds no menu item: every action belongs to a window.
void _ApplicationAddMenuHandlers();

/// Opens the main window.
void _MakeDefaultView();

/// Runs the start sequence and the event loop. Returns the loop's exit code.
int _Main();

/// Runs before the start sequence: registers the platform's components and creates the empty list of timers.
void _InitialiseModules();

/// Runs after it: releases what the program holds at module level, windows first, timers last.
void _FinaliseModules();

} // namespace velmora

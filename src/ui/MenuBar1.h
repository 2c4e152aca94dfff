// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

namespace velmora {

using framework::MenuItem;
using framework::Reference;

/// The application's one menu bar. Its items carry no behaviour: windows bind handlers to their names.
class MenuBar1 : public framework::MenuBar {
public:
    /// Creates all menus with their items, names, texts and shortcuts.
    MenuBar1();

    /// The one instance, created at first use.
    static Reference<MenuBar1> Instance();

    /// Releases the instance at the end of the process.
    static void Release();

    // The items that windows use in code, looked up in the application's present menu bar at each call. Nil if the bar
    // has no such item; without a menu bar the look-up raises `NilObjectException`.
    static Reference<MenuItem> VideoDeviceMenu();              ///< the submenu of cameras
    static Reference<MenuItem> SoundDeviceMenu();              ///< the submenu of sound sources
    static Reference<MenuItem> VideoEnabled();                 ///< switches video on or off
    static Reference<MenuItem> SoundEnabled();                 ///< switches sound on or off
    static Reference<MenuItem> MonitorPreviewWhileRecording(); ///< shows the picture during a recording
    static Reference<MenuItem> MonitorEnablePreview();         ///< switches the preview on or off
    static Reference<MenuItem> FileClose();                    ///< closes the front window

protected:
    // One for each top-level menu: File, Edit, Monitor, Sound, Video, ZEMBRIL.
    virtual void Untitled1();
    virtual void Untitled2();
    virtual void Untitled3();
    virtual void Untitled4();
    virtual void Untitled5();
    virtual void Untitled7();
};

} // namespace velmora

// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

namespace velmora {

using framework::MenuItem;
using framework::Reference;

/// The application's one menu bar. Its items carry no behaviour: windows bind handlers to their names.
class MenuBar1 : public framework::MenuBar {
public:
    /// Makes all menus with their items, names, texts and shortcuts.
    MenuBar1();

    /// The one instance, made on first use.
    static Reference<MenuBar1> Instance();

    /// Forgets the instance at the end of the process.
    static void Release();

    /// The items that windows reach from code, looked up in the application's present menu bar at each call. Nil when
    /// the bar has no such item; without a bar at all the look-up raises `NilObjectException`.
    static Reference<MenuItem> VideoDeviceMenu();
    static Reference<MenuItem> SoundDeviceMenu();
    static Reference<MenuItem> VideoEnabled();
    static Reference<MenuItem> SoundEnabled();
    static Reference<MenuItem> MonitorPreviewWhileRecording();
    static Reference<MenuItem> MonitorEnablePreview();
    static Reference<MenuItem> FileClose();

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

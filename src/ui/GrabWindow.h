// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Canvas.h"
#include "framework/Window.h"

namespace velmora {

/// Shows a still picture as the window's backdrop. All grabbed pictures go to the same window while it is open.
class GrabWindow : public framework::Window {
public:
    /// The one window of this class, created and opened if necessary.
    static framework::Reference<GrabWindow> Instance();

protected:
    void Layout() override;
    void CreateControls() override;
    virtual void _CreateControls0();
    void AddMenuHandlers() override;
    void Event_EnableMenuItems() override;
    void Event_Open() override;
    virtual bool _FileClose_Action();
};

} // namespace velmora

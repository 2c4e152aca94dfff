// SPDX-License-Identifier: MIT
#pragma once

#include "capture/CarbonTimer.h"

namespace velmora {

class VelmoraCanvas;

/// The poll timer of one control: calls `VelmoraCanvas::Idle` every 10 ms.
class CaptureClassTimer : public CarbonTimer {
public:
    /// Keeps a strong reference to the control. Nil is a programming error and stops in the debugger.
    void Constructor(const framework::Reference<VelmoraCanvas>& cc);

    /// The timer's event: calls `Idle` of the control.
    void Event_action();

private:
    framework::Reference<VelmoraCanvas> cc;
};

} // namespace velmora

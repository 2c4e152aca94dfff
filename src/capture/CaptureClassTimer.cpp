// SPDX-License-Identifier: MIT
// The poll timer: a 10 ms carbon timer that calls the control's `Idle`. It holds a reference to the control, which
// holds one to the timer: both live until the process ends. Closing the control stops the timer.
#include "capture/CaptureClassTimer.h"

#include "capture/VelmoraCanvas.h"
#include "framework/Application.h"

namespace velmora {

void CaptureClassTimer::Constructor(const Reference<VelmoraCanvas>& control)
{
    action = [this] { Event_action(); };
    CarbonTimer::Constructor(0.01);
    if (control)
        cc = control;
    else
        framework::Break();
}

void CaptureClassTimer::Event_action()
{
    if (cc)
        cc->Idle();
}

} // namespace velmora

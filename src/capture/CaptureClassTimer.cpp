// SPDX-License-Identifier: MIT
// The poll timer: a carbon timer of 10 ms that gives one control's session its time. It owns a reference to the
// control, which owns one to the timer: both live until the process ends, and the control's closing silences the timer.
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

// SPDX-License-Identifier: MIT
#pragma once

#include "capture/CarbonTimer.h"

namespace velmora {

class VelmoraCanvas;

/// The poll timer of one control: every 10 ms it gives the session time.
class CaptureClassTimer : public CarbonTimer {
public:
    /// Keeps a strong reference to the control; nil is a programming error that is reported to a debugger.
    void Constructor(const framework::Reference<VelmoraCanvas>& cc);

    void Event_action();

private:
    framework::Reference<VelmoraCanvas> cc;
};

} // namespace velmora

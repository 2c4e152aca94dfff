// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureFormat.h"
#include "platform/digitizer/ImageControls.h"

#include <string>
#include <utility>
#include <vector>

namespace platform {

/// A camera at the PipeWire server, as it was when it was asked for.
struct PipeWireNode {
    /// A format on offer: the server's video format is given by the kernel's code for the same layout.
    struct Offer {
        CaptureFormat format;
        uint32_t pixelFormat = 0;
        std::pair<uint32_t, uint32_t> rate; ///< as the server has it: frames in so many seconds
    };
    /// A property that is shown as a control. Fractions are shown in thousandths of their range.
    struct Property {
        ImageControl control;
        bool isFraction = false;
        double minimum = 0;
        double maximum = 0;
    };
    std::string name;        ///< the node's own, the same on the next day
    std::string description; ///< for people
    std::string kernelPath;  ///< of the V4L2 node behind it; empty for a camera that is none
    std::vector<Offer> offers;
    std::vector<Property> properties;
};

} // namespace platform

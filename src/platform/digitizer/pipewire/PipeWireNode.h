// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureFormat.h"
#include "platform/digitizer/ImageControls.h"

#include <string>
#include <utility>
#include <vector>

namespace platform {

/// A camera at the PipeWire server, in its state at the time of the call.
struct PipeWireNode {
    /// An offered format: the server's video format as the kernel's code for the same layout.
    struct Offer {
        CaptureFormat format;
        uint32_t pixelFormat = 0;
        std::pair<uint32_t, uint32_t> rate; ///< the server's fraction: frames in that many seconds
    };
    /// A property that is shown as a control. Fractions become thousandths of their range.
    struct Property {
        ImageControl control;
        bool isFraction = false;
        double minimum = 0;
        double maximum = 0;
    };
    std::string name;        ///< the node's persistent name
    std::string description; ///< for the user
    std::string kernelPath;  ///< of the V4L2 node behind it; empty if there is none
    std::vector<Offer> offers;
    std::vector<Property> properties;
};

} // namespace platform

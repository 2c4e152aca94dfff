// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CaptureFormat.h"
#include "platform/digitizer/ImageControls.h"

#include <memory>
#include <string>
#include <vector>

namespace platform {

/// A camera at the PipeWire server, as it was when it was asked for.
struct PipeWireNode {
    /// A format on offer: the server's video format is given by the kernel's code for the same layout.
    struct Offer {
        CaptureFormat format;
        uint32_t pixelFormat = 0;
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

/// The cameras at the server. A connection of its own thread keeps the list up to date, from the first call on and for
/// as long as there is a server; a server that went is looked for once a second. Functions may be called from any
/// thread.
class PipeWireNodes {
public:
    static PipeWireNodes& Instance();
    ~PipeWireNodes();

    /// Connects, where that has not been done, without waiting.
    void Prepare();

    /// The cameras. Without a server the list is empty at once; the first answer of one is waited for, but not longer
    /// than a fraction of the time that a program may take to start.
    std::vector<PipeWireNode> List();

    /// The node of that name; one without a name when there is none.
    PipeWireNode Find(const std::string& name);

    /// Sets a property of a node. `noDeviceForChannel` when the node has gone, `digiUnimpErr` when it lacks the
    /// property.
    Result SetProperty(const std::string& name, uint32_t property, int64_t value);

private:
    PipeWireNodes();
    class Watch;
    std::unique_ptr<Watch> watch;
};

/// The kernel's code for a video format of the server (`spa_video_format`), 0 for one that is not used here, and back.
uint32_t PixelFormatOfVideoFormat(uint32_t videoFormat);
uint32_t VideoFormatOfPixelFormat(uint32_t pixelFormat);

} // namespace platform

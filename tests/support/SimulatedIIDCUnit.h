// SPDX-License-Identifier: MIT
#pragma once

#include "support/SimulatedFireWire.h"

#include <dc1394/dc1394.h>

namespace test {

/// An IIDC camera on a `SimulatedFireWire`, behind libdc1394 as it is: the library's functions for registers and for
/// capture are the test program's own. The registers have one fixed mode (640x480 YUV 4:2:2 at 15 and 30 a second) and
/// a scalable one (1024x768, whose packets depend on the coding), gain with absolute values, and temperature.
///
/// Capture keeps the library's rules: a frame for each readable event, polling without one is a success without a
/// frame, `frames_behind` is always 0, and stopping fails for a camera that was unplugged.
struct SimulatedIIDCUnit {
    static constexpr uint64_t kGuid = 0x0814436100003DA7;

    explicit SimulatedIIDCUnit(SimulatedFireWire& bus);
    ~SimulatedIIDCUnit();

    /// Delivers a frame of the present mode, complete at that time of day. Returns false if the buffers are full.
    bool Emit(uint64_t microseconds);

    std::map<uint64_t, uint32_t> registers; ///< by offset from the camera's command registers
    bool isPlugged = true;
    uint32_t fastestSpeed = DC1394_ISO_SPEED_400;
    dc1394error_t setupError = DC1394_SUCCESS;
    bool isChannelTaken = false; ///< its channel, by another program
    size_t framesOut = 0;        ///< taken and not given back

    /// What the functions of the library work on.
    void UpdateFormat7();

    int descriptor = -1;
    std::vector<dc1394video_frame_t> frames;
    std::deque<dc1394video_frame_t*> unused;
    std::deque<dc1394video_frame_t*> filled;
};

} // namespace test

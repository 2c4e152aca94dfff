// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/CameraDigitizer.h"

namespace platform {

/// The built-in device: the picture of `TestPatternLayout.h`, a frame at each point of the rate's grid on the monotonic
/// clock, with a flash on the first frame of each second. The number in a frame counts the frames since the device was
/// started or its format set, including those left out.
class TestPattern : public CameraDigitizer {
public:
    /// Always succeeds, since the pattern needs no hardware.
    TestPattern();

    static constexpr const char* kName = "Test Pattern";
    static constexpr const char* kIdentity = "test-pattern";
};

} // namespace platform

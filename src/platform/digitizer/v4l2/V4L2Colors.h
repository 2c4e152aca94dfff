// SPDX-License-Identifier: MIT
#pragma once

#include "platform/compression/VideoColors.h"
#include "platform/digitizer/v4l2/V4L2Device.h"

namespace platform {

/// The colors of pictures in a layout as reported by the driver. Values that it does not report, or that are invalid,
/// get the kernel's documented default (Linux Media API, "Colorspaces"). JPEG always has the matrix and range of JFIF.
VideoColors ColorsOfLayout(const V4L2Layout& layout);

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

namespace velmora {

/// Whether a menu item would stop the video or the sound, or change their format, in the middle of a movie. Such an
/// item stays enabled during a recording, so that choosing it can explain why it does nothing.
bool InterruptsRecording(const framework::MenuItem& item);

} // namespace velmora

// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Menu.h"

namespace velmora {

/// Whether a menu item would stop the pictures or the sound, or change their form, in the middle of a movie. Such an
/// item stays enabled while a movie is recorded, so that choosing it can say why it does nothing.
bool InterruptsRecording(const framework::MenuItem& item);

} // namespace velmora

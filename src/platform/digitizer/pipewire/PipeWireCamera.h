// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"

namespace platform {

/// The cameras at the PipeWire server that are not in the kernel's list.
std::vector<DigitizerEntry> ListPipeWireDigitizers();
/// Opens a camera by its identity ("pipewire:" and the node's name); null for an identity of another kind or an absent
/// camera.
std::unique_ptr<Digitizer> OpenPipeWireDigitizer(const std::string& identity);

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"

namespace platform {

/// The cameras at the PipeWire server that the kernel's list does not show, and opening one by its identity
/// ("pipewire:" and the node's name): null for an identity of another kind or a camera that is not there.
std::vector<DigitizerEntry> ListPipeWireDigitizers();
/// Opens a camera by its identity.
std::unique_ptr<Digitizer> OpenPipeWireDigitizer(const std::string& identity);

} // namespace platform

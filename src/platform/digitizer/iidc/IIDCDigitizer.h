// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"

namespace platform {

/// The IIDC cameras on the bus, for the list of video devices.
std::vector<DigitizerEntry> ListIIDCDigitizers();

/// Opens a camera by its identity ("iidc:" and the GUID in hexadecimal); null for an identity of another kind or an
/// absent camera.
std::unique_ptr<Digitizer> OpenIIDCDigitizer(const std::string& identity);

} // namespace platform

// SPDX-License-Identifier: MIT
#pragma once

#include "platform/digitizer/Digitizer.h"

namespace platform {

/// The IIDC cameras on the bus, as entries of the video list.
std::vector<DigitizerEntry> ListIIDCDigitizers();

/// Opens a camera by its identity ("iidc:" and the GUID in hexadecimal digits); null for an identity of another kind or
/// a camera that is not on the bus.
std::unique_ptr<Digitizer> OpenIIDCDigitizer(const std::string& identity);

} // namespace platform

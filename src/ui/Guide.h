// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

namespace velmora {

/// The URL of a page on the vendor's site, by its path there.
framework::String VendorPage(const std::string& path);

/// Has those pages of the site that are installed with the program opened from there: the guide is beside the program,
/// and a recording is often made where there is no network.
void UseInstalledGuide();

} // namespace velmora

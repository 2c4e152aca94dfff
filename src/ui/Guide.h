// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

namespace velmora {

/// The URL of a page on the project's site, by its path there.
framework::String VendorPage(const std::string& path);

/// Makes the pages of the site that are installed with the program open from the installation, since recordings are
/// often made without a network.
void UseInstalledGuide();

} // namespace velmora

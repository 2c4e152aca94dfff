// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Text from a device as UTF-8 on one line: bytes that are not UTF-8 are read as Latin-1; control characters, and
/// spaces at the ends, are removed. It ends at the first zero byte.
std::string CleanDeviceText(std::string_view text);

} // namespace platform

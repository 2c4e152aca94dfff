// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <string>

namespace platform {

/// What a result code means to a user, as a clause: "the disk is full". Codes that are not known by name are told by
/// their number.
std::string ResultText(Result result);

} // namespace platform

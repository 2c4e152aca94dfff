// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/ResultCodes.h"

#include <string>

namespace platform {

/// The meaning of a result code for the user, as a clause: "the disk is full". Unknown codes give "error -1 occurred".
std::string ResultText(Result result);

} // namespace platform

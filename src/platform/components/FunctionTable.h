// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/CodeAddress.h"

#include <string_view>

namespace platform {

/// Registers a procedure under a library name and its own name. The modules do this in their start functions for the
/// calls that the control binds by name.
void ExportFunction(std::string_view library, std::string_view name, CodePointer code);

/// The same for a procedure of any type.
template <typename Procedure> void ExportFunction(std::string_view library, std::string_view name, Procedure* code)
{
    ExportFunction(library, name, reinterpret_cast<CodePointer>(code));
}

/// Removes a procedure, so that it is no longer found.
void WithdrawFunction(std::string_view library, std::string_view name);

/// The procedure of that name in that library, or null. The caller must know its type.
CodePointer FindFunction(std::string_view library, std::string_view name);

} // namespace platform
